#include "wavelet/stages/band_scan.h"

namespace viq {

namespace {

void add_parent(component_scan &scan, u32 y);

} // namespace

bool magnitude_plane::resize(u32 new_width, u32 new_height, u32 kept_lines) {
    width = new_width;
    height = new_height;
    lines = std::max(std::min(kept_lines, new_height), 2u);
    pitch = margin + std::size_t{width} + margin;
    cells.clear();
    return try_resize(cells, u64{pitch} * lines);
}

bool sign_lines::resize(u32 width) {
    pitch = magnitude_plane::margin + std::size_t{width} + magnitude_plane::margin;
    cells.clear();
    return try_resize(cells, u64{pitch} * 3);
}

bool begin_component(component_scan &scan, u32 width, u32 height, u32 subbands) {
    scan.width = width;
    scan.height = height;
    scan.subbands = subbands;
    scan.around.clear();
    scan.nothing.clear();
    return try_resize(scan.around, u64{width} + 2 * magnitude_plane::margin) &&
           try_resize(scan.nothing, u64{width} + 2 * magnitude_plane::margin);
}

magnitude_plane &plane_of(component_scan &scan, u32 band) {
    return scan.planes[(band + 2) / 3 % 2][(band + 2) % 3];
}

bool begin_band(component_scan &scan, u32 band) {
    scan.band = band;
    scan.area = find_subband(scan.width, scan.height, scan.subbands, band);
    const bool is_parent = band != 0 && band + 3 < scan.subbands;
    return plane_of(scan, band)
               .resize(scan.area.width, scan.area.height, is_parent ? scan.area.height : 2) &&
           scan.signs.resize(scan.area.width);
}

// An empty neighbourhood costs as much to measure as a full one, so that the time of a line does
// not depend on the picture.
void measure_line(component_scan &scan, u32 y) {
    magnitude_plane &plane = plane_of(scan, scan.band);
    const u32 width = scan.area.width;
    u8 *__restrict around = scan.around.data();
    if (y == 0) {
        std::memset(around, 0, width);
    } else {
        const u8 *above = plane.line(y - 1);
        const u8 *left = above - 1;
        for (u32 x = 0; x < width; ++x)
            around[x] = static_cast<u8>(4 * above[x] + 2 * (left[x] + above[x + 1]));
    }
    if (scan.band > 3)
        add_parent(scan, y);
    std::memset(plane.line(y), 0, width);
    std::memset(scan.signs.line(y), 0, width);
}

void skip_lines(component_scan &scan, u32 y, u32 lines) {
    for (u32 i = y; i < y + lines; ++i) {
        std::memset(plane_of(scan, scan.band).line(i), 0, scan.area.width);
        std::memset(scan.signs.line(i), 0, scan.area.width);
    }
}

namespace {

void add_parent(component_scan &scan, u32 y) {
    magnitude_plane &parent = plane_of(scan, scan.band - 3);
    const auto line = [&](u32 row) {
        return row < parent.height ? parent.line(row)
                                   : scan.nothing.data() + magnitude_plane::margin;
    };
    const u32 row = y / 2;
    const u8 *above = row > 0 ? line(row - 1) : scan.nothing.data() + magnitude_plane::margin;
    const u8 *here = line(row);
    const u8 *left = here - 1;
    const u8 *below = line(row + 1);
    const u32 width = scan.area.width;
    u8 *__restrict around = scan.around.data();
    for (u32 x = 0; x < (width + 1) / 2; ++x) {
        const auto sum = static_cast<u8>(2 * here[x] + left[x] + here[x + 1] + above[x] + below[x]);
        around[2 * x] = static_cast<u8>(around[2 * x] + sum);
        around[2 * x + 1] = static_cast<u8>(around[2 * x + 1] + sum);
    }
}

} // namespace

} // namespace viq
