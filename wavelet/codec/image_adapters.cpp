#include "wavelet/codec/image_adapters.h"

#include <cstring>

#include "core/geometry.h"
#include "core/pixel_formats.h"
#include "core/report.h"
#include "wavelet/codec/wavelet_record.h"
#include "wavelet/stages/lifting_kernels.h"

namespace viq {

namespace {

u32 read_stream(const wavelet_record &record, u32 x, u32 y, region &requested);

u32 bytes_per_pixel(const tVIQ_Image &image) {
    return (u32{image.bits_per_pixel} + 7) / 8;
}

} // namespace

u32 read_image_region(void *context, u32 x, u32 y, region &requested) {
    const auto &image = *static_cast<const tVIQ_Image *>(context);
    if (const wavelet_record *record = find_wavelet_record(&image))
        return read_stream(*record, x, y, requested);
    const u32 width = requested.width != 0 ? requested.width : image.width;
    const u32 height = requested.height != 0 ? requested.height : image.height;
    if (u64{x} + width > image.width || u64{y} + height > image.height || image.data == nullptr)
        return adapter_outside;
    const u64 offset = u64{y} * image.bytes_per_line + u64{x} * bytes_per_pixel(image);
    requested = {width, height, image.data + offset, image.bytes_per_line};
    return success;
}

u32 append_to_stream(void *context, u32 x, u32 y, const region &delivered) {
    auto &image = *static_cast<tVIQ_Image *>(context);
    wavelet_record *record = find_wavelet_record(&image);
    if (record == nullptr)
        return adapter_outside;
    const u64 pixel_bytes = bytes_per_pixel(image);
    const bool is_stream = image.height == 0;
    const u64 line = is_stream ? delivered.stride : delivered.width * pixel_bytes;
    for (u32 i = 0; i < delivered.height; ++i) {
        const u64 offset = is_stream ? record->stream.size()
                                     : (u64{y} + i) * image.bytes_per_line + x * pixel_bytes;
        const u64 needed = offset + line;
        if (needed > UINT32_MAX ||
            (needed > record->stream.size() && !resize_stream(*record, needed)))
            return adapter_no_memory;
        std::memcpy(record->stream.data() + offset,
                    delivered.data + std::size_t{i} * delivered.stride,
                    static_cast<std::size_t>(line));
        record->stream_length = static_cast<u32>(record->stream_length + line);
    }
    return success;
}

u32 write_component(void *context, u32 x, u32 y, const region &delivered) {
    const auto &image = *static_cast<const tVIQ_Image *>(context);
    const u32 offset = image.skip_bytes;
    const bool chroma = image.pixel_format == VIQ_YUV422 && offset != 0;
    const u32 step = bytes_per_pixel(image) * (chroma ? 2 : 1);
    const u64 last = (u64{x} + delivered.width) * step;
    if (u64{x} + delivered.width > image.width || u64{y} + delivered.height > image.height ||
        last > image.bytes_per_line || image.data == nullptr)
        return adapter_outside;
    const wavelet_kernels &kernels = current_wavelet_kernels();
    for (u32 i = 0; i < delivered.height; ++i) {
        const u8 *from = delivered.data + std::size_t{i} * delivered.stride;
        u8 *to = image.data + (u64{y} + i) * image.bytes_per_line + u64{x} * step + offset;
        if (from != to) // the decompressor may have stored the line itself
            kernels.spread(from, to, step, delivered.width);
    }
    return success;
}

u32 describe_image(tVIQ_Image &image, const output_description &output) {
    struct described_type {
        u32 type;
        u16 format;
    };
    constexpr described_type types[] = {
        {type_bytes, VIQ_Y8},        {type_signed_16, VIQ_WORK103},
        {type_unsigned_16, VIQ_Y16}, {type_jpeg_work, VIQ_JPEG_WORK100},
        {type_rgb15, VIQ_RGB15},     {type_rgb16, VIQ_RGB16},
        {type_rgb24, VIQ_RGB24},     {type_rgb8, VIQ_RGB8},
        {type_rgbx32, VIQ_RGBX32},   {type_yuv422, VIQ_YUV422},
    };
    if (output.height == 0) {
        describe_as_stream(image);
        return success;
    }
    for (const described_type &row : types)
        if (row.type == output.type) {
            image.pixel_format = row.format;
            // RGB15 is described with 16 bits, its size in memory.
            const std::size_t pixel = pixel_bytes(row.format);
            image.bits_per_pixel = static_cast<u16>(8 * pixel);
            image.width = output.width;
            image.height = output.height;
            image.lines_per_strip = output.height;
            const u64 line = u64{pixel} * output.width;
            image.bytes_per_line = static_cast<u32>((line + 1) / 2 * 2);
            return success;
        }
    return report("InfoToImage", low_word(output.type) | VIQ_ERR_UNSUPPORTED,
                  "Unsupported compressor output type");
}

namespace {

u32 read_stream(const wavelet_record &record, u32 x, u32 y, region &requested) {
    const u32 width = requested.width != 0 ? requested.width : record.stream_length;
    if (u64{x} + width > record.stream_length || y != 0)
        return adapter_outside;
    requested = {width, 1, record.stream.data() + record.read_position + x, record.stream_length};
    return success;
}

} // namespace

} // namespace viq
