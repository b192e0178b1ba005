// TIFF writer: big-endian, not compressed, one TIFF strip for the whole picture.
#include <algorithm>

#include "core/cmap_record.h"
#include "core/image.h"
#include "core/report.h"
#include "files/strip_file.h"
#include "files/tiff.h"

using namespace viq;

namespace {

VIQ_PER_CONTEXT(file_sequence, state);

verdict check(const tVIQ_Image &image);
void write_header(std::FILE *file, const tVIQ_Image &image);
u32 write_strip(std::FILE *file, const tVIQ_Image &image);

constexpr u16 formats[] = {VIQ_Y1, VIQ_Y8, VIQ_Y16, VIQ_RGB24, VIQ_CMYK32, VIQ_PALETTED};

constexpr strip_writer writer = {
    .name = "VIQ_write_TIFF_file",
    .strip_name = "VIQ_write_TIFF_file_1_strip",
    .state = state,
    .formats = formats,
    .write_strip = write_strip,
    .write_header = write_header,
    .too_large = "Image too large for a TIFF file",
    .check = check,
    .line = packed_bit_line,
};

} // namespace

u32 VIQ_write_TIFF_file(u32 hImage, u16 wMode) {
    return run_writer(writer, hImage, wMode);
}

namespace {

constexpr u32 map_size = 3 * colourmap_size * 2;
constexpr u32 most_entries = 14;
constexpr u32 rational_size = 8;
constexpr u32 largest_header =
    tiff::header_size + 2 + most_entries * tiff::entry_size + 4 + map_size + 2 * rational_size;

// How a pixel format is stored in the file.
struct tiff_layout {
    u16 format;
    u16 samples;
    u16 photometric;
    u32 entries;
    u32 extra; // bytes of the colour map or of the array of bits per sample
};

constexpr tiff_layout layouts[] = {
    {VIQ_Y1, 1, tiff::grey, 13, 0},          {VIQ_Y8, 1, tiff::grey, 13, 0},
    {VIQ_Y16, 1, tiff::grey, 13, 0},         {VIQ_RGB24, 3, tiff::rgb, 14, 6},
    {VIQ_CMYK32, 4, tiff::separated, 14, 8}, {VIQ_PALETTED, 1, tiff::palette, 14, map_size},
};

// Header, directory and extra data under construction.
struct header_bytes {
    u8 bytes[largest_header] = {};
    u32 size = 0;
};

const tiff_layout &layout_of(u16 format);
u64 line_bytes(const tVIQ_Image &image);
u32 directory_end(const tiff_layout &layout);
void put_directory(header_bytes &header, const tVIQ_Image &image, const tiff_layout &layout);
void put_extra(header_bytes &header, const tVIQ_Image &image, const tiff_layout &layout);

void put16(header_bytes &header, u32 value) {
    store<u16>(header.bytes + header.size, static_cast<u16>(value), endian::big);
    header.size += 2;
}

void put32(header_bytes &header, u32 value) {
    store<u32>(header.bytes + header.size, value, endian::big);
    header.size += 4;
}

verdict check(const tVIQ_Image &image) {
    if (image.height * line_bytes(image) > UINT32_MAX - largest_header)
        return stop_with(report(writer.name, VIQ_ERR_UNSUPPORTED, writer.too_large));
    if (image.pixel_format != VIQ_PALETTED)
        return proceed;
    if (image.num_colours != colourmap_size)
        return stop_with(report(writer.name, VIQ_ERR_UNSUPPORTED | image.num_colours,
                                "Unsupported palette/colourmap size"));
    if (image.colourmap == nullptr)
        return stop_with(report_no_colourmap(writer.name));
    return proceed;
}

void write_header(std::FILE *file, const tVIQ_Image &image) {
    const tiff_layout &layout = layout_of(image.pixel_format);
    header_bytes header;
    put16(header, 'M' << 8 | 'M');
    put16(header, tiff::magic);
    put32(header, tiff::header_size);
    put_directory(header, image, layout);
    put_extra(header, image, layout);
    std::fwrite(header.bytes, 1, header.size, file);
}

u32 write_strip(std::FILE *file, const tVIQ_Image &image) {
    if (image.pixel_format == VIQ_Y16)
        for_each_run(image, 0, image.lines_per_strip, [file](const u8 *words, u64 count) {
            write_words(file, words, count, endian::big);
        });
    else
        write_image_lines(file, image, line_bytes(image));
    return success;
}

// The format is one of `formats`.
const tiff_layout &layout_of(u16 format) {
    return *std::find_if(std::begin(layouts), std::end(layouts),
                         [format](const tiff_layout &layout) { return layout.format == format; });
}

u64 line_bytes(const tVIQ_Image &image) {
    return image.pixel_format == VIQ_Y1 ? bit_line_bytes(image.width)
                                        : u64{image.width} * (image.bits_per_pixel / 8);
}

u32 directory_end(const tiff_layout &layout) {
    return tiff::header_size + 2 + layout.entries * tiff::entry_size + 4;
}

void put_directory(header_bytes &header, const tVIQ_Image &image, const tiff_layout &layout) {
    const u32 extra = directory_end(layout);
    const u32 resolution = extra + layout.extra;
    const u32 pixels = resolution + 2 * rational_size;
    const auto entry = [&header](u16 tag, u16 type, u32 count, u32 value) {
        put16(header, tag);
        put16(header, type);
        put32(header, count);
        put32(header, type == tiff::type_short && count == 1 ? value << 16 : value);
    };
    const auto put_short = [&entry](u16 tag, u32 value) { entry(tag, tiff::type_short, 1, value); };
    const auto put_long = [&entry](u16 tag, u32 value) { entry(tag, tiff::type_long, 1, value); };

    put16(header, layout.entries);
    put_long(tiff::new_subfile_type, 0);
    put_short(tiff::image_width, image.width);
    put_short(tiff::image_length, image.height);
    if (layout.samples > 1)
        entry(tiff::bits_per_sample, tiff::type_short, layout.samples, extra);
    else
        put_short(tiff::bits_per_sample,
                  image.pixel_format == VIQ_Y16 ? image.data_width : image.bits_per_pixel);
    put_short(tiff::compression, 1);
    put_short(tiff::photometric, layout.photometric);
    put_long(tiff::strip_offsets, pixels);
    put_short(tiff::samples_per_pixel, layout.samples);
    put_long(tiff::rows_per_strip, image.height);
    put_long(tiff::strip_byte_counts, static_cast<u32>(image.height * line_bytes(image)));
    entry(tiff::x_resolution, tiff::type_rational, 1, resolution);
    entry(tiff::y_resolution, tiff::type_rational, 1, resolution + rational_size);
    if (layout.samples > 1)
        put_short(tiff::planar_configuration, 1);
    put_short(tiff::resolution_unit, 1);
    if (image.pixel_format == VIQ_PALETTED)
        entry(tiff::colour_map, tiff::type_short, 3 * colourmap_size, extra);
    put32(header, 0); // no further directory
}

void put_extra(header_bytes &header, const tVIQ_Image &image, const tiff_layout &layout) {
    constexpr u32 dots = 300;         // resolution, without a unit
    constexpr u32 byte_to_word = 257; // both bytes of the word have the value
    constexpr u32 bits_per_sample = 8;
    if (image.pixel_format == VIQ_PALETTED)
        for (u8 tVIQ_Colour::*component :
             {&tVIQ_Colour::red, &tVIQ_Colour::green, &tVIQ_Colour::blue})
            for (u32 i = 0; i < colourmap_size; ++i)
                put16(header, image.colourmap[i].*component * byte_to_word);
    else
        for (u32 n = 0; n < layout.extra / 2; ++n)
            put16(header, bits_per_sample);
    for (int n = 0; n < 2; ++n) {
        put32(header, dots);
        put32(header, 1);
    }
}

} // namespace
