#!/usr/bin/env bash
# Builds the program that measures the worst time of each call for its sizes, runs it and writes the tables of
# docs/bounds.md.
set -euo pipefail
cd "$(dirname "$0")/.."
source cmake/install_missing.sh
install_missing g++ cmake make pkg-config libbenchmark-dev libgtest-dev

cmake --preset bench
cmake --build build/bench --parallel "$(nproc)" --target kelvo_audio_bounds
page=docs/bounds.md
tables=$(mktemp)
trap 'rm -f "$tables"' EXIT

# Everything after the mark in the page is written here.
mark='<!-- Written by bench/bounds.sh from here on. -->'
grep -qxF -- "$mark" "$page"
{
  sed "\|^${mark}\$|q" "$page"
  echo
  echo "- Command: \`bench/bounds.sh\`, $(date -u +%F)"
  echo "- Machine: $(lscpu | sed -n 's/^Model name: *//p'), family $(lscpu | sed -n 's/^CPU family: *//p')," \
    "$(nproc) cores, $(uname -m)," \
    "$(lscpu | grep -qw avx512f && echo 'with AVX-512' || echo 'without AVX-512')"
  echo "- Compiler: $("${CXX:-c++}" --version | head -n 1)"
  build/bench/kelvo_audio_bounds
} >"$tables"
cp "$tables" "$page"
