// TIFF reader: grey, palette and RGB, not compressed, both byte orders. Both modes parse the
// directory and read lines with the same functions; the conforming mode evaluates more fields.
#include <algorithm>
#include <cstring>
#include <utility>

#include "core/cmap_record.h"
#include "core/image.h"
#include "core/report.h"
#include "files/strip_file.h"
#include "files/tiff.h"
#include "files/unpack_rows.h"

using namespace viq;

namespace {

constexpr const char *name = "VIQ_read_TIFF_file";
constexpr const char *strip_name = "VIQ_read_TIFF_file_1_strip";

VIQ_PER_CONTEXT(file_sequence, state);

// Location and form of the lines in the open file.
struct line_source {
    vector<u32> strips; // offsets of the TIFF strips, plane after plane
    u32 rows_per_strip = 1;
    u32 strips_per_plane = 1;
    u64 line_size = 0; // bytes of a file line
    u64 position = 0;  // of the stream, position_unknown before the first read
    // Form of the lines; null: image lines without padding.
    line_unpacker unpack = nullptr;
    endian word_order = endian::big; // of the samples of VIQ_Y16, if they are not unpacked
    // Of the conforming mode.
    u32 planes = 1;
    u32 plane = 0;              // that is being read
    u32 kept = 1;               // samples of a pixel that the image receives
    bool reversed_bits = false; // the first sample is in the lowest bits of a byte
    sample_rule rule = {};
};

VIQ_PER_CONTEXT(line_source, source);

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
    // Of the conforming mode.
    u32 subfile = 0;
    u32 compression = 1;
    u32 fill_order = 1;
    u32 orientation = 1;
    u32 planar = tiff::chunky;
    u32 ink_set = tiff::ink_set_cmyk;
    u32 tiles = 0; // width, or position of their offsets
    entry bits_list = {};
    entry sample_formats = {};
    entry byte_counts = {};
};

using entry_taker = u32 (*)(std::FILE *file, const entry &field, directory &page);

u32 read_directory(std::FILE *file, entry_taker take, directory &page);
u32 take_entry(std::FILE *file, const entry &field, directory &page);
u32 take_conforming_entry(std::FILE *file, const entry &field, directory &page);
u32 decide_conforming_format(const read_call &call, directory &page);
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
    const bool conforming = reads_conforming();
    u32 code = read_directory(call.file, conforming ? take_conforming_entry : take_entry, page);
    if (is_error(code))
        return code;
    call.image.width = page.width;
    call.image.height = page.height;
    source->unpack = nullptr;
    source->word_order = endian::big;
    source->planes = 1;
    code = conforming ? decide_conforming_format(call, page) : decide_format(call, page);
    return is_error(code) ? code : find_lines(call.file, page);
}

