#include "tools/processing_steps.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <string_view>
#include <utility>

#include <CLI/CLI.hpp>

#include "tools/streamed_operations.h"
#include "tools/unpack_to_rgb24.h"

namespace tool {

namespace {

struct processing_step {
    const char *option, *form, *purpose;
    void (*apply)(picture_flow &flow, const operation_input &in);

    bool is_flag() const { return *form == 0; }
};

constexpr processing_step known_steps[] = {
    {"--crop", "X,Y,W,H",
     "Keep a rectangle of W x H pixels; X,Y is its upper left pixel, counted from 0; parts outside "
     "the picture are cut off",
     crop},
    {"--scale", "WxH|Wx|xH|N%",
     "Scale to W x H pixels by bilinear interpolation; Wx and xH keep the proportions, N% scales "
     "both sides",
     scale},
    {"--subsample", "N", "Keep every Nth pixel of every Nth line; N is at least 1",
     process_whole<subsample>},
    {"--replicate", "N", "Repeat every pixel and every line N times; N is at least 1",
     process_whole<replicate>},
    {"--rotate", "ANGLE", "Rotate clockwise by 0, 90, 180 or 270 degrees", rotate},
    {"--mirror", "", "Reverse the pixels of every line", mirror},
    {"--flip", "", "Reverse the order of the lines", flip},
    {"--filter", "KERNEL",
     "3 x 3 filter: blur, sharpen, edge, or nine integer coefficients k1,..,k9 row by row", filter},
    {"--lut", "NAME=N,...",
     "Lookup table from percentages, 100 neutral: brightness and contrast 0 to 200, gamma 25 to "
     "400, gains r, g and b 0 to 200",
     look_up},
    {"--threshold", "LO,HI",
     "Convert to grey; values below LO become 0, values from HI on 255, and others are kept; LO "
     "and HI are 0 to 255",
     threshold},
    {"--bilevel", "LEVEL|dither",
     "Convert to black and white, 1 bit a pixel: grey values from LEVEL (1 to 255) on are white, "
     "or "
     "error diffusion",
     process_whole<bilevel>},
    {"--mosaic", "", "Convert to a Bayer mosaic, one colour sample for each pixel",
     process_whole<mosaic>},
    {"--demosaic", "SCHEME[,PHASE]",
     "Interpolate a Bayer mosaic, or a grey picture as one. Scheme: 1 replication, 2 bilinear, 3 "
     "gradient-adaptive. Phase, the first pixels of the first two lines: 1 RG GB (default), 2 GR "
     "BG, 3 GB RG, 4 BG GR",
     process_whole<demosaic>},
    {"--field-to-frame", "SCHEME",
     "Double the number of lines: 1 repeated, 2 mean, 3 edge-directed mean, 4 cubic",
     process_whole<field_to_frame>},
    {"--pseudo", "",
     "Show grey levels as false colours; for wavelet files, show Y, U and V as red, green and blue",
     process_whole<pseudo_colour>},
    {"--key", "COLOUR[,BACKGROUND]",
     "Chroma keying: replace the key screen by a named colour, 0 to 15, or by the picture file "
     "BACKGROUND of the same size. Without --calibrate or --screen, its hue is 340 +- 20 degrees "
     "and its luma 120 +- 64",
     process_whole<key>},
    {"--text", "TEXT[,X,Y,FONT,COLOUR,BACKGROUND]",
     "Draw a text with its upper left corner at X,Y, counted from 1 (default 1,1). Font: 0 small, "
     "1 medium (default), 2 large. Named colour 0 to 15 (default 15). Background: 0 darkened "
     "(default), 1 grey",
     process_whole<text>},
    {"--timestamp", "", "Draw the date and time at the lower right", process_whole<timestamp>},
};

const processing_step &step_of_option(const std::string &option) {
    return *std::find_if(std::begin(known_steps), std::end(known_steps),
                         [&](const processing_step &step) { return option == step.option; });
}

} // namespace

std::function<void()> declare_processing(CLI::App &app, processing_options &options,
                                         std::initializer_list<const char *> except) {
    constexpr const char *group = "Image processing, applied in the order of the command line";
    std::vector<CLI::Option *> declared;
    for (const processing_step &step : known_steps) {
        if (std::find_if(except.begin(), except.end(), [&](const char *name) {
                return std::string_view(name) == step.option;
            }) != except.end())
            continue;
        CLI::Option *option = step.is_flag() ? app.add_flag(step.option, step.purpose)
                                             : app.add_option(step.option, step.purpose)
                                                   ->type_name(step.form)
                                                   ->expected(1)
                                                   ->allow_extra_args(false);
        option->take_all()->group(group);
        declared.push_back(option);
    }
    app.add_flag("--calibrate", options.calibrate,
                 "With --key: measure the hue of the key screen in the picture itself")
        ->group(group);
    app.add_option("--screen", options.screen,
                   "With --key: measure the hue in a picture file of the empty key screen")
        ->type_name("FILE")
        ->group(group);
    return [&app, &options, declared] {
        std::map<const CLI::Option *, std::size_t> uses;
        for (const CLI::Option *option : app.parse_order()) {
            if (std::find(declared.begin(), declared.end(), option) == declared.end())
                continue;
            const std::size_t use = uses[option]++;
            const std::string name = option->get_name();
            options.steps.push_back(
                {name, step_of_option(name).is_flag() ? "" : option->results().at(use)});
        }
    };
}

bool requires_processing(const processing_options &options) {
    const bool has_key = std::any_of(options.steps.begin(), options.steps.end(),
                                     [](const requested_step &s) { return s.option == "--key"; });
    if (calibrates(options) && !has_key)
        throw failure{"--calibrate and --screen need --key"};
    return !options.steps.empty();
}

void process(picture_flow &flow, const processing_options &options) {
    if (header_of(flow).format == VIQ_Y1) {
        picture_header grey = header_of(flow);
        grey.format = VIQ_Y8;
        append_operation(flow, "unpack bits", grey, unpack_bits_to_grey);
    }
    for (const requested_step &step : options.steps)
        step_of_option(step.option).apply(flow, {step.argument, options, flow.name});
    // No file holds a mosaic. Grey samples keep it.
    if (header_of(flow).format == VIQ_RGGB32)
        continue_with(flow, with_format(take_whole(flow), VIQ_Y8, flow.name));
}

} // namespace tool
