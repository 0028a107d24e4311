#!/usr/bin/env bash
# Builds the library for each platform given, runs the tests that make sense there, and prints a table whose column of
# results must hold one value: a hash over the stored list of hashes and those that the tests print. Installs what it
# needs. Each row keeps its folder and its log in build/cross. The table of all platforms is written to
# docs/platforms.md.
# Usage: cmake/cross/run.sh [--hashes] [PLATFORM ...]     with --hashes no other tests; by default all platforms:
#   x86_64   this machine: g++ and clang at -O0 to -O3, clang with libc++, and a C library kept from the CPU's variants
#   builds   this machine: a newer clang, the builder's own CPU, -Og, link-time optimisation, assertions of the C++ library
#   i686 aarch64 armhf riscv64 ppc64le s390x     Linux, in emulation but for i686
#   windows  64-bit Windows, under Wine
set -euo pipefail
cd "$(dirname "$0")/../.."
source cmake/install_missing.sh

# What a compiler or a C library may do otherwise. That is all that is run on this machine, where test.sh runs the rest.
hashes=(kelvo_audio_reliability_tests -R 'GoldenHashes|ImpossibleSizes')
# All tests but those that take a quarter of an hour in emulation.
most=(all -E 'LargeFft|GiveADocumentedStatus/Resample')

rows=() failed=0

# row NAME [CMAKE ARGUMENT ...]: configures, builds, tests, and adds a line to the table. The array tests holds what to
# build, and options of ctest.
row() {
  local name=$1 build=build/cross/$1 log=build/cross/$1.log
  shift
  mkdir -p build/cross
  echo "$name ..." >&2
  if ! {
    cmake -S . -B "$build" -D KELVO_AUDIO_BUILD_TESTS=ON -D KELVO_AUDIO_WERROR=ON \
      -D Python3_EXECUTABLE=/usr/bin/python3 "$@" &&
      cmake --build "$build" --parallel "$(nproc)" --target "${tests[0]}"
  } >"$log" 2>&1; then
    rows+=("| $name | | | does not build: $log | |") failed=1
    return
  fi
  test_row "$name" "$build"
}

# test_row NAME BUILD: only the tests of a build.
test_row() {
  local name=$1 build=$2 log=build/cross/$1.log
  ctest --test-dir "$build" --parallel "$(nproc)" --timeout 7200 --output-on-failure --no-tests=error "${tests[@]:1}" \
    >>"$log" 2>&1 || failed=1
  local printed compiler levels results passed
  printed=$(grep -a '^hash of' "$build/Testing/Temporary/LastTest.log" | sort -u || true)
  compiler=$(sed -n 's/^set(CMAKE_CXX_COMPILER_\(ID\|VERSION\) "\(.*\)")/\2/p' \
    "$build"/CMakeFiles/*/CMakeCXXCompiler.cmake | paste -sd ' ')
  levels=$(sed 's/.* at //' <<<"$printed" | sort -u | paste -sd ';')
  results=$(sed 's/ at .*//' <<<"$printed" | sha256sum | cut -c 1-16)
  passed=$(grep -a 'tests passed' "$log" | tail -n 1 | sed 's/.*, \(.*\) tests failed out of \(.*\)/\1 of \2 failed/')
  rows+=("| $name | $compiler | $levels | $results | $passed |")
}

run_x86_64() {
  install_missing g++ clang libc++-14-dev libc++abi-14-dev libgtest-dev
  local compiler optimisation tests=("${hashes[@]}")
  for compiler in g++ clang++; do
    for optimisation in -O0 -O1 -O2 -O3; do
      row "x86_64-$compiler$optimisation" -D CMAKE_CXX_COMPILER="$compiler" \
        -D CMAKE_CXX_FLAGS_RELEASE="$optimisation"
    done
  done
  row x86_64-libc++ -D CMAKE_CXX_COMPILER=clang++ -D CMAKE_CXX_FLAGS=-stdlib=libc++ \
    -D KELVO_AUDIO_GOOGLETEST=/usr/src/googletest
  # glibc then finds a CPU without the instructions that it has faster variants of its functions for.
  GLIBC_TUNABLES=glibc.cpu.hwcaps=-AVX512F,-AVX2,-AVX,-FMA,-FMA4,-SSE4_1,-SSE4_2,-XSAVE,-XSAVEC \
    test_row x86_64-glibc-baseline build/cross/x86_64-g++-O3
}

run_builds() {
  install_missing g++ clang-22 libgtest-dev
  local tests=("${hashes[@]}")
  row x86_64-clang-22 -D CMAKE_CXX_COMPILER=clang++-22
  row x86_64-native -D CMAKE_CXX_FLAGS='-O3 -march=native'
  row x86_64-Og -D CMAKE_CXX_FLAGS_RELEASE=-Og
  row x86_64-lto -D CMAKE_INTERPROCEDURAL_OPTIMIZATION=ON
  row x86_64-assertions -D CMAKE_CXX_FLAGS=-D_GLIBCXX_ASSERTIONS
}

run_linux() {
  local package=$1
  [ "$1" != armhf ] || package=arm
  [ "$1" != ppc64le ] || package=powerpc64le
  package=g++-$package-linux-gnu
  [ "$1" != armhf ] || package+=eabihf
  install_missing "$package" qemu-user
  row "$1" -D CMAKE_TOOLCHAIN_FILE=cmake/cross/linux.cmake -D KELVO_CROSS_ARCH="$1" \
    -D KELVO_AUDIO_GOOGLETEST=/usr/src/googletest
}

run_windows() {
  install_missing g++-mingw-w64-x86-64-posix wine64
  # A Windows of its own, made before the tests, which run side by side, all want to make it; and no word of its own.
  export WINEPREFIX=$PWD/build/wine WINEDEBUG=-all WINEDLLOVERRIDES=mscoree,mshtml=
  mkdir -p build
  /usr/lib/wine/wine64 wineboot --init
  row windows -D CMAKE_TOOLCHAIN_FILE=cmake/cross/windows.cmake \
    -D KELVO_AUDIO_GOOGLETEST=/usr/src/googletest
}

tests=("${most[@]}") command=cmake/cross/run.sh
[ "${1-}" != --hashes ] || { tests=("${hashes[@]}") command+=' --hashes' && shift; }
platforms=("$@")
[ $# -gt 0 ] || platforms=(x86_64 builds i686 aarch64 armhf riscv64 ppc64le s390x windows)
install_missing cmake make googletest python3
for platform in "${platforms[@]}"; do
  case $platform in
    x86_64 | builds | windows) "run_$platform" ;;
    i686 | aarch64 | armhf | riscv64 | ppc64le | s390x) run_linux "$platform" ;;
    *) sed -n '/^# Usage/,/^set/p' "$0" | sed -n 's/^# //p' >&2 && exit 2 ;;
  esac
done

table=$(printf '| platform | compiler | kernel levels | results | tests |\n|---|---|---|---|---|\n'
  printf '%s\n' "${rows[@]}")
echo "$table"
if [ $# -eq 0 ]; then
  # Everything after the mark in the page is written here.
  page=docs/platforms.md mark='<!-- Written by cmake/cross/run.sh from here on. -->'
  head=$(sed "\|^${mark}\$|q" "$page")
  printf '%s\n\n' "$head" "\`$command\`, $(date -u +%F):" >"$page"
  echo "$table" >>"$page"
fi
[ "$(printf '%s\n' "${rows[@]}" | cut -d '|' -f 5 | sort -u | wc -l)" -eq 1 ] || { echo "results differ" && failed=1; }
exit "$failed"
