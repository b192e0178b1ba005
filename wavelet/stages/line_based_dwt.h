// All levels of a transform in one pass over the lines of a component.
//
// A level filters its lines as they come, and then down the columns in steps of two lines; what
// the low half of a step gives is a line of the next level at once. So the samples are read once,
// each coefficient is written once, and a level keeps no more than a few lines.
#pragma once

#include "wavelet/stages/kernels.h"

namespace viq {

// Where the coefficients of a component lie; `places` of them have spare room behind the last.
struct coefficient_buffer {
    i16 *places;
    std::size_t pitch;
    u32 width, height;
};

constexpr u32 coefficient_spare = 32;

// Places that begin with a line of the cache, so that stores do not straddle two.
template <class Place> struct aligned_places {
    static constexpr std::size_t cache_line = 64;
    std::vector<Place> places;

    [[nodiscard]] bool resize(u64 count) {
        return try_resize(places, count + cache_line / sizeof(Place));
    }
    Place *data() {
        const auto address = reinterpret_cast<std::uintptr_t>(places.data());
        return places.data() + (~address + 1) % cache_line / sizeof(Place);
    }
};

// Lines with margins in one block of memory.
struct line_store {
    aligned_places<i16> places;
    std::size_t pitch = 0;

    i16 *line(u32 index) { return places.data() + index * pitch + line_margin; }
};

// A line and its two halves are filtered alike down the columns.
struct column_half {
    u32 begin = 0, count = 0;
    std::size_t pitch = 0;
    aligned_places<i32> lines;
    std::vector<u8> unsound;
};

struct cascade_level {
    u32 width = 0, height = 0;
    u32 lines = 0;        // forward: that have come; inverse: that have been made
    i32 step = 0;         // the next one down the columns
    line_store whole;     // forward: low lines on their way to this level; inverse: made by it
    line_store low, high; // halves of lines
    column_half halves[2];
};

struct cascade {
    const wavelet_kernels *kernels = nullptr;
    coefficient_buffer target = {};
    std::vector<cascade_level> levels;
    std::vector<i32> scratch;
    std::vector<i16> spare; // for lines that do not exist
    line_store strip;       // inverse: the lines that are handed out
    u32 strip_begin = 0;
};

// The forward direction takes all lines of the component in their order, one or two at a time.
bool begin_forward(cascade &forward, const coefficient_buffer &target, u32 levels);
void take_lines(cascade &forward, const i16 *const lines[2], u32 count);

// The inverse direction leaves the coefficients as they are. It makes lines in strips; the line
// asked for and those behind it in its strip stay until another strip is asked for.
struct line_strip {
    const i16 *first;
    std::size_t pitch;
    u32 lines;
};
bool begin_inverse(cascade &inverse, const coefficient_buffer &source, u32 levels);
line_strip lines_from(cascade &inverse, u32 y);

} // namespace viq
