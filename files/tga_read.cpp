// TGA reader: in the original mode grey, and true colour of 15, 16 or 24 bits, not compressed,
// lines in file order; in the conforming mode as the header describes the picture.
#include <algorithm>
#include <cstring>
#include <utility>

#include "convert/conversion_rows.h"
#include "core/cmap_record.h"
#include "core/image.h"
#include "core/report.h"
#include "files/run_lines.h"
#include "files/strip_file.h"
#include "files/tga.h"
#include "files/unpack_rows.h"

using namespace viq;

namespace {

constexpr const char *name = "VIQ_read_TGA_file";
constexpr const char *strip_name = "VIQ_read_TGA_file_1_strip";

VIQ_PER_CONTEXT(file_sequence, state);

enum class tga_order { original, stored, coded };

// How the pixels of the open file are stored.
struct tga_pixels {
    tga_order order = tga_order::original;
    u32 bits = 0;            // per pixel
    stored_lines lines = {}; // also the line order of coded lines
    run_lines runs;
    bool right_first = false;
};

VIQ_PER_CONTEXT(tga_pixels, pixels);

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

using tga_header = u8[tga::header_size];

u32 take_original_header(const read_call &call, const tga_header &header);
u32 take_conforming_header(const read_call &call, const tga_header &header);
u32 read_original_lines(const read_call &call);
u32 read_conforming_lines(const read_call &call);

u32 read_header(const read_call &call) {
    tga_header header;
    if (std::fread(header, 1, sizeof header, call.file) != sizeof header)
        return report_corrupt(name);
    *pixels = {};
    pixels->bits = header[tga::bits_at];
    return reads_conforming() ? take_conforming_header(call, header)
                              : take_original_header(call, header);
}

void take_size(tVIQ_Image &image, const tga_header &header) {
    image.width = load<u16>(header + tga::width_at, endian::little);
    image.height = load<u16>(header + tga::height_at, endian::little);
}

u32 read_lines(const read_call &call) {
    return pixels->order == tga_order::original ? read_original_lines(call)
                                                : read_conforming_lines(call);
}

u32 report_unsupported(const char *message) {
    return report(name, VIQ_ERR_UNSUPPORTED, message);
}

// ---- The original mode

bool read_bgr(const read_call &call);
void unpack_words(const tVIQ_Image &image, u8 *packed, u8 *line);

// The length of the identification, the origin and the descriptor are ignored: the pixels follow
// the header directly, the top line first.
u32 take_original_header(const read_call &call, const tga_header &header) {
    tVIQ_Image &image = call.image;
    if (header[tga::map_type_at] != 0)
        return report_unsupported("unsupported image");
    const u8 type = header[tga::image_type_at];
    if (type != tga::grey && type != tga::true_colour)
        return report_unsupported("unsupported image type");
    const u32 code = VIQ_image_set_parameter(call.handle, VIQ_IMAGE_TYPE,
                                             type == tga::grey ? VIQ_Y8 : VIQ_RGB24);
    if (is_error(code))
        return code;
    take_size(image, header);
    const bool words = pixels->bits == 15 || pixels->bits == 16;
    image.bits_per_pixel = static_cast<u16>(words ? 24 : pixels->bits);
    const u64 size = u64{image.width} * image.height * ((pixels->bits + 1) / 8);
    return tga::header_size + size <= file_size(call.file) ? success : report_corrupt(name);
}

// Grey lines are stored with the padding of the image's lines.
u32 read_original_lines(const read_call &call) {
    const tVIQ_Image &image = call.image;
    const u32 lines = image.lines_per_strip;
    if (image.pixel_format == VIQ_RGB24 && pixels->bits != 24)
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
        for_each_run(image, first, lines,
                     [swap](u8 *run, u64 count) { swap(run, run, static_cast<u32>(count), {}); });
    }
    return true;
}

// Pixels of 5 bits each of red, green and blue, blue in the lowest bits.
void unpack_words(const tVIQ_Image &image, u8 *packed, u8 *line) {
    words_to_host(packed, image.width, endian::little);
    find_row(VIQ_RGB15, VIQ_RGB24)(packed, line, image.width, {});
}

// ---- The conforming mode

u32 check_type(const tga_header &header);
u32 check_depth(const tga_header &header);
u32 take_map(const read_call &call, const tga_header &header);
bool decode_runs(const run_lines &lines, coded_bytes &in, run_state &packet, u8 *line);

