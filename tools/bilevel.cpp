#include "tools/bilevel.h"

#include <algorithm>
#include <vector>

namespace tool {

namespace {

constexpr int white = 255;
constexpr int middle = 128;

// `is_white` is called for every pixel in the order of the lines.
template <class Rule>
image to_bits(const image &grey, const std::string &name, const Rule &is_white) {
    const pixels from = pixels_of(grey.handle);
    image bits;
    check(set_shape(bits.handle, VIQ_Y1, from.width, from.lines, from.lines), name);
    const pixels to = pixels_of(bits.handle);
    for (uint32_t y = 0; y < from.lines; ++y) {
        uint8_t *line = to.line(y);
        std::fill_n(line, to.bytes_per_line, uint8_t{0});
        for (uint32_t x = 0; x < from.width; ++x)
            if (is_white(x, from.line(y)[x]))
                line[x / 8] = static_cast<uint8_t>(line[x / 8] | 128 >> x % 8);
    }
    return bits;
}

} // namespace

image threshold_to_bits(const image &grey, int level, const std::string &name) {
    return to_bits(grey, name, [level](uint32_t, int value) { return value >= level; });
}

image dither_to_bits(const image &grey, const std::string &name) {
    constexpr int right = 7;
    constexpr int below_left = 3;
    constexpr int below = 5;
    constexpr int below_right = 1;
    constexpr int sum = 16;
    const uint32_t width = VIQ_get_width(grey.handle);
    // Errors in sixteenths for this line and the next, from column -1 to `width`.
    std::vector<int> errors(std::size_t{width} + 2);
    std::vector<int> next(errors.size());
    return to_bits(grey, name, [&](uint32_t x, int value) {
        if (x == 0) {
            errors.swap(next);
            std::fill(next.begin(), next.end(), 0);
        }
        const int wanted = value + errors[x + 1] / sum;
        const bool is_white = wanted >= middle;
        const int error = wanted - (is_white ? white : 0);
        errors[x + 2] += right * error;
        next[x] += below_left * error;
        next[x + 1] += below * error;
        next[x + 2] += below_right * error;
        return is_white;
    });
}

} // namespace tool
