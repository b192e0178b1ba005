#include "tools/unpack.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <numbers>

#include "tools/image.h"

namespace tool {

namespace {

void unpack_xrgb(const u8 *from, u8 *rgb);
void unpack_cmyk(const u8 *from, u8 *rgb);
void unpack_hsi(const u8 *from, u8 *rgb);

struct unpack_row {
    u16 format;
    void (*pixel)(const u8 *from, u8 *rgb); // four bytes to three
};

constexpr unpack_row rows[] = {
    {VIQ_XRGB32, unpack_xrgb},
    {VIQ_CMYK32, unpack_cmyk},
    {VIQ_HSI, unpack_hsi},
};

const unpack_row *find_row(u16 format) {
    const auto *row = std::find_if(std::begin(rows), std::end(rows),
                                   [format](const unpack_row &r) { return r.format == format; });
    return row == std::end(rows) ? nullptr : row;
}

} // namespace

bool can_unpack(u16 format) {
    return find_row(format) != nullptr;
}

u32 unpack_strip(u16 format, u32 in, u32 out, u16 command) {
    if (command != VIQ_STRIP_NEXT)
        return 0;
    const pixels source = pixels_of(in);
    const u32 code =
        shape(out, VIQ_RGB24, source.width, VIQ_get_height(in), VIQ_get_lines_this_strip(in));
    if (VIQ_IS_ERROR(code))
        return code;
    const unpack_row *row = find_row(format);
    const pixels target = pixels_of(out);
    for (u32 y = 0; y < source.lines; ++y)
        for (std::size_t x = 0; x < source.width; ++x)
            row->pixel(source.line(y) + 4 * x, target.line(y) + 3 * x);
    return 0;
}

namespace {

void unpack_xrgb(const u8 *from, u8 *rgb) {
    std::memcpy(rgb, from + 1, 3);
}

void unpack_cmyk(const u8 *from, u8 *rgb) {
    for (int i = 0; i < 3; ++i)
        rgb[i] = static_cast<u8>(255 - std::min(255, from[i] + from[3]));
}

// The hue is the direction of the colour in the U-V plane, turned back by 120 degrees; saturation
// says how far the smallest component lies below the intensity.
void unpack_hsi(const u8 *from, u8 *rgb) {
    u16 hue;
    std::memcpy(&hue, from, sizeof hue);
    const double angle = (hue + 120) * std::numbers::pi / 180;
    const double u = std::cos(angle);
    const double v = std::sin(angle);
    const double along[3] = {1.402 * v, -0.714 * v - 0.344 * u, 1.772 * u};
    const double saturation = from[2] / 255.0;
    const double intensity = from[3];
    const double length = intensity * saturation / -std::min({along[0], along[1], along[2]});
    for (int i = 0; i < 3; ++i)
        rgb[i] = static_cast<u8>(std::clamp(std::lround(intensity + length * along[i]), 0L, 255L));
}

} // namespace

} // namespace tool
