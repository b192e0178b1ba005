#include "tools/upper_left_part.h"

#include <cstring>

#include "tools/pixel_format_table.h"

namespace tool {

namespace {

void copy_lines(const pixels &from, const pixels &to, uint16_t format) {
    const std::size_t bytes = std::size_t{to.width} * bytes_per_pixel(format);
    for (uint32_t y = 0; y < to.lines; ++y)
        std::memcpy(to.line(y), from.line(y), bytes);
}

} // namespace

image upper_left_part(const image &from, uint32_t width, uint32_t height, const std::string &name) {
    image part;
    const uint16_t format = format_of(from.handle);
    check(set_shape(part.handle, format, width, height, height), name);
    copy_lines(pixels_of(from.handle), pixels_of(part.handle), format);
    return part;
}

uint32_t crop_strip(uint32_t width, uint32_t in, uint32_t out, uint16_t command) {
    if (command != VIQ_STRIP_NEXT)
        return 0;
    const uint16_t format = format_of(in);
    uint32_t code = format == VIQ_PALETTED ? VIQ_cmap_copy(in, out) : 0;
    if (!VIQ_IS_ERROR(code))
        code = set_shape(out, format, width, VIQ_get_height(in), VIQ_get_lines_this_strip(in));
    if (!VIQ_IS_ERROR(code))
        copy_lines(pixels_of(in), pixels_of(out), format);
    return code;
}

} // namespace tool
