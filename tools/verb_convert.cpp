#include "tools/verb_convert.h"

#include <memory>
#include <utility>

#include <CLI/CLI.hpp>

#include "tools/jpeg_file.h"
#include "tools/pixel_format_table.h"
#include "tools/verbs.h"

namespace tool {

namespace {

void declare_coding(CLI::App &app, coding_options &coding);

} // namespace

action declare_convert(CLI::App &app) {
    const auto options = std::make_shared<convert_options>();
    app.add_option("--format", options->format,
                   "Convert the picture to this pixel format, and then, if the output file cannot "
                   "hold it, to one that it can hold")
        ->type_name("NAME")
        ->check(CLI::IsMember(target_format_names()));
    app.add_option("--strip", options->lines_per_strip, "Lines that are held in memory at a time")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::PositiveNumber);
    declare_coding(app, options->coding);
    declare_processing(app, options->processing);
    app.add_option("IN", options->in, picture_help)->required();
    app.add_option("OUT", options->out, output_help())->required();
    app.footer("Image processing, JPEG and wavelet files take the whole picture in memory.\n"
               "Named colours: 0 black, 1 to 6 dark blue, green, cyan, red, magenta, yellow, "
               "7 light grey, 8 dark grey, 9 to 14 the colours of 1 to 6 bright, 15 white.");
    return [options] { return convert(*options); };
}

int convert(const convert_options &options) {
    const file_kind &kind = kind_of_extension(options.out);
    const bool is_processed = requires_processing(options.processing);
    picture_source file = open_picture(options.in, kind.unpadded && !is_processed);
    image processed = image(0);
    if (is_processed)
        processed = process(run_to_memory({file}), options.processing, options.in);
    picture_source memory =
        is_processed ? picture_in_memory(processed.handle, options.in) : picture_source();
    picture_source &source = is_processed ? memory : file;
    route way = route_from(source.header);
    way.is_whole = is_processed;
    if (!options.format.empty())
        extend(way, format_from_name(options.format), options.in);
    extend_to_any(way, kind.accepts, options.in);
    run_to_file({source, way.steps, options.lines_per_strip}, kind, options.out, options.coding);
    return exit_done;
}

namespace {

void declare_coding(CLI::App &app, coding_options &coding) {
    app.add_option("--quality", coding.quality,
                   "Quality factor of .jpg files, 1 (smallest file) to 400 (best picture); 16 uses "
                   "the standard quantisation tables")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(lowest_jpeg_quality, highest_jpeg_quality));
    app.add_option("--wavelet-quality", coding.wavelet.quality,
                   "Quality of .dwt files, 0 (smallest file) to 400 (best picture)")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(0, int{highest_wavelet_quality}));
    app.add_option("--subbands", coding.wavelet.decompositions,
                   "Levels of the wavelet transform of .dwt files; small pictures use fewer")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(1, int{most_decompositions}));
    app.add_flag("--small", coding.wavelet.small,
                 "Code .dwt files with the slower entropy coder, which makes them smaller");
}

} // namespace

} // namespace tool
