#!/bin/bash
# Feeds made-up files to each codec and made-up colour profiles to their reader, one after the other.
# Usage: tools/fuzz.sh [MINUTES [FUZZER...]]
#   MINUTES   for each of them: 10 unless given
#   FUZZER    JPEG, PNG, TIFF, WebP or Profile: all of them unless given
# What they learn is kept in build/fuzz/corpus, and what ends one of them in build/fuzz/found: run
# build/fuzz/bin/<FUZZER>Fuzzer with such a file to see it again.
set -eu
cd "$(dirname "$0")/.."

minutes=${1:-10}
[ $# -eq 0 ] || shift
[ $# -gt 0 ] || set -- JPEG PNG TIFF WebP Profile
if ! [[ $minutes =~ ^[0-9]+$ ]]; then
    echo "fuzz.sh: $minutes is no number of minutes" >&2
    exit 2
fi

tools/setup.sh --fuzzers
cmake --preset fuzz > /dev/null
cmake --build build/fuzz --target WriteSeeds "${@/%/Fuzzer}"
cd build/fuzz
bin/WriteSeeds seeds

status=0
for name; do
    mkdir -p "corpus/$name" "found/$name"
    printf '\n=== %s, %d minutes\n' "$name" "$minutes"
    # A file of a few kilobytes takes no longer than ten seconds, nor more memory than a picture of the
    # largest size that is read here.
    if nice -n 19 "bin/${name}Fuzzer" -max_total_time=$((60 * minutes)) -timeout=10 -rss_limit_mb=2500 -max_len=65536 \
        -print_final_stats=1 "-artifact_prefix=found/$name/" "corpus/$name" "seeds/$name" > "$name.log" 2>&1; then
        grep -E '^(Done|stat::(number|slowest|peak))' "$name.log"
    else
        status=1
        echo "fuzz.sh: $name failed: see build/fuzz/$name.log" >&2
        grep -E '^(SUMMARY|.*Test unit written)' "$name.log" >&2 || true
    fi
done
exit $status
