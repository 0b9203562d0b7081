#!/bin/sh
# Runs a test binary (with any further arguments) against a private Xvfb server: Xvfb picks a free display itself (-displayfd),
# the binary runs with the xcb platform, and the server is stopped whatever happens.
# Exit 77 (a skip for ctest) when Xvfb is not installed.
set -u
test_binary=$1
shift

if ! command -v Xvfb >/dev/null 2>&1; then
    echo "SKIP: Xvfb is not installed (Debian: apt-get install xvfb); the real-window smoke test needs it."
    exit 77
fi

work=$(mktemp -d "${TMPDIR:-/tmp}/pellix-xvfb-XXXXXX")
xvfb_pid=""
cleanup() {
    if [ -n "$xvfb_pid" ]; then
        kill "$xvfb_pid" 2>/dev/null
        wait "$xvfb_pid" 2>/dev/null
    fi
    rm -rf "$work"
}
trap cleanup EXIT INT TERM

Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp 3>"$work/display" 2>"$work/xvfb.log" &
xvfb_pid=$!

tries=0
while [ ! -s "$work/display" ]; do
    tries=$((tries + 1))
    if [ "$tries" -gt 100 ] || ! kill -0 "$xvfb_pid" 2>/dev/null; then
        echo "Xvfb did not start:" >&2
        cat "$work/xvfb.log" >&2
        exit 1
    fi
    sleep 0.1
done
display=$(tr -d '[:space:]' <"$work/display")

# Without a session bus of its own, the binary must not autolaunch one that outlives the run.
DISPLAY=":$display" QT_QPA_PLATFORM=xcb XDG_RUNTIME_DIR="$work" \
    DBUS_SESSION_BUS_ADDRESS="${DBUS_SESSION_BUS_ADDRESS:-disabled:}" "$test_binary" "$@"
