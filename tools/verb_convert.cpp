#include "tools/verb_convert.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "tools/batch.h"
#include "tools/jpeg_file.h"
#include "tools/note.h"
#include "tools/pixel_format_table.h"
#include "tools/temporary_folder.h"
#include "tools/verbs.h"
#include "tools/wavelet_file.h"
#include "tools/workers.h"

namespace tool {

namespace {

constexpr int most_strip_lines = 1 << 24;
constexpr int most_pages = 65535;

// The arguments of the command line: options for every picture, and files.
struct convert_arguments {
    convert_options each;
    std::vector<std::string> files;
    std::string output; // a file, folder or pattern; empty: the last of the files
    unsigned jobs = 0;  // 0: one for each processor
};

void declare_files(CLI::App &app, convert_arguments &arguments);
void declare_coding(CLI::App &app, coding_options &coding);
int convert_all(const convert_arguments &arguments);
const file_kind &output_kind(const convert_options &options);

} // namespace

action declare_convert(CLI::App &app) {
    const auto arguments = std::make_shared<convert_arguments>();
    convert_options &each = arguments->each;
    declare_files(app, *arguments);
    app.add_option("--format", each.format,
                   "Convert the picture to this pixel format after all image processing, and then, "
                   "if the output file cannot hold it, to one that it can hold")
        ->type_name("NAME")
        ->check(CLI::IsMember(target_format_names()));
    app.add_option("--strip", each.lines_per_strip, "Lines that are held in memory at a time")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(1, most_strip_lines));
    declare_coding(app, each.coding);
    const auto take_steps = declare_processing(app, each.processing);
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
        return convert_all(*arguments);
    };
}

void convert(const convert_options &options) {
    const file_kind &kind = output_kind(options);
    const bool is_processed = requires_processing(options.processing);
    picture_source file = open_picture(
        options.in,
        {.type = options.from, .page = options.page, .unpadded = kind.unpadded && !is_processed});
    if (file.pages > 1 && options.page == 1)
        print_note(file.name, "the first of " + std::to_string(file.pages) +
                                  " pages is converted; --page selects another one");
    picture_flow flow = {file.name, &file, options.lines_per_strip};
    if (is_processed)
        process(flow, options.processing);
    route way = route_from(header_of(flow));
    way.is_whole = is_processed;
    way.used_converters = flow.converters;
    if (!options.format.empty())
        extend(way, format_from_name(options.format), file.name);
    extend_to_any(way, kind.accepts, file.name);
    print_notes(file.name, way.notes);
    if (way.repeats_converter)
        continue_with(flow, take_whole(flow));
    run_to_file(pipeline_of(flow, way.steps), kind, options.out, options.coding);
}

namespace {

void declare_files(CLI::App &app, convert_arguments &arguments) {
    convert_options &each = arguments.each;
    app.add_option(
           "-o,--output", arguments.output,
           "Where to write, if all FILES are to be read: a file, a folder, or a pattern "
           "such as out/{name}.jpg with the fields {file}, {name}, {ext}, {dir} and {number} of "
           "each input; folders are created")
        ->type_name("FILE|DIR|PATTERN");
    app.add_option("--from", each.from,
                   "Type of the pictures to read, such as tga; otherwise their content decides")
        ->type_name("TYPE");
    app.add_option("--to", each.to,
                   "Type of the files to write, such as png; otherwise the extension decides")
        ->type_name("TYPE");
    app.add_option("--page", each.page, "Page of a TIFF file to read, counted from 1")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(1, most_pages));
    declare_jobs(app, arguments.jobs);
    app.add_option("FILES", arguments.files,
                   std::string("IN OUT, or IN... DIR, or IN... with --output; - is standard input "
                               "or output. IN: ") +
                       picture_help + ". OUT: " + output_help())
        ->type_name("")
        ->required();
}

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
    app.add_flag("--padded", coding.padded,
                 "Write the lines of .raw files with the padding that they have in memory");
}

int convert_all(const convert_arguments &arguments) {
    std::vector<std::string> inputs = arguments.files;
    std::string output = arguments.output;
    if (output.empty()) {
        if (inputs.size() < 2)
            throw failure{"OUT is required: name the file to write, or use --output"};
        output = inputs.back();
        inputs.pop_back();
    }
    const convert_options &each = arguments.each;
    const std::string extension = each.to.empty() ? "" : kind_of_type(each.to).extensions.front();
    const std::vector<conversion_job> jobs = plan_jobs(inputs, output, extension);
    return run_jobs(jobs, worker_count(arguments.jobs, jobs.size()),
                    [&each](const conversion_job &job) {
                        convert_options options = each;
                        options.in = job.in;
                        options.out = job.out;
                        convert(options);
                    });
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
