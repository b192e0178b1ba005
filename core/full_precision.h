// Floating-point functions of the C library of 32-bit x86 systems compute in x87 registers, with
// the precision that the program has chosen. Some graphics libraries choose 24 bits. Tables of the
// library are the same in every program: an object of this type selects 64 bits until it is
// destroyed.
#pragma once

#include "core/types.h"

namespace viq {

struct full_precision {
#if defined(__i386__)
    full_precision() {
        constexpr u16 precision_64_bits = 0x300;
        asm volatile("fnstcw %0" : "=m"(before));
        const u16 full = before | precision_64_bits;
        asm volatile("fldcw %0" : : "m"(full));
    }
    ~full_precision() {
        asm volatile("fldcw %0" : : "m"(before));
    }
    u16 before = 0;
#else
    full_precision() {}
    ~full_precision() {}
#endif
    full_precision(const full_precision &) = delete;
    full_precision &operator=(const full_precision &) = delete;
};

} // namespace viq
