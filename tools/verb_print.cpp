// viq print: picture files on paper or in a PDF file, each on a page of its own.
#include <charconv>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "tools/note.h"
#include "tools/number_arguments.h"
#include "tools/orientation.h"
#include "tools/processing_steps.h"
#include "tools/replace_file.h"
#include "tools/verbs.h"

namespace tool {

namespace {

struct print_options {
    std::vector<std::string> files;
    std::string printer, to, paper, size, margin, orientation = "auto", title;
    uint32_t page = 0; // of TIFF files; 0: all
    uint16_t copies = 1;
    bool fit = false, centre = false, grey = false, list = false;
};

int run_print(const print_options &options);

} // namespace

action declare_print(CLI::App &app) {
    const auto options = std::make_shared<print_options>();
    app.add_option("FILE", options->files, picture_help);
    CLI::Option *printer =
        app.add_option("--printer", options->printer,
                       "Name of the printer, or its address, such as ipp://host/ipp/print; "
                       "without it, the default printer is used")
            ->type_name("NAME");
    CLI::Option *to = app.add_option("--to", options->to,
                                     "Write a PDF file instead of printing; - is standard output")
                          ->type_name("PDF")
                          ->excludes(printer);
    app.add_option("--paper", options->paper,
                   "Paper: A3 to A6, B4, B5, Letter, Legal, Ledger, 10x15cm, 4x6in, 5x7in, 8x10in, "
                   "or width and height in mm, such as 100x150; without it that of the printer, or "
                   "A4")
        ->type_name("NAME");
    CLI::Option *fit =
        app.add_flag("--fit", options->fit, "As large as fits between the margins (the default)");
    app.add_option("--size", options->size,
                   "Size of the printed pictures in mm; if width or height is left out, it follows "
                   "from the other one: 90x, x60")
        ->type_name("WxH")
        ->excludes(fit);
    app.add_option("--margin", options->margin,
                   "Margin in mm (default 10), or the left, top, right and bottom one, as the "
                   "picture is viewed")
        ->type_name("MM[,MM,MM,MM]");
    app.add_flag("--centre", options->centre,
                 "In the centre between the margins, not in the upper left corner");
    app.add_option("--orientation", options->orientation,
                   "auto (the better fit), portrait or landscape")
        ->check(CLI::IsMember({"auto", "portrait", "landscape"}));
    app.add_option("--copies", options->copies, "Number of copies")->check(CLI::Range(1, 9999));
    app.add_flag("--grey", options->grey, "In grey instead of colour");
    app.add_option("--title", options->title,
                   "Name of the document in queues and in the PDF file; without it, that of the "
                   "first file");
    app.add_option("--page", options->page, "Only this page of files with several; without it, all")
        ->type_name("N")
        ->check(CLI::Range(1, 65535));
    app.add_flag("--list", options->list,
                 "Print the names of the printers, the default printer first with a star, and "
                 "their descriptions")
        ->excludes(printer)
        ->excludes(to);
    app.footer("The pictures are the pages of one document. If one of them cannot be read, nothing "
               "is printed and no file is written.\n"
               "Pictures are turned as their files say (EXIF, TIFF orientation). They pass through "
               "memory in strips, as in viq convert.");
    return [options] { return run_print(*options); };
}

namespace {

// A page of a file.
struct page_source {
    std::string file;
    uint32_t page;
};

int list_printers();
tVIQ_PrintOptions library_options(const print_options &options);
void print_all(const print_options &options, tVIQ_PrintOptions how);
void print_page(const page_source &source, const print_options &options,
                const tVIQ_PrintOptions &how, bool &is_printing);
uint32_t read_mm(const std::string &text, const std::string &argument, const char *form);

int run_print(const print_options &options) {
    if (options.list)
        return list_printers();
    if (options.files.empty())
        throw failure{"FILE is required"};
    tVIQ_PrintOptions how = library_options(options);
    if (options.to.empty())
        print_all(options, how);
    else
        replace_file(options.to, [&](const std::string &temporary) {
            how.file_name = temporary.c_str();
            print_all(options, how);
        });
    return exit_done;
}

int list_printers() {
    const auto count = [](tVIQ_Printer *printers, std::size_t size) {
        const uint32_t found = VIQ_display_list_printers(printers, static_cast<uint32_t>(size));
        check(found, "printers");
        return found;
    };
    std::vector<tVIQ_Printer> printers(count(nullptr, 0));
    // Printers can come and go between two calls.
    const uint32_t now = count(printers.data(), printers.size());
    if (now < printers.size())
        printers.resize(now);
    for (const tVIQ_Printer &printer : printers)
        std::printf("%s %s\t%s%s\n", printer.is_default != 0 ? "*" : " ", printer.name,
                    printer.description,
                    printer.accepts_jobs != 0 ? "" : " (does not accept jobs)");
    return exit_done;
}

tVIQ_PrintOptions library_options(const print_options &options) {
    tVIQ_PrintOptions how;
    VIQ_display_print_defaults(&how);
    if (!options.paper.empty())
        how.paper = options.paper.c_str();
    if (!options.size.empty()) {
        const char *form = "WIDTHxHEIGHT in mm";
        const std::vector<std::string> sides = split(options.size, 'x');
        if (sides.size() != 2 || options.size == "x")
            reject_argument(options.size, form);
        how.width = sides[0].empty() ? 0 : read_mm(sides[0], options.size, form);
        how.height = sides[1].empty() ? 0 : read_mm(sides[1], options.size, form);
    }
    if (!options.margin.empty()) {
        const char *form = "MM or LEFT,TOP,RIGHT,BOTTOM in mm";
        const std::vector<std::string> margins = split(options.margin);
        if (margins.size() != 1 && margins.size() != 4)
            reject_argument(options.margin, form);
        uint32_t *sides[] = {&how.margin_left, &how.margin_top, &how.margin_right,
                             &how.margin_bottom};
        for (std::size_t n = 0; n < 4; ++n)
            *sides[n] = read_mm(margins[n % margins.size()], options.margin, form);
    }
    how.orientation = options.orientation == "portrait"    ? uint16_t{VIQ_PRINT_PORTRAIT}
                      : options.orientation == "landscape" ? uint16_t{VIQ_PRINT_LANDSCAPE}
                                                           : uint16_t{VIQ_PRINT_AUTO};
    how.position = options.centre ? VIQ_PRINT_CENTRE : VIQ_PRINT_CORNER;
    how.copies = options.copies;
    how.grey = options.grey ? 1 : 0;
    return how;
}

uint32_t read_mm(const std::string &text, const std::string &argument, const char *form) {
    constexpr double most = 10000;
    double length = -1;
    const char *end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, length, std::chars_format::fixed);
    if (error != std::errc() || rest != end || !(length >= 0 && length <= most))
        reject_argument(argument, form);
    return static_cast<uint32_t>(std::lround(length * 100));
}

void print_all(const print_options &options, tVIQ_PrintOptions how) {
    std::vector<page_source> pages;
    for (const std::string &file : options.files) {
        const uint32_t count = options.page != 0 ? 1 : open_picture(file).pages;
        for (uint32_t n = 1; n <= count; ++n)
            pages.push_back({file, options.page != 0 ? options.page : n});
    }
    bool is_printing = false;
    try {
        for (std::size_t n = 0; n < pages.size(); ++n) {
            how.more_pages = n + 1 < pages.size() ? 1 : 0;
            print_page(pages[n], options, how, is_printing);
        }
    } catch (...) {
        if (is_printing)
            VIQ_display_print(0, nullptr, nullptr, nullptr, VIQ_STRIP_FINISH);
        discard_error_message();
        throw;
    }
}

// `is_printing` becomes true when a document has been started.
void print_page(const page_source &page, const print_options &options, const tVIQ_PrintOptions &how,
                bool &is_printing) {
    picture_source file = open_picture(page.file, {.page = page.page});
    picture_flow flow = {file.name, &file};
    if (file.orientation != upright) {
        processing_options turn;
        turn.steps = steps_to_upright(file.orientation);
        process(flow, turn);
    }
    // Pictures of an odd width are converted with the width that their file states.
    if (header_of(flow).format == VIQ_YUV422)
        convert_flow(flow, {VIQ_RGB24});
    const std::string title = options.title.empty()
                                  ? std::filesystem::path(options.files.front()).filename().string()
                                  : options.title;
    const auto print_strip = [&](uint32_t strip, bool) {
        is_printing = true;
        const uint32_t code =
            VIQ_display_print(strip, options.printer.c_str(), title.c_str(), &how, VIQ_STRIP_NEXT);
        check(code, !options.to.empty() && is_file_error(code) ? options.to : file.name);
    };
    run(pipeline_of(flow), {print_strip});
}

} // namespace

} // namespace tool
