#!/usr/bin/env bash
# Makes a release of the commit that is checked out: source archive, Debian packages, Windows archive, wheels, npm
# archive, HTML reference, and a list of hashes. Two runs of one commit give the same bytes, wherever they run.
# Usage: cmake/release.sh [FOLDER]     by default build/release-files
set -euo pipefail
cd "$(dirname "$0")/.."
source cmake/install_missing.sh
install_missing cmake make g++ g++-aarch64-linux-gnu g++-mingw-w64-x86-64-posix binutils llvm dpkg-dev git python3 \
  python3-pip python3-wheel doxygen
if ! git diff --quiet HEAD; then
  echo "release.sh: the checkout has changes" >&2
  exit 1
fi

version=$(sed -n 's/^#define KELVO_AUDIO_VERSION_.* \([0-9]*\)$/\1/p' include/kelvo_audio.h | paste -sd .)
name=kelvo_audio-$version
mkdir -p "${1:-build/release-files}" build
out=$(cd "${1:-build/release-files}" && pwd)
work=$(mktemp -d "$PWD/build/release-work.XXXXXX")
trap 'rm -rf "$work"' EXIT
# Whatever writes a time or an order takes them from here.
SOURCE_DATE_EPOCH=$(git log -1 --format=%ct)
export SOURCE_DATE_EPOCH TZ=UTC LC_ALL=C
umask 022
rm -f "$out"/*

step() { echo "== $*"; }

# build PLATFORM [CMAKE ARGUMENT ...]: builds the library, and installs it stripped into $work/PLATFORM/root.
build() {
  local platform=$1
  shift
  step "building for $platform"
  cmake -S "$work/$name" -B "$work/$platform" -D CMAKE_BUILD_TYPE=Release -D CMAKE_INSTALL_PREFIX=/usr "$@" \
    >"$work/$platform.log"
  cmake --build "$work/$platform" --parallel "$(nproc)" --target kelvo_audio >>"$work/$platform.log"
  DESTDIR=$work/$platform/root cmake --install "$work/$platform" --strip >>"$work/$platform.log"
}

# wheel LIBRARY [PLATFORM TAG]
wheel() {
  KELVO_AUDIO_LIBRARY=$1 KELVO_AUDIO_WHEEL_PLATFORM=${2:-manylinux_2_28_x86_64} /usr/bin/python3 -m pip --quiet wheel \
    --no-index --no-deps --no-build-isolation --wheel-dir "$out" "$work/$name/python"
}

# archive FILE FOLDER: what the folder holds, in one order and with one time.
archive() {
  find "$2" -exec touch --no-dereference --date="@$SOURCE_DATE_EPOCH" {} +
  (cd "$(dirname "$2")" && find "$(basename "$2")" -type f | sort >"$work/files")
  case $1 in
    *.zip) (cd "$(dirname "$2")" && cmake -E tar cf "$out/$1" --format=zip --files-from="$work/files") ;;
    *) tar --create --directory "$(dirname "$2")" --owner=0 --group=0 --numeric-owner --files-from "$work/files" |
      gzip --no-name --best >"$out/$1" ;;
  esac
}

# check_exports LIBRARY: what a wheel for another system has, since no Python for it can import it here.
check_exports() {
  local found
  case $1 in
    *.dll) found=$(llvm-readobj --coff-exports "$1") ;;
    *) found=$(llvm-readelf --dyn-syms "$1") ;;
  esac
  if ! diff <(grep --only-matching '\bkelvoAudio[A-Za-z0-9]*' <<<"$found" | sort -u) <(functions | sort); then
    echo "release.sh: $1 exports other functions than those of the map" >&2
    exit 1
  fi
}

functions() { sed -n 's/^ *\(kelvoAudio[A-Za-z0-9]*\);$/\1/p' cmake/kelvo_audio.map; }

step "archiving the sources"
git archive --format=tar --prefix="$name/" HEAD | gzip --no-name --best >"$out/$name.tar.gz"
tar --extract --file "$out/$name.tar.gz" --directory "$work"

build linux
(cd "$work/linux" && cpack -G DEB -B "$work/deb" >"$work/cpack.log")
cp "$work"/deb/*.deb "$out"
wheel "$(realpath "$work"/linux/root/usr/lib/*/libkelvo_audio.so)"

build aarch64 -D CMAKE_TOOLCHAIN_FILE="$work/$name/cmake/cross/linux.cmake" -D KELVO_CROSS_ARCH=aarch64
library=$(realpath "$(find "$work/aarch64/root" -name libkelvo_audio.so)")
check_exports "$library"
wheel "$library" manylinux_2_28_aarch64

build windows -D CMAKE_TOOLCHAIN_FILE="$work/$name/cmake/cross/windows.cmake"
root=$work/windows/root/usr
check_exports "$root/bin/libkelvo_audio.dll"
wheel "$root/bin/libkelvo_audio.dll" win_amd64
# What Microsoft's linker wants beside the import library of MinGW.
{
  echo "LIBRARY libkelvo_audio.dll"
  echo "EXPORTS"
  functions
} >"$root/lib/kelvo_audio.def"
llvm-dlltool -m i386:x86-64 -D libkelvo_audio.dll -d "$root/lib/kelvo_audio.def" -l "$root/lib/kelvo_audio.lib"
mv "$root" "$work/$name-windows-x86_64"
cp LICENSE "$work/$name-windows-x86_64"
archive "$name-windows-x86_64.zip" "$work/$name-windows-x86_64"

step "packing for npm"
(cd "$work/$name" && js/build.sh && cd js && npm pack --silent --pack-destination "$out") >"$work/npm.log"

step "making the reference"
(cd "$work/$name" && docs/reference.sh) >"$work/reference.log"
mv "$work/$name/build/reference/html" "$work/$name-reference"
archive "$name-reference.tar.gz" "$work/$name-reference"

(cd "$out" && sha256sum -- * >"$work/SHA256SUMS" && mv "$work/SHA256SUMS" .)
step "$out"
cat "$out/SHA256SUMS"