bool is_mapped(const tga_header &header) {
    return (header[tga::image_type_at] & ~tga::run_length) == tga::mapped;
}

u32 bytes_of(u32 bits) {
    return (bits + 7) / 8;
}

u16 map_length(const tga_header &header) {
    return load<u16>(header + tga::map_length_at, endian::little);
}

u32 set_format(const read_call &call, const tga_header &header) {
    const u32 type = header[tga::image_type_at] & ~tga::run_length;
    const u32 alpha = header[tga::descriptor_at] & tga::alpha_bits;
    const bool has_spare = pixels->bits == 32 || (type != tga::mapped && pixels->bits == 16);
    const bool words = type == tga::true_colour && pixels->bits <= 16;
    companion(call.image).facts = {.orientation = 1,
                                   .sample_bits = words ? 5u : 8u,
                                   .dropped_samples = has_spare && alpha != 0 ? 1u : 0u};
    return VIQ_image_set_parameter(call.handle, VIQ_IMAGE_TYPE,
                                   type == tga::mapped ? VIQ_PALETTED
                                   : type == tga::grey ? VIQ_Y8
                                                       : VIQ_RGB24);
}

// The identification and the colourmap precede the pixels.
u32 take_conforming_header(const read_call &call, const tga_header &header) {
    u32 code = check_type(header);
    if (!is_error(code))
        code = check_depth(header);
    if (!is_error(code))
        code = set_format(call, header);
    if (!is_error(code) && is_mapped(header))
        code = take_map(call, header);
    if (is_error(code))
        return code;
    take_size(call.image, header);
    const tVIQ_Image &image = call.image;
    const u64 map_size = header[tga::map_type_at] == 0
                             ? 0
                             : u64{map_length(header)} * bytes_of(header[tga::map_bits_at]);
    const u64 start = tga::header_size + header[tga::identification_at] + map_size;
    const u32 pixel_size = bytes_of(pixels->bits);
    const u8 descriptor = header[tga::descriptor_at];
    pixels->lines = {start, u64{image.width} * pixel_size, (descriptor & tga::top_line_first) == 0};
    pixels->right_first = (descriptor & tga::right_pixel_first) != 0;
    const bool is_coded = (header[tga::image_type_at] & tga::run_length) != 0;
    pixels->order = is_coded ? tga_order::coded : tga_order::stored;
    const u64 size = file_size(call.file);
    if (!is_coded)
        return are_inside(pixels->lines, image.height, size) ? success : report_corrupt(name);
    pixels->runs = {.decode = decode_runs,
                    .width = image.width,
                    .height = image.height,
                    .pixel_size = pixel_size,
                    .nibbles = false,
                    .start = start,
                    .end = size,
                    .spacing = 1,
                    .index = {}};
    return index_lines(name, call.file, pixels->runs);
}

u32 check_type(const tga_header &header) {
    const u8 type = header[tga::image_type_at];
    const u8 picture = type & static_cast<u8>(~tga::run_length);
    if (picture < tga::mapped || picture > tga::grey)
        return report_unsupported("unsupported image type");
    if (header[tga::map_type_at] > 1)
        return report_unsupported("TGA colourmap type is not supported");
    if (picture == tga::mapped && header[tga::map_type_at] == 0)
        return report(name, VIQ_ERR_CORRUPT, "TGA colourmap is missing");
    if ((header[tga::descriptor_at] & tga::interleaved) != 0)
        return report_unsupported("TGA interleaved lines are not supported");
    return success;
}

// Grey of 16 bits is 8 bits of grey and 8 bits of alpha.
u32 check_depth(const tga_header &header) {
    const u32 type = header[tga::image_type_at] & ~tga::run_length;
    const u32 alpha = header[tga::descriptor_at] & tga::alpha_bits;
    const u32 bits = pixels->bits;
    const bool supported = type == tga::true_colour
                               ? bits == 15 || bits == 16 || bits == 24 || bits == 32
                           : type == tga::grey ? bits == 8 || (bits == 16 && alpha == 8)
                                               : bits == 8;
    return supported ? success : report_unsupported("TGA pixel depth is not supported");
}

