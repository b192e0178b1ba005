// viq demo: converts and processes the sample photographs and writes a page with the results.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
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
#include "tools/demo_samples.h"
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
gallery make_gallery(const photograph &photo, const fs::path &samples, const fs::path &out);
gallery make_keying_gallery(const fs::path &samples, const fs::path &out);
shot original_shot(const fs::path &from, const fs::path &to);
shot recipe_shot(const recipe &what, const fs::path &from, const fs::path &to,
                 const image &original);
void write_picture(const image &picture, const fs::path &to);
void write_processed(const std::string &file, const processing_options &options,
                     const fs::path &to);
void write_converted(const recipe &what, const fs::path &from, const fs::path &to);
image make_dib(const recipe &what, const std::string &file);
image map_by_search(const recipe &what, const image &original, std::string &note);
image map_by_table(const recipe &what, const image &original, std::string &note);
route_table run_all_routes(const std::string &file);
double run_route(const image &original, uint16_t from, uint16_t to);
void print_psnr_table(const std::vector<gallery> &galleries);

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
    const fs::path samples = samples_folder();
    const fs::path out = options.out;
    std::error_code error;
    fs::create_directories(out, error);
    if (error)
        throw failure{options.out + ": " + error.message()};
    std::vector<gallery> galleries;
    for (const photograph &photo : photographs())
        galleries.push_back(make_gallery(photo, samples, out));
    const route_table routes =
        run_all_routes(sample_file(samples, photographs().front().name).string());
    print_psnr_table(galleries);
    galleries.push_back(make_keying_gallery(samples, out));
    const std::string page = (out / "index.html").string();
    write_page(page, galleries, routes);
    std::printf("ran %zu conversions between pixel formats\nwrote %s\n", routes.size(),
                page.c_str());
    return exit_done;
}

const file_kind &shown_kind() {
    const file_kind &png = kind_of_type("png");
    return png.is_writable() ? png : kind_of_type("bmp");
}

// ---- Galleries

gallery make_gallery(const photograph &photo, const fs::path &samples, const fs::path &out) {
    const std::string name = photo.name;
    const fs::path from = sample_file(samples, name);
    gallery g{photo, {original_shot(from, out / (name + shown_kind().extensions.front()))}};
    const image original = read_as_rgb24(from.string());
    for (const recipe &what : demo_recipes())
        g.shots.push_back(recipe_shot(
            what, from, out / (name + "-" + what.id + shown_kind().extensions.front()), original));
    for (shot &s : codec_shots(photo, from, out, original))
        g.shots.push_back(std::move(s));
    return g;
}

gallery make_keying_gallery(const fs::path &samples, const fs::path &out) {
    const key_scene scene = make_key_scene(read_as_rgb24(sample_file(samples, "coffee").string()),
                                           read_as_rgb24(sample_file(samples, "chelsea").string()));
    gallery g{{"keying", "Chroma keying", "Rachel Michetti and Stefan van der Walt, CC0"}, {}};
    for (const key_step &step : scene.steps) {
        const std::string file =
            "keying-" + std::to_string(g.shots.size()) + shown_kind().extensions.front();
        write_picture(step.picture, out / file);
        const pixels size = pixels_of(step.picture.handle);
        const double psnr = step.is_composite
                                ? psnr_of(scene.ideal, read_as_rgb24((out / file).string()))
                                : no_psnr;
        g.shots.push_back({"Chroma keying", step.name, step.note, file, fs::file_size(out / file),
                           size.width, size.lines, psnr});
        std::printf("%-32s%s\n", ("Keying: " + step.name).c_str(), step.note.c_str());
    }
    return g;
}

shot original_shot(const fs::path &from, const fs::path &to) {
    const picture_header header = read_header(from.string());
    std::error_code error;
    fs::copy_file(from, to, fs::copy_options::overwrite_existing, error);
    if (error)
        throw failure{to.string() + ": " + error.message()};
    return {"Original",
            "Original",
            format_name(header.format),
            to.filename().string(),
            fs::file_size(to),
            header.width,
            header.height};
}

// ---- Recipes

shot recipe_shot(const recipe &what, const fs::path &from, const fs::path &to,
                 const image &original) {
    const std::string file = from.string();
    std::string note = what.note;
    switch (what.kind) {
    case recipe_kind::convert:
    case recipe_kind::dither:
        write_converted(what, from, to);
        break;
    case recipe_kind::dib:
        write_picture(make_dib(what, file), to);
        break;
    case recipe_kind::cube_search:
        write_picture(map_by_search(what, original, note), to);
        break;
    case recipe_kind::cube_table:
        write_picture(map_by_table(what, original, note), to);
        break;
    case recipe_kind::process:
        write_processed(file, what.processing, to);
        break;
    }
    const picture_header result = read_header(to.string());
    const double psnr = psnr_of(original, read_as_rgb24(to.string()));
    return {what.group,        what.name,    note,          to.filename().string(),
            fs::file_size(to), result.width, result.height, psnr};
}

void write_picture(const image &picture, const fs::path &to) {
    picture_source source = picture_in_memory(picture.handle, to.string());
    route way = route_from(source.header);
    extend_to_any(way, shown_kind().accepts, to.string());
    run_to_file({source, way.steps}, shown_kind(), to.string());
}

