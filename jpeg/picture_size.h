// Sizes of coded pictures.
#pragma once

#include "core/report.h"

namespace viq {

constexpr u32 largest_side = 65535;

constexpr u64 rounded_up(u64 size, u32 unit) {
    return (size + unit - 1) / unit * unit;
}

inline u32 report_too_large(const char *function) {
    return report(function, VIQ_ERR_UNSUPPORTED, "Image too large for JPEG");
}

// Width of an MCU in pixels.
constexpr u32 mcu_width(u16 format) {
    return format == VIQ_Y8 ? 8 : 16;
}

} // namespace viq
