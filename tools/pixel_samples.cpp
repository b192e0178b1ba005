#include "tools/pixel_samples.h"

#include <cstring>

#include "tools/pipeline.h"
#include "tools/pixel_format_table.h"
#include "tools/strip_stages.h"

namespace tool {

namespace {

// A pair of YUV 4:2:2 pixels: Y, U, Y, V.
constexpr uint32_t pair_bytes = 4;

template <std::size_t bytes>
void copy_pixels(const uint8_t *from, std::span<const uint32_t> columns, uint8_t *to) {
    for (const uint32_t column : columns) {
        std::memcpy(to, from + bytes * column, bytes);
        to += bytes;
    }
}

// Each pixel becomes a pair, so that it keeps its own chroma.
void copy_as_pairs(const uint8_t *from, std::span<const uint32_t> columns, uint8_t *to) {
    for (const uint32_t column : columns) {
        const uint8_t *pair = from + std::size_t{column / 2} * pair_bytes;
        const uint8_t luma = pair[column % 2 * 2];
        const uint8_t made[pair_bytes] = {luma, pair[1], luma, pair[3]};
        std::memcpy(to, made, pair_bytes);
        to += pair_bytes;
    }
}

using line_copier = void (*)(const uint8_t *from, std::span<const uint32_t> columns, uint8_t *to);

line_copier copier_for(uint16_t format) {
    constexpr line_copier by_bytes[] = {copy_pixels<1>, copy_pixels<2>, copy_pixels<3>,
                                        copy_pixels<4>};
    return format == VIQ_YUV422 ? copy_as_pairs : by_bytes[bytes_per_pixel(format) - 1];
}

// The first pixels of pairs.
image without_second_pixels(const image &pairs, const std::string &name) {
    const pixels from = pixels_of(pairs.handle);
    const uint16_t format = format_of(pairs.handle);
    const std::size_t bytes = bytes_per_pixel(format);
    image result;
    check(set_shape(result.handle, format, from.width / 2, from.lines, from.lines), name);
    const pixels to = pixels_of(result.handle);
    for (uint32_t y = 0; y < to.lines; ++y)
        for (std::size_t x = 0; x < to.width; ++x)
            std::memcpy(to.line(y) + x * bytes, from.line(y) + 2 * x * bytes, bytes);
    return result;
}

} // namespace

image sample_pixels(const image &picture, std::span<const uint32_t> columns,
                    std::span<const uint32_t> lines, const std::string &name) {
    const uint16_t format = format_of(picture.handle);
    const bool has_pairs = format == VIQ_YUV422;
    const auto count = static_cast<uint32_t>(lines.size());
    image copy;
    shape_like(picture.handle, 1, 1, copy.handle, name); // for the palette and the data width
    check(set_shape(copy.handle, format, static_cast<uint32_t>(columns.size()) * (1 + has_pairs),
                    count, count),
          name);
    const pixels from = pixels_of(picture.handle);
    const pixels to = pixels_of(copy.handle);
    const line_copier copy_line = copier_for(format);
    for (uint32_t y = 0; y < count; ++y)
        copy_line(from.line(lines[y]), columns, to.line(y));
    image converted = converted_to_any(std::move(copy), {VIQ_Y16, VIQ_Y8, VIQ_RGB24}, name);
    return has_pairs ? without_second_pixels(converted, name) : std::move(converted);
}

std::string stored_pixel(const image &picture, uint32_t column, uint32_t line,
                         const std::string &name) {
    const uint16_t format = format_of(picture.handle);
    const uint8_t *stored = pixels_of(picture.handle).line(line);
    if (format == VIQ_YUV422) {
        uint8_t pair[pair_bytes];
        copy_as_pairs(stored, {&column, 1}, pair);
        return "YUV " + std::to_string(pair[0]) + " " + std::to_string(pair[1]) + " " +
               std::to_string(pair[3]);
    }
    const image pixel = sample_pixels(picture, {&column, 1}, {&line, 1}, name);
    const uint8_t *samples = pixels_of(pixel.handle).data;
    if (format_of(pixel.handle) == VIQ_Y16) {
        uint16_t value;
        std::memcpy(&value, samples, sizeof value);
        return std::to_string(value);
    }
    std::string text =
        format == VIQ_PALETTED ? "index " + std::to_string(stored[column]) + ": " : "";
    const uint32_t components = bytes_per_pixel(format_of(pixel.handle));
    for (uint32_t n = 0; n < components; ++n)
        text += (n != 0 ? " " : "") + std::to_string(samples[n]);
    return text;
}

} // namespace tool
