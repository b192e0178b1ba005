// viq, the command-line tool: parses the arguments and runs one verb. Errors are printed as one
// line on standard error.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <iostream>
#include <iterator>
#include <new>
#include <string>

#include <CLI/CLI.hpp>

#include "tools/image_handle.h"
#include "tools/limit_options.h"
#include "tools/manual_text.h"
#include "tools/nearest_name.h"
#include "tools/temporary_folder.h"
#include "tools/verbs.h"

namespace {

struct verb {
    const char *name;
    const char *purpose;
    tool::action (*declare)(CLI::App &app);
};

constexpr verb verbs[] = {
    {"info", "Print the type, size and pixel format of picture files", tool::declare_info},
    {"convert", "Convert a picture file to another file type or pixel format, or process it",
     tool::declare_convert},
    {"develop",
     "Make pictures of the frames of a camera: black level, shading, white balance, colours",
     tool::declare_develop},
    {"compare", "Print the PSNR and the largest difference of two pictures", tool::declare_compare},
    {"lut", "Generate, save, load and apply lookup tables for pixel format conversions",
     tool::declare_lut},
    {"histogram", "Plot or compare histograms of hue, saturation and intensity",
     tool::declare_histogram},
    {"motion", "Print how much a frame differs from the frame before it, in percent",
     tool::declare_motion},
    {"demo", "Convert and process the sample photographs and write a web page with the results",
     tool::declare_demo},
    {"sequence", "Build, split or describe a file with a sequence of JPEG frames",
     tool::declare_sequence},
    {"view", "Show pictures and films in a window or in the terminal", tool::declare_view},
    {"print", "Print pictures, or write them to a PDF file", tool::declare_print},
};

// Breaks long lines between words.
std::string wrapped(const std::string &text, std::size_t width) {
    std::string result = text;
    std::size_t line = 0; // its first character
    std::size_t blank = 0;
    for (std::size_t n = 0; n < result.size(); ++n) {
        if (result[n] == ' ')
            blank = n;
        if (result[n] == '\n')
            line = n + 1;
        if (n - line >= width && blank > line) {
            result[blank] = '\n';
            line = blank + 1;
        }
    }
    return result;
}

void wrap_help(CLI::App &app) {
    constexpr std::size_t description_width = 68; // after a column of 30 for the names
    constexpr std::size_t footer_width = 98;
    app.footer(wrapped(app.get_footer(), footer_width));
    for (CLI::Option *option : app.get_options())
        option->description(wrapped(option->get_description(), description_width));
    for (CLI::App *command : app.get_subcommands([](CLI::App *) { return true; }))
        wrap_help(*command);
}

// Rejects a first argument that is neither an option nor a verb, and names the most similar verb.
void check_verb(const std::string &word) {
    const char *names[std::size(verbs)];
    std::transform(std::begin(verbs), std::end(verbs), names,
                   [](const verb &row) { return row.name; });
    if (word.starts_with('-') ||
        std::find(std::begin(names), std::end(names), word) != std::end(names))
        return;
    const std::string nearest = tool::nearest_name(word, names);
    throw tool::failure{
        "'" + word + "' is not a command; " +
        (nearest.empty() ? "viq --help lists the commands" : "did you mean '" + nearest + "'?")};
}

std::string version_text() {
    return std::string("viq ") + VIQ_TOOL_VERSION + "\nreads: " + tool::readable_kinds() +
           "\nwrites: " + tool::writable_extensions() +
           "\nother libraries: " + tool::linked_libraries();
}

// Buffered output can fail as late as here, for example on a full disk.
void flush_standard_output() {
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        tool::fail_by_system("standard output", "cannot be written");
}

int report_error(const std::string &text) {
    std::fprintf(stderr, "viq: %s\n", text.c_str());
    return tool::exit_error;
}

} // namespace

int main(int argc, char **argv) {
    try {
        CLI::App app("viq: reads, converts, processes and compares pictures", "viq");
        app.require_subcommand(1);
        app.allow_windows_style_options(false); // a path may start with a slash
        tool::action chosen;
        tool::limits limits;
        for (const verb &row : verbs) {
            CLI::App *command = app.add_subcommand(row.name, row.purpose);
            command->callback([&chosen, run = row.declare(*command)] { chosen = run; });
            tool::declare_limits(*command, limits);
        }
        // Set last, because new subcommands inherit the footer.
        app.footer("viq SUBCOMMAND --help describes the arguments.\n"
                   "Exit status: 0 success, 1 compared pictures differ, 2 error. After an error, "
                   "no output file has been changed.");
        app.set_version_flag("--version", version_text);
        std::string manual_folder;
        app.add_option(
               "--write-manual", manual_folder,
               "Write the man pages and the completion scripts of bash and zsh to a folder; "
               "takes no command")
            ->type_name("DIR");
        if (argc == 3 && argv[1] == std::string_view("--write-manual")) {
            tool::write_manual(app, argv[2]);
            return tool::exit_done;
        }
        wrap_help(app);
        if (argc > 1)
            check_verb(argv[1]);
        try {
            app.parse(argc, argv);
        } catch (const CLI::ParseError &error) {
            if (error.get_exit_code() == 0) {
                const int status = app.exit(error);
                std::cout.flush();
                flush_standard_output();
                return status;
            }
            return report_error(error.what());
        }
        tool::start_library();
        tool::set_limits(limits);
        const int status = chosen();
        flush_standard_output();
        return status;
    } catch (const tool::failure &stop) {
        return report_error(stop.text);
    } catch (const std::bad_alloc &) {
        return report_error("not enough memory");
    } catch (const std::exception &error) {
        return report_error(error.what());
    }
}
