#include "tools/unpack_to_rgb24.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <numbers>

#include "tools/image_handle.h"
#include "tools/pixel_format_table.h"

namespace tool {

namespace {

using pixel_unpacker = void (*)(const uint8_t *from, uint8_t *rgb);

void unpack_xrgb(const uint8_t *from, uint8_t *rgb);
void unpack_cmyk(const uint8_t *from, uint8_t *rgb);
void unpack_hsi(const uint8_t *from, uint8_t *rgb);
void unpack_bits(const uint8_t *from, uint8_t *to, uint32_t width, uint32_t pixel_bytes);
uint32_t shape_like(uint32_t in, uint32_t out, uint16_t format, uint16_t command);

struct format_unpacker {
    uint16_t format;
    pixel_unpacker pixel; // null for 1-bit pixels
};

constexpr format_unpacker unpackers[] = {
    {VIQ_XRGB32, unpack_xrgb},
    {VIQ_CMYK32, unpack_cmyk},
    {VIQ_HSI, unpack_hsi},
    {VIQ_Y1, nullptr},
};

const format_unpacker *find_unpacker(uint16_t format) {
    const auto *row =
        std::find_if(std::begin(unpackers), std::end(unpackers),
                     [format](const format_unpacker &u) { return u.format == format; });
    return row == std::end(unpackers) ? nullptr : row;
}

} // namespace

bool can_unpack(uint16_t format) {
    return find_unpacker(format) != nullptr;
}

uint32_t unpack_bits_to_grey(uint32_t in, uint32_t out, uint16_t command) {
    const uint32_t code = shape_like(in, out, VIQ_Y8, command);
    if (VIQ_IS_ERROR(code) || command != VIQ_STRIP_NEXT)
        return code;
    const pixels source = pixels_of(in);
    const pixels target = pixels_of(out);
    for (uint32_t y = 0; y < source.lines; ++y)
        unpack_bits(source.line(y), target.line(y), source.width, 1);
    return 0;
}

uint32_t unpack_strip(uint16_t format, uint32_t in, uint32_t out, uint16_t command) {
    const uint32_t code = shape_like(in, out, VIQ_RGB24, command);
    if (VIQ_IS_ERROR(code) || command != VIQ_STRIP_NEXT)
        return code;
    const pixels source = pixels_of(in);
    const pixel_unpacker unpack = find_unpacker(format)->pixel;
    const std::size_t pixel_stride = bytes_per_pixel(format);
    const pixels target = pixels_of(out);
    for (uint32_t y = 0; y < source.lines; ++y)
        if (unpack == nullptr)
            unpack_bits(source.line(y), target.line(y), source.width, rgb24_bytes);
        else
            for (std::size_t x = 0; x < source.width; ++x)
                unpack(source.line(y) + pixel_stride * x, target.line(y) + rgb24_bytes * x);
    return 0;
}

namespace {

void unpack_xrgb(const uint8_t *from, uint8_t *rgb) {
    std::memcpy(rgb, from + 1, rgb24_bytes);
}

void unpack_cmyk(const uint8_t *from, uint8_t *rgb) {
    for (int i = 0; i < 3; ++i)
        rgb[i] = static_cast<uint8_t>(255 - std::min(255, from[i] + from[3]));
}

// The hue plus 120 degrees is the angle of the colour in the U-V plane. The saturation is the
// distance from the intensity down to the smallest component, relative to the intensity.
void unpack_hsi(const uint8_t *from, uint8_t *rgb) {
    uint16_t hue;
    std::memcpy(&hue, from, sizeof hue);
    const double angle = (hue + 120) * std::numbers::pi / 180;
    const double u = std::cos(angle);
    const double v = std::sin(angle);
    const double direction[3] = {1.402 * v, -0.714 * v - 0.344 * u, 1.772 * u};
    const double saturation = from[2] / 255.0;
    const double intensity = from[3];
    const double smallest = std::min({direction[0], direction[1], direction[2]});
    const double length = intensity * saturation / -smallest;
    for (int i = 0; i < 3; ++i)
        rgb[i] = static_cast<uint8_t>(
            std::clamp(std::lround(intensity + length * direction[i]), 0L, 255L));
}

// The highest bit of a byte is its first pixel; a 1 is white.
void unpack_bits(const uint8_t *from, uint8_t *to, uint32_t width, uint32_t pixel_bytes) {
    for (std::size_t x = 0; x < width; ++x)
        std::memset(to + pixel_bytes * x, from[x / 8] << x % 8 & 128 ? 255 : 0, pixel_bytes);
}

// Prepares the output for a strip of the input.
uint32_t shape_like(uint32_t in, uint32_t out, uint16_t format, uint16_t command) {
    return command == VIQ_STRIP_NEXT ? set_shape(out, format, VIQ_get_width(in), VIQ_get_height(in),
                                                 VIQ_get_lines_this_strip(in))
                                     : 0;
}

} // namespace

} // namespace tool
