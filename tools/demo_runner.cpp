#include "tools/demo_runner.h"

#include <filesystem>

#include <CLI/CLI.hpp>

#include "tools/pipeline.h"
#include "tools/psnr.h"
#include "tools/verb_convert.h"
#include "tools/verbs.h"

namespace tool {

namespace fs = std::filesystem;

void run_command(const std::string &command) {
    CLI::App app("", "viq");
    action run;
    CLI::App *verb = app.add_subcommand("convert");
    verb->callback([&run, declared = declare_convert(*verb)] { run = declared; });
    app.parse(command, true);
    if (run() != exit_done)
        throw failure{command + ": failed"};
}

shown_picture show(const std::string &file, const std::string &name, const std::string &part) {
    constexpr uint16_t shown_quality = 100;
    const uint16_t format = read_header(file).format;
    const bool has_few_colours = format == VIQ_PALETTED || format == VIQ_Y1;
    const bool is_lossless =
        (has_few_colours || !part.empty()) && kind_of_type("png").is_writable();
    convert_options copy = {.in = file,
                            .out = (fs::path(shown_folder) / name).string() +
                                   (is_lossless ? ".png" : ".jpg"),
                            .coding = {.quality = shown_quality}};
    if (!part.empty())
        copy.processing.steps = {{"--crop", part}};
    convert(copy);
    const picture_header size = read_header(copy.out);
    return {std::string(shown_folder) + "/" + fs::path(copy.out).filename().string(), size.width,
            size.height, !part.empty()};
}

double psnr_of_files(const std::string &a, const std::string &b) {
    return psnr_of(read_as_rgb24(a), read_as_rgb24(b));
}

} // namespace tool
