// viq sequence: several JPEG frames of one size in one file.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "tools/file_path.h"
#include "tools/jpeg_file.h"
#include "tools/jpeg_sequence.h"
#include "tools/verbs.h"
#include "tools/workers.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

struct sequence_options {
    std::string file, folder;
    std::vector<std::string> frames;
    unsigned jobs = 0; // 0: one for each processor
};

int build(const sequence_options &options);
int split(const sequence_options &options);
int describe(const sequence_options &options);

} // namespace

action declare_sequence(CLI::App &app) {
    const auto options = std::make_shared<sequence_options>();
    const auto chosen = std::make_shared<action>();
    const auto add_verb = [&](const char *name, const char *purpose,
                              int (*run)(const sequence_options &)) {
        CLI::App *command = app.add_subcommand(name, purpose);
        command->callback([=] { *chosen = [=] { return run(*options); }; });
        return command;
    };
    app.require_subcommand(1);
    CLI::App *building = add_verb("build", "Join JPEG files into one file", build);
    building->add_option("OUT", options->file, "Sequence file to write")->required();
    building
        ->add_option("FRAME", options->frames,
                     "JPEG files or sequences, in order; all must have the size, components, "
                     "quantisation tables and Huffman tables of the first")
        ->required();
    declare_jobs(*building, options->jobs);
    CLI::App *splitting = add_verb("split", "Write every frame to a JPEG file of its own", split);
    splitting->add_option("IN", options->file, "Sequence file")->required();
    splitting
        ->add_option("DIR", options->folder,
                     "Folder for frame0001.jpg, frame0002.jpg, ...; created if it does not exist")
        ->required();
    CLI::App *describing =
        add_verb("info", "Print the size and number of frames, and the bytes of each", describe);
    describing->add_option("IN", options->file, "Sequence file")->required();
    return [chosen] { return (*chosen)(); };
}

namespace {

int build(const sequence_options &options) {
    image sequence = read_jpeg(options.frames.front());
    // Read in groups, so that not all frames are in memory at the same time.
    const std::size_t files = options.frames.size();
    const unsigned workers = worker_count(options.jobs, files);
    for (std::size_t first = 1; first < files; first += workers) {
        std::vector<std::unique_ptr<image>> group(std::min<std::size_t>(workers, files - first));
        for_each_item(group.size(), worker_count(workers, group.size()), [&](std::size_t n) {
            group[n] = std::make_unique<image>(read_jpeg(options.frames[first + n]));
        });
        for (std::size_t n = 0; n < group.size(); ++n)
            append_frames(sequence, std::move(*group[n]), options.frames[first + n]);
    }
    write_coded_jpeg(sequence, options.file);
    std::printf("wrote %s: %u frames\n", options.file.c_str(),
                static_cast<unsigned>(frame_count(sequence)));
    return exit_done;
}

int split(const sequence_options &options) {
    const image sequence = read_jpeg(options.file);
    std::error_code error;
    fs::create_directories(path_from(options.folder), error);
    if (error)
        throw failure{options.folder + ": " + error.message()};
    for (uint32_t n = 1; n <= frame_count(sequence); ++n) {
        const image frame = extract_frame(sequence, n, options.file);
        char name[32];
        std::snprintf(name, sizeof name, "frame%04u.jpg", static_cast<unsigned>(n));
        const std::string path = text_of(path_from(options.folder) / name);
        write_coded_jpeg(frame, path);
        std::printf("wrote %s\n", path.c_str());
    }
    return exit_done;
}

int describe(const sequence_options &options) {
    const image sequence = read_jpeg(options.file);
    const uint32_t frames = frame_count(sequence);
    std::printf("%s: %u x %u, %u frames\n", options.file.c_str(),
                static_cast<unsigned>(VIQ_get_width(sequence.handle)),
                static_cast<unsigned>(VIQ_get_height(sequence.handle)),
                static_cast<unsigned>(frames));
    for (uint32_t n = 1; n <= frames; ++n) {
        const image frame = extract_frame(sequence, n, options.file);
        std::printf("frame %u: %u bytes\n", static_cast<unsigned>(n),
                    static_cast<unsigned>(record_of(frame).data_length));
    }
    return exit_done;
}

} // namespace

} // namespace tool
