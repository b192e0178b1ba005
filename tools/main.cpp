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
#include "tools/lut.h"
#include "tools/measure.h"
#include "tools/sequence.h"

namespace {

using action = std::function<int()>;

action info_verb(CLI::App &app);
action convert_verb(CLI::App &app);
action compare_verb(CLI::App &app);
action lut_verb(CLI::App &app);
action histogram_verb(CLI::App &app);
action motion_verb(CLI::App &app);
action demo_verb(CLI::App &app);
action sequence_verb(CLI::App &app);

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
    {"lut", "Generate, save and apply the lookup tables of conversions", lut_verb},
    {"histogram", "Show a picture's hues, saturations and intensities", histogram_verb},
    {"motion", "Print how far a frame has moved from another", motion_verb},
    {"demo", "Convert the sample photographs in every way and write a page that shows them",
     demo_verb},
    {"sequence", "Build, split or describe a sequence of JPEG frames in one file", sequence_verb},
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
        std::string *argument; // or
        bool *flag;
    } steps[] = {
        {"--crop", "X,Y,W,H", "Cut out a rectangle", &to.crop, nullptr},
        {"--scale", "WxH", "Scale bilinearly", &to.scale, nullptr},
        {"--subsample", "N", "Keep every Nth pixel and line", &to.subsample, nullptr},
        {"--replicate", "N", "Repeat every pixel and line N times", &to.replicate, nullptr},
        {"--rotate", "ANGLE", "Turn clockwise by 90, 180 or 270 degrees", &to.rotate, nullptr},
        {"--mirror", "", "Reverse every line", nullptr, &to.mirror},
        {"--filter", "KERNEL", "blur, sharpen, edge or nine coefficients k1,..,k9", &to.filter,
         nullptr},
        {"--lut", "NAME=N,...", "Percentages: brightness contrast gamma r g b", &to.lut, nullptr},
        {"--threshold", "LO,HI", "Black below LO, white from HI on", &to.threshold, nullptr},
        {"--mosaic", "", "Make a colour-filter mosaic", nullptr, &to.mosaic},
        {"--demosaic", "SCHEME[,PHASE]", "Scheme 1 to 3, phase 1 to 4", &to.demosaic, nullptr},
        {"--field-to-frame", "SCHEME", "Double the lines by scheme 1 to 4", &to.field_to_frame,
         nullptr},
        {"--pseudo", "", "Show the components as false colour", nullptr, &to.pseudo},
        {"--key", "COLOUR[,BACKGROUND]",
         "Replace the key screen by a named colour, 0 to 15, or a picture", &to.key, nullptr},
        {"--calibrate", "", "Take the key screen's hue from the picture itself", nullptr,
         &to.calibrate},
        {"--screen", "FILE", "Take the key screen's hue from a picture of it alone", &to.screen,
         nullptr},
        {"--text", "TEXT[,X,Y,FONT,COLOUR,BACKGROUND]",
         "Draw a text; fonts 0 to 2, colours 0 to 15, background 0 dim or 1 grey", &to.text,
         nullptr},
        {"--timestamp", "", "Draw the time and date at the lower right", nullptr, &to.timestamp}};
    for (const auto &step : steps) {
        CLI::Option *option =
            step.flag != nullptr
                ? app.add_flag(step.name, *step.flag, step.purpose)
                : app.add_option(step.name, *step.argument, step.purpose)->type_name(step.form);
        option->group("Image processing, applied in this order");
    }
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
    app.add_option("--quality", options->coding.quality,
                   "Quality factor of JPEG files; 16 is standard")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(1, 400));
    app.add_option("--wavelet-quality", options->coding.wavelet.quality, "Quality of a .dwt file")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(0, 400));
    app.add_option("--subbands", options->coding.wavelet.subbands, "Decompositions of a .dwt file")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(1, 32));
    app.add_flag("--small", options->coding.wavelet.small, "Smaller .dwt files, in more time");
    declare_processing(app, options->process);
    app.add_option("IN", options->in, "Picture to read")->required();
    app.add_option("OUT", options->out, "File to write: " + tool::known_extensions())->required();
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

action lut_verb(CLI::App &app) {
    const auto options = std::make_shared<tool::lut_options>();
    const auto chosen = std::make_shared<action>();
    app.require_subcommand(1);
    const auto declare = [&](const char *name, const char *purpose,
                             int (*run)(const tool::lut_options &)) {
        CLI::App *command = app.add_subcommand(name, purpose);
        command->add_option("TYPE", options->type, tool::lut_types())
            ->required()
            ->check(CLI::Range(200, 205));
        command
            ->add_option("--palette", options->palette, "cube, ramp, named, or a paletted picture")
            ->capture_default_str();
        command->add_option("--data-width", options->data_width, "Bits of 16-bit grey")
            ->capture_default_str()
            ->check(CLI::Range(9, 16));
        command->add_option("--save", options->save, "File to save the table to");
        command->add_option("--load", options->load, "File to load the table from");
        command->callback([=] { *chosen = [=] { return run(*options); }; });
        return command;
    };
    declare("generate", "Make a table, or load it, and save it", tool::lut_generate);
    CLI::App *apply = declare("apply", "Convert a picture by a table", tool::lut_apply);
    apply->add_option("IN", options->in, "Picture to read")->required();
    apply->add_option("OUT", options->out, "File to write: " + tool::known_extensions())
        ->required();
    return [chosen] { return (*chosen)(); };
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

action sequence_verb(CLI::App &app) {
    struct choice {
        std::string file, folder;
        std::vector<std::string> frames;
        std::function<int(const choice &)> run;
    };
    const auto chosen = std::make_shared<choice>();
    app.require_subcommand(1);
    CLI::App *build = app.add_subcommand("build", "Put frames of one size into a file");
    build->add_option("OUT", chosen->file, "File to write")->required();
    build->add_option("FRAME", chosen->frames, "JPEG files")->required();
    build->callback([chosen] {
        chosen->run = [](const choice &c) { return tool::build_sequence(c.file, c.frames); };
    });
    CLI::App *split = app.add_subcommand("split", "Write every frame as a file of its own");
    split->add_option("IN", chosen->file, "Sequence")->required();
    split->add_option("DIR", chosen->folder, "Folder for the frames")->required();
    split->callback([chosen] {
        chosen->run = [](const choice &c) { return tool::split_sequence(c.file, c.folder); };
    });
    CLI::App *describe = app.add_subcommand("info", "Print size and number of frames");
    describe->add_option("IN", chosen->file, "Sequence")->required();
    describe->callback([chosen] {
        chosen->run = [](const choice &c) { return tool::describe_sequence(c.file); };
    });
    return [chosen] { return chosen->run(*chosen); };
}

} // namespace
