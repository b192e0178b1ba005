// viq histogram: histograms of hue, saturation and intensity, as a plot or compared.
#include <algorithm>
#include <cstdio>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "tools/json_output.h"
#include "tools/pipeline.h"
#include "tools/replace_file.h"
#include "tools/temporary_folder.h"
#include "tools/verbs.h"

namespace tool {

namespace {

struct histogram_options {
    std::string file;
    std::string match; // another picture, or empty
    std::string svg;   // a file to write, or empty: plot on the terminal
    bool json = false;
};

struct plane {
    const char *name;
    const uint32_t *bins;
    uint32_t count;
};

using histogram_ptr = std::unique_ptr<tVIQ_Histogram>;
using planes = plane[3]; // in the library's order

int histogram(const histogram_options &options);
histogram_ptr histogram_of(const std::string &file);
json similarity_of(const tVIQ_Histogram &a, const tVIQ_Histogram &b, const planes &names,
                   const std::string &file);
void print_plot(const plane &p);
void write_svg(const std::string &path, const planes &plots);

} // namespace

action declare_histogram(CLI::App &app) {
    const auto options = std::make_shared<histogram_options>();
    app.add_option("--match", options->match,
                   "Print the similarity to the histograms of another picture, in percent, "
                   "instead of the plots")
        ->type_name("OTHER");
    app.add_option("--svg", options->svg, "Write the plots to an SVG file instead of the terminal")
        ->type_name("FILE");
    app.add_flag("--json", options->json,
                 "Print the numbers of pixels, or with --match the similarities, as JSON");
    app.add_option("FILE", options->file, picture_help)->required();
    app.footer("Hue is in degrees, 0 to 359; saturation and intensity are 0 to 255.");
    return [options] { return histogram(*options); };
}

namespace {

int histogram(const histogram_options &options) {
    const histogram_ptr found = histogram_of(options.file);
    const planes plots = {{"hue", found->hue, 360},
                          {"saturation", found->saturation, 256},
                          {"intensity", found->intensity, 256}};
    if (!options.svg.empty())
        write_svg(options.svg, plots);
    if (!options.match.empty()) {
        const json percent =
            similarity_of(*found, *histogram_of(options.match), plots, options.file);
        if (options.json)
            print_json(percent);
        else
            for (const auto &[name, value] : percent.items())
                std::printf("%s: %u %%\n", name.c_str(), value.get<unsigned>());
    } else if (options.json) {
        json row;
        for (const plane &p : plots)
            row[p.name] = std::vector<uint32_t>(p.bins, p.bins + p.count);
        print_json(row);
    } else if (options.svg.empty()) {
        for (const plane &p : plots)
            print_plot(p);
    }
    return exit_done;
}

histogram_ptr histogram_of(const std::string &file) {
    image picture = converted_to_any(read_whole(file), {VIQ_YUV422, VIQ_HSI}, file);
    const image hsi = converted_to_any(std::move(picture), {VIQ_HSI}, file);
    auto counts = std::make_unique<tVIQ_Histogram>();
    check(VIQ_IP_histogram_generate(hsi.handle, counts.get(), VIQ_STRIP_NEXT), file);
    return counts;
}

json similarity_of(const tVIQ_Histogram &a, const tVIQ_Histogram &b, const planes &names,
                   const std::string &file) {
    json row;
    uint16_t number = 0;
    for (const plane &p : names) {
        uint32_t percent = 0;
        check(VIQ_IP_histogram_match(&a, &b, ++number, &percent), file);
        row[p.name] = percent;
    }
    return row;
}

// Each column sums several bins. A character cell shows eight levels.
void print_plot(const plane &p) {
    constexpr uint32_t columns = 72;
    constexpr uint32_t lines = 6;
    constexpr uint32_t levels = 8;
    constexpr const char *bars[levels + 1] = {" ", "▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
    uint32_t sums[columns] = {};
    for (uint32_t n = 0; n < p.count; ++n)
        sums[n * columns / p.count] += p.bins[n];
    const uint32_t highest = std::max(1u, *std::max_element(sums, sums + columns));
    std::printf("%s, 0 to %u\n", p.name, static_cast<unsigned>(p.count - 1));
    for (uint32_t line = lines; line-- > 0;) {
        for (const uint32_t sum : sums) {
            const auto height = static_cast<uint32_t>(uint64_t{sum} * lines * levels / highest);
            const uint32_t above = height > line * levels ? height - line * levels : 0;
            std::fputs(bars[std::min(above, levels)], stdout);
        }
        std::fputs("\n", stdout);
    }
}

// One pixel for each bin.
void write_svg(const std::string &path, const planes &plots) {
    constexpr uint32_t margin = 10;
    constexpr uint32_t plot_height = 85;
    constexpr uint32_t title_height = 92; // above the base line
    constexpr uint32_t first_base = 110;
    constexpr uint32_t base_distance = 115;
    std::ostringstream out;
    out << "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 380 360\" "
           "font-family=\"sans-serif\" font-size=\"10\">\n<rect width=\"380\" height=\"360\" "
           "fill=\"white\"/>\n";
    uint32_t base = first_base;
    for (const plane &p : plots) {
        const uint32_t highest = std::max(1u, *std::max_element(p.bins, p.bins + p.count));
        out << "<text x=\"" << margin << "\" y=\"" << base - title_height << "\">" << p.name
            << "</text>\n<path d=\"";
        for (uint32_t n = 0; n < p.count; ++n)
            out << 'M' << n + margin << ' ' << base << 'v'
                << -static_cast<int>(uint64_t{p.bins[n]} * plot_height / highest);
        out << "\" stroke=\"black\" stroke-width=\"1\"/>\n";
        base += base_distance;
    }
    out << "</svg>\n";
    replace_file(path, [&](const std::string &temporary) {
        const file_ptr file = open_or_fail(temporary, "wb", path, "cannot be created");
        const std::string text = out.str();
        if (std::fwrite(text.data(), 1, text.size(), file.get()) != text.size() ||
            std::fflush(file.get()) != 0)
            fail_by_system(path, "cannot be written");
    });
}

} // namespace

} // namespace tool