// Words of 15 and 16 bits: red in bits 14 to 10, blue in the lowest bits.
void unpack_five_bits(const u8 *words, u8 *rgb, u32 count) {
    static constexpr colour_fields fields = {field_of(10, 31), field_of(5, 31), field_of(0, 31)};
    unpack_fields(fields, 2, words, rgb, count);
}

// Entries before the first one and after the last one are black.
u32 take_map(const read_call &call, const tga_header &header) {
    const u32 bits = header[tga::map_bits_at];
    const u32 entry_size = bytes_of(bits);
    const u32 first = load<u16>(header + tga::map_first_at, endian::little);
    const u32 length = map_length(header);
    if (bits != 15 && bits != 16 && bits != 24 && bits != 32)
        return report_unsupported("TGA colourmap depth is not supported");
    if (first + length > colourmap_size)
        return report_unsupported("TGA colourmap of more than 256 colours is not supported");
    if (call.image.colourmap == nullptr)
        return report_no_colourmap(name);
    u8 entries[4 * colourmap_size];
    if (!seek_to(call.file, u64{tga::header_size} + header[tga::identification_at]) ||
        std::fread(entries, entry_size, length, call.file) != length)
        return report_corrupt(name);
    u8 colours[3 * colourmap_size] = {};
    u8 *to = colours + std::size_t{3} * first;
    if (entry_size == 2)
        unpack_five_bits(entries, to, length);
    else
        find_row(entry_size == 3 ? VIQ_BGR24 : VIQ_BGRX32, VIQ_RGB24)(entries, to, length, {});
    for (std::size_t i = 0; i < colourmap_size; ++i) {
        tVIQ_Colour &entry = call.image.colourmap[i];
        entry.red = colours[3 * i];
        entry.green = colours[3 * i + 1];
        entry.blue = colours[3 * i + 2];
    }
    call.image.num_colours = colourmap_size;
    return success;
}

// A packet may continue on the next line.
bool decode_runs(const run_lines &lines, coded_bytes &in, run_state &packet, u8 *line) {
    constexpr u8 repeats = 0x80, count_bits = 0x7F;
    const u32 size = lines.pixel_size;
    for (u32 x = 0; x < lines.width;) {
        if (packet.pending == 0) {
            u8 head = 0;
            if (!take_byte(in, head))
                return false;
            packet.pending = (head & count_bits) + 1u;
            packet.flag = (head & repeats) != 0;
            if (packet.flag && !take_bytes(in, packet.value, size))
                return false;
        }
        const u32 count = std::min(packet.pending, lines.width - x);
        for (u32 i = 0; i < count; ++i) {
            u8 pixel[sizeof packet.value];
            if (!packet.flag && !take_bytes(in, pixel, size))
                return false;
            if (line != nullptr)
                std::memcpy(line + (std::size_t{x} + i) * size, packet.flag ? packet.value : pixel,
                            size);
        }
        x += count;
        packet.pending -= count;
    }
    return true;
}

// Converts a line of the file.
void unpack_line(const tVIQ_Image &image, const u8 *packed, u8 *line) {
    const u32 width = image.width;
    const u32 size = bytes_of(pixels->bits);
    if (image.pixel_format == VIQ_RGB24 && size == 2)
        unpack_five_bits(packed, line, width);
    else if (image.pixel_format == VIQ_RGB24)
        find_row(size == 3 ? VIQ_BGR24 : VIQ_BGRX32, VIQ_RGB24)(packed, line, width, {});
    else
        for (std::size_t x = 0; x < width; ++x)
            line[x] = packed[x * size];
    if (pixels->right_first)
        reverse_pixels(line, width, image.pixel_format == VIQ_RGB24 ? 3 : 1);
}

u32 read_conforming_lines(const read_call &call) {
    const tVIQ_Image &image = call.image;
    const auto unpack = [&image](const u8 *packed, u8 *line) { unpack_line(image, packed, line); };
    if (pixels->order == tga_order::stored)
        return read_stored_lines(strip_name, call, pixels->lines, unpack);
    const u32 count = image.lines_per_strip;
    const bool bottom_up = pixels->lines.bottom_up;
    const u32 first = bottom_up ? image.height - call.lines_done - count : call.lines_done;
    return read_run_lines(strip_name, call.file, pixels->runs, first, count,
                          [&](u32 n, const u8 *line) {
                              const std::size_t y = bottom_up ? count - 1 - n : n;
                              unpack(line, image.data + y * image.bytes_per_line);
                          });
}

} // namespace
