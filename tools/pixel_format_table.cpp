#include "tools/pixel_format_table.h"

#include <algorithm>
#include <iterator>

namespace tool {

namespace {

constexpr pixel_format table[] = {
    {VIQ_RGB24, "rgb24", 3, false, true},
    {VIQ_BGR24, "bgr24", 3, false, true},
    {VIQ_RGBX32, "rgbx32", 4, false, true},
    {VIQ_BGRX32, "bgrx32", 4, false, true},
    {VIQ_XBGR32, "xbgr32", 4, false, true},
    {VIQ_XRGB32, "xrgb32", 4, false, true},
    {VIQ_RGB16, "rgb16", 2, false, true},
    {VIQ_RGB15, "rgb15", 2, false, true},
    {VIQ_YUV422, "yuv422", 2, false, true},
    {VIQ_RGB8, "rgb8", 1, false, true},
    {VIQ_Y16, "y16", 2, true, true},
    {VIQ_Y8, "y8", 1, true, true},
    {VIQ_PALETTED, "paletted", 1, false, true},
    {VIQ_CMYK32, "cmyk32", 4, false, true},
    {VIQ_HSI, "hsi", 4, false, true},
    {VIQ_Y1, "y1", 0, true, false},
    {VIQ_RGGB32, "rggb32", 1, false, false},
    {VIQ_Y64, "y64", 2, false, false},
    {VIQ_YUV411, "yuv411", 0, false, false},
};

const pixel_format *find_format(uint16_t code) {
    const auto *row = std::find_if(std::begin(table), std::end(table),
                                   [code](const pixel_format &f) { return f.code == code; });
    return row == std::end(table) ? nullptr : row;
}

} // namespace

std::span<const pixel_format> pixel_formats() {
    return table;
}

std::string format_name(uint16_t code) {
    const pixel_format *format = find_format(code);
    return format != nullptr ? format->name : "format " + std::to_string(code);
}

uint16_t format_from_name(const std::string &name) {
    return std::find_if(std::begin(table), std::end(table),
                        [&name](const pixel_format &f) { return name == f.name; })
        ->code;
}

std::vector<std::string> target_format_names() {
    std::vector<std::string> names;
    for (const pixel_format &format : table)
        if (format.is_target)
            names.emplace_back(format.name);
    return names;
}

bool is_grey_format(uint16_t code) {
    const pixel_format *format = find_format(code);
    return format != nullptr && format->is_grey;
}

uint32_t bytes_per_pixel(uint16_t code) {
    return find_format(code)->bytes_per_pixel;
}

} // namespace tool
