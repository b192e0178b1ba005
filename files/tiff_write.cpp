// TIFF writer: big-endian, not compressed, one TIFF strip for the whole picture.
#include "core/cmap_record.h"
#include "core/image.h"
#include "core/report.h"
#include "files/stream.h"
#include "files/tiff.h"

using namespace viq;

namespace {

write_state state;

verdict refuse(const strip_call &call);
void put_head(std::FILE *file, const tVIQ_Image &image);
u32 put_strip(std::FILE *file, const tVIQ_Image &image);

constexpr strip_writer writer = {
    "VIQ_write_TIFF_file", "VIQ_write_TIFF_file_1_strip", &state, refuse, put_head, put_strip,
    packed_bit_line};

} // namespace

u32 VIQ_write_TIFF_file(u32 hImage, u16 wMode) {
    return run_writer(writer, hImage, wMode);
}

namespace {

constexpr u32 map_size = 3 * colourmap_size * 2;
constexpr u32 most_entries = 14;
constexpr u32 longest_head =
    tiff::head_size + 2 + most_entries * tiff::entry_size + 4 + map_size + 16;

// What a pixel format looks like in the file.
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

// Header, directory and extra data, as far as they have been put together.
struct tiff_head {
    u8 bytes[longest_head] = {};
    u32 size = 0;
};

const tiff_layout *find_layout(u16 format);
u64 line_bytes(const tVIQ_Image &image);
u32 directory_end(const tiff_layout &layout);
void put_directory(tiff_head &head, const tVIQ_Image &image, const tiff_layout &layout);
void put_extra(tiff_head &head, const tVIQ_Image &image, const tiff_layout &layout);

void put16(tiff_head &head, u32 value) {
    store<u16>(head.bytes + head.size, static_cast<u16>(value), endian::big);
    head.size += 2;
}

void put32(tiff_head &head, u32 value) {
    store<u32>(head.bytes + head.size, value, endian::big);
    head.size += 4;
}

verdict refuse(const strip_call &call) {
    constexpr const char *too_large = "Image too large for a TIFF file";
    const tVIQ_Image &image = *call.in;
    if (find_layout(image.pixel_format) == nullptr)
        return stop_with(report_format(writer.name, image.pixel_format));
    const verdict decision = refuse_size(writer.name, image, too_large);
    if (!decision.go_on)
        return decision;
    if (image.height * line_bytes(image) > UINT32_MAX - longest_head)
        return stop_with(report(writer.name, VIQ_ERR_UNSUPPORTED, too_large));
    if (image.pixel_format != VIQ_PALETTED)
        return proceed;
    if (image.num_colours != colourmap_size)
        return stop_with(report(writer.name, VIQ_ERR_UNSUPPORTED | image.num_colours,
                                "Unsupported palette/colourmap size"));
    if (image.colourmap == nullptr)
        return stop_with(report_no_colourmap(writer.name));
    return proceed;
}

void put_head(std::FILE *file, const tVIQ_Image &image) {
    const tiff_layout &layout = *find_layout(image.pixel_format);
    tiff_head head;
    put16(head, 'M' << 8 | 'M');
    put16(head, tiff::magic);
    put32(head, tiff::head_size);
    put_directory(head, image, layout);
    put_extra(head, image, layout);
    std::fwrite(head.bytes, 1, head.size, file);
}

u32 put_strip(std::FILE *file, const tVIQ_Image &image) {
    if (image.pixel_format == VIQ_Y16)
        for_each_run(image, 0, image.lines_per_strip, [file](const u8 *words, u64 count) {
            write_words(file, words, count, endian::big);
        });
    else
        put_lines(file, image, line_bytes(image));
    return success;
}

const tiff_layout *find_layout(u16 format) {
    for (const tiff_layout &layout : layouts)
        if (layout.format == format)
            return &layout;
    return nullptr;
}

u64 line_bytes(const tVIQ_Image &image) {
    return image.pixel_format == VIQ_Y1 ? bit_line_bytes(image.width)
                                        : u64{image.width} * (image.bits_per_pixel / 8);
}

u32 directory_end(const tiff_layout &layout) {
    return tiff::head_size + 2 + layout.entries * tiff::entry_size + 4;
}

void put_directory(tiff_head &head, const tVIQ_Image &image, const tiff_layout &layout) {
    const u32 extra = directory_end(layout);
    const u32 resolution = extra + layout.extra;
    const u32 pixels = resolution + 16;
    const auto entry = [&head](u16 tag, u16 type, u32 count, u32 value) {
        put16(head, tag);
        put16(head, type);
        put32(head, count);
        put32(head, type == tiff::type_short && count == 1 ? value << 16 : value);
    };
    const auto put_short = [&entry](u16 tag, u32 value) { entry(tag, tiff::type_short, 1, value); };
    const auto put_long = [&entry](u16 tag, u32 value) { entry(tag, tiff::type_long, 1, value); };

    put16(head, layout.entries);
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
    entry(tiff::y_resolution, tiff::type_rational, 1, resolution + 8);
    if (layout.samples > 1)
        put_short(tiff::planar_configuration, 1);
    put_short(tiff::resolution_unit, 1);
    if (image.pixel_format == VIQ_PALETTED)
        entry(tiff::colour_map, tiff::type_short, 3 * colourmap_size, extra);
    put32(head, 0); // no further directory
}

void put_extra(tiff_head &head, const tVIQ_Image &image, const tiff_layout &layout) {
    constexpr u32 dots = 300;
    if (image.pixel_format == VIQ_PALETTED)
        for (u8 tVIQ_Colour::*component :
             {&tVIQ_Colour::red, &tVIQ_Colour::green, &tVIQ_Colour::blue})
            for (u32 i = 0; i < colourmap_size; ++i)
                put16(head, image.colourmap[i].*component * 257u);
    else
        for (u32 n = 0; n < layout.extra / 2; ++n)
            put16(head, 8);
    for (int n = 0; n < 2; ++n) {
        put32(head, dots);
        put32(head, 1);
    }
}

} // namespace
