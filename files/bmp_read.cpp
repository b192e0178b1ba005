// BMP reader: 8 bits with a palette, or 24 bits, not compressed, bottom-up.
#include <algorithm>
#include <tuple>

#include "core/cmap_record.h"
#include "core/image.h"
#include "core/report.h"
#include "core/scratch.h"
#include "files/bmp.h"
#include "files/strip_file.h"

using namespace viq;

namespace {

constexpr const char *name = "VIQ_read_BMP_file";
constexpr const char *strip_name = "VIQ_read_BMP_file_1_strip";

VIQ_PER_CONTEXT(file_sequence, state);

u32 read_header(const read_call &call);
u32 read_lines(const read_call &call);

constexpr strip_reader reader = {
    .name = name,
    .state = state,
    .read_header = read_header,
    .read_lines = read_lines,
    .unbuffered = true,
};

} // namespace

u32 VIQ_read_BMP_file(u32 hImage, u16 wMode) {
    return run_reader(reader, hImage, wMode);
}

namespace {

u32 set_depth(const read_call &call, u16 bits_per_pixel);
u32 check_compression(std::FILE *file);
u32 read_palette(const read_call &call);

// The header fields for the sizes of file, header and palette and for the offset of the data are
// ignored: the pixels follow the header, or a palette of 256 entries.
u32 read_header(const read_call &call) {
    std::FILE *file = call.file;
    tVIQ_Image &image = call.image;
    if (!seek_to(file, bmp::width_at))
        return report_seek(name);
    image.width = read<u32>(file, endian::little);
    image.height = read<u32>(file, endian::little);
    read<u16>(file, endian::little); // planes
    const u16 bits_per_pixel = read<u16>(file, endian::little);
    u32 code = set_depth(call, bits_per_pixel);
    if (!is_error(code))
        code = check_compression(file);
    if (is_error(code))
        return code;
    const bmp_layout layout = bmp_layout_of(image.width, bits_per_pixel);
    if (bmp_file_size(layout, image.height) > file_size(file))
        return report_corrupt(name);
    return success;
}

u32 set_depth(const read_call &call, u16 bits_per_pixel) {
    switch (bits_per_pixel) {
    case 8: {
        const u32 code = read_palette(call);
        return is_error(code) ? code
                              : VIQ_image_set_parameter(call.handle, VIQ_IMAGE_TYPE, VIQ_PALETTED);
    }
    case 24:
        return VIQ_image_set_parameter(call.handle, VIQ_IMAGE_TYPE, VIQ_RGB24);
    default:
        return report(name, VIQ_ERR_UNSUPPORTED, "Unsupported image depth");
    }
}

u32 read_palette(const read_call &call) {
    u8 palette[bmp_palette_size] = {};
    if (!seek_to(call.file, bmp_header_size))
        return report_seek(name);
    // A file that ends here is rejected after the compression has been checked.
    std::ignore = std::fread(palette, 1, sizeof palette, call.file);
    if (call.image.colourmap == nullptr)
        return report_no_colourmap(name);
    for (u32 i = 0; i < colourmap_size; ++i) {
        const u8 *colour = palette + std::size_t{4} * i;
        tVIQ_Colour &entry = call.image.colourmap[i];
        entry.blue = colour[0];
        entry.green = colour[1];
        entry.red = colour[2];
    }
    call.image.num_colours = colourmap_size;
    return success;
}

u32 check_compression(std::FILE *file) {
    if (!seek_to(file, bmp::compression_at))
        return report_seek(name);
    switch (read<u16>(file, endian::little)) {
    case 0:
        return success;
    case 1:
    case 2:
        return report(name, VIQ_ERR_UNSUPPORTED, "Compressed images not supported");
    default:
        return report(name, VIQ_ERR_UNSUPPORTED, "Unrecognized compression type");
    }
}

// The lowest line of the strip is the first one in the file.
u32 read_lines(const read_call &call) {
    const tVIQ_Image &image = call.image;
    const bmp_layout layout = bmp_layout_of(image.width, image.bits_per_pixel);
    const u64 below = u64{image.height} - call.lines_done - image.lines_per_strip;
    if (!seek_to(call.file, layout.offset + below * layout.line_size))
        return report_seek(strip_name);

    const u32 block_lines = std::min(lines_in_block(layout.line_size), image.lines_per_strip);
    const u64 block_size = block_lines * layout.line_size;
    u8 *block = scratch_bytes(scratch::file_lines, block_size);
    if (block == nullptr)
        return report_no_memory(strip_name, block_size);
    const bmp_row row = bmp_row_of(image);
    for (u32 left = image.lines_per_strip; left > 0;) {
        const u32 lines = std::min(block_lines, left);
        const auto wanted = static_cast<std::size_t>(lines * layout.line_size);
        if (std::fread(block, 1, wanted, call.file) != wanted)
            return report_corrupt(strip_name);
        for (u32 n = 0; n < lines; ++n)
            copy_bmp_row(row, block + n * static_cast<std::size_t>(layout.line_size),
                         image.data + --left * static_cast<std::size_t>(image.bytes_per_line));
    }
    return success;
}

} // namespace
