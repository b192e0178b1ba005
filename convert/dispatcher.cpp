// VIQ_image_convert: which converter serves a pair of pixel formats.
#include <algorithm>
#include <iterator>

#include "convert/dib.h"
#include "core/image.h"
#include "core/report.h"

using namespace viq;

namespace {

constexpr const char *name = "VIQ_image_convert";

using convert_function = u32 (*)(u32 hInImage, u32 hOutImage, u16 wStripCommand);

// The converters to a format. Null: none; by table: the one without a table serves.
struct route {
    u16 out_format;
    convert_function general;
    convert_function yuv422;
    convert_function yuv422_by_table = nullptr;
    convert_function general_by_table = nullptr;
};

constexpr route routes[] = {
    {VIQ_Y8, VIQ_convert_to_Y8, VIQ_YUV422_to_Y8},
    {VIQ_PALETTED, VIQ_convert_to_paletted, VIQ_YUV422_to_paletted_LUT, nullptr,
     VIQ_convert_to_paletted_LUT},
    {VIQ_RGB8, VIQ_convert_to_RGB8, nullptr},
    {VIQ_RGB15, VIQ_convert_to_RGB15, VIQ_YUV422_to_RGB15, VIQ_YUV422_to_RGB15_LUT},
    {VIQ_RGB16, VIQ_convert_to_RGB16, VIQ_YUV422_to_RGB16, VIQ_YUV422_to_RGB16_LUT},
    {VIQ_RGB24, VIQ_convert_to_RGB24, VIQ_YUV422_to_RGB24, VIQ_YUV422_to_RGB24_LUT},
    {VIQ_BGR24, VIQ_convert_to_BGR24, VIQ_YUV422_to_BGR24, VIQ_YUV422_to_BGR24_LUT},
    {VIQ_RGBX32, VIQ_convert_to_RGBX32, VIQ_YUV422_to_RGBX32, VIQ_YUV422_to_RGBX32_LUT},
    {VIQ_BGRX32, VIQ_convert_to_BGRX32, VIQ_YUV422_to_BGRX32, VIQ_YUV422_to_BGRX32_LUT},
    {VIQ_XBGR32, VIQ_convert_to_XBGR32, VIQ_YUV422_to_XBGR32, VIQ_YUV422_to_XBGR32_LUT},
    {VIQ_XRGB32, VIQ_convert_to_XRGB32, VIQ_YUV422_to_XRGB32, VIQ_YUV422_to_XRGB32_LUT},
    {VIQ_YUV422, VIQ_convert_to_YUV422, VIQ_convert_to_YUV422},
    {VIQ_Y16, VIQ_convert_to_Y16, nullptr},
    {VIQ_HSI, nullptr, VIQ_YUV422_to_HSI},
    {VIQ_RGB24_OR_Y8, VIQ_paletted_to_RGB24_or_Y8, VIQ_paletted_to_RGB24_or_Y8},
};

// Flags of the output that choose the route: the copying of the input's parameters on the first
// strip must not change it on the way.
constexpr u32 route_flags = VIQ_FLAG_DIB | VIQ_FLAG_USE_LUT | VIQ_FLAG_DITHER;

convert_function find_route(u16 out_format, bool from_yuv422, bool by_table);

} // namespace

u32 VIQ_image_convert(u32 hInImage, u32 hOutImage, u16 wOutFormat, u32 dwOption,
                      u16 wStripCommand) {
    const tVIQ_Image *in = find_image(hInImage);
    tVIQ_Image *out = find_image(hOutImage);
    if (out == nullptr)
        return report(name, VIQ_ERR_HANDLE, "Output image does not exist");
    if (is_frozen(*out))
        return report_unchangeable(name, hOutImage);
    const u32 flags = out->flags;
    if ((flags & VIQ_FLAG_DITHER) != 0)
        return report(name, VIQ_ERR_UNSUPPORTED, "Dithering is not yet supported");

    u32 code = success;
    if ((flags & VIQ_FLAG_DIB) != 0) {
        code = convert_to_dib(hInImage, hOutImage, dwOption, wStripCommand);
    } else {
        const bool from_yuv422 = in != nullptr && in->pixel_format == VIQ_YUV422;
        const convert_function convert =
            find_route(wOutFormat, from_yuv422, (flags & VIQ_FLAG_USE_LUT) != 0);
        if (convert == nullptr)
            return report(name, VIQ_ERR_UNSUPPORTED,
                          "Unsupported or unrecognized output image format");
        code = convert(hInImage, hOutImage, wStripCommand);
    }
    out->flags = (out->flags & ~(route_flags | VIQ_FLAG_2)) | (flags & route_flags);
    return code;
}

namespace {

convert_function find_route(u16 out_format, bool from_yuv422, bool by_table) {
    const auto *found = std::find_if(std::begin(routes), std::end(routes), [=](const route &row) {
        return row.out_format == out_format;
    });
    if (found == std::end(routes))
        return nullptr;
    const convert_function direct = from_yuv422 ? found->yuv422 : found->general;
    const convert_function looked_up =
        from_yuv422 ? found->yuv422_by_table : found->general_by_table;
    return by_table && looked_up != nullptr ? looked_up : direct;
}

} // namespace
