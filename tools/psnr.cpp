#include "tools/psnr.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>

namespace tool {

double squared_error::psnr() const {
    constexpr double peak = 255;
    return sum > 0 ? 10 * std::log10(peak * peak * samples / sum)
                   : std::numeric_limits<double>::infinity();
}

difference::difference(uint16_t format) {
    if (format == VIQ_Y8)
        channels = {{"grey"}};
    else
        channels = {{"red"}, {"green"}, {"blue"}};
}

void difference::add(const pixels &a, const pixels &b) {
    const std::size_t count = channels.size();
    const std::size_t width = std::min(a.width, b.width);
    const uint32_t lines = std::min(a.lines, b.lines);
    for (uint32_t y = 0; y < lines; ++y)
        for (std::size_t c = 0; c < count; ++c) {
            const uint8_t *left = a.line(y) + c;
            const uint8_t *right = b.line(y) + c;
            double sum = 0;
            int largest = channels[c].largest;
            for (std::size_t x = 0; x < width; ++x) {
                const int distance = std::abs(left[x * count] - right[x * count]);
                sum += distance * distance;
                largest = std::max(largest, distance);
            }
            channels[c].error.sum += sum;
            channels[c].error.samples += static_cast<double>(width);
            channels[c].largest = largest;
        }
}

double difference::psnr() const {
    squared_error all;
    for (const channel_difference &c : channels) {
        all.sum += c.error.sum;
        all.samples += c.error.samples;
    }
    return all.psnr();
}

int difference::largest() const {
    int most = 0;
    for (const channel_difference &c : channels)
        most = std::max(most, c.largest);
    return most;
}

double psnr_of(const image &a, const image &b) {
    difference between(VIQ_RGB24);
    between.add(pixels_of(a.handle), pixels_of(b.handle));
    return between.psnr();
}

std::string psnr_text(double psnr) {
    if (std::isinf(psnr))
        return "identical";
    char text[32];
    std::snprintf(text, sizeof text, "%.2f dB", psnr);
    return text;
}

} // namespace tool
