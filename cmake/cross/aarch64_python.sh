#!/usr/bin/env bash
# Runs Debian's Python for 64-bit ARM, with NumPy, in emulation. The first call unpacks its packages into
# build/cross/python-aarch64; nothing of them is installed.
# Usage: cmake/cross/aarch64_python.sh ARGUMENT ...     PYTHONPATH and KELVO_AUDIO_LIBRARY count, as for any Python
set -euo pipefail
project=$(cd "$(dirname "$0")/../.." && pwd)
source "$project/cmake/install_missing.sh"
install_missing qemu-user
folder=$project/build/cross/python-aarch64
root=$folder/root

if [ ! -e "$folder/complete" ]; then
  rm -rf "$folder"
  mkdir -p "$folder"/{lists,cache/archives}/partial "$root"
  : >"$folder/status" # as if nothing were installed, so that the C library comes too
  # Lists and state of its own, so that the system's need not know of another architecture.
  options=(-qq -o APT::Architecture=arm64 -o APT::Architectures::=arm64 -o APT::Sandbox::User=root
    -o Debug::NoLocking=1 -o "Dir::State=$folder" -o "Dir::State::Lists=$folder/lists"
    -o "Dir::State::Status=$folder/status" -o "Dir::Cache=$folder/cache")
  apt-get "${options[@]}" update >&2
  apt-get "${options[@]}" --yes --no-install-recommends --download-only install python3-numpy libstdc++6 >&2
  for package in "$folder"/cache/archives/*.deb; do
    dpkg-deb --extract "$package" "$root"
  done
  [ -e "$root/lib" ] || ln -s usr/lib "$root/lib" # where the packages leave that to the base system
  rm -rf "$folder/cache" "$folder/lists"
  touch "$folder/complete"
fi

# Unpacked packages have not chosen among the implementations of BLAS and LAPACK, which NumPy needs.
libraries=$root/usr/lib/aarch64-linux-gnu
exec qemu-aarch64 -L "$root" -E "LD_LIBRARY_PATH=$libraries/blas:$libraries/lapack" "$root/usr/bin/python3" "$@"
