#!/bin/sh
# The full package's window, opened from the unpacked package on the X server in DISPLAY
# (run-on-xvfb.sh starts one): a "Pellix Installer" window of 640 x 520 that tells the window
# manager it cannot be resized, with the window class the desktop entry names.
# Exit 77 (a skip for ctest) when PELLIX_PACKAGE_DIR is not set or xwininfo/xprop are missing.
set -u
folder=${PELLIX_PACKAGE_DIR:-}
if [ -z "$folder" ]; then
    echo "SKIP: PELLIX_PACKAGE_DIR is not set: build the packages with scripts/package, then run" \
        "ctest -L package with PELLIX_PACKAGE_DIR=dist"
    exit 77
fi
for tool in xwininfo xprop dpkg-deb; do
    command -v "$tool" >/dev/null 2>&1 || { echo "SKIP: $tool is not installed (x11-utils)"; exit 77; }
done
deb=$(ls "$folder"/pellix-installer_*.deb 2>/dev/null | head -n 1)
[ -n "$deb" ] || { echo "FAIL: no pellix-installer_*.deb in $folder" >&2; exit 1; }

work=$(mktemp -d "${TMPDIR:-/tmp}/pellix-window-XXXXXX")
app_pid=""
cleanup() {
    if [ -n "$app_pid" ]; then
        kill "$app_pid" 2>/dev/null
        wait "$app_pid" 2>/dev/null
    fi
    rm -rf "$work"
}
trap cleanup EXIT INT TERM
dpkg-deb -x "$deb" "$work/tree" || exit 1
mkdir -p "$work/home"

env -i HOME="$work/home" PATH=/usr/bin:/bin DISPLAY="$DISPLAY" QT_QPA_PLATFORM=xcb \
    XDG_RUNTIME_DIR="$XDG_RUNTIME_DIR" "$work/tree/usr/bin/pellix-installer" \
    >"$work/app.log" 2>&1 &
app_pid=$!

# The mapped window titled "Pellix Installer" (Qt also names an unmapped 1x1 leader window so).
shown_window() {
    xwininfo -root -tree | grep '"Pellix Installer"' | while read -r id _; do
        if xwininfo -id "$id" | grep -q 'Map State: IsViewable'; then
            xwininfo -root -tree | grep "^ *$id "
            break
        fi
    done
}

window=""
tries=0
while [ -z "$window" ]; do
    tries=$((tries + 1))
    if [ "$tries" -gt 200 ] || ! kill -0 "$app_pid" 2>/dev/null; then
        echo "FAIL: no \"Pellix Installer\" window was shown; the installer said:" >&2
        cat "$work/app.log" >&2
        exit 1
    fi
    sleep 0.1
    window=$(shown_window)
done
echo "window: $window"

failed=0
id=$(echo "$window" | awk '{print $1}')
echo "$window" | grep -q ' 640x520+' || { echo "FAIL: the window is not 640x520" >&2; failed=1; }
hints=$(xprop -id "$id" WM_NORMAL_HINTS)
for bound in minimum maximum; do
    echo "$hints" | grep -q "program specified $bound size: 640 by 520" ||
        { echo "FAIL: no $bound size of 640 by 520 in: $hints" >&2; failed=1; }
done
class=$(xprop -id "$id" WM_CLASS)
wm_class=$(sed -n 's/^StartupWMClass=//p' "$work/tree/usr/share/applications/ai.pellix.installer.desktop")
echo "$class" | grep -q "\"$wm_class\"\$" ||
    { echo "FAIL: the desktop entry's StartupWMClass '$wm_class' is not the window's: $class" >&2; failed=1; }
kill -0 "$app_pid" 2>/dev/null || { echo "FAIL: the installer ended on its own" >&2; failed=1; }
exit "$failed"
