// viq demo: converts and processes the sample photographs and writes a page with the results.
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "tools/demo_codecs.h"
#include "tools/demo_keying.h"
#include "tools/demo_page.h"
#include "tools/demo_recipes.h"
#include "tools/demo_routes.h"
#include "tools/demo_runner.h"
#include "tools/demo_samples.h"
#include "tools/demo_timings.h"
#include "tools/file_path.h"
#include "tools/pipeline.h"
#include "tools/pixel_format_table.h"
#include "tools/psnr.h"
#include "tools/verbs.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

struct demo_options {
    std::string out = "viq-demo";
};

int demo(const demo_options &options);
void create_folder(const fs::path &folder, const std::string &name);
void copy_samples(const fs::path &to);
section recipe_section(const recipe_group &group);
card recipe_card(const recipe &what);
card top_card(const std::vector<section> &sections, const char *id, std::size_t number,
              const char *title, const char *note);

// The commands of the demo are run in the page's folder.
struct working_folder {
    fs::path previous = fs::current_path();

    explicit working_folder(const fs::path &folder) { fs::current_path(folder); }
    ~working_folder() {
        std::error_code ignored;
        fs::current_path(previous, ignored);
    }
    working_folder(const working_folder &) = delete;
    working_folder &operator=(const working_folder &) = delete;
};

} // namespace

action declare_demo(CLI::App &app) {
    const auto options = std::make_shared<demo_options>();
    app.add_option("--out", options->out,
                   "Folder for the page, index.html, and its pictures; created if it does not "
                   "exist")
        ->type_name("DIR")
        ->capture_default_str();
    return [options] { return demo(*options); };
}

namespace {

int demo(const demo_options &options) {
    const fs::path out = path_from(options.out);
    create_folder(out, options.out);
    create_folder(out / shown_folder, options.out);
    copy_samples(out);

    std::size_t conversions = 0;
    {
        const working_folder inside(out);
        page contents = {.version = VIQ_TOOL_VERSION, .top = {}, .sections = {}};
        std::vector<section> &sections = contents.sections;
        const auto add = [&sections](section made) {
            if (made.cards.empty()) // a table or curves
                std::printf("%s\n", made.title.c_str());
            else
                std::printf("%s: %zu pictures\n", made.title.c_str(), made.cards.size());
            std::fflush(stdout);
            sections.push_back(std::move(made));
        };
        add(codec_section());
        add(keying_section("coffee.bmp", "chelsea.bmp"));
        for (const recipe_group &group : recipe_groups())
            add(recipe_section(group));
        add(timing_section("coffee.bmp"));
        route_results routes = run_all_routes("coffee.bmp");
        conversions = routes.conversions;
        add(std::move(routes.shown));
        contents.top = {
            top_card(sections, "keying", 0, "Chroma keying",
                     "A blue screen with uneven light and noise gives way to another photograph."),
            top_card(
                sections, "compression", 0, "Two codecs, one file size",
                "JPEG on the left, the wavelet codec on the right, at the same number of bytes."),
            top_card(sections, "camera", 3, "From the sensor to the picture",
                     "One colour at each pixel becomes three, interpolated along the edges."),
            top_card(sections, "palettes", 5, "256 colours",
                     "Error diffusion to a fixed palette, in one call."),
            top_card(sections, "processing", 3, "False colour",
                     "Grey levels that the eye cannot tell apart, made visible."),
        };
        card &developed = contents.top[2];
        developed.before = top_card(sections, "camera", 0, "", "").after;
        developed.before_label = "Mosaic";
        developed.after_label = "Demosaiced";
        write_page("index.html", contents);
    }
    std::printf("ran %zu conversions between pixel formats\nwrote %s\n", conversions,
                text_of(out / "index.html").c_str());
    return exit_done;
}

void create_folder(const fs::path &folder, const std::string &name) {
    std::error_code error;
    fs::create_directories(folder, error);
    if (error)
        throw failure{name + ": " + error.message()};
}

void copy_samples(const fs::path &to) {
    const fs::path samples = samples_folder();
    for (const char *name : photographs()) {
        const std::string file = std::string(name) + ".bmp";
        std::error_code error;
        fs::copy_file(samples / file, to / file, fs::copy_options::overwrite_existing, error);
        if (error)
            throw failure{text_of(to / file) + ": " + error.message()};
    }
}

section recipe_section(const recipe_group &group) {
    section s = {
        .id = group.id, .title = group.title, .intro = group.intro, .layout = group.layout};
    for (const recipe &what : group.recipes)
        s.cards.push_back(recipe_card(what));
    return s;
}

// Runs the command of a recipe. Its result is removed after it has been copied.
card recipe_card(const recipe &what) {
    const std::string photo = std::string(what.photo) + ".bmp";
    const std::string result =
        std::string(what.id) + (kind_of_type("png").is_writable() ? ".png" : ".bmp");
    card c = {.title = what.title,
              .note = what.note,
              .after = {},
              .command = "viq convert " + what.options + " " + photo + " " + result};
    run_command(c.command);
    c.after = show(result, what.id, what.detail);
    if (what.compared != comparison::none)
        c.before =
            show(photo, std::string(what.photo) + (*what.detail == 0 ? "" : "-detail-demosaic"),
                 what.detail);
    const picture_header size = read_header(result);
    if (what.format != 0) {
        const uint32_t bytes = bytes_per_pixel(what.format);
        c.facts.push_back({"bytes a pixel", std::to_string(bytes)});
        c.facts.push_back(
            {"in memory", std::to_string(bytes * size.width * size.height / 1000) + " KB"});
    }
    if (what.compared == comparison::psnr)
        c.facts.push_back({"PSNR", psnr_text(psnr_of_files(photo, result))});
    else if (what.compared == comparison::none)
        c.facts.push_back(
            {"size", std::to_string(size.width) + " \u00d7 " + std::to_string(size.height)});
    fs::remove(result);
    return c;
}

// A card of a section with another text and without command.
card top_card(const std::vector<section> &sections, const char *id, std::size_t number,
              const char *title, const char *note) {
    for (const section &s : sections)
        if (s.id == id) {
            card c = s.cards.at(number);
            c.after_label = c.after_label.empty() ? c.title : c.after_label;
            c.title = title;
            c.note = note;
            c.facts.clear();
            c.command.clear();
            return c;
        }
    throw failure{std::string("demo: no section ") + id};
}

} // namespace

} // namespace tool
