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

namespace {

using action = std::function<int()>;

action info_verb(CLI::App &app);
action convert_verb(CLI::App &app);
action compare_verb(CLI::App &app);
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

action demo_verb(CLI::App &app) {
    const auto options = std::make_shared<tool::demo_options>();
    app.add_option("--out", options->out, "Folder for the results")
        ->type_name("DIR")
        ->capture_default_str();
    return [options] { return tool::demo(*options); };
}

} // namespace
