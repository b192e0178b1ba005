#include "display/print_lines.h"

#include <cstring>

#include "convert/convert_as.h"
#include "core/geometry.h"

namespace viq {

namespace {

constexpr format_set grey_sources = formats(VIQ_Y1, VIQ_Y8, VIQ_Y16, VIQ_RGGB32, VIQ_HSI);

u16 take_first_step(const tVIQ_Image &image, u16 target, print_lines &lines);
void intensity_of_hsi(const u8 *source, u8 *target, u32 pixels, const row_options &);
void scale_to_8_bits(const u8 *source, u8 *target, u32 pixels, u32 white);

} // namespace

bool find_print_lines(const tVIQ_Image &image, format_set kept, u16 colour, print_lines &lines) {
    lines = {.format = contains(grey_sources, image.pixel_format) ? u16{VIQ_Y8} : colour};
    if (contains(kept, image.pixel_format) || image.pixel_format == lines.format) {
        lines.format = image.pixel_format;
        return true;
    }
    lines.options.map = image.colourmap;
    const u16 reached = take_first_step(image, lines.format, lines);
    if (reached != lines.format)
        lines.second = find_row(reached, lines.format);
    lines.converts = lines.white != 0 || lines.first != nullptr || lines.second != nullptr;
    return lines.second != nullptr || reached == lines.format;
}

u64 printed_line_bytes(u16 format, u32 width) {
    return format == VIQ_Y1 ? bit_line_bytes(width) : u64{width} * pixel_bytes(format);
}

void convert_print_line(const print_lines &lines, const u8 *source, u8 *target, u8 *scratch,
                        u32 width) {
    u8 *reached = lines.second != nullptr ? scratch : target;
    if (lines.white != 0)
        scale_to_8_bits(source, reached, width, lines.white);
    else if (lines.first != nullptr)
        lines.first(source, reached, width, lines.options);
    if (lines.second != nullptr)
        lines.second(lines.first != nullptr ? scratch : source, target, width, lines.options);
}

namespace {

// The format that the step gives; that of the image if it needs none.
u16 take_first_step(const tVIQ_Image &image, u16 target, print_lines &lines) {
    const u16 format = image.pixel_format;
    switch (format) {
    case VIQ_RGGB32:
        return VIQ_Y8; // the samples are bytes already
    case VIQ_HSI:
        lines.first = intensity_of_hsi;
        return VIQ_Y8;
    case VIQ_Y16:
        if (image.data_width < 8)
            lines.white = (1u << image.data_width) - 1;
        else
            lines.options.shift = image.data_width - 8u;
        break;
    case VIQ_RGB8:
        lines.first = find_row(format, VIQ_RGB16);
        return VIQ_RGB16;
    default:
        break;
    }
    if (lines.white != 0)
        return VIQ_Y8;
    // Palettes become grey by way of their colours, as in VIQ_convert_as.
    for (const u16 reached : {format == VIQ_PALETTED ? u16{VIQ_RGB24} : target, u16{VIQ_RGB24}}) {
        lines.first = find_row(format, reached);
        if (lines.first == nullptr)
            lines.first = find_other_row(format, reached);
        if (lines.first != nullptr)
            return reached;
    }
    return format;
}

void intensity_of_hsi(const u8 *source, u8 *target, u32 pixels, const row_options &) {
    constexpr pixel_format hsi = format_row(VIQ_HSI);
    for (u32 x = 0; x < pixels; ++x)
        target[x] = source[x * std::size_t{hsi.bytes_per_pixel} + hsi.hsi.intensity];
}

void scale_to_8_bits(const u8 *source, u8 *target, u32 pixels, u32 white) {
    for (u32 x = 0; x < pixels; ++x) {
        u16 value = 0;
        std::memcpy(&value, source + x * sizeof value, sizeof value);
        target[x] = static_cast<u8>((value & white) * 255 / white);
    }
}

} // namespace

} // namespace viq
