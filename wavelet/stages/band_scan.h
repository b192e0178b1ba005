// The order in which quantised values are coded, and the neighbourhood that each is coded in.
//
// A component is scanned band after band from the coarsest, a band line after line. The level of a
// neighbourhood is a measure of the magnitudes around a value that both sides know: the value on
// its left, the three above it, and five of the band of the same direction one level coarser. Where
// eight places in a row have a neighbourhood of nothing, one flag speaks for all of them.
#pragma once

#include <algorithm>
#include <cstring>

#include "core/types.h"
#include "wavelet/stages/subbands.h"

namespace viq {

constexpr u32 neighbourhood_levels = 16;
constexpr u32 level_in_group = neighbourhood_levels; // after a flag that a group holds something
constexpr u32 scan_levels = neighbourhood_levels + 1;
constexpr u32 group_places = 8;

// Bands of one kind share their statistics: those of the finest level, and all others.
constexpr u32 band_kinds = 2;
inline u32 band_kind(u32 band, u32 subbands) {
    return band + 3 >= subbands ? 1 : 0;
}

// Magnitudes of a band, capped, with empty places around each line. The finest level is nobody's
// parent and keeps two lines only.
struct magnitude_plane {
    std::vector<u8> cells;
    std::size_t pitch = 0;
    u32 width = 0, height = 0, lines = 1;

    static constexpr std::size_t margin = 16;
    bool resize(u32 new_width, u32 new_height, u32 kept_lines);
    u8 *line(u32 y) { return cells.data() + (y % lines) * pitch + margin; }
};

// Signs around a value: 0 where there is nothing, 1 above zero, 2 below.
struct sign_lines {
    std::vector<u8> cells;
    std::size_t pitch = 0;

    bool resize(u32 width);
    u8 *line(u32 y) { return cells.data() + (y % 3) * pitch + magnitude_plane::margin; }
};

constexpr u32 sign_patterns = 81;

// What a scan remembers of a component.
struct component_scan {
    u32 width = 0, height = 0, subbands = 0;
    u32 band = 0;
    subband area = {};
    magnitude_plane planes[2][3]; // of even and odd levels, one a direction
    sign_lines signs;
    std::vector<u8> around; // for each place of a line, what lies above it and in the parent
    std::vector<u8> nothing;
};

bool begin_component(component_scan &scan, u32 width, u32 height, u32 subbands);
bool begin_band(component_scan &scan, u32 band);

// Measures the neighbourhoods of a line; afterwards the line's own magnitudes are empty.
void measure_line(component_scan &scan, u32 y);

// Lines without a value.
void skip_lines(component_scan &scan, u32 y, u32 lines);

magnitude_plane &plane_of(component_scan &scan, u32 band);

constexpr u16 level_floors[neighbourhood_levels] = {0,  1,  2,  3,  4,  5,  6,  8,
                                                    10, 12, 15, 19, 24, 30, 40, 56};

struct level_table {
    u8 levels[512];
};

constexpr level_table make_levels() {
    level_table table = {};
    for (u32 sum = 0; sum < 512; ++sum) {
        u32 level = neighbourhood_levels - 1;
        while (level_floors[level] > sum / 3)
            --level;
        table.levels[sum] = static_cast<u8>(level);
    }
    return table;
}

inline constexpr level_table level_of_sum = make_levels();

// The quantiser leaves out the value -1 in bands with coarse steps, so that -2 stands for -1 there.
inline i32 compact(i32 value, bool gap) {
    return gap && value < 0 ? value + 1 : value;
}

inline i32 expand(i32 value, bool gap) {
    return gap && value < 0 ? value - 1 : value;
}

// What the head of a unit of lines says.
enum class unit_content : u32 { empty, gap, full };

constexpr i32 magnitude_cap = 15;

inline bool is_all_zero(const u8 *places) {
    u64 word;
    std::memcpy(&word, places, sizeof word);
    return word == 0;
}

inline bool is_all_zero(const i16 *values) {
    u64 words[2];
    std::memcpy(words, values, sizeof words);
    return (words[0] | words[1]) == 0;
}

// Codes one line of the present band. A coder either writes the values given or gives back the
// values read; `coder.reads` says which.
template <class Coder>
void scan_line(component_scan &scan, Coder &coder, u32 y, i16 *values, bool gap) {
    const u32 width = scan.area.width;
    u8 *own = plane_of(scan, scan.band).line(y);
    u8 *signs = scan.signs.line(y);
    const u8 *signs_above = scan.signs.line(y + 2);
    const u8 *signs_over_that = scan.signs.line(y + 1);
    const u8 *around = scan.around.data();
    u32 group_end = 0;
    for (u32 x = 0; x < width;) {
        const u32 left = (own + x)[-1];
        if (x >= group_end && left == 0 && x + group_places <= width && is_all_zero(around + x)) {
            const bool any = coder.group(Coder::reads || !is_all_zero(values + x));
            if (!any) {
                if constexpr (Coder::reads)
                    std::fill_n(values + x, group_places, i16{0});
                x += group_places;
                continue;
            }
            group_end = x + group_places;
        }
        const u32 sum = around[x] + 4 * left;
        const u32 level = sum == 0 && x < group_end ? level_in_group : level_of_sum.levels[sum];
        const auto pattern = [&] {
            const u8 *here = signs + x;
            return ((signs_over_that[x] * 3u + signs_above[x]) * 3u + here[-2]) * 3u + here[-1];
        };
        const i32 value = coder.value(level, pattern, Coder::reads ? 0 : compact(values[x], gap));
        if constexpr (Coder::reads)
            values[x] = static_cast<i16>(expand(value, gap));
        if (value != 0) {
            own[x] = static_cast<u8>(std::min(value < 0 ? -value : value, magnitude_cap));
            signs[x] = value < 0 ? 2 : 1;
        }
        ++x;
    }
}

} // namespace viq
