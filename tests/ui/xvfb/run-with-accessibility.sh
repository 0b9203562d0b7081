#!/bin/sh
# Runs a test binary on a private Xvfb server inside a private session bus with assistive
# technology switched on, as a screen reader does it: the AT-SPI bus is started by the session
# bus on first use, and "IsEnabled" tells Qt to publish its accessible tree and events there.
# Exit 77 (a skip for ctest) when a piece is missing; everything started ends with the session.
set -u
here=$(dirname "$0")

for tool in dbus-run-session dbus-send; do
    if ! command -v "$tool" >/dev/null 2>&1; then
        echo "SKIP: $tool is not installed (Debian: apt-get install dbus-daemon dbus-bin)."
        exit 77
    fi
done
if ! ls /usr/share/dbus-1/services/org.a11y.Bus.service >/dev/null 2>&1; then
    echo "SKIP: the AT-SPI bus is not installed (Debian: apt-get install at-spi2-core)."
    exit 77
fi

# A runtime folder of its own: the AT-SPI bus puts its socket there (else in ~/.cache/at-spi,
# shared by every run), so runs side by side never meet.
runtime=$(mktemp -d "${TMPDIR:-/tmp}/pellix-a11y-XXXXXX")
trap 'rm -rf "$runtime"' EXIT INT TERM
export XDG_RUNTIME_DIR="$runtime"

dbus-run-session -- sh -c '
    dbus-send --session --print-reply --dest=org.a11y.Bus /org/a11y/bus \
        org.freedesktop.DBus.Properties.Set string:org.a11y.Status string:IsEnabled \
        variant:boolean:true >/dev/null || exit 1
    exec sh "$0/run-on-xvfb.sh" "$@"' "$here" "$@" 2>&1
