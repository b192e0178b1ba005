// Integer names and small helpers that every layer uses.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>

#include "viq.h"

namespace viq {

using u64 = std::uint64_t;
using i64 = std::int64_t;

constexpr bool is_error(u32 code) {
    return code > 0xFFFF;
}

constexpr u32 success = 0;

// Resizes a vector. False if memory runs out: no exception leaves the library.
template <class T> [[nodiscard]] bool try_resize(std::vector<T> &items, u64 count) noexcept {
    if (count > SIZE_MAX / sizeof(T))
        return false;
    try {
        items.resize(static_cast<std::size_t>(count));
    } catch (...) {
        return false;
    }
    return true;
}

} // namespace viq
