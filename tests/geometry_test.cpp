// Crop, insert, subsample, replicate, scale, rotate, mirror and region extraction compared with
// reference implementations, in one strip and in strips of any height.
#include <functional>

#include "jpeg_support.h"

namespace viq {
namespace {

const words crop_formats = {VIQ_Y8,     VIQ_PALETTED, VIQ_RGB15,  VIQ_RGB16,  VIQ_RGB24,  VIQ_BGR24,
                            VIQ_RGBX32, VIQ_BGRX32,   VIQ_XBGR32, VIQ_YUV422, VIQ_CMYK32, VIQ_Y16};
const words whole_factor_formats = {VIQ_Y8,    VIQ_PALETTED, VIQ_RGB15,
                                    VIQ_RGB16, VIQ_RGB24,    VIQ_YUV422};
const words turned_formats = {VIQ_Y8,     VIQ_Y16,    VIQ_PALETTED, VIQ_RGB8,   VIQ_RGB15,
                              VIQ_RGB16,  VIQ_RGB24,  VIQ_BGR24,    VIQ_YUV422, VIQ_RGBX32,
                              VIQ_BGRX32, VIQ_XBGR32, VIQ_XRGB32,   VIQ_CMYK32};

using operation = std::function<u32(u32 in, u32 out, u16 mode)>;

u32 size_of(u16 format) {
    return (find_known(format)->depth + 1u) / 8;
}

u8 *pixel_at(const picture &p, u32 x, u32 y) {
    return p->data + std::size_t{y} * p->bytes_per_line + std::size_t{x} * size_of(p->pixel_format);
}

// The bytes of pixel x; in YUV 4:2:2, its luma and the chroma of its pair.
bytes colour_at(const picture &p, u32 x, u32 y) {
    const u8 *at = pixel_at(p, x, y);
    if (p->pixel_format != VIQ_YUV422)
        return bytes(at, at + size_of(p->pixel_format));
    const u8 *pair = pixel_at(p, x / 2 * 2, y);
    return {*at, pair[1], pair[3]};
}

// Every pixel of `out` equals the pixel of `in` at the position that `source` returns.
template <class Source>
void expect_pixels(const picture &in, const picture &out, u32 width, u32 height, Source source) {
    ASSERT_EQ(out->pixel_format, in->pixel_format);
    ASSERT_EQ(out->width, width);
    ASSERT_EQ(out->height, height);
    ASSERT_EQ(out->lines_per_strip, height);
    for (u32 y = 0; y < height; ++y)
        for (u32 x = 0; x < width; ++x) {
            const auto [from_x, from_y] = source(x, y);
            ASSERT_EQ(colour_at(out, x, y), colour_at(in, from_x, from_y)) << x << ' ' << y;
        }
}

struct place {
    u32 x, y;
};

void expect_refused_formats(const words &accepted, const operation &run, const char *function,
                            bool or_format) {
    for (const known_format &row : known_formats) {
        if (has(accepted, row.code) || row.code == VIQ_Y1)
            continue;
        const picture in(row.code, 8, 8), out;
        in->num_colours = 1;
        const u32 detail = or_format ? row.code : 0;
        EXPECT_REPORT(run(in, out, 3), function, 0x10070000 | detail, "Unsupported image format");
        EXPECT_REPORT(run(in, out, 4), function, 0x10070000 | detail, "Unsupported image format");
    }
}

// If lines per strip is 0, only the metadata is copied, for any format.
void expect_bare_parameters(const operation &run) {
    const picture in(VIQ_HSI, 13, 8), out;
    set_lines(in, 0);
    EXPECT_OK(run(in, out, 3));
    EXPECT_EQ(out->pixel_format, VIQ_HSI);
    EXPECT_EQ(out->width, 13u);
    EXPECT_EQ(out->data, nullptr);
}

// Strips of any height give the same picture as one strip.
void expect_strips_alike(const picture &in, const operation &run, const words &heights) {
    const picture whole;
    EXPECT_OK(run(in, whole, 3));
    const bytes expected = pixels_of(whole);
    for (const u16 lines : heights) {
        SCOPED_TRACE(lines);
        const picture out, gathered;
        convert_by_strips(in, lines, run, out, gathered);
        ASSERT_EQ(gathered->height, whole->height);
        EXPECT_EQ(pixels_of(gathered), expected);
    }
}

class Geometry : public every_set {};
WITH_EVERY_SET(Geometry);

operation crop_to(i16 x, i16 y, i16 w, i16 h) {
    return [=](u32 in, u32 out, u16 mode) { return VIQ_IP_crop(in, out, x, y, w, h, mode); };
}

TEST(Crop, CopiesARectangleClippedToTheImage) {
    for (const u16 format : crop_formats) {
        SCOPED_TRACE(format);
        const picture in(format, 14, 9, 4);
        in->data_width = format == VIQ_Y16 ? 12 : in->data_width;
        in->num_colours = 7;
        fill_with_noise(in);
        const picture out;
        EXPECT_OK(VIQ_IP_crop(in, out, 4, 2, 6, 5, 3));
        expect_pixels(in, out, 6, 5, [](u32 x, u32 y) { return place{x + 4, y + 2}; });
        EXPECT_EQ(out->data_width, in->data_width);
        EXPECT_OK(VIQ_IP_crop(in, out, 10, 7, 30000, 30000, 3));
        expect_pixels(in, out, 4, 2, [](u32 x, u32 y) { return place{x + 10, y + 7}; });
        expect_strips_alike(in, crop_to(4, 2, 6, 5), {1, 2, 3, 5, 8, 9});
    }
}

TEST(Crop, SplitsYuv422PairsAtOddColumns) {
    const picture in(VIQ_YUV422, 4, 1), out;
    set_strip(in, {1, 2, 3, 4, 5, 6, 7, 8});
    EXPECT_OK(VIQ_IP_crop(in, out, 1, 0, 3, 1, 3));
    EXPECT_EQ(pixels_of(out), (bytes{3, 4, 5, 6, 7, 8}));
}

TEST(Crop, RejectsRectanglesOutsideTheImage) {
    const picture in(VIQ_Y8, 8, 6), out;
    fill_with_noise(in);
    const i16 cases[][4] = {{-1, 0, 2, 2}, {0, -1, 2, 2}, {8, 0, 1, 1},
                            {0, 6, 1, 1},  {0, 0, 0, 1},  {0, 0, 1, 0},
                            {0, 0, -1, 1}, {0, 0, 1, -1}, {-32768, -32768, -32768, -32768}};
    for (const auto &c : cases)
        EXPECT_ERROR(VIQ_IP_crop(in, out, c[0], c[1], c[2], c[3], 3), 0x10030000,
                     "Rectangle outside the image");
    expect_refused_formats(crop_formats, crop_to(0, 0, 2, 2), "VIQ_IP_crop", true);
    expect_bare_parameters(crop_to(0, 0, 2, 2));
}

TEST(Insert, CountsPositionsFromOne) {
    for (const u16 format : crop_formats) {
        const picture host(format, 12, 7, 4), small(format, 4, 3), before;
        host->num_colours = small->num_colours = 3;
        fill_with_noise(host);
        fill_with_noise(small);
        EXPECT_OK(VIQ_image_copy(host, before));
        EXPECT_OK(VIQ_IP_image_insert(host, small, 3, 5));
        for (u32 y = 0; y < 7; ++y)
            for (u32 x = 0; x < 12; ++x) {
                const bool inside = x >= 2 && x < 6 && y >= 4;
                EXPECT_EQ(colour_at(host, x, y),
                          inside ? colour_at(small, x - 2, y - 4) : colour_at(before, x, y));
            }
    }
}

TEST(Insert, CopiesWholePixelsOfEverySize) {
    for (const u16 format : words{VIQ_RGGB32, VIQ_Y64, VIQ_JPEG_WORK101, VIQ_WORK104, VIQ_HSI}) {
        const picture host(format, 4, 2), small(format, 3, 2);
        fill_with_noise(host);
        fill_with_noise(small);
        EXPECT_OK(VIQ_IP_image_insert(host, small, 2, 1));
        const u32 pixel = host->bytes_per_line / 4;
        for (u32 y = 0; y < 2; ++y)
            EXPECT_EQ(std::memcmp(host->data + y * host->bytes_per_line + pixel,
                                  small->data + y * small->bytes_per_line, 3 * pixel),
                      0)
                << format;
    }
}

TEST(Insert, RejectsImagesThatDoNotFit) {
    const picture host(VIQ_Y8, 10, 8), same(VIQ_Y8, 10, 8), other(VIQ_Y16, 2, 2);
    for (const picture *p : {&host, &same, &other})
        fill_with_noise(*p);
    EXPECT_OK(VIQ_IP_image_insert(host, same, 1, 1));
    EXPECT_EQ(pixels_of(host), pixels_of(same));
    EXPECT_ERROR(VIQ_IP_image_insert(host, other, 1, 1), 0x10070000, "Pixel Formats are different");
    const struct {
        u32 x, y;
        const char *message;
    } cases[] = {{0, 1, "Trying to insert image too far left"},
                 {2, 1, "Trying to insert image too far right"},
                 {0xFFFFFFFF, 1, "Trying to insert image too far right"},
                 {1, 0, "Trying to insert image too high"},
                 {1, 2, "Trying to insert image too low"}};
    for (const auto &c : cases)
        EXPECT_ERROR(VIQ_IP_image_insert(host, same, c.x, c.y), 0x10070000, c.message);
    const picture larger(VIQ_Y8, 11, 9);
    EXPECT_ERROR(VIQ_IP_image_insert(host, larger, 1, 1), 0x10070000,
                 "Trying to insert image too far right");
    set_lines(host, 4);
    EXPECT_ERROR(VIQ_IP_image_insert(host, same, 1, 1), 0x10070000, "Images do not match");
    const picture empty(VIQ_Y8, 2, 2);
    EXPECT_ERROR(VIQ_IP_image_insert(same, empty, 1, 1), 0x10050000, "No image data");
    EXPECT_ERROR(VIQ_IP_image_insert(missing, same, 1, 1), 0x10050000, "hInImage is corrupt");
    EXPECT_ERROR(VIQ_IP_image_insert(same, missing, 1, 1), 0x10050000, "hInsertImage is corrupt");
}

TEST(IntegerFactors, SelectOrReplicatePixels) {
    for (const u16 format : whole_factor_formats)
        for (const u16 factor : words{1, 2, 3, 4}) {
            SCOPED_TRACE(text_of(format, factor));
            const picture in(format, 24, 12, 4), small, large;
            in->num_colours = 5;
            fill_with_noise(in);
            EXPECT_OK(VIQ_IP_subsample(in, small, factor, 3));
            ASSERT_EQ(small->width, 24u / factor);
            for (u32 y = 0; y < small->height; ++y)
                for (u32 x = 0; x < small->width; ++x) {
                    bytes expected = colour_at(in, x * factor, y * factor);
                    if (format == VIQ_YUV422) // the pair has the chroma of its first pixel
                        std::copy_n(colour_at(in, x / 2 * 2 * factor, y * factor).begin() + 1, 2,
                                    expected.begin() + 1);
                    ASSERT_EQ(colour_at(small, x, y), expected);
                }
            EXPECT_OK(VIQ_IP_pixel_rep(in, large, factor, 3));
            expect_pixels(in, large, 24u * factor, 12u * factor, [factor](u32 x, u32 y) {
                return place{x / factor, y / factor};
            });
            for (const auto call : {VIQ_IP_subsample, VIQ_IP_pixel_rep})
                expect_strips_alike(
                    in, [&](u32 i, u32 o, u16 mode) { return call(i, o, factor, mode); }, {12});
        }
    const picture odd(VIQ_Y8, 10, 10), out;
    fill_with_noise(odd);
    EXPECT_OK(VIQ_IP_subsample(odd, out, 3, 3));
    EXPECT_EQ(pixels_of(out).size(), 9u);
    set_lines(odd, 8); // 8 / 3 lines, without regard to later strips
    EXPECT_OK(VIQ_IP_subsample(odd, out, 3, 3));
    EXPECT_EQ(out->lines_per_strip, 2u);
    EXPECT_OK(VIQ_IP_subsample(odd, out, 3, 4));
}

TEST(IntegerFactors, RejectZeroAndOddYuv422Widths) {
    const picture in(VIQ_YUV422, 6, 4), out;
    fill_with_noise(in);
    const char *even = "YUV422 image must be an even width";
    EXPECT_ERROR(VIQ_IP_subsample(in, out, 0, 3), 0x10070000, "Unsupported sub-sampling factor");
    EXPECT_ERROR(VIQ_IP_pixel_rep(in, out, 0, 3), 0x10070000, "Unsupported replication factor");
    EXPECT_ERROR(VIQ_IP_subsample(in, out, 2, 3), 0x10070000, even);
    in->width = 5;
    EXPECT_ERROR(VIQ_IP_pixel_rep(in, out, 2, 3), 0x10070000, even);
    const picture wide(VIQ_Y8, 70000, 1);
    EXPECT_ERROR(VIQ_IP_pixel_rep(wide, out, 65535, 3), 0x10030000, "Output image too large");
    for (const auto call : {VIQ_IP_subsample, VIQ_IP_pixel_rep}) {
        const operation by2 = [&](u32 i, u32 o, u16 mode) { return call(i, o, u16{2}, mode); };
        const char *name = call == VIQ_IP_subsample ? "VIQ_IP_subsample" : "VIQ_IP_pixel_rep";
        expect_refused_formats(whole_factor_formats, by2, name, true);
        expect_bare_parameters(by2);
    }
}

// ---- Scaling

u8 blended(u32 p0, u32 p1, u64 position) {
    const u32 f = static_cast<u32>(position / 32 % 256);
    return static_cast<u8>((256 - f) * p0 / 256 + f * p1 / 256);
}

bytes scaled(const picture &in, u32 width, u32 height) {
    const u32 size = size_of(in->pixel_format);
    const u64 across = width > 1 ? u64{in->width} * 8192 / width : 0;
    const u64 down = height > 1 ? u64{in->height - 1} * 8192 / (height - 1) : 0;
    const auto sample = [&](u32 x, u64 y, u32 n) {
        const u64 at = x * across;
        const u32 left = static_cast<u32>(at / 8192);
        const u32 line = static_cast<u32>(std::min(y, u64{in->height - 1}));
        return blended(pixel_at(in, left, line)[n],
                       pixel_at(in, std::min(left + 1, in->width - 1), line)[n], at);
    };
    bytes result;
    for (u32 y = 0; y < height; ++y)
        for (u32 x = 0; x < width; ++x)
            for (u32 n = 0; n < size; ++n)
                result.push_back(blended(sample(x, y * down / 8192, n),
                                         sample(x, y * down / 8192 + 1, n), y * down));
    return result;
}

operation scale_to(u32 width, u32 height) {
    return [=](u32 in, u32 out, u16 mode) { return VIQ_IP_scale(in, out, width, height, mode); };
}

TEST_P(Geometry, ScaleMatchesTheFormula) {
    const u32 sizes[][2] = {{1, 1},  {2, 1},   {40, 60}, {1, 9},    {79, 23},  {26, 9},
                            {80, 1}, {53, 31}, {6, 3},   {160, 46}, {121, 80}, {81, 23}};
    for (const u16 format : words{VIQ_Y8, VIQ_RGB24})
        for (const u32 source_width : {1u, 2u, 19u, 80u, 160u})
            for (const auto &size : sizes) {
                SCOPED_TRACE(text_of(format, source_width, size[0], size[1]));
                const picture in(format, source_width, 23), out;
                fill_with_noise(in);
                EXPECT_OK(VIQ_IP_scale(in, out, size[0], size[1], 3));
                const bytes expected = size[0] == source_width && size[1] == 23
                                           ? pixels_of(in)
                                           : scaled(in, size[0], size[1]);
                ASSERT_EQ(pixels_of(out), expected);
            }
}

TEST_P(Geometry, ScaleByStripsMatchesTheWholePicture) {
    const picture in(VIQ_RGB24, 37, 41);
    fill_with_noise(in);
    expect_strips_alike(in, scale_to(50, 97), {1, 2, 3, 7, 40, 41});
    expect_strips_alike(in, scale_to(20, 41), {1, 5, 16});
    expect_strips_alike(in, scale_to(90, 17), {3, 6, 16, 40});
    expect_strips_alike(in, scale_to(9, 1), {1, 4, 41});
}

TEST(Scale, ReportsUnderTheNameOfThreshold) {
    const char *name = "VIQ_IP_threshold_grayscale";
    const picture in(VIQ_Y8, 8, 16), out, other(VIQ_Y16, 4, 4);
    EXPECT_REPORT(VIQ_IP_scale(other, out, 3, 3, 3), name, 0x10070000, "Supports RGB24 & Y8 only");
    EXPECT_REPORT(VIQ_IP_scale(in, out, 0, 3, 3), name, 0x10030000, "Width or height is 0");
    EXPECT_REPORT(VIQ_IP_scale(in, out, 3, 3, 3), "VIQ_IP_scale_1_strip", 0x10050000,
                  "No image data");
    EXPECT_OK(VIQ_IP_scale(in, out, 3, 3, 4));
    in->pixel_format = 99;
    EXPECT_NO_FORMAT(VIQ_IP_scale(in, out, 3, 3, 3), name, "Corrupt image");
    expect_bare_parameters(scale_to(3, 3));
}

TEST(Scale, RejectsStripsTooShortForALine) {
    const picture in(VIQ_Y8, 8, 16), expected, out, gathered;
    fill_with_noise(in);
    EXPECT_OK(VIQ_IP_scale(in, expected, 8, 4, 3));
    u8 *all = in->data;
    set_lines(in, 1); // line 0 suffices for the first output line
    EXPECT_OK(VIQ_IP_scale(in, out, 8, 4, 3));
    EXPECT_OK(VIQ_write_to_memory(out, gathered, 3));
    const picture rest(VIQ_Y8, 8, 16);
    fill_with_noise(rest);
    std::copy_n(all + 8, 15 * 8, rest->data);
    set_lines(rest, 1);
    EXPECT_REPORT(VIQ_IP_scale(rest, out, 8, 4, 3), "VIQ_IP_scale_1_strip", 0x10020000,
                  "Internal: Not enough lines to process");
    set_lines(rest, 15);
    EXPECT_OK(VIQ_IP_scale(rest, out, 8, 4, 3));
    EXPECT_OK(VIQ_write_to_memory(out, gathered, 3));
    EXPECT_EQ(pixels_of(gathered), pixels_of(expected));
}

// ---- Mirroring and rotation

// YUV 4:2:2 is mirrored in whole pairs, which keep their chroma.
TEST_P(Geometry, MirrorReversesEveryFormatAndWidth) {
    for (const u16 format : turned_formats)
        for (u32 width = 2; width < 140; width += format == VIQ_YUV422 ? 2 : 1) {
            SCOPED_TRACE(text_of(format, width));
            const picture in(format, width, 3), out;
            in->num_colours = 2;
            fill_with_noise(in);
            EXPECT_OK(VIQ_IP_mirror_image(in, out, 3));
            expect_pixels(in, out, width, 3, [&](u32 x, u32 y) { return place{width - 1 - x, y}; });
        }
}

TEST_P(Geometry, RotateMovesThePixelsOfEveryFormat) {
    for (const u16 format : turned_formats)
        for (const u32 width : {2u, 16u, 34u, 70u})
            for (const u32 height : {2u, 16u, 18u, 50u}) {
                SCOPED_TRACE(text_of(format, width, height));
                const picture in(format, width, height, 4), out;
                in->num_colours = 2;
                fill_with_noise(in);
                if (format == VIQ_YUV422) // uniform chroma equals the mean of two pairs
                    for (u32 n = 1; n < in->bytes_per_line * height; n += 2)
                        in->data[n] = n % 4 == 1 ? 77 : 99;
                EXPECT_OK(VIQ_IP_rotate_image(in, out, 0));
                EXPECT_EQ(pixels_of(out), pixels_of(in));
                EXPECT_OK(VIQ_IP_rotate_image(in, out, 90));
                expect_pixels(in, out, height, width, [&](u32 x, u32 y) {
                    return place{y, height - 1 - x};
                });
                EXPECT_OK(VIQ_IP_rotate_image(in, out, 180));
                expect_pixels(in, out, width, height, [&](u32 x, u32 y) {
                    return place{width - 1 - x, height - 1 - y};
                });
                EXPECT_OK(VIQ_IP_rotate_image(in, out, 270));
                expect_pixels(in, out, height, width, [&](u32 x, u32 y) {
                    return place{width - 1 - y, x};
                });
            }
}

TEST(Rotate, AveragesTheChromaOfTheCoveredPixels) {
    const picture in(VIQ_YUV422, 2, 2), out;
    set_strip(in, {1, 10, 2, 20, 3, 13, 4, 40});
    EXPECT_OK(VIQ_IP_rotate_image(in, out, 90));
    EXPECT_EQ(pixels_of(out), (bytes{3, 11, 1, 30, 4, 11, 2, 30}));
    EXPECT_OK(VIQ_IP_mirror_image(in, out, 3));
    EXPECT_EQ(pixels_of(out), (bytes{2, 10, 1, 20, 4, 13, 3, 40}));
}

TEST(Rotate, RejectsOtherAnglesAndOddYuv422Widths) {
    const picture in(VIQ_YUV422, 4, 3), out;
    fill_with_noise(in);
    const char *name = "VIQ_IP_rotate_image";
    for (const u16 angle : words{1, 45, 91, 360, 65535})
        EXPECT_ERROR(VIQ_IP_rotate_image(in, out, angle), 0x10070000,
                     "Only angles of 0, 90, 180 and 270 supported");
    EXPECT_ERROR(VIQ_IP_rotate_image(in, out, 90), 0x10070000,
                 "YUV422 image must be an even width");
    EXPECT_OK(VIQ_IP_rotate_image(in, out, 180));
    set_lines(in, 2);
    EXPECT_ERROR(VIQ_IP_rotate_image(in, out, 180), 0x10050000, "No image data");
    in->width = 3;
    EXPECT_ERROR(VIQ_IP_mirror_image(in, out, 3), 0x10070000, "YUV422 image must be an even width");
    expect_refused_formats(turned_formats, VIQ_IP_mirror_image, "VIQ_IP_mirror_image", false);
    expect_refused_formats(
        turned_formats, [](u32 i, u32 o, u16) { return VIQ_IP_rotate_image(i, o, 90); }, name,
        false);
    expect_bare_parameters(VIQ_IP_mirror_image);
}

TEST(Mirror, ReversesOnlyTheRectangle) {
    const operation run = [](u32 in, u32 out, u16 mode) {
        return VIQ_IP_mirror(in, out, 2, 3, 5, 4, mode);
    };
    const picture in(VIQ_RGB24, 9, 10), out;
    fill_with_noise(in);
    EXPECT_OK(run(in, out, 3));
    expect_pixels(in, out, 9, 10, [](u32 x, u32 y) {
        const bool inside = x >= 2 && x < 7 && y >= 3 && y < 7;
        return place{inside ? 8 - x : x, y};
    });
    expect_strips_alike(in, run, {1, 2, 3, 4, 10});
    EXPECT_REPORT(VIQ_IP_mirror(in, out, 9, 0, 1, 1, 3), "VIQ_IP_crop", 0x10030000,
                  "Rectangle outside the image");
    EXPECT_OK(VIQ_IP_mirror(in, out, 9, 0, 1, 1, 4));
}

// The copy of a JPEG image has the JPEG data only, no lines that could be mirrored.
TEST(Mirror, ReportsAnOutputThatGetsJpegData) {
    const picture scene(VIQ_Y8, 16, 16);
    draw_scene(scene);
    const jpeg_picture in, out;
    EXPECT_OK(VIQ_JPEG_compress(scene, in));
    EXPECT_OK(VIQ_image_malloc_a_strip(in));
    EXPECT_ERROR(VIQ_IP_mirror(in, out, 2, 3, 5, 4, 3), 0x10050000, "No image data");
    EXPECT_EQ(out->data, nullptr);
    EXPECT_EQ(out.data(), in.data());
}

// ---- Regions

TEST(Region, PacksThePixelsOfADisc) {
    const picture in(VIQ_YUV422, 20, 16), out;
    fill_with_noise(in);
    bytes expected;
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 20; x += 2)
            if (x >= 1 && x < 11 && y >= 2 && y < 12 &&
                (x - 6) * (x - 6) + (y - 7) * (y - 7) < 25) {
                const u8 *pair = pixel_at(in, static_cast<u32>(x), static_cast<u32>(y));
                expected.insert(expected.end(), pair, pair + 4);
            }
    EXPECT_OK(VIQ_IP_extract_region(in, out, 0, 6, 7, 5, 3));
    ASSERT_EQ(out->width, 10u);
    ASSERT_EQ(out->height, 10u);
    expected.resize(10 * 20);
    EXPECT_EQ(pixels_of(out), expected);
    EXPECT_ERROR(VIQ_IP_extract_region(in, out, 0, 6, 7, 0, 3), 0x10030000, "Radius is 0");
    const operation run = [](u32 i, u32 o, u16 mode) {
        return VIQ_IP_extract_region(i, o, 9, -3, 30, 20, mode);
    };
    EXPECT_OK(run(in, out, 3)); // partly outside the image on two sides
    EXPECT_EQ(out->lines_per_strip, 40u);
    expect_refused_formats({VIQ_YUV422}, run, "VIQ_IP_extract_region", false);
    expect_bare_parameters(run);
}

} // namespace
} // namespace viq
