// viq compare: PSNR and largest difference of two pictures.
#include <cstdio>
#include <memory>

#include <CLI/CLI.hpp>

#include "tools/pipeline.h"
#include "tools/psnr.h"
#include "tools/verbs.h"

namespace tool {

namespace {

struct compare_options {
    std::string a, b;
    int tolerance = 0;
};

int compare(const compare_options &options);
pipeline convert_to(picture_source &source, uint16_t format);

} // namespace

action declare_compare(CLI::App &app) {
    const auto options = std::make_shared<compare_options>();
    app.footer("Prints one line per channel: red, green and blue, or grey if both pictures are "
               "grey.\nExit status: 0 if the pictures are equal within the tolerance, 1 if they "
               "differ or have different sizes, 2 after an error.");
    app.add_option("--tolerance", options->tolerance,
                   "Largest difference of 8-bit samples that still counts as equal")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(0, 255));
    app.add_option("A", options->a, picture_help)->required();
    app.add_option("B", options->b, picture_help)->required();
    return [options] { return compare(*options); };
}

namespace {

int compare(const compare_options &options) {
    picture_source a = open_picture(options.a);
    close_picture(a); // the two files can be of the same kind
    picture_source b = open_picture(options.b);
    close_picture(b);
    if (a.header.width != b.header.width || a.header.height != b.header.height) {
        std::printf(
            "sizes differ: %lu x %lu and %lu x %lu\n", static_cast<unsigned long>(a.header.width),
            static_cast<unsigned long>(a.header.height), static_cast<unsigned long>(b.header.width),
            static_cast<unsigned long>(b.header.height));
        return exit_different;
    }
    const uint16_t format = a.header.colour || b.header.colour ? VIQ_RGB24 : VIQ_Y8;
    const image first = run_to_memory(convert_to(a, format));
    difference between(format);
    pixels rest = pixels_of(first.handle);
    const auto take = [&](uint32_t strip, bool) {
        const pixels next = pixels_of(strip);
        between.add(rest, next);
        rest.data = rest.line(next.lines);
    };
    run(convert_to(b, format), {take});
    for (const channel_difference &c : between.channels)
        std::printf("%-6s PSNR %-10s largest difference %d\n", c.name,
                    psnr_text(c.error.psnr()).c_str(), c.largest);
    return between.largest() > options.tolerance ? exit_different : exit_done;
}

pipeline convert_to(picture_source &source, uint16_t format) {
    route way = route_from(source.header);
    extend(way, format, source.name);
    return {source, way.steps};
}

} // namespace

} // namespace tool
