#include "wavelet/codec/adapters.h"

#include <cstring>

#include "core/geometry.h"
#include "core/pixel_formats.h"
#include "core/report.h"
#include "wavelet/codec/record.h"
#include "wavelet/stages/kernels.h"

namespace viq {

namespace {

u32 read_stream(const wavelet_record &record, u32 x, u32 y, region &wanted);

u32 bytes_per_pixel(const tVIQ_Image &image) {
    return (u32{image.bits_per_pixel} + 7) / 8;
}

} // namespace

u32 read_image_region(void *context, u32 x, u32 y, region &wanted) {
    const auto &image = *static_cast<const tVIQ_Image *>(context);
    if (const wavelet_record *record = find_record(&image))
        return read_stream(*record, x, y, wanted);
    const u32 width = wanted.width != 0 ? wanted.width : image.width;
    const u32 height = wanted.height != 0 ? wanted.height : image.height;
    if (u64{x} + width > image.width || u64{y} + height > image.height || image.data == nullptr)
        return adapter_outside;
    const u64 offset = u64{y} * image.bytes_per_line + u64{x} * bytes_per_pixel(image);
    wanted = {width, height, image.data + offset, image.bytes_per_line};
    return success;
}

u32 append_to_stream(void *context, u32 x, u32 y, const region &delivered) {
    auto &image = *static_cast<tVIQ_Image *>(context);
    wavelet_record *record = find_record(&image);
    if (record == nullptr)
        return adapter_outside;
    const u64 pixel = bytes_per_pixel(image);
    const bool is_stream = image.height == 0;
    const u64 line = is_stream ? delivered.stride : delivered.width * pixel;
    for (u32 i = 0; i < delivered.height; ++i) {
        const u64 offset =
            is_stream ? record->stream.size() : (u64{y} + i) * image.bytes_per_line + x * pixel;
        const u64 needed = offset + line;
        if (needed > UINT32_MAX ||
            (needed > record->stream.size() && !try_resize(record->stream, needed)))
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
        {1, VIQ_Y8},     {2, VIQ_WORK103}, {3, VIQ_Y16},   {4, VIQ_JPEG_WORK100}, {10, VIQ_RGB15},
        {11, VIQ_RGB16}, {12, VIQ_RGB24},  {13, VIQ_RGB8}, {14, VIQ_RGBX32},      {20, VIQ_YUV422},
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

u32 read_stream(const wavelet_record &record, u32 x, u32 y, region &wanted) {
    const u32 width = wanted.width != 0 ? wanted.width : record.stream_length;
    if (u64{x} + width > record.stream_length || y != 0)
        return adapter_outside;
    wanted = {width, 1, record.stream.data() + record.read_position + x, record.stream_length};
    return success;
}

} // namespace

} // namespace viq
