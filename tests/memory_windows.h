// A window system whose windows are memory.
#pragma once

#include <algorithm>
#include <cstring>

#include "core/report.h"
#include "display/display.h"

namespace viq {

struct memory_window {
    vector<u8> pixels; // the surface
    vector<u8> shown;  // the window
};

inline window_pixel memory_pixel = bgrx32_pixel; // of windows that are opened from now on

inline memory_window &memory_of(const display &d) {
    return *static_cast<memory_window *>(d.native);
}

inline u32 open_memory(display &d, const char *, u32 width, u32 height) {
    constexpr u64 most_pixels = 1 << 20;
    if (u64{width} * height <= most_pixels)
        d.native = make_owned<memory_window>().release();
    if (d.native == nullptr)
        return report(d.function, VIQ_ERR_MEMORY, "");
    d.system = &current_windows();
    d.own_window = true;
    d.width = width;
    d.height = height;
    return success;
}

inline u32 bind_memory(display &d, void *, void *) {
    const u32 code = open_memory(d, "", 20, 10);
    d.own_window = false;
    return code;
}

inline void close_memory(display &d) {
    destroy_owned(&memory_of(d));
    d.system = nullptr;
    d.native = nullptr;
    d.method = d.width = d.height = 0;
    d.pixels = {};
}

inline u32 prepare_memory(display &d) {
    if (d.method != 0 && d.pixels.width == d.width && d.pixels.height == d.height)
        return success;
    const u64 size = u64{d.width} * d.height * memory_pixel.bytes;
    if (!try_resize(memory_of(d).pixels, size) || !try_resize(memory_of(d).shown, size))
        return report(d.function, VIQ_ERR_MEMORY, "");
    const auto stride = static_cast<std::ptrdiff_t>(d.width * memory_pixel.bytes);
    d.pixels = {nullptr, stride, d.width, d.height, memory_pixel};
    d.method = VIQ_DISPLAY_IMAGE;
    d.contents_lost = true;
    return success;
}

inline u32 lock_memory(display &d, bool) {
    d.pixels.data = memory_of(d).pixels.data();
    return success;
}

inline u32 put_memory(display &d, const rectangle &changed) {
    for (i32 y = changed.y; y < changed.y + changed.height; ++y) {
        const std::size_t at = static_cast<std::size_t>(y * d.pixels.stride) +
                               static_cast<std::size_t>(changed.x) * d.pixels.pixel.bytes;
        std::memcpy(memory_of(d).shown.data() + at, memory_of(d).pixels.data() + at,
                    static_cast<std::size_t>(changed.width) * d.pixels.pixel.bytes);
    }
    return success;
}

inline constexpr window_system memory_windows = {
    .methods = 1u << VIQ_DISPLAY_IMAGE,
    .has_vertical_sync = true,
    .open = open_memory,
    .bind = bind_memory,
    .close = close_memory,
    .set_title = [](display &, const char *) { return success; },
    .prepare = prepare_memory,
    .lock = lock_memory,
    .put = put_memory,
    .pump = [](display &, u32) { return success; },
};

} // namespace viq
