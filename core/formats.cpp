#include "core/formats.h"

#include <algorithm>
#include <iterator>

namespace viq {

namespace {

constexpr pixel_format formats[] = {
    {VIQ_Y1, 1, 0, 0, 0x01, "Depth not 1", line_shape::packed},
    {VIQ_Y8, 8, 8, 0, 0x02, "Depth not 8", line_shape::packed},
    {VIQ_PALETTED, 8, 8, 0, 0x08, "Depth not 8", line_shape::packed},
    {VIQ_RGB8, 8, 8, 3, 0x0d, "Depth not 8", line_shape::packed},
    {VIQ_RGB15, 15, 0, 3, 0x0c, "Depth not 15", line_shape::packed},
    {VIQ_RGB16, 16, 16, 3, 0x09, "Depth not 16", line_shape::packed},
    {VIQ_RGB24, 24, 0, 0, 0x03, "Depth not 24", line_shape::packed},
    {VIQ_BGR24, 24, 0, 0, 0x03, "Depth not 24", line_shape::packed},
    {VIQ_RGBX32, 32, 0, 0, 0x04, "Depth not 32", line_shape::packed},
    {VIQ_BGRX32, 32, 0, 0, 0x04, "Depth not 32", line_shape::packed},
    {VIQ_XBGR32, 32, 0, 0, 0x04, "Depth not 32", line_shape::packed},
    {VIQ_YUV422, 16, 16, 3, 0x09, "Depth not 16", line_shape::packed},
    {VIQ_CMYK32, 32, 0, 0, 0x04, "Depth not 32", line_shape::packed},
    {VIQ_Y16, 16, 16, 1, 0x0b, "Depth not 16", line_shape::packed},
    {VIQ_XRGB32, 32, 0, 0, 0x04, "Depth not 32", line_shape::packed},
    {VIQ_RGGB32, 32, 0, 0, 0x0e, "Depth not 32", line_shape::quarter},
    {VIQ_Y64, 64, 0, 0, 0x0f, "Depth not 64", line_shape::quarter},
    {VIQ_JPEG_WORK100, 32, 0, 0, 0x04, "Depth not 32", line_shape::packed},
    {VIQ_JPEG_WORK101, 32, 0, 0, 0x05, "Depth not 32", line_shape::eight_bytes},
    {VIQ_JPEG_WORK102, 32, 0, 0, 0x05, "Depth not 32", line_shape::eight_bytes},
    {VIQ_WORK103, 16, 16, 0, 0x09, "Depth not 16", line_shape::packed},
    {VIQ_WORK104, 16, 16, 0, 0x06, "Depth not 16", line_shape::four_bytes},
    {VIQ_YUV411, 16, 16, 0, 0x09, "Depth not 16", line_shape::packed},
    {VIQ_HSI, 32, 0, 0, 0x04, "Depth not 32", line_shape::packed},
};

} // namespace

const pixel_format *find_format(u32 code) {
    const auto *found = std::find_if(std::begin(formats), std::end(formats),
                                     [code](const pixel_format &f) { return f.code == code; });
    return found == std::end(formats) ? nullptr : found;
}

} // namespace viq
