#!/usr/bin/env bash
# Installs the peers, builds the benchmark, runs it and writes the tables of docs/performance.md, its figures and the
# ratios in README.md. With options of Google Benchmark, such as --benchmark_filter=REGEX, it prints the tables of that
# run instead.
# Usage: bench/run.sh [--level LEVEL] [GOOGLE BENCHMARK OPTIONS]
#   --level avx2   limit the library to this CPU level and compile peers for it; writes docs/performance_avx2.md
set -euo pipefail
cd "$(dirname "$0")/.."

level='' page=docs/performance.md
if [ "${1:-}" = --level ]; then
  level=${2:?} page=docs/performance_$2.md
  shift 2
fi
# Rows that do not depend on the level, and the longest, are in the other page only.
other_rows='-(^(One|The shortest|First|Two|CPU)|^Long|^Complex|^Large.*2.24)'

peers=(libfftw3-dev libkissfft-dev libsamplerate0-dev libsoxr-dev libswresample-dev libavutil-dev libliquid-dev)
source cmake/install_missing.sh
install_missing g++ cmake make pkg-config python3 libbenchmark-dev "${peers[@]}"

build=build/bench${level:+-$level}
cmake --preset bench -B "$build" -D KELVO_AUDIO_MAX_LEVEL="$level"
cmake --build "$build" --parallel "$(nproc)" --target kelvo_audio_bench
if [ $# -gt 0 ]; then
  exec "$build/kelvo_audio_bench" "$@"
fi

tables=$(mktemp)
trap 'rm -f "$tables"' EXIT
"$build/kelvo_audio_bench" --tables="$tables" ${level:+"--benchmark_filter=$other_rows"}

# Everything after the mark in the page is written here.
mark='<!-- Written by bench/run.sh from here on. -->'
grep -qxF -- "$mark" "$page"
{
  sed "\|^${mark}\$|q" "$page"
  echo
  echo "- Command: \`bench/run.sh${level:+ --level $level}\`, $(date -u +%F)"
  echo "- Machine: $(lscpu | sed -n 's/^Model name: *//p'), family $(lscpu | sed -n 's/^CPU family: *//p')," \
    "$(nproc) cores, $(uname -m)," \
    "$(lscpu | grep -qw avx512f && echo 'with AVX-512' || echo 'without AVX-512')"
  echo "- Compiler: $("${CXX:-c++}" --version | head -n 1)"
  echo "- Peers: $(dpkg-query --show --showformat='${source:Package} ${source:Version}\n' "${peers[@]}" | sort -u |
    paste -sd, | sed 's/,/, /g'), and glibc $(getconf GNU_LIBC_VERSION | cut -d' ' -f2)"
  cat "$tables"
} >"$tables.page"
mv "$tables.page" "$page"
[ -n "$level" ] || python3 bench/figures.py "$page" docs/fft_lengths.svg docs/frame_costs.svg README.md