u32 read_directory(std::FILE *file, entry_taker take, directory &page) {
    const int first = std::fgetc(file);
    std::fgetc(file); // the second byte of the order is not compared
    if (first != 'M' && first != 'I')
        return report(name, VIQ_ERR_UNEXPECTED, "Expecting 'MM' or 'II'");
    page.order = static_cast<u16>(first);
    const u16 magic = TIFF_read_ui16(file, page.order);
    if (magic == tiff::big_magic && reads_conforming())
        return report(name, VIQ_ERR_UNSUPPORTED, "BigTIFF files are not supported");
    if (magic != tiff::magic)
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
        const u32 code = take(file, field, page);
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
    constexpr u32 map_components = 3;
    source->line_size = u64{page.width} * page.bits / 8;
    if (page.photometric == tiff::rgb && page.samples == 3 && page.bits == 24)
        return set_format(call, VIQ_RGB24);
    if (page.samples != 1)
        return report_unsupported();
    if (page.photometric == tiff::palette) {
        if ((page.bits != 8 && page.bits != 4) || page.map.count < map_components)
            return report_unsupported();
        const bool nibbles = page.bits == 4;
        source->unpack = nibbles ? unpack_nibbles : nullptr;
        source->line_size = nibbles ? (u64{page.width} + 1) / 2 : page.width;
        return read_colour_map(call, page);
    }
    if (page.photometric > tiff::grey)
        return report_unsupported();
    if (page.bits == 8)
        return set_format(call, VIQ_Y8);
    if (page.bits == 1) {
        source->line_size = bit_line_bytes(page.width);
        return set_format(call, VIQ_Y1);
    }
    if (page.bits < 9 || page.bits > 16)
        return report_unsupported();
    source->line_size = u64{page.width} * 2; // samples of 9 to 16 bits have two bytes each
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

// Checks that the file contains all lines of every TIFF strip that the height requires. Strips that
// overlap are rejected as far as they claim more pixels than the file has bytes.
u32 find_lines(std::FILE *file, const directory &page) {
    if (page.rows_per_strip == 0)
        return report(name, VIQ_ERR_CORRUPT, "0 rows per strip");
    const u32 rows = std::min(page.rows_per_strip, std::max(page.height, 1u));
    const u32 strips = static_cast<u32>((u64{page.height} + rows - 1) / rows);
    const u64 offsets = u64{strips} * source->planes;
    const u64 list_size = offsets * size_of(page.strips.type);
    if (page.strips.count < offsets || !is_inside(page, page.strips.offset, list_size) ||
        source->line_size > page.file_size ||
        u64{page.height} * source->line_size > page.file_size / source->planes)
        return report_corrupt(name);
    if (!try_resize(source->strips, offsets))
        return report_no_memory(name, offsets * sizeof(u32));
    if (!seek_to(file, page.strips.offset))
        return report_corrupt(name);
    for (u32 n = 0; n < offsets; ++n) {
        const u32 offset = TIFF_read_data(file, page.order, page.strips.type);
        const u32 lines = std::min(rows, page.height - n % strips * rows);
        if (!is_inside(page, offset, lines * source->line_size))
            return report_corrupt(name);
        source->strips[n] = offset;
    }
    source->rows_per_strip = rows;
    source->strips_per_plane = strips;
    source->position = position_unknown;
    return success;
}

u32 read_lines(const read_call &call) {
    const u32 rows = source->rows_per_strip;
    for (u32 first = 0, lines = 0; first < call.image.lines_per_strip; first += lines) {
        const u32 line = call.lines_done + first;
        const u32 row = line % rows;
        lines = std::min(rows - row, call.image.lines_per_strip - first);
        // The planes of a block of lines are read one after the other, while the image lines are in
        // the cache.
        if (source->planes > 1)
            lines = std::min(lines, lines_in_block(source->line_size));
        for (u32 plane = 0; plane < source->planes; ++plane) {
            const u32 strip = plane * source->strips_per_plane + line / rows;
            const u64 offset = source->strips[strip] + row * source->line_size;
            source->plane = plane;
            // Most files store TIFF strips one after the other; a seek would discard the stream's
            // buffer.
            const bool found = offset == source->position || seek_to(call.file, offset);
            const u32 code = found ? read_run(call, first, lines) : report_corrupt(strip_name);
            if (is_error(code))
                return code;
            source->position = offset + lines * source->line_size;
        }
    }
    return success;
}

// Lines that follow each other in the file.
u32 read_run(const read_call &call, u32 first, u32 lines) {
    const tVIQ_Image &image = call.image;
    if (source->unpack != nullptr)
        return read_packed_lines(strip_name, call.file, image, first, lines, source->line_size,
                                 source->unpack);
    // Words are swapped block by block, while they are in the cache.
    const bool words = image.pixel_format == VIQ_Y16;
    const u32 block = words ? lines_in_block(source->line_size) : lines;
    for (u32 count = 0; lines > 0; first += count, lines -= count) {
        count = std::min(block, lines);
        if (!read_image_lines(call.file, image, first, count, source->line_size))
            return report_corrupt(strip_name);
        if (words)
            for_each_run(image, first, count,
                         [](u8 *row, u64 size) { words_to_host(row, size, source->word_order); });
    }
    return success;
}

// The high nibble is the left pixel.
void unpack_nibbles(const tVIQ_Image &image, u8 *packed, u8 *line) {
    unpack_indices(packed, 4, line, image.width);
}

// ---- The conforming mode

u32 directory::*number_of(u16 tag);
entry directory::*list_of(u16 tag);

// Fields with one value, of which the first counts, and fields with a list.
u32 take_conforming_entry(std::FILE *file, const entry &field, directory &page) {
    entry copy = field;
    if (field.type == tiff::type_byte && field.count >= 1 && field.count <= 4 &&
        seek_to(file, field.offset))
        copy.value = read<u8>(file, endian::big);
    if (entry directory::*list = list_of(field.tag); list != nullptr)
        page.*list = copy;
    u32 directory::*number = number_of(field.tag);
    if (number == nullptr)
        return success;
    const bool has_number =
        field.count >= 1 && (field.type == tiff::type_byte || field.type == tiff::type_short ||
                             field.type == tiff::type_long);
    if (!has_number)
        return report_corrupt(name);
    page.*number = copy.value;
    return success;
}

struct number_field {
    u16 tag;
    u32 directory::*number;
};

constexpr number_field number_fields[] = {
    {tiff::new_subfile_type, &directory::subfile},
    {tiff::image_width, &directory::width},
    {tiff::image_length, &directory::height},
    {tiff::compression, &directory::compression},
    {tiff::photometric, &directory::photometric},
    {tiff::fill_order, &directory::fill_order},
    {tiff::orientation, &directory::orientation},
    {tiff::samples_per_pixel, &directory::samples},
    {tiff::rows_per_strip, &directory::rows_per_strip},
    {tiff::planar_configuration, &directory::planar},
    {tiff::tile_width, &directory::tiles},
    {tiff::tile_offsets, &directory::tiles},
    {tiff::ink_set, &directory::ink_set},
};

u32 directory::*number_of(u16 tag) {
    for (const number_field &field : number_fields)
        if (field.tag == tag)
            return field.number;
    return nullptr;
}

struct list_field {
    u16 tag;
    entry directory::*list;
};

constexpr list_field list_fields[] = {
    {tiff::bits_per_sample, &directory::bits_list},     {tiff::strip_offsets, &directory::strips},
    {tiff::strip_byte_counts, &directory::byte_counts}, {tiff::colour_map, &directory::map},
    {tiff::sample_format, &directory::sample_formats},
};

entry directory::*list_of(u16 tag) {
    for (const list_field &field : list_fields)
        if (field.tag == tag)
            return field.list;
    return nullptr;
}

constexpr named_value unread_compressions[] = {
    {2, "TIFF compression CCITT RLE is not supported"},
    {3, "TIFF compression CCITT group 3 is not supported"},
    {4, "TIFF compression CCITT group 4 is not supported"},
    {5, "TIFF compression LZW is not supported"},
    {6, "TIFF compression JPEG (old style) is not supported"},
    {7, "TIFF compression JPEG is not supported"},
    {8, "TIFF compression Deflate is not supported"},
    {9, "TIFF compression JBIG is not supported"},
    {10, "TIFF compression JBIG is not supported"},
    {32773, "TIFF compression PackBits is not supported"},
    {32809, "TIFF compression ThunderScan is not supported"},
    {32946, "TIFF compression Deflate is not supported"},
    {34661, "TIFF compression JBIG is not supported"},
    {34712, "TIFF compression JPEG 2000 is not supported"},
    {34887, "TIFF compression LERC is not supported"},
    {34925, "TIFF compression LZMA is not supported"},
    {50000, "TIFF compression Zstandard is not supported"},
    {50001, "TIFF compression WebP is not supported"},
};

constexpr named_value unread_photometrics[] = {
    {4, "TIFF transparency masks are not supported"},
    {6, "TIFF YCbCr images are not supported"},
    {8, "TIFF CIE L*a*b* images are not supported"},
    {9, "TIFF ICC L*a*b* images are not supported"},
    {10, "TIFF ITU L*a*b* images are not supported"},
    {32803, "TIFF colour-filter mosaics are not supported"},
    {34892, "TIFF linear raw images are not supported"},
    {32844, "TIFF LogL images are not supported"},
    {32845, "TIFF LogLuv images are not supported"},
};

u32 report_feature(const char *message) {
    return report(name, VIQ_ERR_UNSUPPORTED, message);
}

// Reads the values of a list; those after `most` are ignored. False if the list is not in the file
// or not all its values are equal.
bool equal_values(std::FILE *file, const directory &page, const entry &list, u32 most, u32 &value) {
    const u32 count = std::min(list.count, most);
    if (list.count == 0)
        return true; // the default remains
    if ((list.type != tiff::type_short && list.type != tiff::type_long) ||
        !is_inside(page, list.offset, u64{count} * size_of(list.type)) ||
        !seek_to(file, list.offset))
        return false;
    value = TIFF_read_data(file, page.order, list.type);
    for (u32 n = 1; n < count; ++n)
        if (TIFF_read_data(file, page.order, list.type) != value)
            return false;
    return true;
}

constexpr u32 most_samples = 64; // of a pixel
constexpr u32 unsigned_samples = 1;

u32 check_features(std::FILE *file, directory &page) {
    constexpr u32 reduced_or_mask = 1 | 4; // bits of NewSubfileType
    if (page.compression != 1)
        return report_feature(message_for(unread_compressions, page.compression,
                                          "TIFF compression is not supported"));
    if (page.tiles != 0)
        return report_feature("Tiled TIFF images are not supported");
    if ((page.subfile & reduced_or_mask) != 0)
        return report_feature("TIFF files that begin with a reduced image are not supported");
    if (page.photometric > tiff::palette && page.photometric != tiff::separated)
        return report_feature(message_for(unread_photometrics, page.photometric,
                                          "TIFF photometric interpretation is not supported"));
    if (page.photometric == tiff::separated && page.ink_set != tiff::ink_set_cmyk)
        return report_feature("TIFF ink sets other than CMYK are not supported");
    if (page.planar != tiff::chunky && page.planar != tiff::planes)
        return report_corrupt(name);
    if (page.fill_order != 1 && page.fill_order != 2)
        return report_corrupt(name);
    if (page.strips.type != tiff::type_short && page.strips.type != tiff::type_long)
        return report_corrupt(name);
    if (page.samples == 0 || page.samples > most_samples)
        return report_feature("TIFF number of samples is not supported");
    u32 sample_format = unsigned_samples;
    if (!equal_values(file, page, page.sample_formats, page.samples, sample_format) ||
        sample_format != unsigned_samples)
        return report_feature("TIFF samples other than unsigned integers are not supported");
    if (!equal_values(file, page, page.bits_list, page.samples, page.bits))
        return report_feature("TIFF samples of different depths are not supported");
    if (page.bits == 0 || page.bits > 16)
        return report_feature("TIFF samples of more than 16 bits are not supported");
    return success;
}

struct target_format {
    u32 photometric;
    u32 samples; // that the image receives
    u32 largest_bits;
    u16 format;
};

// The first row that matches. Deeper samples of the colours are scaled to 8 bits.
constexpr target_format target_formats[] = {
    {tiff::grey_white_is_0, 1, 1, VIQ_Y1},   {tiff::grey, 1, 1, VIQ_Y1},
    {tiff::grey_white_is_0, 1, 8, VIQ_Y8},   {tiff::grey, 1, 8, VIQ_Y8},
    {tiff::grey_white_is_0, 1, 16, VIQ_Y16}, {tiff::grey, 1, 16, VIQ_Y16},
    {tiff::palette, 1, 8, VIQ_PALETTED},     {tiff::rgb, 3, 16, VIQ_RGB24},
    {tiff::separated, 4, 16, VIQ_CMYK32},
};

const target_format *find_target(const directory &page) {
    for (const target_format &target : target_formats)
        if (target.photometric == page.photometric && page.bits <= target.largest_bits)
            return page.samples >= target.samples ? &target : nullptr;
    return nullptr;
}

u64 line_bytes(u64 samples, u32 bits) {
    return (samples * bits + 7) / 8;
}

u32 choose_layout(std::FILE *file, const directory &page);
void unpack_line(const tVIQ_Image &image, u8 *packed, u8 *line);
void unpack_bits(const tVIQ_Image &image, u8 *packed, u8 *line);
u32 read_whole_map(const read_call &call, const directory &page);

u32 decide_conforming_format(const read_call &call, directory &page) {
    u32 code = check_features(call.file, page);
    if (is_error(code))
        return code;
    const target_format *target = find_target(page);
    if (target == nullptr)
        return report_unsupported();
    const bool grey =
        target->format == VIQ_Y1 || target->format == VIQ_Y8 || target->format == VIQ_Y16;
    const bool planar = page.planar == tiff::planes && page.samples > 1;
    source->planes = planar ? target->samples : 1;
    source->kept = target->samples;
    source->reversed_bits = page.fill_order == 2;
    source->rule = {.bits = page.bits,
                    .order = order_of(page.order),
                    .step = planar ? 1 : page.samples,
                    .inverted = page.photometric == tiff::grey_white_is_0,
                    .words = target->format == VIQ_Y16,
                    .largest = (1u << page.bits) - 1,
                    .target_step = target->samples};
    // An index is not scaled.
    if (target->format == VIQ_PALETTED)
        source->rule.largest = 255;
    source->word_order = source->rule.order;
    code = choose_layout(call.file, page);
    if (is_error(code))
        return code;
    const bool as_stored = source->rule.step == target->samples && source->planes == 1 &&
                           !source->rule.inverted && !source->reversed_bits &&
                           (source->rule.bits == 8 || source->rule.bits == 16 || page.bits == 1) &&
                           (source->rule.bits != 16 || grey) &&
                           (page.bits != 1 || target->format == VIQ_Y1);
    source->unpack = as_stored ? nullptr : target->format == VIQ_Y1 ? unpack_bits : unpack_line;
    companion(call.image).facts = {
        .orientation = page.orientation >= 1 && page.orientation <= 8 ? page.orientation : 1,
        .sample_bits = page.bits,
        .dropped_samples = page.samples - target->samples};
    if (target->format == VIQ_PALETTED)
        return read_whole_map(call, page);
    code = set_format(call, target->format);
    if (target->format == VIQ_Y16)
        call.image.data_width = static_cast<u16>(page.bits);
    return code;
}

// Samples of 9 to 15 bits are packed without gaps, or, as this library writes them, words. The
// bytes of the first TIFF strip show which of the two.
u32 choose_layout(std::FILE *file, const directory &page) {
    const u64 samples = u64{page.width} * source->rule.step;
    source->line_size = line_bytes(samples, page.bits);
    if (page.bits <= 8 || page.bits == 16)
        return success;
    const u64 rows = std::min(page.rows_per_strip, page.height);
    const u64 words = samples * 2;
    u32 bytes = 0;
    if (!equal_values(file, page, page.byte_counts, 1, bytes))
        return report_corrupt(name);
    if (source->line_size == words && page.byte_counts.count != 0)
        return report_feature("TIFF samples of 9 to 15 bits in lines so short are ambiguous");
    if (bytes == rows * words) {
        source->line_size = words;
        source->rule.bits = 16;
    }
    return success;
}

void unpack_line(const tVIQ_Image &image, u8 *packed, u8 *line) {
    if (source->reversed_bits)
        reverse_bits(packed, static_cast<std::size_t>(source->line_size));
    const bool planar = source->planes > 1;
    const u32 first = planar ? source->plane : 0;
    const u32 last = planar ? source->plane + 1 : source->kept;
    for (u32 sample = first; sample < last; ++sample)
        unpack_samples(source->rule, packed, planar ? 0 : sample, line + sample, image.width);
}

// Lines of VIQ_Y1; pixels with extra samples are picked bit by bit.
void unpack_bits(const tVIQ_Image &image, u8 *packed, u8 *line) {
    if (source->reversed_bits)
        reverse_bits(packed, static_cast<std::size_t>(source->line_size));
    const u32 step = source->rule.step;
    std::memset(line, 0, static_cast<std::size_t>(bit_line_bytes(image.width)));
    for (u32 x = 0; x < image.width; ++x) {
        const u64 at = u64{x} * step;
        const u32 bit = (packed[static_cast<std::size_t>(at / 8)] >> (7 - at % 8) & 1u) ^
                        u32 { source->rule.inverted };
        line[x / 8] = static_cast<u8>(line[x / 8] | bit << (7 - x % 8));
    }
}

// Keeps the high byte of each value. Files whose values are all below 256 were written with values
// of 8 bits, contrary to the format; their values are kept as they are. Colours that the file does
// not have are black.
u32 read_whole_map(const read_call &call, const directory &page) {
    const u32 entries = page.map.count / 3;
    if (entries == 0 || entries > (1u << 16) || page.map.type != tiff::type_short)
        return report(name, VIQ_ERR_CORRUPT, "TIFF colour map is missing or damaged");
    if (call.image.colourmap == nullptr)
        return report_no_colourmap(name);
    u16 values[3][colourmap_size] = {};
    u32 all = 0;
    for (u32 component = 0; component < 3; ++component) {
        const u64 at = page.map.offset + u64{2} * entries * component;
        const u32 count = std::min(entries, colourmap_size);
        if (!is_inside(page, at, u64{2} * count) || !seek_to(call.file, at))
            return report_corrupt(name);
        for (u32 i = 0; i < count; ++i) {
            values[component][i] = TIFF_read_ui16(call.file, page.order);
            all |= values[component][i];
        }
    }
    const u32 shift = all > 255 ? 8 : 0;
    for (u32 i = 0; i < colourmap_size; ++i) {
        tVIQ_Colour &colour = call.image.colourmap[i];
        colour.red = static_cast<u8>(values[0][i] >> shift);
        colour.green = static_cast<u8>(values[1][i] >> shift);
        colour.blue = static_cast<u8>(values[2][i] >> shift);
    }
    call.image.num_colours = colourmap_size;
    return set_format(call, VIQ_PALETTED);
}

} // namespace
