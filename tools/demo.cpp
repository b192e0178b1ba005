#include "tools/demo.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iterator>

#include "tools/codecs.h"
#include "tools/compare.h"
#include "tools/key_scene.h"
#include "tools/lut.h"
#include "tools/page.h"
#include "tools/pipeline.h"
#include "tools/process.h"
#include "tools/samples.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

struct recipe;

gallery show_photograph(const photograph &photo, const fs::path &samples, const fs::path &out);
gallery show_keying(const fs::path &samples, const fs::path &out);
const file_kind &bmp();
shot original_shot(const fs::path &from, const fs::path &to);
shot make_shot(const recipe &what, const fs::path &from, const fs::path &to, const image &original);
pipeline to_bmp(const image &held, const std::string &file);
pipeline convert_pipeline(const recipe &what, const std::string &file);
image upright_dib(const recipe &what, const std::string &file);
image cube_paletted(const recipe &what, const image &original, std::string &note);
route_table run_every_route(const std::string &file);
double run_route(const image &original, u16 from, u16 to);
void print_table(const std::vector<gallery> &galleries);

enum class way { convert, dither, dib, search, table, process };

struct recipe {
    const char *group;
    const char *id; // part of the file name
    const char *name;
    const char *note;
    way how = way::convert;
    u16 format = VIQ_PALETTED;
    palette_rule palette = {};
    u32 depth = 0; // of a device-independent bitmap
    process_options process = {};
};

constexpr const char *packed = "Pixel formats";
constexpr const char *palettes = "Palettes";
constexpr const char *dibs = "Device-independent bitmaps";

constexpr const char *processing = "Processing";

recipe processed(const char *id, const char *name, const char *note, process_options options) {
    return {processing, id, name, note, way::process, VIQ_RGB24, {}, 0, std::move(options)};
}

