#include "tools/psnr.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>

namespace tool {

namespace {

template <class Sample>
void add_line(channel_difference &channel, const Sample *left, const Sample *right,
              std::size_t width, std::size_t pixel_stride) {
    double sum = 0;
    int largest = channel.largest;
    for (std::size_t x = 0; x < width; ++x) {
        const int distance = std::abs(left[x * pixel_stride] - right[x * pixel_stride]);
        sum += static_cast<double>(distance) * distance;
        largest = std::max(largest, distance);
    }
    channel.error.sum += sum;
    channel.error.samples += static_cast<double>(width);
    channel.largest = largest;
}

} // namespace

double squared_error::psnr() const {
    return sum > 0 ? 10 * std::log10(static_cast<double>(peak) * peak * samples / sum)
                   : std::numeric_limits<double>::infinity();
}

difference::difference(uint16_t format) {
    if (format == VIQ_Y8)
        channels = {{"grey"}};
    else if (format == VIQ_Y16)
        channels = {{"grey", {.peak = 65535}}};
    else
        channels = {{"red"}, {"green"}, {"blue"}};
}

void difference::add(const pixels &a, const pixels &b) {
    const std::size_t width = std::min(a.width, b.width);
    const uint32_t lines = std::min(a.lines, b.lines);
    for (uint32_t y = 0; y < lines; ++y)
        for (std::size_t c = 0; c < channels.size(); ++c)
            if (peak() > 255)
                add_line(channels[c], reinterpret_cast<const uint16_t *>(a.line(y)),
                         reinterpret_cast<const uint16_t *>(b.line(y)), width, 1);
            else
                add_line(channels[c], a.line(y) + c, b.line(y) + c, width, channels.size());
}

double difference::psnr() const {
    squared_error all = {.peak = peak()};
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
