// viq lut: precomputed lookup tables for pixel format conversions.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iterator>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>

#include "tools/note.h"
#include "tools/pipeline.h"
#include "tools/pixel_format_table.h"
#include "tools/replace_file.h"
#include "tools/temporary_folder.h"
#include "tools/verbs.h"

namespace tool {

namespace {

struct lut_options {
    uint16_t type = 0;
    std::string palette = "cube"; // a key of the table of palettes, or a file
    uint16_t data_width = 16;
    std::string save, load; // file names; empty: none
    std::string in, out;
};

struct table_type {
    uint16_t type;
    uint16_t from, to; // pixel formats
    uint32_t (*convert)(uint32_t in, uint32_t out, uint16_t command);
};

constexpr table_type table_types[] = {
    {VIQ_CONV_LUT_RGB16_TO_PALETTED, VIQ_RGB16, VIQ_PALETTED, VIQ_convert_to_paletted_LUT},
    {VIQ_CONV_LUT_Y8_TO_PALETTED, VIQ_Y8, VIQ_PALETTED, VIQ_convert_to_paletted_LUT},
    {VIQ_CONV_LUT_Y16_TO_PALETTED, VIQ_Y16, VIQ_PALETTED, VIQ_convert_to_paletted_LUT},
    {VIQ_CONV_LUT_YUV422_TO_RGB16, VIQ_YUV422, VIQ_RGB16, VIQ_YUV422_to_RGB16_LUT},
    {VIQ_CONV_LUT_YUV422_TO_RGB15, VIQ_YUV422, VIQ_RGB15, VIQ_YUV422_to_RGB15_LUT},
    {VIQ_CONV_LUT_YUV422_TO_PALETTED, VIQ_YUV422, VIQ_PALETTED, VIQ_YUV422_to_paletted_LUT},
};

struct fixed_palette {
    const char *name;
    uint16_t type;
};

constexpr fixed_palette fixed_palettes[] = {
    {"named", VIQ_CMAP_NAMED}, {"ramp", VIQ_CMAP_GREY}, {"cube", VIQ_CMAP_CUBE}};

std::string table_type_help();
void declare_table_options(CLI::App &app, lut_options &options);
int generate(const lut_options &options);
int apply(const lut_options &options);
image make_palette(const lut_options &options);
void make_table(const lut_options &options, const image &palette);
void extend_by_table(route &way, uint16_t type, const image &palette, const std::string &file);

} // namespace

action declare_lut(CLI::App &app) {
    const auto options = std::make_shared<lut_options>();
    const auto chosen = std::make_shared<action>();
    app.require_subcommand(1);
    const auto add_verb = [&](const char *name, const char *purpose,
                              int (*run)(const lut_options &)) {
        CLI::App *command = app.add_subcommand(name, purpose);
        declare_table_options(*command, *options);
        command->callback([=] { *chosen = [=] { return run(*options); }; });
        return command;
    };
    add_verb("generate", "Generate a table, or load it from a file, and optionally save it",
             generate);
    CLI::App *applying = add_verb("apply", "Convert a picture file with a table", apply);
    applying->add_option("IN", options->in, picture_help)->required();
    applying->add_option("OUT", options->out, output_help())->required();
    return [chosen] { return (*chosen)(); };
}

namespace {

std::string table_type_help() {
    std::string text = "Conversion of the table:";
    for (const table_type &row : table_types)
        text += "\n" + std::to_string(row.type) + " " + format_name(row.from) + " to " +
                format_name(row.to);
    return text;
}

void declare_table_options(CLI::App &app, lut_options &options) {
    app.add_option("TYPE", options.type, table_type_help())
        ->type_name("N")
        ->required()
        ->check(
            CLI::Range(int{VIQ_CONV_LUT_RGB16_TO_PALETTED}, int{VIQ_CONV_LUT_YUV422_TO_PALETTED}));
    app.add_option("--palette", options.palette,
                   "Palette of a table that produces paletted pictures: cube (256 colours of 3-3-2 "
                   "bits), ramp (256 "
                   "greys), named (16 colours), or a paletted picture file")
        ->type_name("NAME|FILE")
        ->capture_default_str();
    app.add_option("--data-width", options.data_width, "Significant bits of y16 pixels")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(9, 16));
    app.add_option("--save", options.save, "Save the table to a file")->type_name("FILE");
    app.add_option("--load", options.load,
                   "Load the table from a file instead of generating it; it must have been saved "
                   "with the same TYPE")
        ->type_name("FILE");
}

int generate(const lut_options &options) {
    make_table(options, make_palette(options));
    return exit_done;
}

int apply(const lut_options &options) {
    const file_kind &kind = kind_of_extension(options.out);
    const image palette = make_palette(options);
    picture_source source = open_picture(options.in);
    route way = route_from(source.header);
    way.grey_data_width = options.data_width;
    extend_by_table(way, options.type, palette, options.in);
    extend_to_any(way, kind.accepts, source.name);
    print_notes(source.name, way.notes);
    make_table(options, palette);
    run_to_file({source, way.steps}, kind, options.out);
    return exit_done;
}

// An image without pixels that has the palette and the data width.
image make_palette(const lut_options &options) {
    image palette;
    const auto *fixed =
        std::find_if(std::begin(fixed_palettes), std::end(fixed_palettes),
                     [&](const fixed_palette &p) { return options.palette == p.name; });
    if (fixed != std::end(fixed_palettes)) {
        VIQ_cmap_set_type(palette.handle, fixed->type);
    } else {
        picture_source source = open_picture(options.palette);
        if (source.header.format != VIQ_PALETTED)
            throw failure{options.palette + ": not a paletted picture"};
        check(VIQ_cmap_copy(run_to_memory({source}).handle, palette.handle), options.palette);
    }
    VIQ_image_set_parameter(palette.handle, VIQ_IMAGE_TYPE, VIQ_Y16);
    VIQ_image_set_parameter(palette.handle, VIQ_DATA_WIDTH, options.data_width);
    return palette;
}

// The library holds one table of each type.
void make_table(const lut_options &options, const image &palette) {
    const bool loads = !options.load.empty();
    const std::string name = "table " + std::to_string(options.type);
    const auto begin = std::chrono::steady_clock::now();
    if (loads)
        check(VIQ_image_conv_LUT_load(palette.handle, options.type,
                                      open_input(options.load).path.c_str()),
              options.load);
    else
        check(VIQ_image_conv_LUT_generate(palette.handle, options.type), name);
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - begin;
    if (!options.save.empty())
        replace_file(options.save, [&](const std::string &temporary) {
            check(VIQ_image_conv_LUT_save(palette.handle, options.type, temporary.c_str()),
                  options.save);
        });
    // Standard output can be the picture or the table.
    const bool is_busy = options.out == standard_stream || options.save == standard_stream;
    std::fprintf(is_busy ? stderr : stdout, "%s %s in %.2f ms\n", name.c_str(),
                 loads ? "loaded" : "generated", time.count());
}

// Appends the conversion by the table. The palette must outlive the route.
void extend_by_table(route &way, uint16_t type, const image &palette, const std::string &file) {
    const table_type &row =
        *std::find_if(std::begin(table_types), std::end(table_types),
                      [type](const table_type &candidate) { return candidate.type == type; });
    extend(way, row.from, file);
    const auto run = [&row, map = palette.handle](uint32_t in, uint32_t out, uint16_t command) {
        const uint32_t code = VIQ_cmap_copy(map, in);
        return VIQ_IS_ERROR(code) ? code : row.convert(in, out, command);
    };
    way.steps.push_back({row.to, run, {}});
    way.format = row.to;
    way.colour = true;
    if (row.from == VIQ_YUV422)
        restore_width(way);
}

} // namespace

} // namespace tool
