// Raw pixel data: lines without a header.
#include "core/geometry.h"
#include "core/image.h"
#include "core/report.h"
#include "files/stream.h"

using namespace viq;

namespace {

constexpr const char *name = "VIQ_write_raw_data";
constexpr const char *strip_name = "VIQ_write_raw_data_1_strip";

write_state state;

verdict refuse(const strip_call &call);
u32 create(const strip_call &call);
u32 write_strip(const strip_call &call);
u32 close(const strip_call &call);

constexpr strip_transfer writer = {
    .name = name,
    .sequence = &state.sequence,
    .refuse = refuse,
    .begin = create,
    .process = write_strip,
    .finish = close,
    .abandon = close,
};

} // namespace

u32 VIQ_write_raw_data_file(u32 hImage, u16 wMode) {
    return run_transfer(writer, hImage, wMode);
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
        return stop_with(report(name, VIQ_ERR_UNSUPPORTED, "Unsupported image format"));
    }
}

u32 create(const strip_call &call) {
    return create_file(name, state, call.in->outfilename, 0);
}

// Words stand back to back, whatever padding the lines have; bytes are written with the padding.
u32 write_strip(const strip_call &call) {
    const tVIQ_Image &image = *call.in;
    if (image.lines_per_strip == 0)
        return success;
    if (!has_lines(image, image.lines_per_strip))
        return report_no_data(strip_name);
    switch (image.pixel_format) {
    case VIQ_RGB15:
    case VIQ_RGB16:
    case VIQ_Y16:
        write_words(state.file.get(), image.data, u64{image.width} * image.lines_per_strip,
                    endian::little);
        break;
    default:
        std::fwrite(image.data, 1,
                    static_cast<std::size_t>(strip_size(image, image.lines_per_strip)),
                    state.file.get());
        break;
    }
    return check_written(strip_name, state);
}

u32 close(const strip_call &) {
    return close_file(name, state.file);
}

} // namespace
