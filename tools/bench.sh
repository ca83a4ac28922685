#!/bin/bash
# Measures this project beside its peers, in the release preset: Google Benchmark's figures for each
# library, then the opening of models in fresh processes. Usage: tools/bench.sh [FILTER]
#   FILTER   a regular expression of Google Benchmark's; leaves the fresh processes out
# Nothing else should run on the machine meanwhile.
set -eu
cd "$(dirname "$0")/.."

build=build/release
rounds=20

# median COLUMN: the median of a column of numbers on standard input
median() {
    awk -v column="$1" '{ print $column }' | sort -n | awk '{ value[NR] = $1 } END { print value[int((NR + 1) / 2)] }'
}

# Opens one model by the library and by the bare C API in turns, so that both meet the same machine.
compare_opening() {
    local results model=$build/Libraries/liblearning/models/Add.onnx
    results=$(mktemp -d)
    for ((round = 0; round < rounds; ++round)); do
        for way in learning bare; do
            $build/bin/OpenModel $way $model >> "$results/$way"
        done
    done
    printf '\nOpening a model, medians of %d fresh processes, microseconds\n' $rounds
    printf '%-10s %12s %12s\n' '' 'first model' 'later models'
    for way in learning bare; do
        printf '%-10s %12s %12s\n' $way "$(median 1 < "$results/$way")" "$(median 2 < "$results/$way")"
    done
    rm -r "$results"
}

tools/setup.sh
cmake --preset release > /dev/null
cmake --build --preset release
for benchmarks in "$build"/bin/*Benchmarks; do
    printf '\n=== %s\n' "$(basename "$benchmarks")"
    "$benchmarks" --benchmark_filter="${1:-.}"
done
[ $# -gt 0 ] || compare_opening
