#include "tools/demo_recipes.h"

#include <utility>
#include <vector>

namespace tool {

namespace {

constexpr const char *formats_group = "Pixel formats";
constexpr const char *palettes_group = "Palettes";
constexpr const char *dib_group = "Device-independent bitmaps";
constexpr const char *processing_group = "Processing";

recipe to_format(uint16_t format, const char *id, const char *name, const char *note) {
    return {formats_group, id, name, note, recipe_kind::convert, format};
}

recipe to_palette(const char *id, const char *name, const char *note, palette_rule palette) {
    return {palettes_group, id, name, note, recipe_kind::convert, VIQ_PALETTED, palette};
}

recipe to_cube(recipe_kind kind, const char *id, const char *name, const char *note) {
    return {palettes_group, id, name, note, kind};
}

recipe to_dib(uint32_t depth, const char *id, const char *name, const char *note) {
    return {dib_group, id, name, note, recipe_kind::dib, VIQ_PALETTED, {}, depth};
}

recipe processed(const char *id, const char *name, const char *note,
                 std::vector<requested_step> steps) {
    return {processing_group,  id, name, note, recipe_kind::process, VIQ_RGB24, {}, 0,
            {std::move(steps)}};
}

const recipe recipes[] = {
    to_format(VIQ_BGR24, "bgr24", "BGR24", "three bytes, blue first"),
    to_format(VIQ_RGBX32, "rgbx32", "RGBX32", "four bytes, the last unused"),
    to_format(VIQ_BGRX32, "bgrx32", "BGRX32", "four bytes, blue first"),
    to_format(VIQ_XBGR32, "xbgr32", "XBGR32", "four bytes, the first unused"),
    to_format(VIQ_XRGB32, "xrgb32", "XRGB32", "four bytes, the first unused; to RGB24 by the tool"),
    to_format(VIQ_RGB16, "rgb16", "RGB16", "5, 6 and 5 bits"),
    to_format(VIQ_RGB15, "rgb15", "RGB15", "5 bits per component"),
    to_format(VIQ_RGB8, "rgb8", "RGB8", "3, 3 and 2 bits"),
    to_format(VIQ_YUV422, "yuv422", "YUV 4:2:2", "two pixels share their chroma"),
    to_format(VIQ_HSI, "hsi", "HSI", "hue, saturation, intensity; to RGB24 by the tool"),
    to_format(VIQ_CMYK32, "cmyk32", "CMYK32", "from 256 adaptive colours"),
    to_format(VIQ_Y8, "y8", "Y8", "luminance"),
    to_format(VIQ_Y16, "y16", "Y16", "16-bit luminance"),
    to_palette("adaptive256", "Adaptive, 256 colours", "the most frequent colours",
               {.colours = 256}),
    to_palette("adaptive64", "Adaptive, 64 colours", "the most frequent colours", {.colours = 64}),
    to_palette("adaptive16", "Adaptive, 16 colours", "the most frequent colours", {.colours = 16}),
    to_palette("bits453", "Adaptive, 4-5-3 bits", "distinguishes fewer blues and more greens",
               {.colours = 256, .red_bits = 4, .green_bits = 5, .blue_bits = 3, .grey_bits = 6}),
    to_palette("named16", "16 named colours", "the nearest colour of a fixed palette",
               {.colours = 16, .base = VIQ_CMAP_NAMED}),
    to_palette("extended64", "Named colours and 48 adaptive", "a fixed palette, extended",
               {.colours = 64, .base = VIQ_CMAP_NAMED}),
    to_palette("ramp", "Grey ramp", "the nearest of 256 grey levels",
               {.colours = 256, .base = VIQ_CMAP_GREY}),
    to_palette("cube", "3-3-2 cube", "the nearest of 256 fixed colours",
               {.colours = 256, .base = VIQ_CMAP_CUBE}),
    to_cube(recipe_kind::dither, "dithered", "3-3-2 dithered",
            "the same cube with error diffusion"),
    to_cube(recipe_kind::cube_search, "search", "3-3-2 cube by search",
            "the nearest colours, found by search"),
    to_cube(recipe_kind::cube_table, "table", "3-3-2 cube by table",
            "16-bit colours, by a lookup table"),
    to_dib(0, "dib", "DIB", "depth chosen by the library; lines reversed for display"),
    to_dib(8, "dib8", "DIB, 8 bits", "with its colourmap"),
    to_dib(16, "dib16", "DIB, 16 bits", "RGB15"),
    to_dib(24, "dib24", "DIB, 24 bits", "BGR24"),
    to_dib(32, "dib32", "DIB, 32 bits", "BGRX32"),
    processed("crop", "Crop", "a rectangle", {{"--crop", "100,60,240,160"}}),
    processed("scale", "Scale", "bilinear, to 300 x 200", {{"--scale", "300x200"}}),
    processed("subsample", "Subsample", "every third pixel and line", {{"--subsample", "3"}}),
    processed("replicate", "Replicate", "a rectangle, each pixel four times",
              {{"--crop", "150,80,120,80"}, {"--replicate", "4"}}),
    processed("rotate", "Rotate", "clockwise by 90 degrees", {{"--rotate", "90"}}),
    processed("mirror", "Mirror", "left to right", {{"--mirror"}}),
    processed("blur", "Blur", "3 x 3 mean", {{"--filter", "blur"}}),
    processed("sharpen", "Sharpen", "3 x 3 kernel", {{"--filter", "sharpen"}}),
    processed("edge", "Edges", "3 x 3 kernel with sum 0", {{"--filter", "edge"}}),
    processed("lut", "Lookup table", "contrast 140, gamma 150, less blue",
              {{"--lut", "contrast=140,gamma=150,b=70"}}),
    processed("threshold", "Threshold", "black below 80, white from 160",
              {{"--threshold", "80,160"}}),
    processed("mosaic", "Mosaic", "one colour sample per pixel", {{"--mosaic"}}),
    processed("demosaic1", "Demosaic, scheme 1", "replication",
              {{"--mosaic"}, {"--demosaic", "1"}}),
    processed("demosaic2", "Demosaic, scheme 2", "bilinear", {{"--mosaic"}, {"--demosaic", "2"}}),
    processed("demosaic3", "Demosaic, scheme 3", "gradient-adaptive",
              {{"--mosaic"}, {"--demosaic", "3"}}),
    processed("field", "Field to frame", "lines interpolated along edges",
              {{"--field-to-frame", "3"}}),
    processed("pseudo", "False colour", "by grey level", {{"--pseudo"}}),
    processed("text", "Text and time", "in two of the fonts",
              {{"--text", "VIQ draws text,12,12,2,14,0"}, {"--timestamp"}}),
};

} // namespace

std::span<const recipe> demo_recipes() {
    return recipes;
}

} // namespace tool
