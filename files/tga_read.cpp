// TGA reader: grey, and true colour of 15, 16 or 24 bits, not compressed, lines in file order.
#include <algorithm>
#include <utility>

#include "convert/conversion_rows.h"
#include "core/image.h"
#include "core/report.h"
#include "files/strip_file.h"
#include "files/tga.h"

using namespace viq;

namespace {

constexpr const char *name = "VIQ_read_TGA_file";
constexpr const char *strip_name = "VIQ_read_TGA_file_1_strip";

VIQ_PER_CONTEXT(file_sequence, state);
VIQ_PER_CONTEXT(u32, file_bits); // per pixel, of the open file

u32 read_header(const read_call &call);
u32 read_lines(const read_call &call);

constexpr strip_reader reader = {
    .name = name, .state = state, .read_header = read_header, .read_lines = read_lines};

} // namespace

u32 VIQ_read_TGA_file(u32 hImage, u16 wMode) {
    return run_reader(reader, hImage, wMode);
}

u32 viq::read_opened_tga(u32 hImage, u16 mode, unique_stream opened) {
    return run_reader(reader, hImage, mode, std::move(opened));
}

namespace {

bool read_bgr(const read_call &call);
void unpack_words(const tVIQ_Image &image, u8 *packed, u8 *line);

// The length of the identification, the origin and the descriptor are ignored: the pixels follow
// the header directly, the top line first.
u32 read_header(const read_call &call) {
    tVIQ_Image &image = call.image;
    u8 header[tga::header_size];
    if (std::fread(header, 1, sizeof header, call.file) != sizeof header)
        return report_corrupt(name);
    if (header[tga::map_type_at] != 0)
        return report(name, VIQ_ERR_UNSUPPORTED, "unsupported image");
    const u8 type = header[tga::image_type_at];
    if (type != tga::grey && type != tga::true_colour)
        return report(name, VIQ_ERR_UNSUPPORTED, "unsupported image type");
    const u32 code = VIQ_image_set_parameter(call.handle, VIQ_IMAGE_TYPE,
                                             type == tga::grey ? VIQ_Y8 : VIQ_RGB24);
    if (is_error(code))
        return code;
    image.width = load<u16>(header + tga::width_at, endian::little);
    image.height = load<u16>(header + tga::height_at, endian::little);
    *file_bits = header[tga::bits_at];
    const bool words = *file_bits == 15 || *file_bits == 16;
    image.bits_per_pixel = static_cast<u16>(words ? 24 : *file_bits);
    const u64 pixels = u64{image.width} * image.height * ((*file_bits + 1) / 8);
    return tga::header_size + pixels <= file_size(call.file) ? success : report_corrupt(name);
}

// Grey lines are stored with the padding of the image's lines.
u32 read_lines(const read_call &call) {
    const tVIQ_Image &image = call.image;
    const u32 lines = image.lines_per_strip;
    if (image.pixel_format == VIQ_RGB24 && *file_bits != 24)
        return read_packed_lines(strip_name, call.file, image, 0, lines, u64{image.width} * 2,
                                 unpack_words);
    const bool complete = image.pixel_format == VIQ_RGB24
                              ? read_bgr(call)
                              : read_image_lines(call.file, image, 0, lines, image.bytes_per_line);
    return complete ? success : report_corrupt(strip_name);
}

// Swaps red and blue in place, block by block, while the pixels are in the cache.
bool read_bgr(const read_call &call) {
    const tVIQ_Image &image = call.image;
    const u64 line_size = u64{image.width} * 3;
    const row_kernel swap = find_row(VIQ_BGR24, VIQ_RGB24);
    const u32 block = lines_in_block(line_size);
    for (u32 first = 0; first < image.lines_per_strip; first += block) {
        const u32 lines = std::min(block, image.lines_per_strip - first);
        if (!read_image_lines(call.file, image, first, lines, line_size))
            return false;
        for_each_run(image, first, lines, [swap](u8 *pixels, u64 count) {
            swap(pixels, pixels, static_cast<u32>(count), {});
        });
    }
    return true;
}

// Pixels of 5 bits each of red, green and blue, blue in the lowest bits.
void unpack_words(const tVIQ_Image &image, u8 *packed, u8 *line) {
    words_to_host(packed, image.width, endian::little);
    find_row(VIQ_RGB15, VIQ_RGB24)(packed, line, image.width, {});
}

} // namespace
