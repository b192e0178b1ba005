// viq, the command-line tool: arguments in, exit status out. 0: done, 1: pictures differ, 2: error.
#include <cstdio>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "tools/compare.h"
#include "tools/convert.h"
#include "tools/demo.h"
#include "tools/formats.h"
#include "tools/image.h"
#include "tools/info.h"
#include "tools/measure.h"

namespace {

using action = std::function<int()>;

action info_verb(CLI::App &app);
action convert_verb(CLI::App &app);
action compare_verb(CLI::App &app);
action histogram_verb(CLI::App &app);
action motion_verb(CLI::App &app);
action demo_verb(CLI::App &app);

// Declares the arguments of a verb and returns what the verb does.
struct verb {
    const char *name;
    const char *purpose;
    action (*declare)(CLI::App &app);
};

constexpr verb verbs[] = {
    {"info", "Print type, size and pixel format of picture files", info_verb},
    {"convert", "Convert a picture file; the output's extension names its type", convert_verb},
    {"compare", "Print PSNR and largest difference; exit status 1 when pictures differ",
     compare_verb},
    {"histogram", "Show a picture's hues, saturations and intensities", histogram_verb},
    {"motion", "Print how far a frame has moved from another", motion_verb},
    {"demo", "Convert the sample photographs in every way and write a page that shows them",
     demo_verb},
};

int complain(const std::string &text) {
    std::fprintf(stderr, "viq: %s\n", text.c_str());
    return 2;
}

} // namespace

int main(int argc, char **argv) {
    try {
        CLI::App app("viq: reads, converts, compares and shows pictures", "viq");
        app.require_subcommand(1);
        action chosen;
        for (const verb &row : verbs) {
            CLI::App *command = app.add_subcommand(row.name, row.purpose);
            command->callback([&chosen, run = row.declare(*command)] { chosen = run; });
        }
        try {
            app.parse(argc, argv);
        } catch (const CLI::ParseError &error) {
            if (error.get_exit_code() == 0)
                return app.exit(error);
            return complain(error.what());
        }
        tool::start_library();
        return chosen();
    } catch (const tool::failure &stop) {
        return complain(stop.text);
    } catch (const std::exception &error) {
        return complain(error.what());
    }
}

namespace {

action info_verb(CLI::App &app) {
    const auto options = std::make_shared<tool::info_options>();
    app.add_flag("--json", options->json, "Print one JSON array");
    app.add_option("FILE", options->files, "Picture files")->required();
    return [options] { return tool::info(*options); };
}

void declare_processing(CLI::App &app, tool::process_options &to) {
    const struct {
        const char *name, *form, *purpose;
        std::string &argument;
    } arguments[] = {
        {"--crop", "X,Y,W,H", "Cut out a rectangle", to.crop},
        {"--scale", "WxH", "Scale bilinearly", to.scale},
        {"--subsample", "N", "Keep every Nth pixel and line", to.subsample},
        {"--replicate", "N", "Repeat every pixel and line N times", to.replicate},
        {"--rotate", "ANGLE", "Turn clockwise by 90, 180 or 270 degrees", to.rotate},
        {"--filter", "KERNEL", "blur, sharpen, edge or nine coefficients k1,..,k9", to.filter},
        {"--lut", "NAME=N,...", "Percentages: brightness contrast gamma r g b", to.lut},
        {"--threshold", "LO,HI", "Black below LO, white from HI on", to.threshold},
        {"--demosaic", "SCHEME[,PHASE]", "Scheme 1 to 3, phase 1 to 4", to.demosaic},
        {"--field-to-frame", "SCHEME", "Double the lines by scheme 1 to 4", to.field_to_frame},
        {"--key", "COLOUR[,BACKGROUND]", "Replace the key screen by a named colour or a picture",
         to.key},
        {"--text", "TEXT[,X,Y,FONT,COLOUR,BACKGROUND]", "Draw a text", to.text}};
    const struct {
        const char *name, *purpose;
        bool &flag;
    } flags[] = {{"--mirror", "Reverse every line", to.mirror},
                 {"--mosaic", "Make a colour-filter mosaic", to.mosaic},
                 {"--pseudo", "Show the components as false colour", to.pseudo},
                 {"--calibrate", "Take the key screen's hue from the picture", to.calibrate},
                 {"--timestamp", "Draw the time and date", to.timestamp}};
    for (const auto &row : arguments)
        app.add_option(row.name, row.argument, row.purpose)->type_name(row.form);
    for (const auto &row : flags)
        app.add_flag(row.name, row.flag, row.purpose);
}

action convert_verb(CLI::App &app) {
    const auto options = std::make_shared<tool::convert_options>();
    std::vector<std::string> known;
    for (const tool::format_name &format : tool::formats())
        if (format.offered)
            known.emplace_back(format.name);
    app.add_option("--format", options->format, "Pixel format that the picture takes on its way")
        ->type_name("NAME")
        ->check(CLI::IsMember(known));
    app.add_option("--strip", options->lines, "Lines in memory at a time")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::PositiveNumber);
    declare_processing(app, options->process);
    app.add_option("IN", options->in, "Picture to read")->required();
    app.add_option("OUT", options->out, "File to write: .bmp or .raw")->required();
    return [options] { return tool::convert(*options); };
}

action compare_verb(CLI::App &app) {
    const auto options = std::make_shared<tool::compare_options>();
    app.add_option("--tolerance", options->tolerance, "Largest difference that counts as equal")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(0, 255));
    app.add_option("A", options->a, "A picture")->required();
    app.add_option("B", options->b, "A picture")->required();
    return [options] { return tool::compare(*options); };
}

action histogram_verb(CLI::App &app) {
    const auto options = std::make_shared<tool::histogram_options>();
    app.add_option("--match", options->match, "Print the likeness to another picture instead")
        ->type_name("OTHER");
    app.add_option("--svg", options->svg, "Draw into a file instead of the terminal")
        ->type_name("FILE");
    app.add_option("FILE", options->file, "Picture to read")->required();
    return [options] { return tool::histogram(*options); };
}

action motion_verb(CLI::App &app) {
    const auto options = std::make_shared<tool::motion_options>();
    app.add_option("A", options->a, "A frame")->required();
    app.add_option("B", options->b, "The frame after it")->required();
    return [options] { return tool::motion(*options); };
}

action demo_verb(CLI::App &app) {
    const auto options = std::make_shared<tool::demo_options>();
    app.add_option("--out", options->out, "Folder for the results")
        ->type_name("DIR")
        ->capture_default_str();
    return [options] { return tool::demo(*options); };
}

} // namespace
