#include "tools/compare.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include "tools/pipeline.h"

namespace tool {

namespace {

pipeline read_as(const std::string &file, const picture &header, u16 format);

} // namespace

difference::difference(u16 format) {
    if (format == VIQ_Y8)
        channels = {{"grey"}};
    else
        channels = {{"red"}, {"green"}, {"blue"}};
}

void difference::add(const pixels &a, const pixels &b) {
    const std::size_t count = channels.size();
    const std::size_t width = std::min(a.width, b.width);
    const u32 lines = std::min(a.lines, b.lines);
    for (u32 y = 0; y < lines; ++y)
        for (std::size_t c = 0; c < count; ++c) {
            const u8 *left = a.line(y) + c;
            const u8 *right = b.line(y) + c;
            double squares = 0;
            int largest = channels[c].largest;
            for (std::size_t x = 0; x < width; ++x) {
                const int apart = std::abs(left[x * count] - right[x * count]);
                squares += apart * apart;
                largest = std::max(largest, apart);
            }
            channels[c].squares += squares;
            channels[c].samples += static_cast<double>(width);
            channels[c].largest = largest;
        }
}

double difference::psnr() const {
    double squares = 0;
    double samples = 0;
    for (const channel &c : channels) {
        squares += c.squares;
        samples += c.samples;
    }
    return psnr_of(squares, samples);
}

int difference::largest() const {
    int most = 0;
    for (const channel &c : channels)
        most = std::max(most, c.largest);
    return most;
}

double psnr_of(double squares, double samples) {
    return squares > 0 ? 10 * std::log10(255.0 * 255.0 * samples / squares)
                       : std::numeric_limits<double>::infinity();
}

double distance(const image &a, const image &b) {
    difference apart(VIQ_RGB24);
    apart.add(pixels_of(a.handle), pixels_of(b.handle));
    return apart.psnr();
}

std::string psnr_text(double psnr) {
    if (std::isinf(psnr))
        return "identical";
    char text[32];
    std::snprintf(text, sizeof text, "%.2f dB", psnr);
    return text;
}

// A reader has one file open at a time, so the first picture waits in memory for the second.
int compare(const compare_options &options) {
    const picture a = read_header(options.a);
    const picture b = read_header(options.b);
    if (a.width != b.width || a.height != b.height) {
        std::printf("sizes differ: %lu x %lu and %lu x %lu\n", static_cast<unsigned long>(a.width),
                    static_cast<unsigned long>(a.height), static_cast<unsigned long>(b.width),
                    static_cast<unsigned long>(b.height));
        return 1;
    }
    const u16 format = a.colour || b.colour ? VIQ_RGB24 : VIQ_Y8;
    const image first = run_to_memory(read_as(options.a, a, format));
    difference apart(format);
    pixels rest = pixels_of(first.handle);
    const auto take = [&](u32 strip, bool) {
        const pixels next = pixels_of(strip);
        apart.add(rest, next);
        rest.data = rest.line(next.lines);
    };
    run(read_as(options.b, b, format), {take, {}});
    for (const channel &c : apart.channels)
        std::printf("%-6s PSNR %-10s largest difference %d\n", c.name,
                    psnr_text(psnr_of(c.squares, c.samples)).c_str(), c.largest);
    return apart.largest() > options.tolerance ? 1 : 0;
}

namespace {

pipeline read_as(const std::string &file, const picture &header, u16 format) {
    route way = route_from(header);
    extend(way, format, file);
    return {file, 0, way.steps};
}

} // namespace

} // namespace tool
