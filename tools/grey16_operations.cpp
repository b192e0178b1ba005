#include "tools/grey16_operations.h"

#include <algorithm>
#include <numeric>

namespace tool {

namespace {

image empty_grey16(const image &like, uint32_t width, uint32_t height, const std::string &name) {
    image result;
    check(set_shape(result.handle, VIQ_Y16, width, height, height), name);
    VIQ_image_set_parameter(result.handle, VIQ_DATA_WIDTH,
                            VIQ_image_get_parameter(like.handle, VIQ_DATA_WIDTH));
    return result;
}

const uint16_t *samples(const pixels &picture, uint64_t line) {
    return reinterpret_cast<const uint16_t *>(picture.line(static_cast<uint32_t>(line)));
}

uint16_t *samples_to_write(const pixels &picture, uint32_t line) {
    return reinterpret_cast<uint16_t *>(picture.line(line));
}

} // namespace

void scale_to_16_bits(uint32_t handle) {
    constexpr uint32_t full = 65535;
    const uint32_t bits = VIQ_image_get_parameter(handle, VIQ_DATA_WIDTH);
    if (bits == 16)
        return;
    const uint32_t largest = (1u << bits) - 1;
    std::vector<uint16_t> scaled(largest + 1);
    for (uint32_t value = 0; value <= largest; ++value)
        scaled[value] = static_cast<uint16_t>((value * full + largest / 2) / largest);
    const pixels to = pixels_of(handle);
    for (uint32_t y = 0; y < to.lines; ++y) {
        auto *line = reinterpret_cast<uint16_t *>(to.line(y));
        std::transform(line, line + to.width, line,
                       [&](uint16_t value) { return scaled[value & largest]; });
    }
    VIQ_image_set_parameter(handle, VIQ_DATA_WIDTH, 16);
}

image scale_grey16(const image &picture, uint32_t width, uint32_t height, const std::string &name) {
    constexpr uint64_t one = 1u << 13; // of positions
    const pixels from = pixels_of(picture.handle);
    image result = empty_grey16(picture, width, height, name);
    const pixels to = pixels_of(result.handle);
    const uint64_t step_x = from.width * one / width;
    const uint64_t step_y = height > 1 ? (from.lines - 1) * one / (height - 1) : 0;
    for (uint32_t y = 0; y < height; ++y) {
        const uint64_t top = y * step_y / one;
        const uint64_t part_y = y * step_y % one;
        const uint16_t *above = samples(from, top);
        const uint16_t *below = samples(from, std::min<uint64_t>(top + 1, from.lines - 1));
        for (uint32_t x = 0; x < width; ++x) {
            const uint64_t left = x * step_x / one;
            const uint64_t right = std::min<uint64_t>(left + 1, from.width - 1);
            const uint64_t part_x = x * step_x % one;
            const auto mix = [&](const uint16_t *line) {
                return line[left] * (one - part_x) + line[right] * part_x;
            };
            const uint64_t sum = mix(above) * (one - part_y) + mix(below) * part_y;
            samples_to_write(to, y)[x] = static_cast<uint16_t>((sum + one * one / 2) / (one * one));
        }
    }
    return result;
}

image filter_grey16(const image &picture, const std::vector<int> &kernel, const std::string &name) {
    const pixels from = pixels_of(picture.handle);
    image result = empty_grey16(picture, from.width, from.lines, name);
    const pixels to = pixels_of(result.handle);
    const int64_t sum = std::accumulate(kernel.begin(), kernel.end(), int64_t{0});
    const int64_t divisor = sum == 0 ? 1 : sum;
    const int64_t largest = (1 << VIQ_image_get_parameter(picture.handle, VIQ_DATA_WIDTH)) - 1;
    for (uint32_t y = 0; y < from.lines; ++y) {
        std::copy_n(samples(from, y), from.width, samples_to_write(to, y));
        if (y == 0 || y + 1 == from.lines)
            continue;
        for (uint32_t x = 1; x + 1 < from.width; ++x) {
            int64_t total = 0;
            for (uint32_t k = 0; k < 9; ++k)
                total += int64_t{kernel[k]} * samples(from, y + k / 3 - 1)[x + k % 3 - 1];
            samples_to_write(to, y)[x] =
                static_cast<uint16_t>(std::clamp<int64_t>(total / divisor, 0, largest));
        }
    }
    return result;
}

} // namespace tool
