// The order in which quantised values are coded, and the neighbourhood that each is coded in.
//
// A component is scanned band after band from the coarsest, a band line after line, a line in two
// phases: its even places, then its odd ones. The measure of a place weighs the magnitudes around
// it that both sides know: those of the line above and of the band of the same direction one level
// coarser, and for an odd place its even neighbours. No place of a phase depends on another.
#pragma once

#include <algorithm>
#include <cstring>

#include "core/types.h"
#include "wavelet/stages/scan_kernels.h"
#include "wavelet/stages/subbands.h"

namespace viq {

// Bands of one kind share their statistics: those of the finest level, and all others.
constexpr u32 band_kinds = 2;
inline u32 band_kind(u32 band, u32 subbands) {
    return band + 3 >= subbands ? 1 : 0;
}

constexpr u32 line_phases = 2;

// Lines of bytes with empty places around each.
struct byte_lines {
    std::vector<u8> cells;
    std::size_t pitch = 0;
    u32 width = 0, height = 0;

    static constexpr u32 margin = scan_block;
    bool resize(u32 new_width, u32 new_height);
    u8 *line(u32 y) { return cells.data() + y * pitch + margin; }
};

// What a scan remembers of a component.
struct component_scan {
    const scan_kernels *kernels = nullptr;
    u32 width = 0, height = 0, subbands = 0;
    u32 band = 0;
    subband area = {};
    byte_lines planes[2][3]; // magnitudes of even and odd levels, one a direction
    byte_lines phases;       // the two phases of a line and those of the line above it
    byte_lines around;       // a measure, the weight of the parent, and nothing
    u32 weighed = 0;         // the row of the parent that has been weighed
    std::vector<i16> values[line_phases];
};

void begin_component(component_scan &scan, u32 width, u32 height, u32 subbands);
bool begin_band(component_scan &scan, u32 band);

// A line begins, each phase of it is measured, coded and closed, and the line ends.
void begin_line(component_scan &scan, u32 y);
const u8 *measure_phase(component_scan &scan, u32 y, u32 phase);
void close_phase(component_scan &scan, u32 y, u32 phase);
void end_line(component_scan &scan, u32 y);

// Lines without a value.
void skip_lines(component_scan &scan, u32 y, u32 lines);

inline u32 phase_places(const component_scan &scan, u32 phase) {
    return (scan.area.width + 1 - phase) / 2;
}

// What the head of a unit of lines says. The quantiser leaves out the value -1 in bands with coarse
// steps, so that -2 stands for -1 there.
enum class unit_content : u32 { empty, gap, full };

// Codes one line of the present band. A coder either writes the values given or gives back the
// values read, which then have scan_block spare places behind them; `coder.reads` says which.
template <class Coder>
void code_line(component_scan &scan, Coder &coder, u32 y, i16 *line, bool gap) {
    i16 *even = scan.values[0].data();
    i16 *odd = scan.values[1].data();
    if constexpr (!Coder::reads)
        scan.kernels->split(line, even, odd, scan.area.width, gap);
    begin_line(scan, y);
    for (u32 phase = 0; phase < line_phases; ++phase) {
        const u32 places = phase_places(scan, phase);
        i16 *values = scan.values[phase].data();
        if constexpr (Coder::reads)
            std::fill_n(values, places, i16{0});
        coder.places(scan, phase, measure_phase(scan, y, phase), values, places);
        close_phase(scan, y, phase);
    }
    coder.end_line();
    end_line(scan, y);
    if constexpr (Coder::reads)
        scan.kernels->join(even, odd, line, scan.area.width, gap);
}

} // namespace viq
