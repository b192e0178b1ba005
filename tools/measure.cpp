#include "tools/measure.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <memory>

#include "tools/pipeline.h"
#include "tools/process.h"

namespace tool {

namespace {

using histogram_ptr = std::unique_ptr<tVIQ_Histogram>;

struct plane {
    const char *name;
    const u32 *bins;
    u32 count;
};

histogram_ptr histogram_of(const std::string &file);
void print_plane(const plane &p);
void write_svg(const std::string &path, const plane (&planes)[3]);

} // namespace

int histogram(const histogram_options &options) {
    const histogram_ptr found = histogram_of(options.file);
    const plane planes[] = {{"hue", found->hue, 360},
                            {"saturation", found->saturation, 256},
                            {"intensity", found->intensity, 256}};
    if (!options.match.empty()) {
        const histogram_ptr other = histogram_of(options.match);
        for (u16 n = 0; n < 3; ++n) {
            u32 likeness = 0;
            check(VIQ_IP_histogram_match(found.get(), other.get(), static_cast<u16>(n + 1),
                                         &likeness),
                  options.file);
            std::printf("%s: %u %%\n", planes[n].name, static_cast<unsigned>(likeness));
        }
        return 0;
    }
    if (!options.svg.empty())
        write_svg(options.svg, planes);
    else
        for (const plane &p : planes)
            print_plane(p);
    return 0;
}

// The first measurement of two equal frames gives what the second is compared with.
int motion(const motion_options &options) {
    const image a = brought_to(run_to_memory({options.a, 0, {}}), {VIQ_Y8}, options.a);
    const image b = brought_to(run_to_memory({options.b, 0, {}}), {VIQ_Y8}, options.b);
    u32 percent = 0;
    check(VIQ_IP_motion_detect(a.handle, a.handle, 0, 1, &percent), options.a);
    check(VIQ_IP_motion_detect(b.handle, a.handle, 0, 1, &percent), options.b);
    std::printf("%u %%\n", static_cast<unsigned>(percent));
    return 0;
}

namespace {

histogram_ptr histogram_of(const std::string &file) {
    const image hsi = brought_to(
        brought_to(run_to_memory({file, 0, {}}), {VIQ_YUV422, VIQ_HSI}, file), {VIQ_HSI}, file);
    auto counts = std::make_unique<tVIQ_Histogram>();
    check(VIQ_IP_histogram_generate(hsi.handle, counts.get(), VIQ_STRIP_NEXT), file);
    return counts;
}

// Columns of several bins each, eight levels a line.
void print_plane(const plane &p) {
    constexpr u32 columns = 72;
    constexpr u32 lines = 6;
    constexpr const char *levels[] = {" ", "▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
    u32 heights[columns] = {};
    u32 highest = 1;
    for (u32 n = 0; n < p.count; ++n)
        heights[n * columns / p.count] += p.bins[n];
    for (const u32 height : heights)
        highest = std::max(highest, height);
    std::printf("%s, 0 to %u\n", p.name, static_cast<unsigned>(p.count - 1));
    for (u32 line = lines; line-- > 0;) {
        for (const u32 height : heights) {
            const auto eighths = static_cast<u32>(std::uint64_t{height} * lines * 8 / highest);
            const u32 above = eighths > line * 8 ? eighths - line * 8 : 0;
            std::fputs(levels[std::min(above, 8u)], stdout);
        }
        std::fputs("\n", stdout);
    }
}

void write_svg(const std::string &path, const plane (&planes)[3]) {
    std::ofstream out(path);
    out << "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 380 360\" "
           "font-family=\"sans-serif\" font-size=\"10\">\n<rect width=\"380\" height=\"360\" "
           "fill=\"white\"/>\n";
    u32 base = 110;
    for (const plane &p : planes) {
        const u32 highest = std::max(1u, *std::max_element(p.bins, p.bins + p.count));
        out << "<text x=\"10\" y=\"" << base - 92 << "\">" << p.name << "</text>\n<path d=\"";
        for (u32 n = 0; n < p.count; ++n)
            out << 'M' << n + 10 << ' ' << base << 'v'
                << -static_cast<int>(std::uint64_t{p.bins[n]} * 85 / highest);
        out << "\" stroke=\"black\" stroke-width=\"1\"/>\n";
        base += 115;
    }
    out << "</svg>\n";
    out.close();
    if (!out)
        throw failure{path + ": cannot be written"};
}

} // namespace

} // namespace tool
