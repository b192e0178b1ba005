// viq compare: PSNR and largest difference of two pictures.
#include <cmath>
#include <cstdio>
#include <memory>
#include <optional>

#include <CLI/CLI.hpp>

#include "tools/json_output.h"
#include "tools/note.h"
#include "tools/pipeline.h"
#include "tools/psnr.h"
#include "tools/verbs.h"

namespace tool {

namespace {

struct compare_options {
    std::string a, b;
    int tolerance = 0;
    std::optional<double> least_psnr; // instead of the tolerance
    bool json = false;
};

int compare(const compare_options &options);
bool is_equal_enough(const compare_options &options, const difference &between);
void print_text(const difference &between);
json described(const difference &between);
uint16_t common_format(const picture_source &a, const picture_source &b);
pipeline convert_to(picture_source &source, uint16_t format);

} // namespace

action declare_compare(CLI::App &app) {
    const auto options = std::make_shared<compare_options>();
    app.footer("Prints one line per channel: red, green and blue, or grey if both pictures are "
               "grey. Two 16-bit grey pictures are compared with 16 bits, all others with 8.\n"
               "Exit status: 0 if the pictures are equal within the bounds, 1 if they differ or "
               "have different sizes, 2 after an error.");
    CLI::Option *tolerance =
        app.add_option("--tolerance,--max-error", options->tolerance,
                       "Largest difference of two samples that still counts as equal")
            ->type_name("N")
            ->capture_default_str()
            ->check(CLI::Range(0, 65535));
    CLI::Option *psnr =
        app.add_option("--min-psnr", options->least_psnr,
                       "Lowest PSNR of all channels together, in dB, that still counts as equal; "
                       "single differences are bounded only if --max-error is given as well")
            ->type_name("DB");
    app.add_flag("--json", options->json, "Print one JSON object instead of text");
    app.add_option("A", options->a, picture_help)->required();
    app.add_option("B", options->b, picture_help)->required();
    return [options, tolerance, psnr] {
        if (psnr->count() > 0 && tolerance->count() == 0)
            options->tolerance = 65535;
        return compare(*options);
    };
}

namespace {

int compare(const compare_options &options) {
    picture_source a = open_picture(options.a);
    close_picture(a); // the two files can be of the same kind
    picture_source b = open_picture(options.b);
    close_picture(b);
    if (a.header.width != b.header.width || a.header.height != b.header.height) {
        if (options.json)
            print_json({{"equal", false},
                        {"sizes",
                         {{a.header.width, a.header.height}, {b.header.width, b.header.height}}}});
        else
            std::printf(
                "sizes differ: %u x %u and %u x %u\n", static_cast<unsigned>(a.header.width),
                static_cast<unsigned>(a.header.height), static_cast<unsigned>(b.header.width),
                static_cast<unsigned>(b.header.height));
        return exit_different;
    }
    const uint16_t format = common_format(a, b);
    const image first = run_to_memory(convert_to(a, format));
    difference between(format);
    pixels rest = pixels_of(first.handle);
    const auto take = [&](uint32_t strip, bool) {
        const pixels next = pixels_of(strip);
        between.add(rest, next);
        rest.data = rest.line(next.lines);
    };
    run(convert_to(b, format), {take});
    const bool is_equal = is_equal_enough(options, between);
    if (options.json) {
        json row = described(between);
        row["equal"] = is_equal;
        print_json(row);
    } else {
        print_text(between);
    }
    return is_equal ? exit_done : exit_different;
}

bool is_equal_enough(const compare_options &options, const difference &between) {
    return between.largest() <= options.tolerance &&
           (!options.least_psnr || between.psnr() >= *options.least_psnr);
}

void print_text(const difference &between) {
    for (const channel_difference &c : between.channels)
        std::printf("%-6s PSNR %-10s largest difference %d%s\n", c.name,
                    psnr_text(c.error.psnr()).c_str(), c.largest,
                    between.peak() > 255 ? " of 65535" : "");
}

// The PSNR of equal pictures is infinite, which JSON expresses by null.
json described(const difference &between) {
    const auto number = [](double psnr) { return std::isinf(psnr) ? json() : json(psnr); };
    json row = {{"psnr", number(between.psnr())},
                {"largest_difference", between.largest()},
                {"largest_sample", between.peak()},
                {"channels", json::array()}};
    for (const channel_difference &c : between.channels)
        row["channels"].push_back({{"name", c.name},
                                   {"psnr", number(c.error.psnr())},
                                   {"largest_difference", c.largest}});
    return row;
}

uint16_t common_format(const picture_source &a, const picture_source &b) {
    if (a.header.colour || b.header.colour)
        return VIQ_RGB24;
    if (a.header.format == VIQ_Y16 && b.header.format == VIQ_Y16)
        return VIQ_Y16;
    for (const picture_source *source : {&a, &b})
        if (source->header.format == VIQ_Y16)
            print_note(source->name, "16-bit grey is compared with 8 bits");
    return VIQ_Y8;
}

pipeline convert_to(picture_source &source, uint16_t format) {
    route way = route_from(source.header);
    extend(way, format, source.name);
    return {source, way.steps};
}

} // namespace

} // namespace tool
