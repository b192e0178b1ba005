// Scan order and contexts of the quantised coefficients, shared by both entropy coders.
//
// A component is coded band by band, the coarsest first, and a band line by line. Each line is
// coded in two phases: first its even coefficients, then its odd ones. The context of a coefficient
// is a weighted sum of magnitudes that encoder and decoder both know at that point:
//
//   even: in the line above, the coefficient itself (weight 8), the odd ones beside it (4 each) and
//         the even ones two columns away (3 each); the term of the parent band
//   odd:  the even ones beside it in this line and the odd one above it (8 each), the even ones
//         diagonally above (2 each), the odd ones two columns away above (1 each); the parent term
//
// Magnitudes are limited to 15 and contexts to 255. The parent band has the same direction and is
// one level coarser; bands 1 to 3 have no parent. The coefficients of a phase do not depend on each
// other, so that the contexts of a whole phase are computed with vector instructions.
#pragma once

#include <algorithm>
#include <cstring>

#include "core/lazy_lines.h"
#include "core/types.h"
#include "wavelet/stages/context_kernels.h"
#include "wavelet/stages/subbands.h"

namespace viq {

// The three bands of the finest level share one set of statistics, all other bands another.
constexpr u32 band_kinds = 2;
inline u32 band_kind(u32 band, u32 subbands) {
    return band + 3 >= subbands ? 1 : 0;
}

constexpr u32 line_phases = 2;
constexpr u32 band_directions = 3;

// Lines of bytes with zeros before and after each. All bytes are 0 after a resize.
struct byte_lines {
    lazy_lines<u8> bytes;
    u32 width = 0, height = 0;

    static constexpr u32 margin = kernel_block;
    bool resize(u32 new_width, u32 new_height);
    // The same, for lines that are all written many times; they need no line_to_write.
    bool resize_written(u32 new_width, u32 new_height);
    u8 *written_line(u32 y) { return bytes.lines().line(y) + margin; }
    const u8 *line(u32 y) const { return bytes.lines().line(y) + margin; }
    // Null if memory runs out.
    u8 *line_to_write(u32 y) {
        u8 *start = bytes.write(0, y, bytes.stride);
        return start != nullptr ? start + margin : nullptr;
    }
};

// State of the scan of one component.
struct component_scan {
    const context_kernels *kernels = nullptr;
    const class_kernels *classes = nullptr;
    u32 width = 0, height = 0, subbands = 0;
    u32 band = 0;
    subband area = {};
    // Magnitudes of the current level and its parent level; levels alternate between the two.
    byte_lines level_magnitudes[2][band_directions];
    byte_lines phase_magnitudes; // of both phases, of the current line and the line above
    byte_lines context_lines;    // contexts, parent terms, zeros
    u32 parent_row = 0;          // row of the parent band that the parent terms belong to
    vector<i16> values[line_phases];
    bool no_memory = false; // for a line of magnitudes
    bool has_parts = false; // encoder: the values of the current unit are in parts of a step
};

void begin_component(component_scan &scan, u32 width, u32 height, u32 subbands);
bool begin_band(component_scan &scan, u32 band);

// Steps of a line: begin_line, then for each phase compute_contexts, the coding of its values and
// end_phase, then end_line.
void begin_line(component_scan &scan, u32 y);
const u8 *compute_contexts(component_scan &scan, u32 y, u32 phase);
void end_phase(component_scan &scan, u32 y, u32 phase);
void end_line(component_scan &scan, u32 y);

// Skips lines whose coefficients are all 0.
void skip_lines(component_scan &scan, u32 y, u32 lines);

// Coefficients of a phase of a line.
inline u32 phase_size(const component_scan &scan, u32 phase) {
    return (scan.area.width + 1 - phase) / 2;
}

// Header of a coding unit (a group of lines): whether all its values are 0, and whether -1 occurs.
// With coarse steps the quantiser never produces -1, and the values from -2 down are coded one
// closer to 0.
enum class unit_content : u32 { all_zero, no_minus_one, any };

// Codes one line of the current band. An encoder reads `line`, a decoder writes it with up to
// kernel_block elements after its end; `Coder::decodes` selects the direction.
template <class Coder>
void code_line(component_scan &scan, Coder &coder, u32 y, i16 *line, bool no_minus_one) {
    i16 *even = scan.values[0].data();
    i16 *odd = scan.values[1].data();
    if constexpr (!Coder::decodes)
        scan.kernels->deinterleave(line, even, odd, scan.area.width,
                                   no_minus_one && !scan.has_parts);
    begin_line(scan, y);
    for (u32 phase = 0; phase < line_phases; ++phase) {
        const u32 count = phase_size(scan, phase);
        i16 *values = scan.values[phase].data();
        const u8 *contexts = compute_contexts(scan, y, phase);
        if (!Coder::decodes && scan.has_parts)
            scan.kernels->round_values(contexts, values, count);
        coder.code_phase(scan, phase, contexts, values, count);
        end_phase(scan, y, phase);
    }
    coder.end_line();
    end_line(scan, y);
    if constexpr (Coder::decodes)
        scan.kernels->interleave(even, odd, line, scan.area.width, no_minus_one);
}

} // namespace viq
