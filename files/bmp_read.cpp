// BMP reader: in the original mode 8 bits with a palette, or 24 bits, not compressed, bottom-up; in
// the conforming mode as the header describes the picture.
#include <algorithm>
#include <cstring>
#include <iterator>
#include <tuple>

#include "core/cmap_record.h"
#include "core/image.h"
#include "core/report.h"
#include "files/bmp.h"
#include "files/strip_file.h"
#include "files/unpack_rows.h"

using namespace viq;

namespace {

constexpr const char *name = "VIQ_read_BMP_file";
constexpr const char *strip_name = "VIQ_read_BMP_file_1_strip";

VIQ_PER_CONTEXT(file_sequence, state);

// How the pixels of the open file are stored.
struct bmp_pixels {
    u32 bits = 0; // per pixel
    stored_lines lines = {};
    bool is_coded = false; // `runs` instead of `lines`
    run_lines runs;
    colour_fields fields = {}; // of 16 and 32 bits
};

VIQ_PER_CONTEXT(bmp_pixels, pixels);

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

u32 read_original_header(const read_call &call);
u32 read_conforming_header(const read_call &call);

u32 read_header(const read_call &call) {
    return reads_conforming() ? read_conforming_header(call) : read_original_header(call);
}

// ---- The original mode

u32 set_depth(const read_call &call, u16 bits_per_pixel);
u32 check_compression(std::FILE *file);
u32 read_palette(const read_call &call, u64 at, u32 colours, u32 entry_size);

// The header fields for the sizes of file, header and palette and for the offset of the data are
// ignored: the pixels follow the header, or a palette of 256 entries.
u32 read_original_header(const read_call &call) {
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
    *pixels = {.bits = bits_per_pixel,
               .lines = {layout.offset, layout.line_size, true},
               .is_coded = false,
               .runs = {},
               .fields = {}};
    return are_inside(pixels->lines, image.height, file_size(file)) ? success
                                                                    : report_corrupt(name);
}

u32 set_depth(const read_call &call, u16 bits_per_pixel) {
    switch (bits_per_pixel) {
    case 8: {
        const u32 code = read_palette(call, bmp_header_size, colourmap_size, 4);
        return is_error(code) ? code
                              : VIQ_image_set_parameter(call.handle, VIQ_IMAGE_TYPE, VIQ_PALETTED);
    }
    case 24:
        return VIQ_image_set_parameter(call.handle, VIQ_IMAGE_TYPE, VIQ_RGB24);
    default:
        return report(name, VIQ_ERR_UNSUPPORTED, "Unsupported image depth");
    }
}

// Colours that the file does not have are black. An entry is blue, green, red, and in most files a
// spare byte.
u32 read_palette(const read_call &call, u64 at, u32 colours, u32 entry_size) {
    u8 palette[bmp_palette_size] = {};
    if (!seek_to(call.file, at))
        return report_seek(name);
    // A file that ends here is rejected after the compression has been checked.
    std::ignore = std::fread(palette, entry_size, colours, call.file);
    if (call.image.colourmap == nullptr)
        return report_no_colourmap(name);
    for (u32 i = 0; i < colourmap_size; ++i) {
        const u8 *colour = i < colours ? palette + std::size_t{entry_size} * i
                                       : palette + std::size_t{entry_size} * colours;
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

// ---- The conforming mode

constexpr u32 file_header_size = 14;
constexpr u32 core_header_size = 12; // 16-bit sides, palette entries of 3 bytes
constexpr u32 os2_header_size = 64;
constexpr u32 header_sizes[] = {core_header_size, 40, 52, 56, os2_header_size, 108, 124};
constexpr u32 first_size_with_masks = 52;
constexpr u32 first_size_with_alpha = 56;

struct bmp_header {
    u32 size = 0; // of the information header
    u32 offset = 0;
    i64 width = 0, height = 0; // negative height: top line first
    u32 bits = 0;
    u32 compression = bmp::not_compressed;
    u32 colours = 0;
    u32 masks[4] = {}; // red, green, blue, alpha
    u64 palette_at = 0;
};

u32 parse_header(std::FILE *file, bmp_header &header);
u32 check_header(const bmp_header &header);
u32 take_palette(const read_call &call, const bmp_header &header);
u32 take_masks(const read_call &call, bmp_header &header);
u32 locate_pixels(const read_call &call, const bmp_header &header);

u32 report_unsupported(const char *message) {
    return report(name, VIQ_ERR_UNSUPPORTED, message);
}

u32 read_conforming_header(const read_call &call) {
    bmp_header header;
    u32 code = parse_header(call.file, header);
    if (!is_error(code))
        code = check_header(header);
    if (is_error(code))
        return code;
    call.image.width = static_cast<u32>(header.width);
    call.image.height = static_cast<u32>(header.height < 0 ? -header.height : header.height);
    *pixels = {};
    pixels->bits = header.bits;
    companion(call.image).facts = {.orientation = 1, .sample_bits = 8, .dropped_samples = 0};
    code = header.bits <= 8 ? take_palette(call, header) : take_masks(call, header);
    return is_error(code) ? code : locate_pixels(call, header);
}

u32 parse_header(std::FILE *file, bmp_header &header) {
    u8 head[file_header_size + 124] = {};
    constexpr u32 short_head = file_header_size + core_header_size;
    const std::size_t size = std::fread(head, 1, sizeof head, file);
    if (size < short_head || head[0] != 'B' || head[1] != 'M')
        return report_corrupt(name);
    const auto word = [&head](u32 at) { return load<u16>(head + at, endian::little); };
    const auto number = [&head](u32 at) { return load<u32>(head + at, endian::little); };
    header.offset = number(bmp::data_offset_at);
    header.size = number(bmp::information_size_at);
    if (std::find(std::begin(header_sizes), std::end(header_sizes), header.size) ==
        std::end(header_sizes))
        return report_unsupported("BMP header size is not supported");
    header.palette_at = u64{file_header_size} + header.size;
    if (header.size == core_header_size) {
        header.width = word(bmp::width_at);
        header.height = word(bmp::width_at + 2);
        header.bits = word(bmp::width_at + 6);
        return success;
    }
    if (size < file_header_size + header.size)
        return report_corrupt(name);
    header.width = static_cast<i32>(number(bmp::width_at));
    header.height = static_cast<i32>(number(bmp::height_at));
    header.bits = word(bmp::bits_at);
    header.compression = number(bmp::compression_at);
    header.colours = number(bmp::colours_at);
    const bool has_alpha = header.compression == bmp::colour_and_alpha_masks ||
                           (header.size >= first_size_with_alpha && header.size != os2_header_size);
    const bool has_masks = has_alpha || header.compression == bmp::colour_masks;
    const u32 masks = has_alpha ? 4 : has_masks ? 3 : 0;
    for (u32 i = 0; i < masks; ++i)
        header.masks[i] = number(bmp::masks_at + 4 * i);
    if (header.size < first_size_with_masks && has_masks)
        header.palette_at += u64{4} * masks;
    return success;
}

constexpr named_value unread_compressions[] = {
    {4, "BMP compression JPEG is not supported"},
    {5, "BMP compression PNG is not supported"},
    {11, "BMP compression CMYK is not supported"},
    {12, "BMP compression CMYK RLE8 is not supported"},
    {13, "BMP compression CMYK RLE4 is not supported"},
};

u32 check_header(const bmp_header &header) {
    if (header.width <= 0 || header.height == 0 || header.offset < header.palette_at)
        return report_corrupt(name);
    const u32 bits = header.bits;
    if (bits != 1 && bits != 2 && bits != 4 && bits != 8 && bits != 16 && bits != 24 && bits != 32)
        return report_unsupported("Unsupported image depth");
    if (header.size == os2_header_size && header.compression > bmp::rle4)
        return report_unsupported("BMP compression of OS/2 is not supported");
    switch (header.compression) {
    case bmp::not_compressed:
        return success;
    case bmp::rle8:
    case bmp::rle4:
        if (header.height < 0)
            return report_unsupported("BMP run-length data from the top is not supported");
        return bits == (header.compression == bmp::rle8 ? 8u : 4u) ? success : report_corrupt(name);
    case bmp::colour_masks:
    case bmp::colour_and_alpha_masks:
        return bits == 16 || bits == 32 ? success : report_corrupt(name);
    default:
        return report_unsupported(
            message_for(unread_compressions, header.compression, "Unrecognized compression type"));
    }
}

// The palette ends with the number of colours in the header, or where the pixels begin.
u32 take_palette(const read_call &call, const bmp_header &header) {
    const u32 entry_size = header.size == core_header_size ? 3 : 4;
    const u32 most = 1u << header.bits;
    const u32 stated = header.colours != 0 ? std::min(header.colours, most) : most;
    const u64 room = (header.offset - header.palette_at) / entry_size;
    const auto colours = static_cast<u32>(std::min<u64>(stated, room));
    companion(call.image).facts.sample_bits = header.bits;
    const u32 code = read_palette(call, header.palette_at, colours, entry_size);
    return is_error(code) ? code
                          : VIQ_image_set_parameter(call.handle, VIQ_IMAGE_TYPE, VIQ_PALETTED);
}

// Without masks, words of 16 bits hold five bits of each component, words of 32 bits eight.
u32 take_masks(const read_call &call, bmp_header &header) {
    if (header.compression == bmp::not_compressed) {
        constexpr u32 of_16_bits[4] = {0x7C00, 0x03E0, 0x001F, 0};
        constexpr u32 of_32_bits[4] = {0xFF0000, 0x00FF00, 0x0000FF, 0};
        const auto &masks = header.bits == 16 ? of_16_bits : of_32_bits;
        std::copy(std::begin(masks), std::end(masks), header.masks);
    }
    const u32(&masks)[4] = header.masks;
    colour_fields &fields = pixels->fields;
    const bool disjoint = (masks[0] & masks[1]) == 0 && ((masks[0] | masks[1]) & masks[2]) == 0 &&
                          ((masks[0] | masks[1] | masks[2]) & masks[3]) == 0;
    if (!disjoint || !make_field(masks[0], fields.red) || !make_field(masks[1], fields.green) ||
        !make_field(masks[2], fields.blue) || (masks[0] | masks[1] | masks[2]) == 0 ||
        (header.bits == 16 && (masks[0] | masks[1] | masks[2]) > 0xFFFF))
        return report_unsupported("BMP colour masks are not supported");
    file_facts &facts = companion(call.image).facts;
    facts.sample_bits = 0;
    for (const u32 mask : {masks[0], masks[1], masks[2]})
        facts.sample_bits = std::max<u32>(facts.sample_bits, static_cast<u32>(std::popcount(mask)));
    facts.dropped_samples = masks[3] != 0 ? 1 : 0;
    return VIQ_image_set_parameter(call.handle, VIQ_IMAGE_TYPE, VIQ_RGB24);
}

// Run-length data can skip pixels, so that the size of the picture is limited by a ratio.
bool is_in_proportion(const tVIQ_Image &image, u64 coded) {
    constexpr u64 most_per_byte = 256, always_accepted = 65536;
    return u64{image.width} * image.height <= coded * most_per_byte + always_accepted;
}

u32 locate_pixels(const read_call &call, const bmp_header &header) {
    const tVIQ_Image &image = call.image;
    const u64 size = file_size(call.file);
    const u64 line_size = (u64{image.width} * header.bits + 31) / 32 * 4;
    pixels->lines = {header.offset, line_size, header.height > 0};
    pixels->is_coded = header.compression == bmp::rle8 || header.compression == bmp::rle4;
    if (!pixels->is_coded)
        return are_inside(pixels->lines, image.height, size) ? success : report_corrupt(name);
    if (header.offset >= size || !is_in_proportion(image, size - header.offset))
        return report_corrupt(name);
    // The runs of some programs include the padding of a line.
    pixels->runs = {.decode = decode_bmp_runs,
                    .width = static_cast<u32>(line_size * 8 / header.bits),
                    .height = image.height,
                    .pixel_size = 1,
                    .nibbles = header.compression == bmp::rle4,
                    .start = header.offset,
                    .end = size,
                    .spacing = 1,
                    .index = {}};
    return index_lines(name, call.file, pixels->runs);
}

// ---- Pixels of both modes

u32 read_lines(const read_call &call) {
    const tVIQ_Image &image = call.image;
    const u32 width = image.width;
    const u32 bits = pixels->bits;
    if (pixels->is_coded) {
        const u32 count = image.lines_per_strip;
        const u32 first = image.height - call.lines_done - count;
        return read_run_lines(strip_name, call.file, pixels->runs, first, count,
                              [&image, count, width](u32 n, const u8 *line) {
                                  const std::size_t y = count - 1 - n;
                                  std::memcpy(image.data + y * image.bytes_per_line, line, width);
                              });
    }
    if (bits < 8)
        return read_stored_lines(strip_name, call, pixels->lines,
                                 [bits, width](const u8 *packed, u8 *line) {
                                     unpack_indices(packed, bits, line, width);
                                 });
    if (bits == 16 || bits == 32)
        return read_stored_lines(strip_name, call, pixels->lines,
                                 [bits, width](const u8 *packed, u8 *line) {
                                     unpack_fields(pixels->fields, bits / 8, packed, line, width);
                                 });
    const bmp_row row = bmp_row_of(image);
    return read_stored_lines(strip_name, call, pixels->lines, [&row](const u8 *packed, u8 *line) {
        copy_bmp_row(row, packed, line);
    });
}

} // namespace
