#!/bin/bash
# Measures this project beside its peers, in the release preset: Google Benchmark's figures for each
# library, a table of the work on pixels, then the opening of models and the installation of a package
# in fresh processes, with requests and remote operations in between.
# Usage: tools/bench.sh [FILTER]
#   FILTER   a regular expression of Google Benchmark's; leaves the table and the fresh processes out
# Nothing else should run on the machine meanwhile.
set -eu
cd "$(dirname "$0")/.."

build=build/release
scratch=$build/bench  # on the disk, where the folder for temporary files may not be
pixel_cases='x[0-9]+/threads:'  # row/contender/WIDTHxHEIGHT/threads:COUNT
rounds=20
service=

# median COLUMN: the median of a column of numbers on standard input
median() {
    awk -v column="$1" '{ print $column }' | sort -n | awk '{ value[NR] = $1 } END { print value[int((NR + 1) / 2)] }'
}

# compare_others PROGRAM FILTER: prints the medians of a program's cases, which take turns, so that
# all meet the same machine. Some programs have no case of that name.
compare_others() {
    [ -n "$("$1" --benchmark_list_tests --benchmark_filter="$2" 2> /dev/null)" ] || return 0
    printf '\n=== %s, medians of 5\n' "$(basename "$1")"
    "$1" --benchmark_filter="$2" --benchmark_repetitions=5 --benchmark_enable_random_interleaving=true \
        --benchmark_min_time=0.1 --benchmark_display_aggregates_only=true 2> /dev/null |
        grep _median | sort
}

# Prints the table of what is done with pixels: by one processor, then by all of them.
compare_pixels() {
    local program processors result results=()
    for program in Raster Learning; do
        for processors in 0 "0-$(($(nproc) - 1))"; do
            result="$build/$program-$processors.json"
            taskset -c "$processors" "$build/bin/${program}Benchmarks" --benchmark_filter="$pixel_cases" \
                --benchmark_repetitions=7 --benchmark_enable_random_interleaving=true \
                --benchmark_min_time=0.05 --benchmark_out="$result" --benchmark_out_format=json > /dev/null
            results+=("$result")
        done
    done
    printf '\nPixels, medians of 7, milliseconds\n'
    tools/bench_table.py "${results[@]}"
}

# Opens one model by the library and by the bare C API in turns, so that both meet the same machine.
compare_opening() {
    local model=$build/Libraries/liblearning/models/Add.onnx
    for ((round = 0; round < rounds; ++round)); do
        for way in learning bare; do
            $build/bin/OpenModel $way $model >> "$scratch/$way"
        done
    done
    printf '\nOpening a model, medians of %d fresh processes, microseconds\n' $rounds
    printf '%-10s %12s %12s\n' '' 'first model' 'later models'
    for way in learning bare; do
        printf '%-10s %12s %12s\n' $way "$(median 1 < "$scratch/$way")" "$(median 2 < "$scratch/$way")"
    done
}

# Downloads and installs a package of 200 MiB by the library and by curl and unzip in turns. The
# library leaves the files safe on the disk: only with sync do the others as much.
compare_installing() {
    local address way work=$scratch/installing TIMEFORMAT=%R
    mkdir -p "$work/packages" "$work/models"
    for way in DepthEstimation Colourisation; do
        cp $build/Libraries/liblearning/models/Add.onnx "$work/models/${way}_2.6.onnx"
    done
    head -c 200M /dev/urandom > "$work/filler.bin"
    zip -q0j "$work/packages/Colourisation_2.6.zip" "$work/models/Colourisation_2.6.onnx" "$work/filler.bin"
    export no_proxy="127.0.0.1,${no_proxy-}"  # no proxy finds its way back to this machine
    $build/bin/learning-service --port 0 --packages "$work/packages" > "$work/service" &
    service=$!
    until address=$(grep -s -o -m 1 'http://127[^ ]*' "$work/service"); do kill -0 $service; sleep 0.1; done

    fetch() {
        curl -sS -o "$work/package.zip" "${address}Colourisation_2.6.zip"
        unzip -qo "$work/package.zip" -d "$work/models"
    }
    for ((round = 0; round < rounds; ++round)); do
        sync
        TMPDIR=$work $build/bin/InstallBenchmark "$address" "$work/models" >> "$work/learning"
        sync
        { time fetch; } 2>> "$work/curl+unzip"
        sync
        { time { fetch; sync "$work"/models/*; }; } 2>> "$work/curl+unzip+sync"
    done
    printf '\nInstalling a package of 200 MiB, medians of %d, seconds\n' $rounds
    for way in learning curl+unzip curl+unzip+sync; do
        printf '%-16s %s\n' $way "$(median 1 < "$work/$way")"
    done
    printf 'At its peak, learning needs %s bytes more than when idle.\n' "$(median 2 < "$work/learning")"
}

# Unpacks the networks that are measured.
unpack_networks() {
    mkdir -p "$scratch/networks"
    for name in DepthEstimation SuperResolution; do
        unzip -qo "external/packages/${name}_2.6.zip" -d "$scratch/networks"
    done
}

# Memory that a network leaves behind, processor time that an idle session takes, runs of many threads
# and work on pixels between runs: by the library and by the bare runtime.
measure_host() {
    local part way
    for part in memory idle sharing pixels; do
        printf '\nA host that lives for days: %s\n' $part
        for way in learning spinning bare; do
            [ $part$way != memoryspinning ] || continue  # no different, and takes minutes
            printf '%-9s %s\n' $way "$($build/bin/HostBenchmark $part $way "$scratch/networks")"
        done
    done
}

# The whole of `learning depth` beside a bare program that runs the network once, in turns.
compare_starting() {
    local way TIMEFORMAT=%R networks=$scratch/networks
    estimate_depth() {
        $build/bin/learning --models "$networks" depth external/photos/rocket.jpg -o "$scratch/depth.png" > /dev/null
    }
    for ((round = 0; round < rounds; ++round)); do
        { time estimate_depth; } 2>> "$scratch/start-learning"
        { time $build/bin/BareRun "$networks/DepthEstimation_2.6.onnx"; } 2>> "$scratch/start-bare"
    done
    printf '\nThe depth of a photo of 640 x 427, from start to end, medians of %d processes, seconds\n' $rounds
    for way in learning bare; do
        printf '%-9s %s\n' $way "$(median 1 < "$scratch/start-$way")"
    done
}

# Leaves nothing behind, however this ends.
finish() {
    [ -z "$service" ] || kill "$service" 2> /dev/null || true
    rm -rf "$scratch"
}

tools/setup.sh --peers
cmake --preset release > /dev/null
cmake --build --preset release
for benchmarks in "$build"/bin/*Benchmarks; do
    compare_others "$benchmarks" "${1:--$pixel_cases}"  # without a name, all but the table's cases
done
if [ $# -eq 0 ]; then
    trap finish EXIT
    finish
    mkdir "$scratch"
    compare_pixels
    compare_opening
    printf '\nRequests\n'
    $build/bin/TransferBenchmark 2> /dev/null
    printf '\nRemote operations\n'
    $build/bin/RemoteBenchmark
    $build/bin/OperationBenchmark
    unpack_networks
    compare_starting  # before what fills the disk, since a result is safe on the disk
    compare_installing
    measure_host
fi
