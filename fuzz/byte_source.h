// The input of a fuzz target as a source of choices.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>

#include "core/types.h"

namespace viq {

// After the end of the input every byte is 0.
struct byte_source {
    const u8 *next = nullptr;
    std::size_t left = 0;

    u32 byte() {
        if (left == 0)
            return 0;
        --left;
        return *next++;
    }
    u32 word() {
        const u32 low = byte();
        return low | byte() << 8;
    }
    u32 dword() {
        const u32 low = word();
        return low | word() << 16;
    }
    template <class T, std::size_t count> T one_of(const T (&choices)[count]) {
        return choices[byte() % count];
    }
    // True for so many of 256 values of a byte.
    bool chance(u32 of_256) { return byte() < of_256; }
    std::size_t copy(u8 *to, std::size_t count) {
        count = std::min(count, left);
        if (count > 0)
            std::memcpy(to, next, count);
        next += count;
        left -= count;
        return count;
    }
};

// Deterministic bytes from a seed: noise, ramps, two levels, or runs.
inline void fill_pixels(u8 *data, std::size_t count, u32 seed, u32 style) {
    u32 state = seed | 1;
    for (std::size_t i = 0; i < count; ++i) {
        state = state * 1664525 + 1013904223;
        const u8 choices[] = {static_cast<u8>(state >> 24), static_cast<u8>(i * 3),
                              static_cast<u8>(state >> 31 ? 255 : 0),
                              static_cast<u8>(i / 7 % 2 ? 255 : state >> 28)};
        data[i] = choices[style % std::size(choices)];
    }
}

constexpr u16 format_codes[] = {
    VIQ_Y1,          VIQ_Y8,           VIQ_PALETTED,     VIQ_RGB8,    VIQ_RGB15,
    VIQ_RGB16,       VIQ_RGB24,        VIQ_BGR24,        VIQ_RGBX32,  VIQ_BGRX32,
    VIQ_XBGR32,      VIQ_YUV422,       VIQ_CMYK32,       VIQ_Y16,     VIQ_XRGB32,
    VIQ_RGGB32,      VIQ_Y64,          VIQ_JPEG_WORK100, VIQ_HSI,     VIQ_YUV411,
    VIQ_RGB24_OR_Y8, VIQ_JPEG_WORK101, VIQ_JPEG_WORK102, VIQ_WORK103, VIQ_WORK104};

} // namespace viq
