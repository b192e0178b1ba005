// viq develop: pictures of the samples of a camera.
#include <charconv>
#include <cmath>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "tools/conversion_batch.h"
#include "tools/development.h"
#include "tools/image_operations.h"
#include "tools/number_arguments.h"
#include "tools/pixel_format_table.h"
#include "tools/verbs.h"

namespace tool {

namespace {

struct develop_arguments {
    convert_arguments conversion;
    development how;
    reference_files references;
    std::string mosaic; // of picture files
    std::string gains;  // of red, green and blue; empty: measured
    double gamma = 2.2;
    bool no_balance = false;
};

// The gains of a file of frames, which are measured in the first of those that are developed, so
// that the colours of its frames do not vary.
struct measured_gains {
    std::mutex lock;
    std::map<const frame_file *, colour_gains> of_file;
};

void declare_steps(CLI::App &app, develop_arguments &arguments);
int develop_all(const develop_arguments &arguments);
colour_gains gains_of_frames(const frame_file &frames, const development &how,
                             measured_gains &measured);
image read_samples(const std::string &file, const convert_options &options);
uint16_t mosaic_of(const std::string &name);
colour_gains parse_gains(const std::string &argument);

} // namespace

action declare_develop(CLI::App &app) {
    const auto arguments = std::make_shared<develop_arguments>();
    const auto take_steps =
        declare_conversion(app, arguments->conversion, {"--demosaic", "--mosaic"});
    declare_steps(app, *arguments);
    app.footer("Steps: dark frame and flat field, or black level; white balance; gamma; "
               "demosaicing; then image processing and conversion as in viq convert.\n"
               "The input is a grey picture file that holds the samples of the sensor, or with "
               "--raw a file of frames. Frames without a mosaic become grey pictures.\n"
               "Example: viq develop --raw 1920x1080,BayerRG12p --black 64 --frames all film.raw "
               "film.jpg");
    return [arguments, take_steps] {
        take_steps();
        return develop_all(*arguments);
    };
}

namespace {

void declare_steps(CLI::App &app, develop_arguments &arguments) {
    constexpr const char *group = "Development";
    const auto add = [&app](const char *name, auto &value, const char *purpose) {
        return app.add_option(name, value, purpose)->group(group);
    };
    add("--bayer", arguments.mosaic,
        "Mosaic of picture files: rggb (default), grbg, gbrg, bggr, or none for a grey camera")
        ->type_name("PHASE");
    CLI::Option *black = add("--black", arguments.how.black_level,
                             "Black level: the value of a sample without light (default: 0)")
                             ->type_name("N");
    add("--dark", arguments.references.dark,
        "Dark frame, subtracted from each frame: a grey picture file, or with --raw a file of "
        "frames, whose mean is used")
        ->type_name("FILE")
        ->excludes(black);
    add("--flat", arguments.references.flat,
        "Flat field: frames of an evenly lit white surface, by which each frame is divided; "
        "files as for --dark")
        ->type_name("FILE");
    CLI::Option *gains =
        add("--gains", arguments.gains,
            "Gains of red, green and blue (default: those that make the mean of the picture grey; "
            "for several frames of a file, that of the first)")
            ->type_name("R,G,B");
    app.add_flag("--no-balance", arguments.no_balance, "No white balance: all gains are 1")
        ->group(group)
        ->excludes(gains);
    add("--demosaic", arguments.how.scheme,
        "Demosaicing: 1 replication, 2 bilinear, 3 gradient-adaptive")
        ->type_name("SCHEME")
        ->capture_default_str()
        ->check(CLI::Range(1, 3));
    add("--gamma", arguments.gamma, "Gamma of the display; 1 is linear")
        ->type_name("G")
        ->capture_default_str()
        ->check(CLI::Range(0.25, 4.0));
}

int develop_all(const develop_arguments &arguments) {
    std::optional<frame_format> format;
    if (!arguments.conversion.raw.empty())
        format = parse_frame_format(arguments.conversion.raw);
    if (format && !arguments.mosaic.empty())
        throw failure{"--bayer is for picture files; with --raw, write bayer=" + arguments.mosaic +
                      " in the description"};
    if (format && !is_grey_format(format->layout.image_type) &&
        format->layout.image_type != VIQ_RGGB32)
        throw failure{std::string(format->layout.name) +
                      ": not the samples of a sensor; viq convert --raw reads these frames"};
    development how = arguments.how;
    how.gamma = static_cast<uint16_t>(std::lround(arguments.gamma * 100));
    std::optional<shading> references;
    if (!arguments.references.dark.empty() || !arguments.references.flat.empty())
        references = make_shading(arguments.references, format, how.black_level);
    how.references = references ? &*references : nullptr;
    std::optional<colour_gains> fixed;
    if (arguments.no_balance)
        fixed = no_gains;
    else if (!arguments.gains.empty())
        fixed = parse_gains(arguments.gains);
    measured_gains measured;
    const auto develop_frame = [&](const conversion_job &job, const frame_file *frames) {
        development each = how;
        each.phase = frames->format.phase;
        const colour_gains gains = each.phase == 0 ? no_gains
                                   : fixed         ? *fixed
                                                   : gains_of_frames(*frames, each, measured);
        return source_of_image(
            develop(correct_shading(read_frame(*frames, job.frame), each, frames->name), each,
                    gains, frames->name),
            frames->name);
    };
    const auto develop_file = [&](const conversion_job &job, const frame_file *) {
        development each = how;
        each.phase = mosaic_of(arguments.mosaic);
        image frame =
            correct_shading(read_samples(job.in, arguments.conversion.each), each, job.in);
        const colour_gains gains = each.phase == 0 ? no_gains
                                   : fixed         ? *fixed
                                                   : measure_gains(frame, each, job.in);
        return source_of_image(develop(std::move(frame), each, gains, job.in), job.in);
    };
    return convert_all(arguments.conversion, develop_frame, develop_file);
}

colour_gains gains_of_frames(const frame_file &frames, const development &how,
                             measured_gains &measured) {
    const std::lock_guard guard(measured.lock);
    const auto known = measured.of_file.find(&frames);
    if (known != measured.of_file.end())
        return known->second;
    const colour_gains gains =
        measure_gains(correct_shading(read_frame(frames, frames.selected.first), how, frames.name),
                      how, frames.name);
    return measured.of_file[&frames] = gains;
}

// The picture of a file as samples of a mosaic or of a grey camera.
image read_samples(const std::string &file, const convert_options &options) {
    picture_source source = open_picture(file, {.type = options.from, .page = options.page});
    image picture = run_to_memory({source});
    if (format_of(picture.handle) == VIQ_Y8)
        return with_format(picture, VIQ_RGGB32, file);
    if (format_of(picture.handle) != VIQ_Y16)
        throw failure{source.name + ": holds no samples of a sensor, which are grey, 8 or 16 bits"};
    return picture;
}

colour_gains parse_gains(const std::string &argument) {
    constexpr double fixed_one = 4096;
    constexpr double highest_gain = 65535 / fixed_one;
    const std::vector<std::string> parts = split(argument);
    colour_gains gains = no_gains;
    if (parts.size() != gains.size())
        reject_argument(argument, "R,G,B");
    for (std::size_t n = 0; n < gains.size(); ++n) {
        double gain = 0;
        const char *end = parts[n].data() + parts[n].size();
        const auto [rest, error] = std::from_chars(parts[n].data(), end, gain);
        if (error != std::errc() || rest != end || !(gain >= 0 && gain <= highest_gain))
            reject_argument(argument, "R,G,B with gains from 0 to 15.99");
        gains[n] = static_cast<uint16_t>(std::lround(gain * fixed_one));
    }
    return gains;
}

uint16_t mosaic_of(const std::string &name) {
    return name == "none" ? uint16_t{0} : parse_phase(name.empty() ? "rggb" : name);
}

} // namespace

} // namespace tool
