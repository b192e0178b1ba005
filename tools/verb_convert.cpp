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
void declare_processing(CLI::App &app, processing_options &processing);

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

struct processing_option {
    const char *name, *form, *purpose;
    std::string processing_options::*argument; // null for a flag
    bool processing_options::*flag;            // null for an argument
};

// In the order in which the steps are applied.
constexpr processing_option processing_list[] = {
    {"--crop", "X,Y,W,H",
     "Keep a rectangle of W x H pixels; X,Y is its upper left pixel, counted from 0; parts outside "
     "the picture are cut off",
     &processing_options::crop, nullptr},
    {"--scale", "WxH", "Scale to W x H pixels by bilinear interpolation",
     &processing_options::scale, nullptr},
    {"--subsample", "N", "Keep every Nth pixel of every Nth line; N is at least 1",
     &processing_options::subsample, nullptr},
    {"--replicate", "N", "Repeat every pixel and every line N times; N is at least 1",
     &processing_options::replicate, nullptr},
    {"--rotate", "ANGLE", "Rotate clockwise by 0, 90, 180 or 270 degrees",
     &processing_options::rotate, nullptr},
    {"--mirror", "", "Reverse the pixels of every line", nullptr, &processing_options::mirror},
    {"--filter", "KERNEL",
     "3 x 3 filter: blur, sharpen, edge, or nine integer coefficients k1,..,k9 row by row",
     &processing_options::filter, nullptr},
    {"--lut", "NAME=N,...",
     "Lookup table from percentages, 100 neutral: brightness and contrast 0 to 200, gamma 25 to "
     "400, gains r, g and b 0 to 200",
     &processing_options::lut, nullptr},
    {"--threshold", "LO,HI",
     "Convert to grey; values below LO become 0, values from HI on 255, and others are kept; LO "
     "and HI are 0 to 255",
     &processing_options::threshold, nullptr},
    {"--mosaic", "", "Convert to a Bayer mosaic, one colour sample for each pixel", nullptr,
     &processing_options::mosaic},
    {"--demosaic", "SCHEME[,PHASE]",
     "Interpolate a Bayer mosaic, or a grey picture as one. Scheme: 1 replication, 2 bilinear, 3 "
     "gradient-adaptive. Phase, the first pixels of the first two lines: 1 RG GB (default), 2 GR "
     "BG, 3 GB RG, 4 BG GR",
     &processing_options::demosaic, nullptr},
    {"--field-to-frame", "SCHEME",
     "Double the number of lines: 1 repeated, 2 mean, 3 edge-directed mean, 4 cubic",
     &processing_options::field_to_frame, nullptr},
    {"--pseudo", "",
     "Show grey levels as false colours; for wavelet files, show Y, U and V as red, green and blue",
     nullptr, &processing_options::pseudo},
    {"--key", "COLOUR[,BACKGROUND]",
     "Chroma keying: replace the key screen by a named colour, 0 to 15, or by the picture file "
     "BACKGROUND of the same size. Without --calibrate or --screen, its hue is 340 +- 20 degrees "
     "and its luma 120 +- 64",
     &processing_options::key, nullptr},
    {"--calibrate", "", "With --key: measure the hue of the key screen in the picture itself",
     nullptr, &processing_options::calibrate},
    {"--screen", "FILE", "With --key: measure the hue in a picture file of the empty key screen",
     &processing_options::screen, nullptr},
    {"--text", "TEXT[,X,Y,FONT,COLOUR,BACKGROUND]",
     "Draw a text with its upper left corner at X,Y, counted from 1 (default 1,1). Font: 0 small, "
     "1 medium (default), 2 large. Named colour 0 to 15 (default 15). Background: 0 darkened "
     "(default), 1 grey",
     &processing_options::text, nullptr},
    {"--timestamp", "", "Draw the date and time at the lower right", nullptr,
     &processing_options::timestamp},
};

void declare_processing(CLI::App &app, processing_options &processing) {
    for (const processing_option &row : processing_list) {
        CLI::Option *option = row.flag != nullptr
                                  ? app.add_flag(row.name, processing.*row.flag, row.purpose)
                                  : app.add_option(row.name, processing.*row.argument, row.purpose)
                                        ->type_name(row.form);
        option->group("Image processing, applied in this order");
    }
}

} // namespace

} // namespace tool
