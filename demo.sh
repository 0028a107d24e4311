#!/usr/bin/env bash
# Builds the library and draws the log-mel spectrogram of a recording, by default of a clip of read speech.
# Usage: ./demo.sh [--band-pass LOW HIGH] [--output FOLDER] [RECORDING]     writes to demo-output/ unless told otherwise
#        ./demo.sh --web [PORT]     builds the live page, serves it on this machine and prints its address
set -euo pipefail
root=$(cd "$(dirname "$0")" && pwd)
default_recording=/usr/share/pocketsphinx/test/data/librivox/sense_and_sensibility_01_austen_64kb-0890.wav

if [ "${1-}" = --web ]; then
  "$root/web/build.sh"
  exec node "$root/web/serve.js" "${2-8000}"
fi

arguments=("$@")
recording=("$default_recording")
while [ $# -gt 0 ]; do
  case $1 in
    --band-pass) shift $(($# < 3 ? $# : 3)) ;;
    --output) shift $(($# < 2 ? $# : 2)) ;;
    *) recording=() && shift ;;
  esac
done

source "$root/cmake/install_missing.sh"
install_missing g++ cmake make pkg-config libsndfile1-dev libcairo2-dev
[ ${#recording[@]} -eq 0 ] || install_missing pocketsphinx-testdata

build=$root/build/demo
mkdir -p "$build"
echo "building in $build"
# Each tenth of the way; the compiler's own words go into the log.
show_progress='{ print >log_file } /^\[ *[0-9]+%\]/ { percent = int(substr($0, 2, 3) / 10) * 10
  if (percent > shown) { shown = percent; print "building " percent "%"; fflush() } }'
if ! (cd "$root" && cmake --preset demo && cmake --build "$build" --parallel "$(nproc)") 2>&1 |
  awk -v log_file="$build/build.log" "$show_progress"; then
  cat "$build/build.log" >&2
  exit 1
fi
# The last --output counts, so the caller's own overrides this one.
exec "$build/log_mel" --output "$root/demo-output" "${recording[@]}" "${arguments[@]}"
