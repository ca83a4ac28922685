#!/bin/sh
# Runs a program for Windows under Wine, silently and without a display, in build/wine, a folder of its own for
# what Wine takes for the user's Windows; CMake runs the tests of the preset windows by it.
# Usage: tools/wine.sh PROGRAM.EXE [ARGUMENT...]
set -eu
build=$(cd "$(dirname "$0")/.." && pwd)/build

export WINEPREFIX="$build/wine" WINEARCH=win64 WINEDEBUG=-all LANG=C.UTF-8 LC_ALL=C.UTF-8
# Nothing asks for .NET, web pages or menus, as there is nobody who could answer; and no debugger takes over
# what crashes, as its status would then be 0.
export WINEDLLOVERRIDES="mscoree=;mshtml=;winemenubuilder.exe=;winedbg.exe="
unset DISPLAY WAYLAND_DISPLAY

mkdir -p "$build"
exec 9> "$build/.wine.lock"
flock 9
[ -f "$WINEPREFIX/system.reg" ] || wine wineboot --init > /dev/null 2>&1 || {
    echo "wine.sh: Wine cannot be started" >&2
    exit 125
}
# The server outlives a program for a while: the next then starts in a tenth of the time.
wineserver --persistent=60 9>&- 2> /dev/null || true
exec 9>&-
exec wine "$@"
