#!/usr/bin/env bash
# Builds the library and the tool and shows what they do to real photographs.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh
cmake --preset release
cmake --build --preset release --target viq_tool
build/release/bin/viq demo --out demo-out
echo "The pictures: $PWD/demo-out/index.html"
