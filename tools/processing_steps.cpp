#include "tools/processing_steps.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include <CLI/CLI.hpp>

#include "tools/image_operations.h"

namespace tool {

namespace {

struct processing_step {
    const char *option, *form, *purpose;
    std::string processing_options::*argument;              // null for a flag
    bool processing_options::*flag;                         // null for an argument
    image (*run)(image picture, const operation_input &in); // null: belongs to another step
};

// In the order in which the steps are applied.
constexpr processing_step steps[] = {
    {"--crop", "X,Y,W,H",
     "Keep a rectangle of W x H pixels; X,Y is its upper left pixel, counted from 0; parts outside "
     "the picture are cut off",
     &processing_options::crop, nullptr, crop},
    {"--scale", "WxH", "Scale to W x H pixels by bilinear interpolation",
     &processing_options::scale, nullptr, scale},
    {"--subsample", "N", "Keep every Nth pixel of every Nth line; N is at least 1",
     &processing_options::subsample, nullptr, subsample},
    {"--replicate", "N", "Repeat every pixel and every line N times; N is at least 1",
     &processing_options::replicate, nullptr, replicate},
    {"--rotate", "ANGLE", "Rotate clockwise by 0, 90, 180 or 270 degrees",
     &processing_options::rotate, nullptr, rotate},
    {"--mirror", "", "Reverse the pixels of every line", nullptr, &processing_options::mirror,
     mirror},
    {"--filter", "KERNEL",
     "3 x 3 filter: blur, sharpen, edge, or nine integer coefficients k1,..,k9 row by row",
     &processing_options::filter, nullptr, filter},
    {"--lut", "NAME=N,...",
     "Lookup table from percentages, 100 neutral: brightness and contrast 0 to 200, gamma 25 to "
     "400, gains r, g and b 0 to 200",
     &processing_options::lut, nullptr, look_up},
    {"--threshold", "LO,HI",
     "Convert to grey; values below LO become 0, values from HI on 255, and others are kept; LO "
     "and HI are 0 to 255",
     &processing_options::threshold, nullptr, threshold},
    {"--mosaic", "", "Convert to a Bayer mosaic, one colour sample for each pixel", nullptr,
     &processing_options::mosaic, mosaic},
    {"--demosaic", "SCHEME[,PHASE]",
     "Interpolate a Bayer mosaic, or a grey picture as one. Scheme: 1 replication, 2 bilinear, 3 "
     "gradient-adaptive. Phase, the first pixels of the first two lines: 1 RG GB (default), 2 GR "
     "BG, 3 GB RG, 4 BG GR",
     &processing_options::demosaic, nullptr, demosaic},
    {"--field-to-frame", "SCHEME",
     "Double the number of lines: 1 repeated, 2 mean, 3 edge-directed mean, 4 cubic",
     &processing_options::field_to_frame, nullptr, field_to_frame},
    {"--pseudo", "",
     "Show grey levels as false colours; for wavelet files, show Y, U and V as red, green and blue",
     nullptr, &processing_options::pseudo, pseudo_colour},
    {"--key", "COLOUR[,BACKGROUND]",
     "Chroma keying: replace the key screen by a named colour, 0 to 15, or by the picture file "
     "BACKGROUND of the same size. Without --calibrate or --screen, its hue is 340 +- 20 degrees "
     "and its luma 120 +- 64",
     &processing_options::key, nullptr, key},
    {"--calibrate", "", "With --key: measure the hue of the key screen in the picture itself",
     nullptr, &processing_options::calibrate, nullptr},
    {"--screen", "FILE", "With --key: measure the hue in a picture file of the empty key screen",
     &processing_options::screen, nullptr, nullptr},
    {"--text", "TEXT[,X,Y,FONT,COLOUR,BACKGROUND]",
     "Draw a text with its upper left corner at X,Y, counted from 1 (default 1,1). Font: 0 small, "
     "1 medium (default), 2 large. Named colour 0 to 15 (default 15). Background: 0 darkened "
     "(default), 1 grey",
     &processing_options::text, nullptr, text},
    {"--timestamp", "", "Draw the date and time at the lower right", nullptr,
     &processing_options::timestamp, timestamp},
};

bool is_requested(const processing_step &step, const processing_options &options) {
    return step.run != nullptr &&
           (step.flag != nullptr ? options.*step.flag : !(options.*step.argument).empty());
}

} // namespace

void declare_processing(CLI::App &app, processing_options &options) {
    for (const processing_step &step : steps) {
        CLI::Option *option =
            step.flag != nullptr ? app.add_flag(step.option, options.*step.flag, step.purpose)
                                 : app.add_option(step.option, options.*step.argument, step.purpose)
                                       ->type_name(step.form);
        option->group("Image processing, applied in this order");
    }
}

bool requires_processing(const processing_options &options) {
    if (calibrates(options) && options.key.empty())
        throw failure{"--calibrate and --screen need --key"};
    return std::any_of(std::begin(steps), std::end(steps),
                       [&](const processing_step &step) { return is_requested(step, options); });
}

image process(image picture, const processing_options &options, const std::string &name) {
    const std::string no_argument;
    for (const processing_step &step : steps) {
        if (!is_requested(step, options))
            continue;
        const std::string &argument =
            step.argument != nullptr ? options.*step.argument : no_argument;
        picture = step.run(std::move(picture), {argument, options, name});
    }
    // No file holds a mosaic. Each sample is shown in its own colour.
    if (format_of(picture.handle) == VIQ_RGGB32) {
        image shown;
        check(VIQ_BAY_RGGB32_map_to_RGB24(picture.handle, shown.handle, VIQ_STRIP_NEXT), name);
        return shown;
    }
    return picture;
}

} // namespace tool
