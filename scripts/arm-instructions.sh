#!/usr/bin/env bash
# Counts the instructions that kernels take on 64-bit ARM for 1920 pixels, in the plain set and the
# NEON set, in the emulator. Writes build/arm/instructions.txt: name, plain, NEON, plain / NEON.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh --arm
cmake --preset arm > build/arm.log
cmake --build --preset arm --target viq_static
cc -O2 -Wall -Wextra -shared -fPIC bench/arm/instruction_counter.c -o build/arm/instruction_counter.so
aarch64-linux-gnu-g++ -std=c++20 -O2 -Wall -Wextra -D VIQ_HAVE_NEON=1 -I . -I include \
    bench/arm/row_instructions.cpp build/arm/libviq.a -o build/arm/row_instructions
qemu-aarch64 -L /usr/aarch64-linux-gnu -plugin build/arm/instruction_counter.so build/arm/row_instructions |
    awk '{ $0 = $0 sprintf(" %.1f", $(NF - 1) / $NF); n = NF
           name = $1; for (i = 2; i < n - 2; ++i) name = name " " $i
           printf "%-40s %8d %8d %6.1f\n", name, $(n - 2), $(n - 1), $n }' |
    tee build/arm/instructions.txt
