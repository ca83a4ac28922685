#!/bin/bash
# Everything that must hold, in the order that fails soonest; stops at the first step that fails.
# Usage: tools/test.sh [STEP...], or tools/test.sh --windows
#   format   clang-format agrees with the layout
#   texts    each text for the user has its translations
#   rooms    includes point one way, within libraries and between them
#   dev      builds with warnings as errors, verifies that each public header compiles alone, runs the tests
#   asan     the tests under the address and undefined-behaviour sanitizers
#   tsan     the tests under the thread sanitizer
#   tidy     clang-tidy finds nothing in the libraries and programs
#   shell    shellcheck finds nothing in the scripts
#   docs     the README shows the example that is compiled, docs/BUILDING.md names every setting of the build;
#            Doxygen understands every comment
#   cross    compiles the libraries and programs for Windows; on a machine that tools/setup.sh --windows has set up
#   windows  sets it up, compiles the tests for Windows as well and runs them under Wine; only when it is named, or
#            by --windows
# Without STEP: all of them but windows.
set -eu
cd "$(dirname "$0")/.."

every_step=(format texts rooms dev asan tsan tidy shell docs cross)
summary=()

run() {
    case $1 in
        format) cmake --preset dev > /dev/null && cmake --build --preset dev --target check-format ;;
        texts) tools/translations.sh ;;
        rooms) tools/check_rooms.py ;;
        cross) cmake --preset windows > /dev/null && cmake --build --preset cross ;;
        windows) tools/setup.sh --windows && cmake --workflow --preset windows ;;
        dev | asan | tsan) cmake --workflow --preset "$1" ;;
        tidy) cmake --preset tidy > /dev/null && cmake --build build/tidy --target tidy ;;
        shell) git ls-files -z '*.sh' .ci/run | xargs -0 shellcheck --external-sources ;;
        docs) check_readme && check_settings && mkdir -p build && doxygen docs/Doxyfile > /dev/null ;;
    esac
}

check_readme() {
    # shellcheck disable=SC2016  # the backquotes are Markdown's
    diff <(sed -n '/^```cpp$/,/^```$/{//!p}' README.md) examples/colour_of_grey.cpp
}

check_settings() {
    local name status=0
    while read -r name; do
        grep -q "^| \`$name\`" docs/BUILDING.md || { echo "docs/BUILDING.md does not name $name" >&2; status=1; }
    done < <(git ls-files -z '*CMakeLists.txt' '*.cmake' | xargs -0 cat |
        sed -nE 's/^ *(option|find_program|find_path)\((\w+) .*/\2/p; s/^ *set\((\w+) .* CACHE .*/\1/p')
    return $status
}

compiles_for_windows() {
    [ -d external/windows ] && command -v x86_64-w64-mingw32-g++-posix > /dev/null
}

# Runs one step and notes how it went and how long it took.
run_timed() {
    if [ "$1" = cross ] && ! compiles_for_windows; then
        summary+=("cross   NOT RUN: this machine does not compile for Windows before tools/setup.sh --windows")
        return
    fi
    local start=$SECONDS outcome=passed
    printf '\n=== %s\n' "$1"
    run "$1" || outcome=FAILED
    summary+=("$(printf '%-7s %s in %d s' "$1" $outcome $((SECONDS - start)))")
    printf '=== %s\n' "${summary[-1]}"
    [ $outcome = passed ]
}

if [[ " $* " =~ \ (-h|--help)\  ]]; then
    sed -n '2,/^set/{/^set/d; s/^# \{0,1\}//; p}' "$0"
    exit
fi
[ "$*" != --windows ] || set -- windows
for step; do
    if [[ " ${every_step[*]} windows " != *" $step "* ]]; then
        echo "test.sh: there is no step $step; the steps are: ${every_step[*]} windows" >&2
        exit 2
    fi
done
[ $# -gt 0 ] || set -- "${every_step[@]}"

tools/setup.sh
status=0
for step; do
    run_timed "$step" || { status=1; break; }
done
printf '\nSummary (%d of %d steps):\n' ${#summary[@]} $#
printf '  %s\n' "${summary[@]}"
exit $status
