#!/bin/sh
# Run by run-on-xvfb.sh with DISPLAY set: opens the installer's window with no session bus, as on
# a bare X session, closes it, and fails if any process the window started for accessibility (a
# session bus autolaunched by libdbus) still runs for this display. Exit 77 when dbus-launch, the
# autolauncher, is not installed: nothing could be launched then.
set -u
installer=$1

if [ ! -x /usr/bin/dbus-launch ]; then
    echo "SKIP: dbus-launch is not installed (Debian: apt-get install dbus-x11), so no bus can be autolaunched here."
    exit 77
fi
if ! command -v xdotool >/dev/null 2>&1; then
    echo "SKIP: xdotool is not installed (Debian: apt-get install xdotool); it tells when the window is up."
    exit 77
fi

runtime=$(mktemp -d "${TMPDIR:-/tmp}/pellix-nobus-XXXXXX")
chmod 700 "$runtime"
env -i PATH=/usr/bin:/bin HOME="$runtime" DISPLAY="$DISPLAY" XDG_RUNTIME_DIR="$runtime" \
    QT_QPA_PLATFORM=xcb "$installer" &
app=$!
echo "installer pid $app"
timeout 20 xdotool search --sync --name "Pellix Installer" >/dev/null
shown=$?
sleep 1  # the accessibility bridge asks for the bus once the window is up
kill "$app"
wait "$app" 2>/dev/null
sleep 0.5

left=""
for proc in /proc/[0-9]*; do
    [ -r "$proc/environ" ] || continue
    if tr '\0' '\n' <"$proc/environ" 2>/dev/null | grep -qx "DISPLAY=$DISPLAY"; then
        pid=${proc#/proc/}
        [ "$pid" = "$$" ] && continue
        left="$left $pid"
        echo "still running for $DISPLAY: $pid (parent $(cut -d" " -f4 "$proc/stat")) $(tr "\0" " " <"$proc/cmdline")"
    fi
done
rm -rf "$runtime"
[ -n "$left" ] && kill $left 2>/dev/null
if [ "$shown" -ne 0 ]; then
    echo "the window never appeared"
    exit 1
fi
[ -z "$left" ] || exit 1
echo "nothing the window started outlives it"
