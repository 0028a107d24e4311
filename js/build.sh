#!/usr/bin/env bash
# Installs what is missing, and builds the npm package into js/dist/.
# Usage: js/build.sh
set -euo pipefail
cd "$(dirname "$0")/.."

source cmake/install_missing.sh
install_missing cmake make emscripten
install_missing_node

cmake --preset wasm >/dev/null
cmake --build build/wasm --parallel "$(nproc)" --target kelvo_audio_module

install_modules js
rm -rf js/dist
js/node_modules/.bin/tsc --project js
cp build/wasm/kelvo_audio.wasm LICENSE js/dist/
echo "js/dist: $(wc -c <js/dist/kelvo_audio.wasm) bytes of WebAssembly, $(gzip -9c js/dist/kelvo_audio.wasm | wc -c) gzipped"
