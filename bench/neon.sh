#!/usr/bin/env bash
# Counts the instructions of the main jobs with NEON, which has 128 bits as SSE2 has, beside those with SSE2, and prints
# a table. Counts of SSE2 are callgrind's. NEON's are of a build for aarch64 that runs in emulation, one instruction
# after the other, each of which is logged: those of two calls less those of one.
set -euo pipefail
cd "$(dirname "$0")/.."
source cmake/install_missing.sh
install_missing g++ g++-aarch64-linux-gnu qemu-user cmake make pkg-config libbenchmark-dev valgrind

jobs=('Mel spectrogram, 10 s/16 kHz' 'Spectrogram, 1000 frames/400/160 complex' 'Spectrogram, 1000 frames/400/160 power 2'
  'Inverse spectrogram, 1000 frames/400' 'FFT of a real signal, all bins/512' 'Inverse FFT, complex/512'
  'Linear filter, 65536 samples/biquad' 'Resampling, 10 s/16 to 8' 'Conversions, 80000 values/power to dB')

# build NAME ARGUMENT ...
build() {
  cmake -S . -B "build/ab/$1" -D CMAKE_BUILD_TYPE=Release -D KELVO_AUDIO_BUILD_BENCHMARKS=ON "${@:2}" >/dev/null
  cmake --build "build/ab/$1" --parallel "$(nproc)" --target kelvo_audio kelvo_audio_ab >/dev/null
}
build sse2 -D KELVO_AUDIO_MAX_LEVEL=sse2
build neon -D CMAKE_TOOLCHAIN_FILE="$PWD/cmake/cross/linux.cmake" -D KELVO_CROSS_ARCH=aarch64

# count_sse2 JOB, count_neon JOB: the instructions of one warm call.
count_sse2() {
  local folder
  folder=$(mktemp -d)
  valgrind --tool=callgrind --quiet --toggle-collect=CountedCall --callgrind-out-file="$folder/out" \
    build/ab/sse2/kelvo_audio_ab count "^$1" build/ab/sse2/libkelvo_audio.so >/dev/null
  sed -n 's/^totals: //p' "$folder/out"
  rm -r "$folder"
}
logged() {  # JOB CALLS
  qemu-aarch64 -L /usr/aarch64-linux-gnu -singlestep -d exec,nochain -D /dev/stdout \
    build/ab/neon/kelvo_audio_ab count "^$1" build/ab/neon/libkelvo_audio.so "$2" | grep -ac '^Trace'
}
count_neon() { echo $(($(logged "$1" 2) - $(logged "$1" 1))); }

echo '| job | SSE2, thousand instructions | NEON | NEON / SSE2 |'
echo '|---|---|---|---|'
for job in "${jobs[@]}"; do
  sse2=$(count_sse2 "$job")
  neon=$(count_neon "$job")
  awk -v job="$job" -v a="$sse2" -v b="$neon" \
    'BEGIN { printf "| %s | %.1f | %.1f | %.2f |\n", job, a / 1000, b / 1000, b / a }'
done
