// The frame of a film that is due at a time.
#pragma once

#include <chrono>
#include <cstdint>

namespace tool {

struct frame_clock {
    using time = std::chrono::steady_clock::time_point;

    double rate;          // frames a second
    uint64_t start_frame; // the frame that was shown at the start, counted from 1
    time start;

    // Not limited to the frames of a film.
    uint64_t frame_at(time now) const {
        const double seconds = std::chrono::duration<double>(now - start).count();
        return start_frame + static_cast<uint64_t>(seconds * rate);
    }

    // Rounded up, so that the frame is due at this time.
    time time_of(uint64_t frame) const {
        const std::chrono::duration<double> passed(static_cast<double>(frame - start_frame) / rate);
        return start + std::chrono::ceil<std::chrono::nanoseconds>(passed);
    }
};

} // namespace tool
