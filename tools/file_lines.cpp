#include "tools/file_lines.h"

#include <bit>
#include <utility>

#include "tools/pixel_format_table.h"

namespace tool {

std::size_t packed_bytes(uint16_t format, uint32_t width) {
    return format == VIQ_Y1 ? (std::size_t{width} + 7) / 8
                            : std::size_t{width} * bytes_per_pixel(format);
}

void swap_samples(uint16_t format, uint8_t *line, uint32_t width) {
    if (format == VIQ_Y16 && std::endian::native == std::endian::little)
        for (std::size_t x = 0; x < width; ++x)
            std::swap(line[2 * x], line[2 * x + 1]);
}

} // namespace tool
