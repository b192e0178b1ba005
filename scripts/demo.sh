#!/usr/bin/env bash
# Installs what building needs, builds the tool and shows what the library does to photographs.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh
cmake --preset release -D VIQ_TESTS=OFF # the tests need more packages
cmake --build --preset release --target viq_tool
build/release/bin/viq demo --out demo-out
echo "The pictures: $PWD/demo-out/index.html"
