#!/bin/sh
# Makes the folder that a host for 64-bit Windows ships: dist/orvantis-VERSION-windows-x86_64, in which bin/ has our
# libraries, learning.exe, the inference runtime and every other library that they load, and share/ the translations
# and the licences of what is inside. Nothing else is needed on Windows 10 and later but the Windows App runtime and,
# for the inference runtime alone, Microsoft's Visual C++ runtime of 2015 and later; their own installers bring both.
# Usage: tools/dist.sh
#
# The folder takes its place only after it has been checked: each library that a module of it links to is inside or
# part of Windows, and learning.exe runs in it, under Wine.
set -eu
cd "$(dirname "$0")/.."
# shellcheck source=tools/progress.sh
. tools/progress.sh

[ $# = 0 ] || die "usage: tools/dist.sh"
build=build/windows
objdump=x86_64-w64-mingw32-objdump

# imports FILE...: the DLLs that the files link to, in lower case.
imports() { $objdump --private-headers "$@" | sed -n 's/^[[:space:]]*DLL Name: //p' | tr '[:upper:]' '[:lower:]' | sort -u; }

# is_elsewhere DLL: whether it is one of the sets of functions that Windows' loader finds in its DLLs, or a part of the
# Visual C++ runtime, or Wine, which has a DLL for each of Windows, has it.
is_elsewhere() {
    case $1 in
        api-ms-win-* | ext-ms-*) return 0 ;;
        msvcp140*.dll | vcruntime140*.dll) return 0 ;;
    esac
    find /usr/lib -path '*wine*' -iname "$1" -print -quit 2> /dev/null | grep -q .
}

# check_imports FOLDER: names what would be missing on a machine that has nothing but Windows and those two.
check_imports() {
    missing=
    for name in $(imports "$1"/*.dll "$1"/*.exe); do
        [ -n "$(find "$1" -iname "$name")" ] || is_elsewhere "$name" || missing="$missing $name"
    done
    [ -z "$missing" ] || die "nothing in the folder, nor Windows, has what is linked to:$missing"
}

# check_run FOLDER: Wine has no Windows App runtime, for which the build has a stand-in.
check_run() {
    said=$(WINEPATH=$build/stand-ins tools/wine.sh "$1/learning.exe" --version) || die "learning.exe --version fails"
    [ "$(printf '%s' "$said" | tr -d '\r')" = "learning $version" ] || die "learning.exe --version says: $said"
}

tools/setup.sh --windows
say "building for Windows"
cmake --preset windows > /dev/null
version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' $build/CMakeCache.txt)
[ -n "$version" ] || die "the build has no version"
cmake --build $build --target installable

folder=dist/orvantis-$version-windows-x86_64
partial=dist/.partial
rm -rf $partial
cmake --install $build --component Runtime --strip --prefix "$PWD/$partial" > /dev/null
check_imports $partial/bin
check_run $partial/bin
rm -rf "$folder"
mv $partial "$folder"
say "made $folder, $(du -sm "$folder" | cut -f1) MB:"
(cd "$folder" && find . -type f | LC_ALL=C sort | sed 's|^\./|  |') >&2
