#!/usr/bin/env bash
# Makes one HTML reference of the public header and the pages in docs/: build/reference/html/index.html.
# Usage: docs/reference.sh     any warning is an error
set -euo pipefail
cd "$(dirname "$0")/.."
source cmake/install_missing.sh
install_missing doxygen python3

KELVO_AUDIO_VERSION=$(sed -n 's/^#define KELVO_AUDIO_VERSION_.* \([0-9]*\)$/\1/p' include/kelvo_audio.h | paste -sd .)
export KELVO_AUDIO_VERSION
mkdir -p build/reference
doxygen docs/doxygen/Doxyfile
echo "build/reference/html/index.html"
