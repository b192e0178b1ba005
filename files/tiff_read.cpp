// TIFF reader: grey, palette and RGB, not compressed, both byte orders.
#include <algorithm>
#include <utility>

#include "core/cmap_record.h"
#include "core/image.h"
#include "core/report.h"
#include "files/strip_file.h"
#include "files/tiff.h"

using namespace viq;

namespace {

constexpr const char *name = "VIQ_read_TIFF_file";
constexpr const char *strip_name = "VIQ_read_TIFF_file_1_strip";

VIQ_PER_CONTEXT(file_sequence, state);

// Location of the lines in the open file.
struct line_source {
    std::vector<u32> strips; // offsets of the TIFF strips
    u32 rows_per_strip = 1;
    u64 line_size = 0;    // bytes of a file line
    bool nibbles = false; // two 4-bit indices per byte
    u64 position = 0;     // of the stream, position_unknown before the first read
};

VIQ_PER_CONTEXT(line_source, line_places);

u32 read_header(const read_call &call);
u32 read_lines(const read_call &call);

constexpr strip_reader reader = {.name = name,
                                 .state = state,
                                 .read_header = read_header,
                                 .read_lines = read_lines,
                                 .line = packed_bit_line};

endian order_of(u16 order) {
    return order == 'M' ? endian::big : endian::little;
}

} // namespace

u32 VIQ_read_TIFF_file(u32 hImage, u16 wMode) {
    return run_reader(reader, hImage, wMode);
}

u32 viq::read_opened_tiff(u32 hImage, u16 mode, unique_stream opened) {
    return run_reader(reader, hImage, mode, std::move(opened));
}

u16 TIFF_read_ui16(FILE *f, u16 wOrder) {
    return read<u16>(f, order_of(wOrder));
}

u32 TIFF_read_ui32(FILE *f, u16 wOrder) {
    return read<u32>(f, order_of(wOrder));
}

u32 TIFF_read_data(FILE *f, u16 wOrder, u16 wType) {
    return wType == tiff::type_short ? TIFF_read_ui16(f, wOrder) : TIFF_read_ui32(f, wOrder);
}

