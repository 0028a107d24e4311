#!/usr/bin/env bash
# Builds the npm package, and of it and the page's files the folder web/dist/, which any static server can offer.
# Usage: web/build.sh
set -euo pipefail
cd "$(dirname "$0")/.."
clip=/usr/share/pocketsphinx/test/data/librivox/sense_and_sensibility_01_austen_64kb-0890.wav

source cmake/install_missing.sh
install_missing pocketsphinx-testdata
js/build.sh

rm -rf web/dist
mkdir -p web/dist/golden web/dist/kelvo-audio
cp web/src/* web/dist/
cp js/dist/*.js js/dist/*.wasm js/dist/LICENSE web/dist/kelvo-audio/
cp js/test/golden/{calls.json,hashes.json,run.js} web/dist/golden/
cp "$clip" web/dist/clip.wav
(cd web/dist && find . -type f | sort | sed 's/.*/"&",/' | (echo "const FILES = ["; cat; echo '"./"];')) >web/files.js
mv web/files.js web/dist/
echo "web/dist: $(du -sb web/dist | cut -f1) bytes"
