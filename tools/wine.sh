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

mkdir -p "$WINEPREFIX"
exec 9> "$build/.wine.lock"
flock 9
# The server and its services outlive a program for a while: the next then starts in a tenth of the time. They get
# neither the lock nor our output, of which whoever reads it would wait for the end.
if ! wineserver -k0 2> /dev/null; then
    (wineserver --persistent=60 && wine wineboot --init) > /dev/null 2>&1 < /dev/null 9>&- || {
        echo "wine.sh: Wine cannot be started" >&2
        exit 125
    }
fi
exec 9>&-
[ -p /dev/stdout ] || exec wine "$@"

# Sometimes the console of a program that was killed stays, with all that the program had open: a pipe would
# never end. So nobody but us writes to it.
said=$(mktemp -d "$build/.wine-output.XXXXXX")
status=0
wine "$@" > "$said/out" 2> "$said/err" || status=$?
cat "$said/out"
cat "$said/err" >&2
rm -r "$said"
exit $status