void write_processed(const std::string &file, const processing_options &options,
                     const fs::path &to) {
    picture_source source = open_picture(file);
    picture_flow flow = {file, &source};
    process(flow, options);
    write_picture(take_whole(flow), to);
}

void write_converted(const recipe &what, const fs::path &from, const fs::path &to) {
    const std::string file = from.string();
    picture_source source = open_picture(file);
    route way = route_from(source.header);
    // A paletted file is converted first, so that the palette is that of the recipe.
    if (what.format == VIQ_PALETTED)
        extend(way, way.colour ? VIQ_RGB24 : VIQ_Y8, file);
    if (what.kind == recipe_kind::dither)
        extend_dithered(way, file);
    else
        extend(way, what.format, file, what.palette);
    extend_to_any(way, shown_kind().accepts, file);
    run_to_file({source, way.steps}, shown_kind(), to.string());
}

// The lines of the bitmap are stored bottom-up; the returned image has them top-down.
image make_dib(const recipe &what, const std::string &file) {
    const image whole = read_whole(file);
    image dib;
    VIQ_image_set_flags(dib.handle, VIQ_FLAG_DIB, 1);
    check(VIQ_image_convert(whole.handle, dib.handle, VIQ_BGR24, what.dib_depth, VIQ_STRIP_NEXT),
          file);
    const pixels from = pixels_of(dib.handle);
    image upright;
    check(VIQ_cmap_copy(dib.handle, upright.handle), file);
    check(set_shape(upright.handle, format_of(dib.handle), from.width, from.lines, from.lines),
          file);
    const pixels to = pixels_of(upright.handle);
    for (uint32_t y = 0; y < from.lines; ++y)
        std::memcpy(to.line(y), from.line(from.lines - 1 - y),
                    std::min(to.bytes_per_line, from.bytes_per_line));
    return upright;
}

// ---- The 3-3-2 cube, with timing

image with_cube(const image &original, uint16_t format, const char *name) {
    image converted;
    check(VIQ_image_convert(original.handle, converted.handle, format, 0, VIQ_STRIP_NEXT), name);
    VIQ_cmap_set_type(converted.handle, VIQ_CMAP_CUBE);
    return converted;
}

template <class Work> double milliseconds_of(Work work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin)
        .count();
}

std::string milliseconds_text(double milliseconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2f ms", milliseconds);
    return text;
}

image map_by_search(const recipe &what, const image &original, std::string &note) {
    constexpr uint16_t cube_colours = 256;
    const image in = with_cube(original, VIQ_RGB24, what.name);
    // The palette is full, so that no bin gets an entry of its own and the nearest entry is
    // searched for each bin.
    check(VIQ_cmap_generate(in.handle, cube_colours, VIQ_STRIP_NEXT), what.name);
    image out;
    const double converting = milliseconds_of(
        [&] { check(VIQ_convert_to_paletted(in.handle, out.handle, VIQ_STRIP_NEXT), what.name); });
    note += ": " + milliseconds_text(converting);
    std::printf("%-32s%s\n", what.name, note.c_str());
    return out;
}

image map_by_table(const recipe &what, const image &original, std::string &note) {
    constexpr uint16_t table = VIQ_CONV_LUT_RGB16_TO_PALETTED;
    const image in = with_cube(original, VIQ_RGB16, what.name);
    const double generating =
        milliseconds_of([&] { check(VIQ_image_conv_LUT_generate(in.handle, table), what.name); });
    image out;
    const double converting = milliseconds_of([&] {
        check(VIQ_convert_to_paletted_LUT(in.handle, out.handle, VIQ_STRIP_NEXT), what.name);
    });
    VIQ_image_conv_LUT_destroy(table);
    note += ": " + milliseconds_text(converting) + ", and " + milliseconds_text(generating) +
            " to generate the table";
    std::printf("%-32s%s\n", what.name, note.c_str());
    return out;
}

// ---- Routes

route_table run_all_routes(const std::string &file) {
    const image original = read_as_rgb24(file);
    route_table table;
    for (const pixel_format &from : pixel_formats())
        for (const pixel_format &to : pixel_formats())
            if (from.is_target && to.is_target && from.code != to.code &&
                library_converts(from.code, to.code, true))
                table[{from.code, to.code}] = run_route(original, from.code, to.code);
    return table;
}

// PSNR after the conversion to one format, to the other, and back to RGB24.
double run_route(const image &original, uint16_t from, uint16_t to) {
    const std::string name = format_name(from) + " to " + format_name(to);
    picture_source source = picture_in_memory(original.handle, name);
    route way = route_from(source.header);
    way.is_whole = true;
    for (uint16_t format : {from, to, uint16_t{VIQ_RGB24}})
        extend(way, format, name);
    return psnr_of(original, run_to_memory({source, way.steps}));
}

// One line for each shot except the original, one column for each photograph.
void print_psnr_table(const std::vector<gallery> &galleries) {
    std::printf("%-32s", "PSNR");
    for (const gallery &g : galleries)
        std::printf("%12s", g.photo.name);
    std::printf("\n");
    for (std::size_t row = 1; row < galleries.front().shots.size(); ++row) {
        std::printf("%-32s", galleries.front().shots[row].name.c_str());
        for (const gallery &g : galleries)
            std::printf("%12s", psnr_text(g.shots[row].psnr).c_str());
        std::printf("\n");
    }
}

} // namespace

} // namespace tool
