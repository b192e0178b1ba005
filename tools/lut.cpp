#include "tools/lut.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iterator>

#include "tools/pipeline.h"

namespace tool {

namespace {

struct lut_row {
    u16 type;
    u16 from, to;
    u32 (*convert)(u32 in, u32 out, u16 command);
};

constexpr lut_row rows[] = {
    {VIQ_CONV_LUT_RGB16_TO_PALETTED, VIQ_RGB16, VIQ_PALETTED, VIQ_convert_to_paletted_LUT},
    {VIQ_CONV_LUT_Y8_TO_PALETTED, VIQ_Y8, VIQ_PALETTED, VIQ_convert_to_paletted_LUT},
    {VIQ_CONV_LUT_Y16_TO_PALETTED, VIQ_Y16, VIQ_PALETTED, VIQ_convert_to_paletted_LUT},
    {VIQ_CONV_LUT_YUV422_TO_RGB16, VIQ_YUV422, VIQ_RGB16, VIQ_YUV422_to_RGB16_LUT},
    {VIQ_CONV_LUT_YUV422_TO_RGB15, VIQ_YUV422, VIQ_RGB15, VIQ_YUV422_to_RGB15_LUT},
    {VIQ_CONV_LUT_YUV422_TO_PALETTED, VIQ_YUV422, VIQ_PALETTED, VIQ_YUV422_to_paletted_LUT},
};

const lut_row &row_of(u16 type);
image palette_of(const lut_options &options);
void make_table(const lut_options &options, const image &palette);

} // namespace

std::string lut_types() {
    std::string text;
    for (const lut_row &row : rows)
        text += (text.empty() ? "" : ", ") + std::to_string(row.type) + " " + name_of(row.from) +
                " to " + name_of(row.to);
    return text;
}

int lut_generate(const lut_options &options) {
    make_table(options, palette_of(options));
    return 0;
}

int lut_apply(const lut_options &options) {
    const file_kind &kind = kind_of_path(options.out);
    const image palette = palette_of(options);
    route way = route_from(read_header(options.in));
    way.grey_bits = options.data_width;
    extend_by_table(way, options.type, palette, options.in);
    extend_to_any(way, kind.accepts, options.in);
    make_table(options, palette);
    run_to_file({options.in, 0, way.steps}, kind, options.out);
    return 0;
}

void extend_by_table(route &to, u16 type, const image &palette, const std::string &file) {
    const lut_row &row = row_of(type);
    extend(to, row.from, file);
    const auto run = [&row, map = palette.handle](u32 in, u32 out, u16 command) {
        const u32 code = VIQ_cmap_copy(map, in);
        return VIQ_IS_ERROR(code) ? code : row.convert(in, out, command);
    };
    to.steps.push_back({row.to, run, {}});
    to.format = row.to;
    to.colour = true;
}

namespace {

const lut_row &row_of(u16 type) {
    return *std::find_if(std::begin(rows), std::end(rows),
                         [type](const lut_row &row) { return row.type == type; });
}

image palette_of(const lut_options &options) {
    constexpr const char *names[] = {"", "named", "ramp", "cube"}; // by colourmap type
    image palette;
    const auto *known = std::find(std::begin(names), std::end(names), options.palette);
    if (known != std::end(names)) {
        VIQ_cmap_set_type(palette.handle, static_cast<u16>(known - names));
    } else {
        if (read_header(options.palette).format != VIQ_PALETTED)
            throw failure{options.palette + ": not a paletted picture"};
        check(VIQ_cmap_copy(run_to_memory({options.palette, 0, {}}).handle, palette.handle),
              options.palette);
    }
    VIQ_image_set_parameter(palette.handle, VIQ_IMAGE_TYPE, VIQ_Y16);
    VIQ_image_set_parameter(palette.handle, VIQ_DATA_WIDTH, options.data_width);
    return palette;
}

void make_table(const lut_options &options, const image &palette) {
    const bool loads = !options.load.empty();
    const auto begin = std::chrono::steady_clock::now();
    if (loads)
        check(VIQ_image_conv_LUT_load(palette.handle, options.type, options.load.c_str()),
              options.load);
    else
        check(VIQ_image_conv_LUT_generate(palette.handle, options.type), lut_types());
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - begin;
    std::printf("table %u %s in %.2f ms\n", options.type, loads ? "loaded" : "generated",
                time.count());
    if (!options.save.empty())
        check(VIQ_image_conv_LUT_save(palette.handle, options.type, options.save.c_str()),
              options.save);
}

} // namespace

} // namespace tool
