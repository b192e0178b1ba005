// TGA writer: not compressed, top line first.
#include "convert/conversion_rows.h"
#include "core/image.h"
#include "files/strip_file.h"
#include "files/tga.h"

using namespace viq;

namespace {

VIQ_PER_CONTEXT(file_sequence, state);

void write_header(std::FILE *file, const tVIQ_Image &image);
u32 write_strip(std::FILE *file, const tVIQ_Image &image);

constexpr u16 formats[] = {VIQ_Y8, VIQ_RGB15, VIQ_RGB24};

constexpr strip_writer writer = {
    .name = "VIQ_write_TGA_file",
    .strip_name = "VIQ_write_TGA_file_1_strip",
    .state = state,
    .formats = formats,
    .write_strip = write_strip,
    .write_header = write_header,
    .too_large = "Image too large for a TGA file",
};

} // namespace

u32 VIQ_write_TGA_file(u32 hImage, u16 wMode) {
    return run_writer(writer, hImage, wMode);
}

namespace {

void pack_bgr(const tVIQ_Image &image, u32 first, u32 lines, u64 line_size, u8 *block);

void write_header(std::FILE *file, const tVIQ_Image &image) {
    u8 header[tga::header_size] = {};
    const bool is_grey = image.pixel_format == VIQ_Y8;
    header[tga::image_type_at] = is_grey ? tga::grey : tga::true_colour;
    store(header + tga::width_at, static_cast<u16>(image.width), endian::little);
    store(header + tga::height_at, static_cast<u16>(image.height), endian::little);
    header[tga::bits_at] = is_grey ? 8 : image.pixel_format == VIQ_RGB15 ? 16 : 24;
    header[tga::descriptor_at] = tga::top_line_first;
    std::fwrite(header, 1, sizeof header, file);
}

// Grey and 15-bit lines are written with their padding, RGB lines as BGR without it.
u32 write_strip(std::FILE *file, const tVIQ_Image &image) {
    if (image.pixel_format == VIQ_RGB24)
        return write_packed_lines(writer.strip_name, file, image, u64{image.width} * 3, pack_bgr);
    write_image_lines(file, image, image.bytes_per_line);
    return success;
}

void pack_bgr(const tVIQ_Image &image, u32 first, u32 lines, u64 line_size, u8 *block) {
    const row_kernel swap = find_row(VIQ_RGB24, VIQ_BGR24);
    for_each_run(image, first, lines, [&](const u8 *pixels, u64 count) {
        swap(pixels, block, static_cast<u32>(count), {});
        block += line_size;
    });
}

} // namespace
