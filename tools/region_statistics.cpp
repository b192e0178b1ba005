#include "tools/region_statistics.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numeric>

#include "tools/pixel_format_table.h"
#include "tools/pixel_samples.h"

namespace tool {

namespace {

// Of the formats that sample_pixels returns.
std::vector<channel_statistics> empty_channels(uint16_t format) {
    constexpr std::size_t byte_values = 256;
    constexpr std::size_t word_values = 65536;
    const std::vector<uint64_t> bins(format == VIQ_Y16 ? word_values : byte_values);
    if (format == VIQ_RGB24)
        return {{"red", bins}, {"green", bins}, {"blue", bins}};
    return {{"grey", bins}};
}

template <class Sample>
void count_line(std::vector<channel_statistics> &channels, const uint8_t *line, uint32_t width) {
    const auto *samples = reinterpret_cast<const Sample *>(line);
    for (std::size_t c = 0; c < channels.size(); ++c)
        for (std::size_t x = 0; x < width; ++x)
            ++channels[c].histogram[samples[x * channels.size() + c]];
}

void count_samples(std::vector<channel_statistics> &channels, const image &part) {
    const pixels from = pixels_of(part.handle);
    const auto count =
        format_of(part.handle) == VIQ_Y16 ? count_line<uint16_t> : count_line<uint8_t>;
    for (uint32_t y = 0; y < from.lines; ++y)
        count(channels, from.line(y), from.width);
}

void evaluate(channel_statistics &channel) {
    const std::vector<uint64_t> &bins = channel.histogram;
    double count = 0, sum = 0;
    for (std::size_t value = 0; value < bins.size(); ++value) {
        count += static_cast<double>(bins[value]);
        sum += static_cast<double>(bins[value]) * static_cast<double>(value);
    }
    channel.mean = sum / count;
    double squares = 0;
    for (std::size_t value = 0; value < bins.size(); ++value) {
        const double distance = static_cast<double>(value) - channel.mean;
        squares += static_cast<double>(bins[value]) * distance * distance;
    }
    channel.deviation = std::sqrt(squares / count);
    const auto is_used = [](uint64_t bin) { return bin != 0; };
    channel.smallest =
        static_cast<uint32_t>(std::find_if(bins.begin(), bins.end(), is_used) - bins.begin());
    channel.largest =
        static_cast<uint32_t>(bins.rend() - std::find_if(bins.rbegin(), bins.rend(), is_used) - 1);
}

} // namespace

region_statistics statistics_of(const image &picture, const view_rectangle &region,
                                const std::string &name) {
    constexpr uint32_t band_lines = 64; // that are converted at a time
    std::vector<uint32_t> columns(region.width);
    std::iota(columns.begin(), columns.end(), region.x);
    region_statistics found = {region, {}};
    for (uint32_t done = 0; done < region.height; done += band_lines) {
        std::vector<uint32_t> lines(std::min(band_lines, region.height - done));
        std::iota(lines.begin(), lines.end(), region.y + done);
        const image part = sample_pixels(picture, columns, lines, name);
        if (found.channels.empty())
            found.channels = empty_channels(format_of(part.handle));
        count_samples(found.channels, part);
    }
    for (channel_statistics &channel : found.channels)
        evaluate(channel);
    return found;
}

std::vector<std::string> statistics_lines(const region_statistics &found) {
    const view_rectangle &region = found.region;
    char text[100];
    std::snprintf(text, sizeof text, "%u x %u at %u, %u", static_cast<unsigned>(region.width),
                  static_cast<unsigned>(region.height), static_cast<unsigned>(region.x),
                  static_cast<unsigned>(region.y));
    std::vector<std::string> lines = {text};
    for (const channel_statistics &channel : found.channels) {
        std::snprintf(text, sizeof text, "%-5s mean %6.2f  sd %6.2f  min %3u  max %3u",
                      channel.name, channel.mean, channel.deviation,
                      static_cast<unsigned>(channel.smallest),
                      static_cast<unsigned>(channel.largest));
        lines.emplace_back(text);
    }
    return lines;
}

} // namespace tool
