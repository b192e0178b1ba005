#include "wavelet/stages/band_scan.h"

namespace viq {

namespace {

constexpr u32 no_row = ~0u;
constexpr u32 last_band_without_parent = 3;

// A band may be one column wider than twice its parent.
std::size_t stride_of(u32 width) {
    return std::size_t{byte_lines::margin} + round_up_to_block(width + 1) + byte_lines::margin;
}

enum context_line : u32 { line_of_contexts, line_of_parent_terms, line_of_zeros, context_lines };

byte_lines &magnitudes_of(component_scan &scan, u32 band);
bool is_parent(const component_scan &scan);
u8 *phase_line(component_scan &scan, u32 y, u32 phase);

} // namespace

bool byte_lines::resize(u32 new_width, u32 new_height) {
    width = new_width;
    height = new_height;
    if (!bytes.begin(stride_of(width), height, 0))
        return false;
    bytes.clear_all();
    return true;
}

bool byte_lines::resize_written(u32 new_width, u32 new_height) {
    width = new_width;
    height = new_height;
    if (!bytes.begin_whole(stride_of(width), height, 0))
        return false;
    for (u32 y = 0; y < height; ++y)
        std::memset(bytes.write(0, y, bytes.stride), 0, bytes.stride);
    return true;
}

void begin_component(component_scan &scan, u32 width, u32 height, u32 subbands) {
    scan.kernels = &current_context_kernels();
    scan.classes = &current_class_kernels();
    scan.width = width;
    scan.height = height;
    scan.subbands = subbands;
    scan.no_memory = false;
}

bool begin_band(component_scan &scan, u32 band) {
    scan.band = band;
    scan.parent_row = no_row;
    scan.area = find_subband(scan.width, scan.height, scan.subbands, band);
    const u32 count = phase_size(scan, 0);
    for (vector<i16> &values : scan.values) {
        values.clear();
        if (!try_resize(values, round_up_to_block(count)))
            return false;
    }
    return (!is_parent(scan) ||
            magnitudes_of(scan, band).resize(scan.area.width, scan.area.height)) &&
           scan.phase_magnitudes.resize_written(count, 2 * line_phases) &&
           scan.context_lines.resize_written(count, context_lines);
}

void begin_line(component_scan &scan, u32 y) {
    const u32 row = y / 2;
    if (scan.band <= last_band_without_parent || row == scan.parent_row)
        return;
    scan.parent_row = row;
    const byte_lines &parent = magnitudes_of(scan, scan.band - band_directions);
    const u8 *zeros = scan.context_lines.line(line_of_zeros);
    const auto line = [&](u32 at) { return at < parent.height ? parent.line(at) : zeros; };
    scan.kernels->parent_terms(row > 0 ? line(row - 1) : zeros, line(row), line(row + 1),
                               scan.context_lines.written_line(line_of_parent_terms),
                               phase_size(scan, 0));
}

const u8 *compute_contexts(component_scan &scan, u32 y, u32 phase) {
    const auto compute = phase == 0 ? scan.kernels->even_contexts : scan.kernels->odd_contexts;
    u8 *contexts = scan.context_lines.written_line(line_of_contexts);
    compute({phase_line(scan, y + 1, 0), phase_line(scan, y + 1, 1), phase_line(scan, y, 0),
             scan.context_lines.line(line_of_parent_terms)},
            contexts, phase_size(scan, phase));
    return contexts;
}

void end_phase(component_scan &scan, u32 y, u32 phase) {
    scan.kernels->context_magnitudes(scan.values[phase].data(), phase_line(scan, y, phase),
                                     phase_size(scan, phase));
}

void end_line(component_scan &scan, u32 y) {
    if (!is_parent(scan))
        return;
    if (u8 *line = magnitudes_of(scan, scan.band).line_to_write(y))
        scan.kernels->interleave_magnitudes(phase_line(scan, y, 0), phase_line(scan, y, 1), line,
                                            scan.area.width);
    else
        scan.no_memory = true;
}

void skip_lines(component_scan &scan, u32 y, u32 lines) {
    for (u32 i = 0; i < std::min(lines, 2u); ++i)
        for (u32 phase = 0; phase < line_phases; ++phase)
            std::memset(phase_line(scan, y + i, phase), 0, phase_size(scan, 0));
}

namespace {

byte_lines &magnitudes_of(component_scan &scan, u32 band) {
    const u32 level = (band + 2) / band_directions;
    return scan.level_magnitudes[level % 2][(band + 2) % band_directions];
}

bool is_parent(const component_scan &scan) {
    return scan.band != 0 && scan.band + band_directions < scan.subbands;
}

// Lines of the phases alternate; line y + 1 addresses the line above line y.
u8 *phase_line(component_scan &scan, u32 y, u32 phase) {
    return scan.phase_magnitudes.written_line(y % 2 * line_phases + phase);
}

} // namespace

} // namespace viq
