#include "tools/conversion_batch.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <utility>

#include <CLI/CLI.hpp>

#include "tools/jpeg_sequence.h"
#include "tools/note.h"
#include "tools/palette_option.h"
#include "tools/pixel_format_table.h"
#include "tools/progress_bar.h"
#include "tools/temporary_folder.h"
#include "tools/verbs.h"
#include "tools/wavelet_file.h"
#include "tools/workers.h"

namespace tool {

namespace {

constexpr int most_strip_lines = 1 << 24;
constexpr int most_pages = 65535;

// An input: a picture file, or a file of frames, or why that could not be opened.
struct job_input {
    std::optional<frame_file> frames = {};
    std::string error = {};
};

// The inputs, and a job for each picture of them.
struct conversion_plan {
    std::vector<job_input> inputs;
    std::vector<conversion_job> jobs;
    std::string output; // a file, folder or pattern
};

void declare_files(CLI::App &app, convert_arguments &arguments);
void declare_coding(CLI::App &app, coding_options &coding);
conversion_plan plan_conversion(const convert_arguments &arguments);
job_input open_input_frames(const std::string &file, const convert_arguments &arguments);
bool is_sequence(const conversion_plan &plan, const convert_options &options);
int write_sequence(const conversion_plan &plan, unsigned workers,
                   const std::function<void(const conversion_job &)> &run);

} // namespace

std::function<void()> declare_conversion(CLI::App &app, convert_arguments &arguments,
                                         std::initializer_list<const char *> except) {
    convert_options &each = arguments.each;
    declare_files(app, arguments);
    app.add_option("--format", each.format,
                   "Convert the picture to this pixel format after all image processing, and then, "
                   "if the output file cannot hold it, to one that it can hold")
        ->type_name("NAME")
        ->check(CLI::IsMember(target_format_names()));
    app.add_option("--palette", each.palette, palette_help)
        ->type_name("N|NAME")
        ->check(CLI::Validator(palette_fault, ""));
    app.add_option("--strip", each.lines_per_strip, "Lines that are held in memory at a time")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(1, most_strip_lines));
    declare_coding(app, each.coding);
    return declare_processing(app, each.processing, except);
}

int convert_all(const convert_arguments &arguments, const picture_reader &read_frames,
                const picture_reader &read_files) {
    const conversion_plan plan = plan_conversion(arguments);
    const convert_options &each = arguments.each;
    const auto run = [&](const conversion_job &job) {
        const job_input &input = plan.inputs[job.input];
        if (!input.error.empty())
            throw failure{input.error};
        convert_options options = each;
        options.in = job.in;
        options.out = job.out;
        const frame_file *frames = input.frames ? &*input.frames : nullptr;
        if (frames != nullptr && frames->format.phase != 0)
            options.processing.phase = frames->format.phase;
        if (const picture_reader &read = frames != nullptr ? read_frames : read_files)
            options.read = [&] { return read(job, frames); };
        convert(options);
    };
    const unsigned workers = worker_count(arguments.jobs, plan.jobs.size());
    if (is_sequence(plan, each))
        return write_sequence(plan, workers, run);
    const std::string extension = each.to.empty() ? "" : kind_of_type(each.to).extensions.front();
    if (!arguments.raw.empty() && extension.empty() && is_folder(plan.output))
        throw failure{plan.output + ": camera frames have no type: use --to TYPE, or a pattern "
                                    "such as out/{name}-{frame}.png"};
    return run_jobs(plan_jobs(plan.jobs, plan.output, extension), workers, run);
}

