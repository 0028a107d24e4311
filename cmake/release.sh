#!/usr/bin/env bash
# Makes a release of the commit that is checked out: source archive, Debian packages, Windows archive, wheels, npm
# archive, HTML reference, and a list of hashes. Two runs of one commit give the same bytes, wherever they run.
# Usage: cmake/release.sh [FOLDER]     by default build/release-files
set -euo pipefail
cd "$(dirname "$0")/.."
source cmake/install_missing.sh
install_missing cmake make g++ g++-aarch64-linux-gnu g++-mingw-w64-x86-64-posix wine64 binutils llvm dpkg-dev git \
  python3 python3-numpy python3-pip python3-wheel doxygen
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
export SOURCE_DATE_EPOCH TZ=UTC LC_ALL=C PIP_ROOT_USER_ACTION=ignore
umask 022
rm -f "$out"/*kelvo[-_]audio* "$out/SHA256SUMS"

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

# check_wheel PLATFORM [PYTHON]: pip installs the wheel for that platform, and it gives the stored bits under that Python.
check_wheel() {
  local target=$work/wheel-$1
  step "checking the wheel for $1"
  /usr/bin/python3 -m pip --quiet install --no-index --no-deps --only-binary=:all: --platform "$1" --target "$target" \
    "$out"/*"$1".whl
  [ $# -lt 2 ] ||
    env -u KELVO_AUDIO_LIBRARY PYTHONPATH="$target" PYTHONDONTWRITEBYTECODE=1 "$2" js/test/golden/make.py --check
}

step "archiving the sources"
git archive --format=tar --prefix="$name/" HEAD | gzip --no-name --best >"$out/$name.tar.gz"
tar --extract --file "$out/$name.tar.gz" --directory "$work"

build linux
(cd "$work/linux" && cpack -G DEB -B "$work/deb" >"$work/cpack.log")
cp "$work"/deb/*.deb "$out"
wheel "$(realpath "$work"/linux/root/usr/lib/*/libkelvo_audio.so)"
check_wheel manylinux_2_28_x86_64 /usr/bin/python3

build aarch64 -D CMAKE_TOOLCHAIN_FILE="$work/$name/cmake/cross/linux.cmake" -D KELVO_CROSS_ARCH=aarch64
library=$(realpath "$(find "$work/aarch64/root" -name libkelvo_audio.so)")
/usr/bin/python3 tests/project/exported_symbols.py aarch64-linux-gnu-nm "$library" .
wheel "$library" manylinux_2_28_aarch64
# Emulation with packages that are not installed; elsewhere than on Debian the exports must do.
! command -v apt-get >/dev/null || check_wheel manylinux_2_28_aarch64 cmake/cross/aarch64_python.sh

build windows -D CMAKE_TOOLCHAIN_FILE="$work/$name/cmake/cross/windows.cmake"
root=$work/windows/root/usr
# Debian has no Python for Windows; the program below runs against the same DLL.
/usr/bin/python3 tests/project/windows_module.py x86_64-w64-mingw32-objdump "$root/bin/libkelvo_audio.dll" .
wheel "$root/bin/libkelvo_audio.dll" win_amd64
check_wheel win_amd64
# What Microsoft's linker wants beside the import library of MinGW.
{
  echo "LIBRARY libkelvo_audio.dll"
  echo "EXPORTS"
  sed -n 's/^KELVO_AUDIO_API int \(kelvoAudio[A-Za-z0-9]*\)(.*/\1/p' include/kelvo_audio.h
} >"$root/lib/kelvo_audio.def"
llvm-dlltool -m i386:x86-64 -D libkelvo_audio.dll -d "$root/lib/kelvo_audio.def" -l "$root/lib/kelvo_audio.lib"
sed -n '/^```c$/,/^```$/p' README.md | sed '/^```/d' >"$work/program.c"
x86_64-w64-mingw32-gcc-posix -I "$root/include" "$work/program.c" "$root/lib/kelvo_audio.lib" -o "$root/bin/program.exe"
WINEPREFIX=$work/wine WINEDEBUG=-all WINEDLLOVERRIDES=mscoree,mshtml= /usr/lib/wine/wine64 "$root/bin/program.exe" |
  grep "101 frames, band 11 at -\?0.0 dB"
rm "$root/bin/program.exe"
mv "$root" "$work/$name-windows-x86_64"
cp LICENSE "$work/$name-windows-x86_64"
archive "$name-windows-x86_64.zip" "$work/$name-windows-x86_64"

step "packing for npm"
(cd "$work/$name" && js/build.sh && cd js && npm pack --silent --pack-destination "$out") >"$work/npm.log"

step "making the reference"
(cd "$work/$name" && docs/reference.sh) >"$work/reference.log"
mv "$work/$name/build/reference/html" "$work/$name-reference"
archive "$name-reference.tar.gz" "$work/$name-reference"

(cd "$out" && sha256sum -- *kelvo[-_]audio* >"$work/SHA256SUMS" && mv "$work/SHA256SUMS" .)
step "$out"
cat "$out/SHA256SUMS"
