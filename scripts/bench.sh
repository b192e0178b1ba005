#!/usr/bin/env bash
# Measures the speed of the library beside other libraries and writes docs/manual/speeds.md and its
# plot. Options are those of bench/speeds.py: --before LIBRARY measures an earlier build in the same
# run, --rows EXPRESSION measures some rows and writes no page, --page and --title write another page
# for another processor. Needs scripts/setup.sh --bench. The
# figures of a machine that does other work at the same time are worth nothing.
set -euo pipefail
cd "$(dirname "$0")/.."
mkdir -p build
cmake --preset release >build/release.log
cmake --build --preset release --target viq
compiler=$(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' build/release/CMakeCache.txt)
# OpenCV for Python is a package of the system.
PATH=/usr/bin:$PATH exec python3 bench/speeds.py build/release/libviq.so --compiler "$("$compiler" --version | head -n 1)" "$@"
