#include "wavelet/stages/band_scan.h"

namespace viq {

namespace {

constexpr u32 no_row = ~0u;

enum around_line : u32 { around_measure, around_parent, around_nothing, around_lines };

byte_lines &plane_of(component_scan &scan, u32 band);
bool is_parent(const component_scan &scan);
u8 *phase_line(component_scan &scan, u32 y, u32 phase);

} // namespace

bool byte_lines::resize(u32 new_width, u32 new_height) {
    width = new_width;
    height = new_height;
    // a child is wider than twice its parent by one place at most
    pitch = std::size_t{margin} + whole_blocks(width + 1) + margin;
    cells.clear();
    return try_resize(cells, u64{pitch} * height);
}

void begin_component(component_scan &scan, u32 width, u32 height, u32 subbands) {
    scan.kernels = &current_scan_kernels();
    scan.width = width;
    scan.height = height;
    scan.subbands = subbands;
}

bool begin_band(component_scan &scan, u32 band) {
    scan.band = band;
    scan.weighed = no_row;
    scan.area = find_subband(scan.width, scan.height, scan.subbands, band);
    const u32 places = phase_places(scan, 0);
    for (std::vector<i16> &values : scan.values) {
        values.clear();
        if (!try_resize(values, whole_blocks(places)))
            return false;
    }
    return (!is_parent(scan) || plane_of(scan, band).resize(scan.area.width, scan.area.height)) &&
           scan.phases.resize(places, 2 * line_phases) && scan.around.resize(places, around_lines);
}

void begin_line(component_scan &scan, u32 y) {
    const u32 row = y / 2;
    if (scan.band <= 3 || row == scan.weighed)
        return; // the coarsest bands have no parent
    scan.weighed = row;
    byte_lines &parent = plane_of(scan, scan.band - 3);
    const auto line = [&](u32 at) {
        return at < parent.height ? parent.line(at) : scan.around.line(around_nothing);
    };
    scan.kernels->weigh_parent(row > 0 ? line(row - 1) : scan.around.line(around_nothing),
                               line(row), line(row + 1), scan.around.line(around_parent),
                               phase_places(scan, 0));
}

const u8 *measure_phase(component_scan &scan, u32 y, u32 phase) {
    const auto measure = phase == 0 ? scan.kernels->measure_even : scan.kernels->measure_odd;
    u8 *measures = scan.around.line(around_measure);
    measure({phase_line(scan, y + 1, 0), phase_line(scan, y + 1, 1), phase_line(scan, y, 0),
             scan.around.line(around_parent)},
            measures, phase_places(scan, phase));
    return measures;
}

void close_phase(component_scan &scan, u32 y, u32 phase) {
    scan.kernels->cap(scan.values[phase].data(), phase_line(scan, y, phase),
                      phase_places(scan, phase));
}

void end_line(component_scan &scan, u32 y) {
    if (is_parent(scan))
        scan.kernels->join_magnitudes(phase_line(scan, y, 0), phase_line(scan, y, 1),
                                      plane_of(scan, scan.band).line(y), scan.area.width);
}

void skip_lines(component_scan &scan, u32 y, u32 lines) {
    for (u32 i = 0; i < std::min(lines, 2u); ++i)
        for (u32 phase = 0; phase < line_phases; ++phase)
            std::memset(phase_line(scan, y + i, phase), 0, phase_places(scan, 0));
    if (is_parent(scan) && lines > 0) {
        byte_lines &plane = plane_of(scan, scan.band);
        std::memset(plane.line(y), 0, plane.pitch * (lines - 1) + plane.width);
    }
}

namespace {

byte_lines &plane_of(component_scan &scan, u32 band) {
    return scan.planes[(band + 2) / 3 % 2][(band + 2) % 3];
}

bool is_parent(const component_scan &scan) {
    return scan.band != 0 && scan.band + 3 < scan.subbands;
}

u8 *phase_line(component_scan &scan, u32 y, u32 phase) {
    return scan.phases.line(y % 2 * line_phases + phase);
}

} // namespace

} // namespace viq
