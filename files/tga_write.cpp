// TGA writer: not compressed, top line first.
#include "convert/conversion_rows.h"
#include "core/image.h"
#include "core/report.h"
#include "files/stream.h"
#include "files/tga.h"

using namespace viq;

namespace {

write_state state;

verdict refuse(const strip_call &call);
void put_head(std::FILE *file, const tVIQ_Image &image);
u32 put_strip(std::FILE *file, const tVIQ_Image &image);

constexpr strip_writer writer = {
    "VIQ_write_TGA_file", "VIQ_write_TGA_file_1_strip", &state, refuse, put_head, put_strip};

} // namespace

u32 VIQ_write_TGA_file(u32 hImage, u16 wMode) {
    return run_writer(writer, hImage, wMode);
}

namespace {

void fill_bgr(const tVIQ_Image &image, u32 first, u32 lines, u64 line, u8 *block);

verdict refuse(const strip_call &call) {
    const tVIQ_Image &image = *call.in;
    const u16 format = image.pixel_format;
    if (format != VIQ_Y8 && format != VIQ_RGB15 && format != VIQ_RGB24)
        return stop_with(report_format(writer.name, format));
    return refuse_size(writer.name, image, "Image too large for a TGA file");
}

void put_head(std::FILE *file, const tVIQ_Image &image) {
    u8 header[tga::header_size] = {};
    const bool is_grey = image.pixel_format == VIQ_Y8;
    header[tga::image_type_at] = is_grey ? tga::grey : tga::true_colour;
    store(header + tga::width_at, static_cast<u16>(image.width), endian::little);
    store(header + tga::height_at, static_cast<u16>(image.height), endian::little);
    header[tga::bits_at] = is_grey ? 8 : image.pixel_format == VIQ_RGB15 ? 16 : 24;
    header[tga::descriptor_at] = tga::top_line_first;
    std::fwrite(header, 1, sizeof header, file);
}

// Grey and 15-bit lines go with their padding; colour goes as blue, green, red without it.
u32 put_strip(std::FILE *file, const tVIQ_Image &image) {
    if (image.pixel_format == VIQ_RGB24)
        return put_blocks(writer.strip_name, file, image, u64{image.width} * 3, fill_bgr);
    put_lines(file, image, image.bytes_per_line);
    return success;
}

void fill_bgr(const tVIQ_Image &image, u32 first, u32 lines, u64 line, u8 *block) {
    const row_kernel swap = find_row(VIQ_RGB24, VIQ_BGR24);
    for_each_run(image, first, lines, [&](const u8 *pixels, u64 count) {
        swap(pixels, block, static_cast<u32>(count), {});
        block += line;
    });
}

} // namespace
