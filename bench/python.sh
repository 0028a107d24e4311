#!/usr/bin/env bash
# Installs the peers, builds the library, and runs bench/python.py.
# Usage: bench/python.sh [--markdown]
set -euo pipefail
cd "$(dirname "$0")/.."
source cmake/install_missing.sh
install_missing g++ cmake make python3 python3-numpy python3-scipy python3-soundfile python3-torch python3-torchaudio

build=build/python-bench
cmake -S . -B "$build" -D CMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$build" --parallel "$(nproc)" --target kelvo_audio >/dev/null
PYTHONPATH=python KELVO_AUDIO_LIBRARY=$build/libkelvo_audio.so exec /usr/bin/python3 bench/python.py "$@"