const recipe recipes[] = {
    {packed, "bgr24", "BGR24", "three bytes, blue first", way::convert, VIQ_BGR24},
    {packed, "rgbx32", "RGBX32", "four bytes, the last spare", way::convert, VIQ_RGBX32},
    {packed, "bgrx32", "BGRX32", "four bytes, blue first", way::convert, VIQ_BGRX32},
    {packed, "xbgr32", "XBGR32", "four bytes, the first spare", way::convert, VIQ_XBGR32},
    {packed, "xrgb32", "XRGB32", "four bytes, unpacked by the tool", way::convert, VIQ_XRGB32},
    {packed, "rgb16", "RGB16", "5, 6 and 5 bits", way::convert, VIQ_RGB16},
    {packed, "rgb15", "RGB15", "5 bits a component", way::convert, VIQ_RGB15},
    {packed, "rgb8", "RGB8", "3, 3 and 2 bits", way::convert, VIQ_RGB8},
    {packed, "yuv422", "YUV 4:2:2", "two pixels share their colour", way::convert, VIQ_YUV422},
    {packed, "hsi", "HSI", "hue, saturation, intensity, turned back by the tool", way::convert,
     VIQ_HSI},
    {packed, "cmyk32", "CMYK32", "from 256 adaptive colours", way::convert, VIQ_CMYK32},
    {packed, "y8", "Y8", "luminance", way::convert, VIQ_Y8},
    {packed, "y16", "Y16", "16-bit luminance", way::convert, VIQ_Y16},
    {palettes,
     "adaptive256",
     "Adaptive, 256 colours",
     "the most frequent colours",
     way::convert,
     VIQ_PALETTED,
     {256}},
    {palettes,
     "adaptive64",
     "Adaptive, 64 colours",
     "the most frequent colours",
     way::convert,
     VIQ_PALETTED,
     {64}},
    {palettes,
     "adaptive16",
     "Adaptive, 16 colours",
     "the most frequent colours",
     way::convert,
     VIQ_PALETTED,
     {16}},
    {palettes,
     "bits453",
     "Adaptive, 4-5-3 bits",
     "fewer blues told apart, more greens",
     way::convert,
     VIQ_PALETTED,
     {256, 0, 4, 5, 3, 6}},
    {palettes,
     "named16",
     "16 named colours",
     "the nearest of a fixed palette",
     way::convert,
     VIQ_PALETTED,
     {16, 1}},
    {palettes,
     "extended64",
     "Named colours and 48 adaptive",
     "a fixed palette extended",
     way::convert,
     VIQ_PALETTED,
     {64, 1}},
    {palettes,
     "ramp",
     "Grey ramp",
     "the nearest of 256 greys",
     way::convert,
     VIQ_PALETTED,
     {256, 2}},
    {palettes,
     "cube",
     "3-3-2 cube",
     "the nearest of 256 fixed colours",
     way::convert,
     VIQ_PALETTED,
     {256, 3}},
    {palettes, "dithered", "3-3-2 dithered", "the same cube with carried remainders", way::dither},
    {palettes, "search", "3-3-2 cube by search", "each colour searched once", way::search},
    {palettes, "table", "3-3-2 cube by table", "16-bit colour looked up", way::table},
    {dibs, "dib", "DIB", "depth chosen by the picture, shown upright", way::dib},
    {dibs, "dib8", "DIB, 8 bits", "with its colourmap", way::dib, VIQ_PALETTED, {}, 8},
    {dibs, "dib16", "DIB, 16 bits", "RGB15", way::dib, VIQ_PALETTED, {}, 16},
    {dibs, "dib24", "DIB, 24 bits", "BGR24", way::dib, VIQ_PALETTED, {}, 24},
    {dibs, "dib32", "DIB, 32 bits", "BGRX32", way::dib, VIQ_PALETTED, {}, 32},
    processed("crop", "Crop", "a rectangle", {.crop = "100,60,240,160"}),
    processed("scale", "Scale", "bilinear, to 300 x 200", {.scale = "300x200"}),
    processed("subsample", "Subsample", "every third pixel and line", {.subsample = "3"}),
    processed("replicate", "Replicate", "a rectangle, each pixel four times",
              {.crop = "150,80,120,80", .replicate = "4"}),
    processed("rotate", "Rotate", "clockwise by 90 degrees", {.rotate = "90"}),
    processed("mirror", "Mirror", "left to right", {.mirror = true}),
    processed("blur", "Blur", "3 x 3 mean", {.filter = "blur"}),
    processed("sharpen", "Sharpen", "3 x 3 kernel", {.filter = "sharpen"}),
    processed("edge", "Edges", "3 x 3 kernel of sum 0", {.filter = "edge"}),
    processed("lut", "Lookup table", "contrast 140, gamma 150, less blue",
              {.lut = "contrast=140,gamma=150,b=70"}),
    processed("threshold", "Threshold", "black below 80, white from 160", {.threshold = "80,160"}),
    processed("mosaic", "Mosaic", "one colour a pixel", {.mosaic = true}),
    processed("demosaic1", "Demosaic, scheme 1", "replication", {.mosaic = true, .demosaic = "1"}),
    processed("demosaic2", "Demosaic, scheme 2", "bilinear", {.mosaic = true, .demosaic = "2"}),
    processed("demosaic3", "Demosaic, scheme 3", "gradient-adaptive",
              {.mosaic = true, .demosaic = "3"}),
    processed("field", "Field to frame", "edge-directed lines between the lines",
              {.field_to_frame = "3"}),
    processed("pseudo", "False colour", "by grey level", {.pseudo = true}),
    processed("text", "Text and time", "in two of the fonts",
              {.text = "VIQ draws text,12,12,2,14,0", .timestamp = true}),
};

} // namespace

