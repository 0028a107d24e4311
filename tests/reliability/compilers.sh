#!/usr/bin/env bash
# Builds the library with g++ and clang at each level of optimisation. All must give the stored hashes, the same results
# where the C library has a say, and the documented statuses where memory is exhausted.
# Usage: tests/reliability/compilers.sh [LEVEL]     the highest kernel level, scalar by default
set -euo pipefail
cd "$(dirname "$0")/../.."
level="${1:-scalar}"
hashes=build/compilers/hashes
mkdir -p "$hashes"

for compiler in g++ clang++; do
  for optimisation in -O0 -O1 -O2 -O3; do
    build="build/compilers/$compiler$optimisation"
    cmake -S . -B "$build" -D CMAKE_CXX_COMPILER="$compiler" -D CMAKE_CXX_FLAGS_RELEASE="$optimisation" \
      -D KELVO_AUDIO_MAX_LEVEL="$level" -D KELVO_AUDIO_BUILD_TESTS=ON -D Python3_EXECUTABLE=/usr/bin/python3 >/dev/null
    cmake --build "$build" --parallel "$(nproc)" --target kelvo_audio_reliability_tests >/dev/null
    "$build/kelvo_audio_reliability_tests" --gtest_filter='*GoldenHashes*:ImpossibleSizes*' >"$build/log" ||
      { cat "$build/log" && exit 1; }
    grep '^hash of' "$build/log" | sort -u >"$hashes/$compiler$optimisation"
    echo "$compiler $optimisation: $(md5sum <"$hashes/$compiler$optimisation")"
  done
done
# All files alike.
[ "$(md5sum "$hashes"/* | cut -d ' ' -f 1 | sort -u | wc -l)" -eq 1 ] || { echo "results differ" && exit 1; }
