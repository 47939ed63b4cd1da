#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the fuzz targets with clang and runs each on its seeds: scripts/fuzz.sh [SECONDS]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-120}
cmake --preset fuzz >&2
cmake --build --preset fuzz --target fuzz_s3address fuzz_listing >&2
for target in s3address listing; do
    corpus=build/fuzz/corpus/$target
    mkdir -p "$corpus"
    build/fuzz/fuzz_$target -max_total_time="$seconds" -max_len=4096 -print_final_stats=1 -artifact_prefix=build/fuzz/ \
        "$corpus" tests/fuzz/seeds/$target
done
