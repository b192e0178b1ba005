// Short integer names and helpers for every layer. The public headers use the <stdint.h> names.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/allocation.h"
#include "viq.h"

// Internal linkage and always inlined: the linker keeps only one copy of an ordinary inline
// function, and a copy compiled for one instruction set must never serve the code of another.
#define VIQ_FORMULA [[gnu::always_inline]] static inline

namespace viq {

using u8 = std::uint8_t;
using u16 = std::uint16_t;
using u32 = std::uint32_t;
using u64 = std::uint64_t;
using i16 = std::int16_t;
using i32 = std::int32_t;
using i64 = std::int64_t;

constexpr bool is_error(u32 code) {
    return code > 0xFFFF;
}

constexpr u32 success = 0;

} // namespace viq
