#!/usr/bin/env bash
# Builds with clang and runs clang-tidy over the library and the tool.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh --tidy
cmake --preset clang -D VIQ_TESTS=OFF
cmake --build --preset clang
run-clang-tidy -quiet -p build/clang \
    "$PWD/(core|convert|files|jpeg|wavelet|process|camera|draw|display|tools)/.*\.cpp"