namespace {

void declare_files(CLI::App &app, convert_arguments &arguments) {
    convert_options &each = arguments.each;
    app.add_option(
           "-o,--output", arguments.output,
           "Where to write, if all FILES are to be read: a file, a folder, or a pattern "
           "such as out/{name}.jpg with the fields {file}, {name}, {ext}, {dir} and {number} of "
           "each input and {frame} of camera frames; folders are created")
        ->type_name("FILE|DIR|PATTERN");
    CLI::Option *from =
        app.add_option("--from", each.from,
                       "Type of the pictures to read, such as tga; otherwise their content decides")
            ->type_name("TYPE");
    declare_frames(app, arguments.raw, arguments.frames,
                   "Frames to convert, counted from 1: N, A..B, A.., ..B or all (default: 1). "
                   "Several are written to files by a folder or pattern, or to one .jpg file as a "
                   "sequence")
        ->excludes(from);
    app.add_option("--to", each.to,
                   "Type of the files to write, such as png; otherwise the extension decides")
        ->type_name("TYPE");
    app.add_option("--page", each.page, "Page of a TIFF file to read, counted from 1")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(1, most_pages));
    app.add_flag("--auto-orient", each.auto_orient,
                 "Turn and mirror the picture as the orientation in a JPEG, TIFF or PNG file "
                 "requires");
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
    app.add_option("--optimize", coding.optimisation,
                   "Time for smaller .jpg files: 1 makes Huffman tables for the picture, 2 also "
                   "chooses the values that are worth their bits")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(VIQ_JPEG_OPTIMISE_NONE, VIQ_JPEG_OPTIMISE_VALUES));
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
    app.add_flag("--wavelet-optimize", coding.wavelet.optimised,
                 "Choose the steps and values of .dwt files for the best picture at a size");
    app.add_flag("--padded", coding.padded,
                 "Write the lines of .raw files with the padding that they have in memory");
}

conversion_plan plan_conversion(const convert_arguments &arguments) {
    if (arguments.raw.empty() && !arguments.frames.empty())
        throw failure{"--frames needs --raw"};
    std::vector<std::string> files = arguments.files;
    conversion_plan plan = {{}, {}, arguments.output};
    if (plan.output.empty()) {
        if (files.size() < 2)
            throw failure{"OUT is required: name the file to write, or use --output"};
        plan.output = files.back();
        files.pop_back();
    }
    for (const std::string &file : files) {
        const std::size_t number = plan.inputs.size();
        plan.inputs.push_back(arguments.raw.empty() ? job_input()
                                                    : open_input_frames(file, arguments));
        const auto &frames = plan.inputs.back().frames;
        const uint64_t only = arguments.raw.empty() ? 0 : 1;
        const frame_range range = frames ? frames->selected : frame_range{only, only};
        for (uint64_t n = range.first; n <= range.last; ++n)
            plan.jobs.push_back({.in = file, .input = number, .frame = n});
    }
    return plan;
}

// A file that cannot be opened fails later, as its job.
job_input open_input_frames(const std::string &file, const convert_arguments &arguments) {
    const frame_format format = parse_frame_format(arguments.raw);
    try {
        frame_file frames = open_frames(file, format);
        frames.selected = parse_frames(arguments.frames.empty() ? "1" : arguments.frames, frames);
        if (frames.rest_bytes != 0)
            print_note(frames.name, "the last " + std::to_string(frames.rest_bytes) +
                                        " bytes are not a whole frame");
        if (arguments.frames.empty() && frames.frames > 1)
            print_note(frames.name, "the first of " + std::to_string(frames.frames) +
                                        " frames is converted; --frames selects others");
        return {std::move(frames)};
    } catch (const failure &stop) {
        return {{}, stop.text};
    }
}

// Several frames of one file go to one file.
bool is_sequence(const conversion_plan &plan, const convert_options &options) {
    if (plan.inputs.size() != 1 || plan.jobs.size() < 2 || is_folder(plan.output) ||
        is_pattern(plan.output) || (plan.output == standard_stream && options.to.empty()))
        return false;
    const file_kind &kind =
        options.to.empty() ? kind_of_extension(plan.output) : kind_of_type(options.to);
    return kind.code == VIQ_FILE_JPEG;
}

// Frames are coded in groups, so that only the coded data of all frames is in memory.
int write_sequence(const conversion_plan &plan, unsigned workers,
                   const std::function<void(const conversion_job &)> &run) {
    const temporary_folder folder;
    const auto path_of = [&folder](std::size_t n) {
        return text_of(folder.path / (std::to_string(n) + ".jpg"));
    };
    image sequence(0);
    progress_bar progress(plan.jobs.size(), 0);
    for (std::size_t first = 0; first < plan.jobs.size(); first += workers) {
        const std::size_t count = std::min<std::size_t>(workers, plan.jobs.size() - first);
        for_each_item(count, worker_count(workers, count), [&](std::size_t n) {
            conversion_job job = plan.jobs[first + n];
            job.out = path_of(n);
            run(job);
        });
        for (std::size_t n = 0; n < count; ++n)
            append_frames(sequence, read_jpeg(path_of(n)), plan.output);
        progress.show(first + count);
    }
    write_coded_jpeg(sequence, plan.output);
    return exit_done;
}

} // namespace

} // namespace tool