int demo(const demo_options &options) {
    const fs::path samples = samples_folder();
    const fs::path out = options.out;
    std::error_code trouble;
    fs::create_directories(out, trouble);
    if (trouble)
        throw failure{options.out + ": " + trouble.message()};
    std::vector<gallery> galleries;
    for (const photograph &photo : photographs())
        galleries.push_back(show_photograph(photo, samples, out));
    const std::string first = photographs().front().name;
    const route_table routes = run_every_route((samples / (first + ".bmp")).string());
    print_table(galleries);
    galleries.push_back(show_keying(samples, out));
    const std::string page = (out / "index.html").string();
    write_page(page, galleries, routes);
    std::printf("%zu routes between pixel formats run\nwrote %s\n", routes.size(), page.c_str());
    return 0;
}

namespace {

gallery show_photograph(const photograph &photo, const fs::path &samples, const fs::path &out) {
    const std::string name = photo.name;
    const fs::path from = samples / (name + ".bmp");
    gallery g{photo, {original_shot(from, out / (name + ".bmp"))}};
    const image original = as_rgb24(from.string());
    for (const recipe &what : recipes)
        g.shots.push_back(
            make_shot(what, from, out / (name + "-" + what.id + bmp().extension), original));
    for (shot &s : codec_shots(photo, from, out, original))
        g.shots.push_back(std::move(s));
    return g;
}

// PSNR tells how close a composite comes to the object before the background itself.
gallery show_keying(const fs::path &samples, const fs::path &out) {
    const auto sample = [&samples](const char *name) {
        return as_rgb24((samples / (std::string(name) + ".bmp")).string());
    };
    const key_scene scene = key_cup(sample("coffee"), sample("chelsea"));
    gallery g{{"keying", "Chroma keying", "Rachel Michetti and Stefan van der Walt, CC0"}, {}};
    for (const key_step &step : scene.steps) {
        const std::string file = "keying-" + std::to_string(g.shots.size()) + ".bmp";
        run_to_file(to_bmp(step.picture, file), bmp(), (out / file).string());
        const picture header = picture_of(step.picture.handle);
        g.shots.push_back(
            {"Chroma keying", step.name, step.note, file, fs::file_size(out / file), header.width,
             header.height,
             step.composite ? distance(scene.ideal, as_rgb24((out / file).string())) : no_psnr});
        std::printf("%-32s%s\n", ("Keying: " + step.name).c_str(), step.note.c_str());
    }
    return g;
}

// Browsers show it.
const file_kind &bmp() {
    return kind_of_path("page.bmp");
}

shot original_shot(const fs::path &from, const fs::path &to) {
    const picture header = read_header(from.string());
    std::error_code trouble;
    fs::copy_file(from, to, fs::copy_options::overwrite_existing, trouble);
    if (trouble)
        throw failure{to.string() + ": " + trouble.message()};
    return {"Original",        "Original",   name_of(header.format), to.filename().string(),
            fs::file_size(to), header.width, header.height,          psnr_of(0, 1)};
}

shot make_shot(const recipe &what, const fs::path &from, const fs::path &to,
               const image &original) {
    const std::string file = from.string();
    image held;
    pipeline line;
    std::string note = what.note;
    if (what.how == way::dib || what.how == way::search || what.how == way::table ||
        what.how == way::process) {
        held = what.how == way::dib ? upright_dib(what, file)
               : what.how == way::process
                   ? process(run_to_memory({file, 0, {}}), what.process, file)
                   : cube_paletted(what, original, note);
        line = to_bmp(held, file);
    } else {
        line = convert_pipeline(what, file);
    }
    run_to_file(line, bmp(), to.string());
    const picture result = read_header(to.string());
    return {
        what.group,        what.name,    note,          to.filename().string(),
        fs::file_size(to), result.width, result.height, distance(original, as_rgb24(to.string()))};
}

pipeline to_bmp(const image &held, const std::string &file) {
    route rest = route_from(picture_of(held.handle));
    extend_to_any(rest, bmp().accepts, file);
    return {file, held.handle, rest.steps};
}

pipeline convert_pipeline(const recipe &what, const std::string &file) {
    route r = route_from(read_header(file));
    // The palette that a file brings along gives way to the recipe's.
    if (what.format == VIQ_PALETTED)
        extend(r, r.colour ? VIQ_RGB24 : VIQ_Y8, file);
    if (what.how == way::dither)
        extend_dithered(r, file);
    else
        extend(r, what.format, file, what.palette);
    extend_to_any(r, bmp().accepts, file);
    return {file, 0, r.steps};
}

// The bitmap's lines stand bottom-up; in the image that is shown they stand top-down again.
image upright_dib(const recipe &what, const std::string &file) {
    const image whole = run_to_memory({file, 0, {}});
    image dib;
    VIQ_image_set_flags(dib.handle, VIQ_FLAG_DIB, 1);
    check(VIQ_image_convert(whole.handle, dib.handle, VIQ_BGR24, what.depth, VIQ_STRIP_NEXT), file);
    const pixels from = pixels_of(dib.handle);
    image upright;
    check(VIQ_cmap_copy(dib.handle, upright.handle), file);
    check(shape(upright.handle, format_of(dib.handle), from.width, from.lines, from.lines), file);
    const pixels to = pixels_of(upright.handle);
    for (u32 y = 0; y < from.lines; ++y)
        std::memcpy(to.line(y), from.line(from.lines - 1 - y),
                    std::min(to.bytes_per_line, from.bytes_per_line));
    return upright;
}

// The colours of the cube, once by searching for the nearest and once by the table; a table takes
// the picture as RGB16.
image cube_paletted(const recipe &what, const image &original, std::string &note) {
    constexpr u16 cube = 3;
    constexpr u16 table = VIQ_CONV_LUT_RGB16_TO_PALETTED;
    using milliseconds = std::chrono::duration<double, std::milli>;
    const bool by_table = what.how == way::table;
    image in;
    image out;
    check(VIQ_image_convert(original.handle, in.handle, by_table ? VIQ_RGB16 : VIQ_RGB24, 0,
                            VIQ_STRIP_NEXT),
          what.name);
    VIQ_cmap_set_type(in.handle, cube);
    if (!by_table) // bins without colours of their own: every colour is searched for
        check(VIQ_cmap_generate(in.handle, 256, VIQ_STRIP_NEXT), what.name);
    const auto begin = std::chrono::steady_clock::now();
    if (by_table)
        check(VIQ_image_conv_LUT_generate(in.handle, table), what.name);
    const auto made = std::chrono::steady_clock::now();
    check((by_table ? VIQ_convert_to_paletted_LUT : VIQ_convert_to_paletted)(in.handle, out.handle,
                                                                             VIQ_STRIP_NEXT),
          what.name);
    const milliseconds converting = std::chrono::steady_clock::now() - made;
    char text[80];
    std::snprintf(text, sizeof text, ": %.2f ms", converting.count());
    note += text;
    if (by_table) {
        std::snprintf(text, sizeof text, ", and %.2f ms to make the table",
                      milliseconds(made - begin).count());
        note += text;
        VIQ_image_conv_LUT_destroy(table);
    }
    std::printf("%-32s%s\n", what.name, note.c_str());
    return out;
}

route_table run_every_route(const std::string &file) {
    const image original = as_rgb24(file);
    route_table table;
    for (const format_name &from : formats())
        for (const format_name &to : formats())
            if (from.offered && to.offered && from.code != to.code &&
                library_converts(from.code, to.code, true))
                table[{from.code, to.code}] = run_route(original, from.code, to.code);
    return table;
}

double run_route(const image &original, u16 from, u16 to) {
    route r = route_from(picture_of(original.handle));
    r.whole = true;
    for (u16 station : {from, to, u16{VIQ_RGB24}})
        extend(r, station, name_of(from) + " to " + name_of(to));
    return distance(original, run_to_memory({"sample", original.handle, r.steps}));
}

void print_table(const std::vector<gallery> &galleries) {
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
