#include "files/bmp.h"

#include <cstring>

namespace viq {

bmp_layout bmp_layout_of(u32 width, u32 bits_per_pixel) {
    const u64 pixels = u64{width} * (bits_per_pixel / 8);
    const u32 palette = bits_per_pixel == 8 ? bmp_palette_size : 0;
    return {(pixels + 3) / 4 * 4, pixels, bmp_header_size + palette};
}

u64 bmp_file_size(const bmp_layout &layout, u32 height) {
    // Any height times a line of 32 bits fits 64 bits.
    return layout.line_size <= UINT32_MAX ? layout.offset + height * layout.line_size : UINT64_MAX;
}

bmp_row bmp_row_of(const tVIQ_Image &image) {
    const bool colour = image.pixel_format == VIQ_RGB24;
    return {colour ? find_row(VIQ_BGR24, VIQ_RGB24) : nullptr, image.width,
            static_cast<std::size_t>(image.width) * (colour ? 3 : 1)};
}

void copy_bmp_row(const bmp_row &row, const u8 *from, u8 *to) {
    if (row.swap != nullptr)
        row.swap(from, to, row.pixels, {});
    else
        std::memcpy(to, from, row.bytes);
}

} // namespace viq