namespace {

constexpr u64 position_unknown = UINT64_MAX;

struct entry {
    u16 tag, type;
    u32 count;
    u32 value;  // of type `type`
    u64 offset; // of the values in the file: in the entry itself, or where the entry points
};

// The fields of the directory that describe the picture.
struct directory {
    u16 order = 0;
    u64 file_size = 0;
    u32 width = 0, height = 0;
    u32 bits = 1;
    u32 photometric = UINT32_MAX;
    u32 samples = 1;
    u32 rows_per_strip = UINT32_MAX;
    entry strips = {};
    entry map = {};
};

u32 read_directory(std::FILE *file, directory &page);
u32 take_entry(std::FILE *file, const entry &field, directory &page);
u32 take_bits(std::FILE *file, const entry &field, directory &page);
u32 decide_format(const read_call &call, const directory &page);
u32 read_colour_map(const read_call &call, const directory &page);
u32 find_lines(std::FILE *file, const directory &page);
u32 read_run(const read_call &call, u32 first, u32 lines);
void unpack_nibbles(const tVIQ_Image &image, u8 *packed, u8 *line);

u32 report_unsupported() {
    return report(name, VIQ_ERR_UNSUPPORTED, "unsupported TIFF format");
}

u32 size_of(u16 type) {
    return type == tiff::type_short ? 2 : 4;
}

bool is_inside(const directory &page, u64 offset, u64 size) {
    return offset <= page.file_size && size <= page.file_size - offset;
}

u32 read_header(const read_call &call) {
    directory page;
    page.file_size = file_size(call.file);
    u32 code = read_directory(call.file, page);
    if (is_error(code))
        return code;
    call.image.width = page.width;
    call.image.height = page.height;
    code = decide_format(call, page);
    return is_error(code) ? code : find_lines(call.file, page);
}

u32 read_directory(std::FILE *file, directory &page) {
    const int first = std::fgetc(file);
    std::fgetc(file); // the second byte of the order is not compared
    if (first != 'M' && first != 'I')
        return report(name, VIQ_ERR_UNEXPECTED, "Expecting 'MM' or 'II'");
    page.order = static_cast<u16>(first);
    if (TIFF_read_ui16(file, page.order) != tiff::magic)
        return report(name, VIQ_ERR_UNEXPECTED, "Expecting 42");
    u64 at = TIFF_read_ui32(file, page.order);
    if (!is_inside(page, at, 2) || !seek_to(file, at))
        return report_corrupt(name);
    const u16 entries = TIFF_read_ui16(file, page.order);
    if (entries == 0)
        return report_unsupported();
    at += 2;
    if (!is_inside(page, at, u64{entries} * tiff::entry_size))
        return report_corrupt(name);
    for (u32 n = 0; n < entries; ++n, at += tiff::entry_size) {
        if (!seek_to(file, at))
            return report_corrupt(name);
        entry field = {};
        field.tag = TIFF_read_ui16(file, page.order);
        field.type = TIFF_read_ui16(file, page.order);
        field.count = TIFF_read_ui32(file, page.order);
        const u32 word = TIFF_read_ui32(file, page.order);
        const bool inside = u64{field.count} * size_of(field.type) <= sizeof word;
        field.offset = inside ? at + tiff::entry_size - sizeof word : word;
        // A short value occupies the first two bytes of its field in both byte orders.
        field.value = field.type != tiff::type_short        ? word
                      : order_of(page.order) == endian::big ? word >> 16
                                                            : word & 0xFFFF;
        const u32 code = take_entry(file, field, page);
        if (is_error(code))
            return code;
    }
    return success;
}

// Tags that must have a single value.
struct single_value {
    u16 tag;
    u32 code;
    const char *message;
};

constexpr single_value single_values[] = {
    {tiff::new_subfile_type, VIQ_ERR_UNEXPECTED, "expecting 1 entry in NewSubFileType"},
    {tiff::image_width, VIQ_ERR_UNEXPECTED, "expecting 1 entry in ImageWidth"},
    {tiff::image_length, VIQ_ERR_UNEXPECTED, "expecting 1 entry in ImageLength"},
    {tiff::compression, VIQ_ERR_UNEXPECTED, "expecting 1 entry in Compression"},
    {tiff::photometric, VIQ_ERR_UNSUPPORTED, "expecting 1 entry in PhotometricInterp"},
    {tiff::samples_per_pixel, VIQ_ERR_UNSUPPORTED, "expecting 1 entry in SamplesPerPixeltr"},
    {tiff::rows_per_strip, VIQ_ERR_UNSUPPORTED, "expecting 1 entry in RowsPerStrip"},
};

u32 take_entry(std::FILE *file, const entry &field, directory &page) {
    for (const single_value &rule : single_values)
        if (rule.tag == field.tag && field.count != 1)
            return report(name, rule.code, rule.message);
    switch (field.tag) {
    case tiff::new_subfile_type:
        return field.value == 0
                   ? success
                   : report(name, VIQ_ERR_UNEXPECTED, "expecting single full resolution image");
    case tiff::image_width:
        page.width = field.value;
        break;
    case tiff::image_length:
        page.height = field.value;
        break;
    case tiff::bits_per_sample:
        return take_bits(file, field, page);
    case tiff::compression:
        return field.value == 1
                   ? success
                   : report(name, VIQ_ERR_UNSUPPORTED, "compressed TIFF images not supported");
    case tiff::photometric:
        if (field.value > tiff::palette)
            return report(name, VIQ_ERR_UNSUPPORTED, "unsupported image type");
        page.photometric = field.value;
        break;
    case tiff::strip_offsets:
        page.strips = field;
        break;
    case tiff::samples_per_pixel:
        page.samples = field.value;
        break;
    case tiff::rows_per_strip:
        page.rows_per_strip = field.value;
        break;
    case tiff::colour_map:
        page.map = field;
        break;
    default:
        break;
    }
    return success;
}

u32 take_bits(std::FILE *file, const entry &field, directory &page) {
    constexpr u32 bits_of_rgb = 24;
    if (field.count < 3) {
        page.bits = field.value;
        return success;
    }
    u64 sum = 0;
    if (field.count <= bits_of_rgb && seek_to(file, field.offset))
        for (u32 n = 0; n < field.count; ++n)
            sum += TIFF_read_data(file, page.order, field.type);
    if (sum != bits_of_rgb)
        return report(name, VIQ_ERR_UNSUPPORTED, "unsupported image");
    page.bits = bits_of_rgb;
    return success;
}

u32 set_format(const read_call &call, u16 format) {
    return VIQ_image_set_parameter(call.handle, VIQ_IMAGE_TYPE, format);
}

u32 decide_format(const read_call &call, const directory &page) {
    line_source &source = *line_places;
    constexpr u32 map_components = 3;
    source.line_size = u64{page.width} * page.bits / 8;
    source.nibbles = false;
    if (page.photometric == tiff::rgb && page.samples == 3 && page.bits == 24)
        return set_format(call, VIQ_RGB24);
    if (page.samples != 1)
        return report_unsupported();
    if (page.photometric == tiff::palette) {
        if ((page.bits != 8 && page.bits != 4) || page.map.count < map_components)
            return report_unsupported();
        source.nibbles = page.bits == 4;
        source.line_size = source.nibbles ? (u64{page.width} + 1) / 2 : page.width;
        return read_colour_map(call, page);
    }
    if (page.photometric > tiff::grey)
        return report_unsupported();
    if (page.bits == 8)
        return set_format(call, VIQ_Y8);
    if (page.bits == 1) {
        source.line_size = bit_line_bytes(page.width);
        return set_format(call, VIQ_Y1);
    }
    if (page.bits < 9 || page.bits > 16)
        return report_unsupported();
    source.line_size = u64{page.width} * 2; // samples of 9 to 16 bits have two bytes each
    const u32 code = set_format(call, VIQ_Y16);
    call.image.data_width = static_cast<u16>(page.bits);
    return code;
}

// Keeps the low byte of each value; values are read as big-endian in files of both byte orders.
u32 read_colour_map(const read_call &call, const directory &page) {
    const u32 entries = page.map.count / 3;
    if (entries > colourmap_size)
        return report_unsupported();
    u8 values[3 * colourmap_size * 2];
    const std::size_t size = std::size_t{3} * entries * 2;
    if (!seek_to(call.file, page.map.offset) || std::fread(values, 1, size, call.file) != size)
        return report_corrupt(name);
    if (call.image.colourmap == nullptr)
        return report_no_colourmap(name);
    for (u32 i = 0; i < entries; ++i) {
        tVIQ_Colour &colour = call.image.colourmap[i];
        colour.red = values[2 * i + 1];
        colour.green = values[2 * (entries + i) + 1];
        colour.blue = values[2 * (2 * entries + i) + 1];
    }
    call.image.num_colours = colourmap_size;
    return set_format(call, VIQ_PALETTED);
}

// Checks that the file contains all lines of every TIFF strip that the height requires.
u32 find_lines(std::FILE *file, const directory &page) {
    line_source &source = *line_places;
    if (page.rows_per_strip == 0)
        return report(name, VIQ_ERR_CORRUPT, "0 rows per strip");
    const u32 rows = std::min(page.rows_per_strip, std::max(page.height, 1u));
    const u32 strips = static_cast<u32>((u64{page.height} + rows - 1) / rows);
    const u64 list_size = u64{strips} * size_of(page.strips.type);
    if (page.strips.count < strips || !is_inside(page, page.strips.offset, list_size))
        return report_corrupt(name);
    if (!try_resize(source.strips, strips))
        return report_no_memory(name, u64{strips} * sizeof(u32));
    if (!seek_to(file, page.strips.offset))
        return report_corrupt(name);
    u32 lines_left = page.height;
    for (u32 &offset : source.strips) {
        offset = TIFF_read_data(file, page.order, page.strips.type);
        const u32 lines = std::min(rows, lines_left);
        if (source.line_size > page.file_size || !is_inside(page, offset, lines * source.line_size))
            return report_corrupt(name);
        lines_left -= lines;
    }
    source.rows_per_strip = rows;
    source.position = position_unknown;
    return success;
}

u32 read_lines(const read_call &call) {
    line_source &source = *line_places;
    const u32 rows = source.rows_per_strip;
    for (u32 first = 0, lines = 0; first < call.image.lines_per_strip; first += lines) {
        const u32 line = call.lines_done + first;
        const u32 row = line % rows;
        lines = std::min(rows - row, call.image.lines_per_strip - first);
        const u64 offset = source.strips[line / rows] + row * source.line_size;
        // Most files store TIFF strips one after the other; a seek would discard the stream's
        // buffer.
        const bool found = offset == source.position || seek_to(call.file, offset);
        const u32 code = found ? read_run(call, first, lines) : report_corrupt(strip_name);
        if (is_error(code))
            return code;
        source.position = offset + lines * source.line_size;
    }
    return success;
}

// Lines that follow each other in the file. Samples of 16 bits are read as big-endian in files of
// both byte orders.
u32 read_run(const read_call &call, u32 first, u32 lines) {
    const line_source &source = *line_places;
    const tVIQ_Image &image = call.image;
    if (source.nibbles)
        return read_packed_lines(strip_name, call.file, image, first, lines, source.line_size,
                                 unpack_nibbles);
    // Words are swapped block by block, while they are in the cache.
    const bool words = image.pixel_format == VIQ_Y16;
    const u32 block = words ? lines_in_block(source.line_size) : lines;
    for (u32 count = 0; lines > 0; first += count, lines -= count) {
        count = std::min(block, lines);
        if (!read_image_lines(call.file, image, first, count, source.line_size))
            return report_corrupt(strip_name);
        if (words)
            for_each_run(image, first, count,
                         [](u8 *row, u64 size) { words_to_host(row, size, endian::big); });
    }
    return success;
}

// The high nibble is the left pixel.
void unpack_nibbles(const tVIQ_Image &image, u8 *packed, u8 *line) {
    for (u32 x = 0; x < image.width; ++x)
        line[x] = x % 2 == 0 ? packed[x / 2] >> 4 : packed[x / 2] & 15;
}

} // namespace
