#include "tools/verb_convert.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "tools/conversion_batch.h"
#include "tools/note.h"
#include "tools/orientation.h"
#include "tools/palette_option.h"
#include "tools/pixel_format_table.h"
#include "tools/temporary_folder.h"
#include "tools/verbs.h"

namespace tool {

namespace {

int convert_pictures(const convert_arguments &arguments);
void turn_upright(processing_options &processing, uint16_t orientation);
const file_kind &output_kind(const convert_options &options);

} // namespace

action declare_convert(CLI::App &app) {
    const auto arguments = std::make_shared<convert_arguments>();
    const auto take_steps = declare_conversion(app, *arguments);
    app.footer(
        "Pictures pass through memory in strips, except those of wavelet files and those that "
        "are read from PNG or PNM files or by libjpeg or libtiff, and except for image "
        "processing other than --crop, --scale, --mirror, --flip, --filter, --lut, "
        "--threshold and --rotate 180. --flip and --rotate 180 write the picture to a "
        "temporary file.\n"
        "Order: the picture is read, processed by the image processing options in the order "
        "in which they are written, each as often as it is written, converted to --format, "
        "and written.\n"
        "Notes on standard error name what is lost without having been asked for, such as "
        "the colours in a format that has none.\n"
        "Several pictures: one that fails does not stop the others; the exit status is then "
        "2.\n"
        "Named colours: 0 black, 1 to 6 dark blue, green, cyan, red, magenta, yellow, "
        "7 light grey, 8 dark grey, 9 to 14 the colours of 1 to 6 bright, 15 white.");
    return [arguments, take_steps] {
        take_steps();
        return convert_pictures(*arguments);
    };
}

void convert(const convert_options &options) {
    const file_kind &kind = output_kind(options);
    processing_options processing = options.processing;
    bool is_processed = requires_processing(processing);
    picture_source file =
        options.read ? options.read()
                     : open_picture(options.in, {.type = options.from,
                                                 .page = options.page,
                                                 .unpadded = kind.unpadded && !is_processed});
    if (file.pages > 1 && options.page == 1)
        print_note(file.name, "the first of " + std::to_string(file.pages) +
                                  " pages is converted; --page selects another one");
    if (file.orientation != upright) {
        if (options.auto_orient)
            turn_upright(processing, file.orientation);
        else
            print_note(file.name, "its orientation, " + orientation_text(file.orientation) +
                                      ", is not applied; --auto-orient applies it");
        is_processed = !processing.steps.empty();
    }
    picture_flow flow = {file.name, &file, options.lines_per_strip};
    if (is_processed)
        process(flow, processing);
    route way = route_from(header_of(flow));
    way.is_whole = is_processed || file.kind == nullptr;
    way.used_converters = flow.converters;
    if (!options.palette.empty()) {
        if (!options.format.empty() && options.format != format_name(VIQ_PALETTED))
            throw failure{"--palette requires --format paletted"};
        extend_to_palette(way, options.palette, file.name);
    } else if (!options.format.empty())
        extend(way, format_from_name(options.format), file.name);
    extend_to_any(way, kind.accepts, file.name);
    print_notes(file.name, way.notes);
    if (way.repeats_converter)
        continue_with(flow, take_whole(flow));
    run_to_file(pipeline_of(flow, way.steps), kind, options.out, options.coding);
}

namespace {

// A mosaic is written as the samples that it has.
int convert_pictures(const convert_arguments &arguments) {
    const auto &steps = arguments.each.processing.steps;
    const bool has_demosaic = std::any_of(
        steps.begin(), steps.end(), [](const auto &step) { return step.option == "--demosaic"; });
    return convert_all(arguments, [=](const conversion_job &job, const frame_file *frames) {
        if (frames->format.phase != 0 && !has_demosaic && job.frame == frames->selected.first)
            print_note(frames->name, "the mosaic is written as grey samples; viq develop makes a "
                                     "picture in colour of it");
        return source_of_image(picture_of_frame(read_frame(*frames, job.frame), *frames),
                               frames->name);
    });
}

// Before all other steps.
void turn_upright(processing_options &processing, uint16_t orientation) {
    const std::vector<requested_step> steps = steps_to_upright(orientation);
    processing.steps.insert(processing.steps.begin(), steps.begin(), steps.end());
}

const file_kind &output_kind(const convert_options &options) {
    if (options.to.empty() && options.out == standard_stream)
        throw failure{"standard output needs --to TYPE (known: " + writable_extensions() + ")"};
    const file_kind &kind =
        options.to.empty() ? kind_of_extension(options.out) : kind_of_type(options.to);
    if (!kind.is_writable())
        throw failure{"this build of viq cannot write " + std::string(kind.name) + " files"};
    return kind;
}

} // namespace

} // namespace tool
