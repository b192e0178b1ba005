// Writer of raw pixel data: the lines of the image without a header.
#include "core/geometry.h"
#include "core/image.h"
#include "core/report.h"
#include "files/strip_file.h"

using namespace viq;

namespace {

VIQ_PER_CONTEXT(file_sequence, state);

u32 write_strip(std::FILE *file, const tVIQ_Image &image);

constexpr u16 formats[] = {VIQ_Y8,     VIQ_Y16,    VIQ_PALETTED,     VIQ_RGB8,   VIQ_RGB15,
                           VIQ_RGB16,  VIQ_RGB24,  VIQ_BGR24,        VIQ_RGBX32, VIQ_BGRX32,
                           VIQ_XBGR32, VIQ_XRGB32, VIQ_JPEG_WORK100, VIQ_HSI,    VIQ_YUV422};

constexpr strip_writer writer = {
    .name = "VIQ_write_raw_data",
    .strip_name = "VIQ_write_raw_data_1_strip",
    .state = state,
    .formats = formats,
    .write_strip = write_strip,
    .plain_format_code = true,
};

} // namespace

u32 VIQ_write_raw_data_file(u32 hImage, u16 wMode) {
    return run_writer(writer, hImage, wMode);
}

namespace {

// 16-bit pixels are written as consecutive words of the buffer: line padding is not skipped. Lines
// of other formats are written with their padding.
u32 write_strip(std::FILE *file, const tVIQ_Image &image) {
    switch (image.pixel_format) {
    case VIQ_RGB15:
    case VIQ_RGB16:
    case VIQ_Y16:
        write_words(file, image.data, u64{image.width} * image.lines_per_strip, endian::little);
        break;
    default:
        write_image_lines(file, image, image.bytes_per_line);
        break;
    }
    return success;
}

} // namespace
