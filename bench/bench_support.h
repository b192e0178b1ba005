// Shared by the benchmarks: images, failures that end the program, and timing.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <limits>
#include <vector>

#include "core/types.h"

namespace bench {

using namespace viq;

// ---- Failures

inline void need(bool good, const char *what) {
    if (good)
        return;
    std::fprintf(stderr, "%s failed\n", what);
    std::exit(2);
}

inline void need_ok(u32 code, const char *what) {
    need(!VIQ_IS_ERROR(code), what);
}

// ---- Images

// An image that holds its picture in one strip; the pixels are not initialised.
inline u32 make_image(u16 format, u32 width, u32 height) {
    const u32 image = VIQ_image_create();
    VIQ_image_set_parameter(image, VIQ_IMAGE_TYPE, format);
    VIQ_image_set_parameter(image, VIQ_WIDTH, width);
    VIQ_image_set_parameter(image, VIQ_HEIGHT, height);
    VIQ_image_set_parameter(image, VIQ_LINES_PER_STRIP, height);
    need_ok(VIQ_image_malloc_a_strip(image), "allocation");
    return image;
}

inline u8 *data_of(u32 image) {
    return static_cast<u8 *>(VIQ_image_get_ptr(image, VIQ_PTR_DATA));
}

// Line padding included.
inline std::size_t bytes_of(u32 image) {
    return std::size_t{VIQ_get_bytes_per_line(image)} * VIQ_get_height(image);
}

// A step of a linear congruential generator; the upper bits are the most random ones.
inline u32 next_random(u32 &state) {
    state = state * 1664525 + 1013904223;
    return state;
}

// ---- Timing

using job = std::function<void()>;

inline double seconds(const job &work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

// The shortest time of each job. All jobs run in turn, so that a disturbance affects all of them;
// each runs `repetitions` times in a row, so that it finds its own data in the caches.
inline std::vector<double> best_seconds(const std::vector<job> &jobs, u32 rounds,
                                        u32 repetitions = 1) {
    std::vector<double> best(jobs.size(), std::numeric_limits<double>::max());
    for (u32 round = 0; round < rounds; ++round)
        for (std::size_t n = 0; n < jobs.size(); ++n)
            for (u32 run = 0; run < repetitions; ++run)
                best[n] = std::min(best[n], seconds(jobs[n]));
    return best;
}

} // namespace bench
