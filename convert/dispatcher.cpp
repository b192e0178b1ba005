// VIQ_image_convert: selects the converter for a pair of pixel formats.
#include "convert/converter.h"
#include "convert/dib.h"
#include "core/image.h"
#include "core/report.h"

using namespace viq;

namespace {

constexpr const char *name = "VIQ_image_convert";

// Flags of the output that select the conversion. They are restored after each strip, because the
// first strip copies the input's flags with its parameters.
constexpr u32 route_flags = VIQ_FLAG_DIB | VIQ_FLAG_USE_LUT | VIQ_FLAG_DITHER;

const converter *select_converter(u16 format, bool from_yuv422, bool by_table);

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
        const bool by_table = (flags & VIQ_FLAG_USE_LUT) != 0;
        const bool from_yuv422 = in != nullptr && in->pixel_format == VIQ_YUV422;
        const converter *which = select_converter(wOutFormat, from_yuv422, by_table);
        if (which == nullptr)
            return report(name, VIQ_ERR_UNSUPPORTED,
                          "Unsupported or unrecognized output image format");
        code = run(*which, hInImage, hOutImage, wStripCommand);
    }
    out->flags = (out->flags & ~(route_flags | VIQ_FLAG_2)) | (flags & route_flags);
    return code;
}

namespace {

const converter *select_from_yuv422(u16 format, bool by_table);

const converter *select_converter(u16 format, bool from_yuv422, bool by_table) {
    if (format == VIQ_RGB24_OR_Y8)
        return &paletted_converter;
    if (from_yuv422)
        return select_from_yuv422(format, by_table);
    switch (format) {
    case VIQ_PALETTED:
        return by_table ? &to_paletted_by_table : &to_paletted_converter;
    case VIQ_YUV422:
        return yuv422_converter(format);
    case VIQ_CMYK32: // only VIQ_convert_to_CMYK32 converts to it
        return nullptr;
    default:
        return packed_converter(format);
    }
}

// If a format has only one of the two converters, it is used with and without the flag.
const converter *select_from_yuv422(u16 format, bool by_table) {
    const converter *direct = yuv422_converter(format);
    const converter *from_table = yuv422_table_converter(format);
    if (direct == nullptr || (by_table && from_table != nullptr))
        return from_table;
    return direct;
}

} // namespace
