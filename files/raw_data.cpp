// Raw pixel data: lines without a header.
#include "core/geometry.h"
#include "core/image.h"
#include "core/report.h"
#include "files/stream.h"

using namespace viq;

namespace {

write_state state;

verdict refuse(const strip_call &call);
u32 put_strip(std::FILE *file, const tVIQ_Image &image);

constexpr strip_writer writer = {
    "VIQ_write_raw_data", "VIQ_write_raw_data_1_strip", &state, refuse, nullptr, put_strip};

} // namespace

u32 VIQ_write_raw_data_file(u32 hImage, u16 wMode) {
    return run_writer(writer, hImage, wMode);
}

namespace {

verdict refuse(const strip_call &call) {
    switch (call.in->pixel_format) {
    case VIQ_Y8:
    case VIQ_Y16:
    case VIQ_PALETTED:
    case VIQ_RGB8:
    case VIQ_RGB15:
    case VIQ_RGB16:
    case VIQ_RGB24:
    case VIQ_BGR24:
    case VIQ_RGBX32:
    case VIQ_BGRX32:
    case VIQ_XBGR32:
    case VIQ_XRGB32:
    case VIQ_JPEG_WORK100:
    case VIQ_HSI:
    case VIQ_YUV422:
        return proceed;
    default:
        return stop_with(report(writer.name, VIQ_ERR_UNSUPPORTED, "Unsupported image format"));
    }
}

// Words stand back to back, whatever padding the lines have; bytes are written with the padding.
u32 put_strip(std::FILE *file, const tVIQ_Image &image) {
    switch (image.pixel_format) {
    case VIQ_RGB15:
    case VIQ_RGB16:
    case VIQ_Y16:
        write_words(file, image.data, u64{image.width} * image.lines_per_strip, endian::little);
        break;
    default:
        put_lines(file, image, image.bytes_per_line);
        break;
    }
    return success;
}

} // namespace
