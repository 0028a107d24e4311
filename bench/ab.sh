#!/usr/bin/env bash
# Compares the speed of two revisions: builds both, runs the library's side of the benchmark's rows in alternation, and
# prints for each row the time of BASE divided by the new one's (above 1: the new one is faster) with the 95 % interval
# of its median, whether 1 lies within, callgrind's counts of instructions of one warm call, and whether the results are
# the same bits. Both are driven through the public header, so that anything behind it may have changed.
# Usage: bench/ab.sh BASE [OPTION ...]
#   --new REVISION    compare this with BASE; by default the working tree as it is
#   --rows REGEX      rows whose "section/name" holds a match; by default all
#   --level LEVEL     build both up to this CPU level (scalar, sse2, avx2 ...); by default all levels
#   --alternations N  processes, each of which times the two in turn; at least 20, by default 20
#   --no-counts       without callgrind, which takes about a minute for all rows
set -euo pipefail
cd "$(dirname "$0")/.."

usage() { sed -n '/^# Usage/,/^set/p' "$0" | sed -n 's/^# //p' >&2 && exit 2; }
[ $# -gt 0 ] && [[ $1 != -* ]] || usage
base=$1 new='' level='' run=()
shift
while [ $# -gt 0 ]; do
  case $1 in
    --new) new=${2:?} && shift 2 ;;
    --level) level=${2:?} && shift 2 ;;
    --rows | --alternations) run+=("$1" "${2:?}") && shift 2 ;;
    --no-counts) run+=("$1") && shift ;;
    *) usage ;;
  esac
done

source cmake/install_missing.sh
install_missing g++ cmake make git python3 pkg-config libbenchmark-dev valgrind

# build_library REVISION: leaves the path of the library in $library. An empty revision is the working tree. What a
# revision holds never changes, so its folder is kept.
build_library() {
  local source=$PWD name=new
  if [ -n "$1" ]; then
    name=$(git rev-parse --short "$1^{commit}")
    source=$PWD/build/ab/$name/source
    [ -d "$source" ] || { mkdir -p "$source.part" && git archive "$name" | tar -x -C "$source.part" &&
      mv "$source.part" "$source"; }
  fi
  local build=$PWD/build/ab/$name/${level:-all}
  echo "building ${build#"$PWD"/}"
  cmake -S "$source" -B "$build" -D CMAKE_BUILD_TYPE=Release -D KELVO_AUDIO_MAX_LEVEL="$level" >/dev/null
  cmake --build "$build" --parallel "$(nproc)" --target kelvo_audio >/dev/null
  library=$build/libkelvo_audio.so
}

build_library "$base"
base_library=$library
build_library "$new"
new_library=$library
cmake --preset bench >/dev/null
cmake --build build/bench --parallel "$(nproc)" --target kelvo_audio_ab >/dev/null

echo "$(git describe --always "$base") against ${new:-the working tree}, ${level:-all levels}," \
  "$(lscpu | sed -n 's/^Model name: *//p'), $("${CXX:-c++}" --version | head -n 1)"
exec python3 bench/ab.py build/bench/kelvo_audio_ab "$base_library" "$new_library" "${run[@]}"
