#!/usr/bin/env bash
# Installs the peers, builds the benchmark, runs it and writes the tables of docs/performance.md and its figure. With
# options of Google Benchmark, such as --benchmark_filter=REGEX, it prints the tables of that run instead.
# Usage: bench/run.sh [GOOGLE BENCHMARK OPTIONS]
set -euo pipefail
cd "$(dirname "$0")/.."

peers=(libfftw3-dev libkissfft-dev libsamplerate0-dev libsoxr-dev libswresample-dev libavutil-dev libliquid-dev)
source cmake/install_missing.sh
install_missing g++ cmake make pkg-config python3 libbenchmark-dev "${peers[@]}"

cmake --preset bench
cmake --build build/bench --parallel "$(nproc)" --target kelvo_audio_bench
if [ $# -gt 0 ]; then
  exec build/bench/kelvo_audio_bench "$@"
fi

tables=$(mktemp)
trap 'rm -f "$tables"' EXIT
build/bench/kelvo_audio_bench --tables="$tables"

# Everything after the mark in docs/performance.md is written here.
mark='<!-- Written by bench/run.sh from here on. -->'
page=docs/performance.md
grep -qxF -- "$mark" "$page"
{
  sed "\|^${mark}\$|q" "$page"
  echo
  echo "- Command: \`bench/run.sh\`, $(date -u +%F)"
  echo "- Machine: $(lscpu | sed -n 's/^Model name: *//p'), family $(lscpu | sed -n 's/^CPU family: *//p')," \
    "$(nproc) cores, $(uname -m)," \
    "$(lscpu | grep -qw avx512f && echo 'with AVX-512' || echo 'without AVX-512')"
  echo "- Compiler: $("${CXX:-c++}" --version | head -n 1)"
  echo "- Peers: $(dpkg-query --show --showformat='${source:Package} ${source:Version}\n' "${peers[@]}" | sort -u |
    paste -sd, | sed 's/,/, /g'), and glibc $(getconf GNU_LIBC_VERSION | cut -d' ' -f2)"
  cat "$tables"
} >"$tables.page"
mv "$tables.page" "$page"
python3 bench/figures.py "$page" docs/fft_lengths.svg
