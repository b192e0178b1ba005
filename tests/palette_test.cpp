// Colourmaps: setting and querying, generation, conversion to and from paletted; hues.
#include <cmath>
#include <functional>

#include "convert/hue_table.h"
#include "core/image.h"
#include "tests/support.h"

namespace viq {
namespace {

u32 triple(u32 red, u32 green, u32 blue) {
    return red << 16 | green << 8 | blue;
}

TEST(Colourmap, TypeFillsTheMap) {
    const u32 named[] = {0,        0x000098, 0x009800, 0x009898, 0x980000, 0x980098,
                         0x989800, 0x989898, 0x4C4C4C, 0x0000FF, 0x00FF00, 0x00FFFF,
                         0xFF0000, 0xFF00FF, 0xFFFF00, 0xFFFFFF};
    const struct {
        u16 type, count;
        std::function<u32(u32)> entry;
    } types[] = {{1, 16, [&](u32 i) { return i < 16 ? named[i] : 0xAAAAAA; }},
                 {0, 16, [](u32) { return 0; }},
                 {2, 256, [](u32 i) { return triple(i, i, i); }},
                 {3, 256,
                  [](u32 i) {
                      return triple(32 * (i / 32) + 31, 32 * (i / 4 % 8) + 31, 64 * (i % 4) + 31);
                  }},
                 {0, 256, [](u32) { return 0; }}};
    const picture p;
    for (const auto &type : types) {
        EXPECT_OK(VIQ_cmap_set_type(p, type.type));
        EXPECT_EQ(p->num_colours, type.count);
        for (u32 i = 0; i < 256; ++i) {
            const tVIQ_Colour &entry = p->colourmap[i];
            EXPECT_EQ(triple(entry.red, entry.green, entry.blue), type.entry(i));
            EXPECT_EQ(entry.spare, 0xAA);
        }
    }
    for (u16 colour = 0; colour < 16; ++colour) {
        EXPECT_OK(VIQ_cmap_set_colour(p, 200, colour));
        EXPECT_EQ(VIQ_cmap_get_RGB_colour(p, 200), named[colour]);
    }
    EXPECT_ERROR(VIQ_cmap_set_type(p, 4), 0x10030000, "Unrecognized colourmap type");
    EXPECT_ERROR(VIQ_cmap_set_colour(p, 0, 16), 0x10070000, "Unrecognised colour");
}

TEST(Colourmap, AcceptsAnIndexEqualToTheCount) {
    const picture p;
    VIQ_cmap_set_type(p, 2);
    for (const u16 count : words{0, 5, 255, 256, 300}) {
        VIQ_image_set_parameter(p, VIQ_NUM_COLOURS, count);
        const u16 last = std::min<u16>(count, 256), beyond = static_cast<u16>(last + 1);
        EXPECT_OK(VIQ_cmap_set_RGB_colour(p, last, 1, 2, 3));
        EXPECT_EQ(VIQ_cmap_get_RGB_colour(p, last), 0x010203u);
        EXPECT_OK(VIQ_cmap_set_colour(p, last, 15));
        const char *message = "Illegal colourmap index (> max number of colours)";
        EXPECT_ERROR(VIQ_cmap_set_RGB_colour(p, beyond, 1, 2, 3), 0x10030000, message);
        EXPECT_ERROR(VIQ_cmap_set_colour(p, beyond, 1), 0x10030000, message);
        EXPECT_ERROR(VIQ_cmap_get_RGB_colour(p, beyond), 0x10030000, message);
    }
    EXPECT_EQ(VIQ_cmap_get_RGB_colour(p, 254), triple(254, 254, 254));
}

TEST(Colourmap, DistinguishesColourFromGrey) {
    for (u16 format = 1; format <= 108; ++format) {
        const picture p;
        p->pixel_format = format;
        const bool colour = (format >= 4 && format <= 13) || format == 106;
        p->num_colours = 0;
        EXPECT_EQ(VIQ_image_is_colour(p), colour ? 1u : 0u) << format;
    }
    const picture p(VIQ_PALETTED, 1, 1);
    VIQ_cmap_set_type(p, 2);
    p->num_colours = 7;
    VIQ_cmap_set_RGB_colour(p, 7, 1, 2, 3); // an unused entry
    EXPECT_EQ(VIQ_cmap_is_grayscale(p), 1u);
    EXPECT_EQ(VIQ_image_is_colour(p), 0u);
    p->num_colours = 8;
    EXPECT_EQ(VIQ_cmap_is_grayscale(p), 0u);
    EXPECT_EQ(VIQ_image_is_colour(p), 1u);
    VIQ_image_set_ptr(p, VIQ_PTR_CMAP, nullptr);
    EXPECT_ERROR(VIQ_cmap_is_grayscale(p), 0x100b0000, "Colourmap is NULL");
}

u32 distance(const tVIQ_Colour &a, const u8 *rgb) {
    const int d[] = {a.red - rgb[0], a.green - rgb[1], a.blue - rgb[2]};
    return static_cast<u32>(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
}

u8 closest(const picture &p, const u8 *rgb) {
    const auto nearer = [rgb](const tVIQ_Colour &a, const tVIQ_Colour &b) {
        return distance(a, rgb) < distance(b, rgb);
    };
    const tVIQ_Colour *map = p->colourmap;
    return static_cast<u8>(std::min_element(map, map + p->num_colours, nearer) - map);
}

TEST(Colourmap, FindsTheLowestIndexOfTheNearestColours) {
    const picture p;
    EXPECT_EQ(VIQ_cmap_find_closest_colour(p, 1, 2, 3), 0);
    VIQ_cmap_set_type(p, 3);
    for (int n = 0; n < 3000; ++n) {
        const u8 rgb[] = {noise(), noise(), noise()};
        ASSERT_EQ(VIQ_cmap_find_closest_colour(p, rgb[0], rgb[1], rgb[2]), closest(p, rgb));
    }
    VIQ_cmap_set_RGB_colour(p, 9, 10, 10, 10);
    VIQ_cmap_set_RGB_colour(p, 4, 14, 10, 10);
    EXPECT_EQ(VIQ_cmap_find_closest_colour(p, 12, 10, 10), 4);
}

TEST(Colourmap, RecordBelongsToItsImage) {
    const picture p, q;
    EXPECT_ERROR(VIQ_cmap_get_occurrences(p, 0), 0x10040000, "No cmap info structure");
    EXPECT_OK(VIQ_cmap_set_bits(p, 4, 4, 4, 8));
    tVIQ_CmapInfo *fresh = VIQ_cmap_create_info(); // has the same bits
    EXPECT_EQ(std::memcmp(fresh, p->cmap_info, sizeof *fresh), 0);
    EXPECT_EQ(fresh->colours_to_generate, 256);
    EXPECT_EQ(fresh->bin_count + fresh->distinct_colours + fresh->coverage, 0u);
    VIQ_DebugFree(fresh);
    EXPECT_EQ(VIQ_cmap_get_occurrences(p, 4095), 0xAAu);
    EXPECT_ERROR(VIQ_cmap_get_occurrences(p, 4096), 0x10030000, "Bin out of range");
    const char *message = "Bits of a colour must be 1 to 8";
    EXPECT_ERROR(VIQ_cmap_set_bits(p, 0, 4, 4, 8), 0x10030000, message);
    EXPECT_ERROR(VIQ_cmap_set_bits(p, 1, 9, 1, 8), 0x10030000, message);
    EXPECT_ERROR(VIQ_cmap_set_bits(p, 4, 4, 4, 9), 0x10030000, message);
    EXPECT_ERROR(VIQ_cmap_set_bits(p, 5, 4, 4, 8), 0x10030000, "Too many bits for the colour bins");
    EXPECT_EQ(p->cmap_info->red_bits, 4);
    EXPECT_OK(VIQ_cmap_copy(p, q));
    EXPECT_EQ(q->cmap_info->grey_bits, 8);
    EXPECT_OK(VIQ_cmap_destroy_info(q));
    EXPECT_EQ(q->cmap_info, nullptr);
}

// ---- Generation

class Palettes : public every_set {};
WITH_EVERY_SET(Palettes);

TEST_P(Palettes, CopyingKeepsTheSpareBytes) {
    const picture in(VIQ_Y8, 2, 2), out(VIQ_Y8, 2, 2);
    for (u32 n = 0; n < 256; ++n) {
        in->colourmap[n] = {u8(n), u8(n + 1), u8(n ^ 85), 7};
        out->colourmap[n].spare = u8(n / 2);
    }
    EXPECT_OK(VIQ_cmap_copy(in, out));
    for (u32 n = 0; n < 256; ++n) {
        const tVIQ_Colour &colour = out->colourmap[n];
        EXPECT_EQ(bytes({colour.red, colour.green, colour.blue, colour.spare}),
                  bytes({u8(n), u8(n + 1), u8(n ^ 85), u8(n / 2)}));
    }
}

// Noise with few high bits set, so that some bins are frequent.
void paint(const picture &p) {
    fill_with_noise(p);
    for (u32 n = 0; n < p->bytes_per_line * p->lines_per_strip; ++n)
        p->data[n] = static_cast<u8>(p->data[n] & noise() & noise());
}

template <class Visit> void for_every_pixel(const picture &p, Visit visit) {
    for (u32 y = 0; y < p->height; ++y)
        for (u32 x = 0; x < p->width; ++x)
            visit(x, y, p->data + y * p->bytes_per_line + x * (p->bits_per_pixel / 8));
}

// The bin of a pixel, with the bits per colour of the colourmap record.
u32 bin_of(const picture &p, const u8 *pixel) {
    const tVIQ_CmapInfo &info = *p->cmap_info;
    const auto high_bits = [](u32 value, u32 bits) { return value >> (8 - bits); };
    if (p->pixel_format != VIQ_RGB24) {
        u16 word = *pixel;
        if (p->pixel_format == VIQ_Y16)
            std::memcpy(&word, pixel, 2);
        const u32 shift = p->pixel_format == VIQ_Y16 ? p->data_width - 8u : 0;
        return high_bits(word >> shift & 255, info.grey_bits);
    }
    return (high_bits(pixel[0], info.red_bits) << info.green_bits |
            high_bits(pixel[1], info.green_bits))
               << info.blue_bits |
           high_bits(pixel[2], info.blue_bits);
}

u32 centre(u32 bin, u32 low_bits, u32 bits) {
    const u32 range = 256u >> bits;
    return (bin >> low_bits) % (1u << bits) * range + range / 2;
}

u32 centre_of_bin(const picture &p, u32 bin) {
    const tVIQ_CmapInfo &i = *p->cmap_info;
    if (p->pixel_format != VIQ_RGB24)
        return centre(bin, 0, i.grey_bits) * 0x010101;
    return triple(centre(bin, i.green_bits + i.blue_bits, i.red_bits),
                  centre(bin, i.blue_bits, i.green_bits), centre(bin, 0, i.blue_bits));
}

// Copies record and colourmap of the last strip to the picture.
void generate_by_strips(const picture &whole, u16 colours, u32 lines) {
    const picture counted;
    by_strips(whole, lines, [&](const picture &strip) {
        EXPECT_OK(VIQ_cmap_generate(strip, colours, 3));
        EXPECT_OK(VIQ_cmap_copy(strip, counted));
    });
    EXPECT_OK(VIQ_cmap_copy(counted, whole));
}

struct generation {
    u16 format, data_width;
    u8 bits[4];
    u16 present, colours;
};

void check_generation(const generation &g, u32 width, u32 lines) {
    const picture p(g.format, width, 40);
    p->data_width = g.data_width;
    paint(p);
    if (g.present == 16)
        VIQ_cmap_set_type(p, 1);
    VIQ_cmap_set_bits(p, g.bits[0], g.bits[1], g.bits[2], g.bits[3]);
    generate_by_strips(p, g.colours, lines);

    const tVIQ_CmapInfo &info = *p->cmap_info;
    const u32 colour_bits = g.bits[0] + 0u + g.bits[1] + g.bits[2];
    std::vector<u32> counts(1u << (g.format == VIQ_RGB24 ? colour_bits : g.bits[3]));
    ASSERT_EQ(info.bin_count, counts.size());
    for_every_pixel(p, [&](u32, u32, const u8 *pixel) { ++counts.at(bin_of(p, pixel)); });
    for (u16 bin = 0; bin < counts.size(); ++bin)
        ASSERT_EQ(VIQ_cmap_get_occurrences(p, bin), counts[bin]);

    const u32 added = g.colours > g.present ? g.colours - g.present : 0u;
    std::sort(counts.rbegin(), counts.rend());
    const auto distinct =
        static_cast<u32>(std::find(counts.begin(), counts.end(), 0u) - counts.begin());
    EXPECT_EQ(p->num_colours, g.colours);
    EXPECT_EQ(info.colours_to_generate, added);
    EXPECT_EQ(info.distinct_colours, distinct);
    u32 covered = 0;
    for (u32 k = 0; k < added; ++k) {
        const tVIQ_Colour &entry = p->colourmap[g.present + k];
        const u32 colour = triple(entry.red, entry.green, entry.blue);
        if (k >= distinct) {
            ASSERT_EQ(colour, 0u) << k;
            continue;
        }
        const auto *bin = std::find_if(info.bins, info.bins + counts.size(),
                                       [&](const auto &b) { return b.index == g.present + k; });
        ASSERT_EQ(bin->occurrences, counts[k]);
        ASSERT_EQ(colour, centre_of_bin(p, bin->value));
        covered += bin->occurrences;
    }
    EXPECT_EQ(info.coverage, covered * 100 / (width * 40));
    EXPECT_TRUE(g.present == 0 || VIQ_cmap_get_RGB_colour(p, 8) == 0x4C4C4C);
}

TEST_P(Palettes, HoldTheMostFrequentColours) {
    const generation generations[] = {
        {VIQ_RGB24, 8, {4, 4, 4, 8}, 0, 256},  {VIQ_RGB24, 8, {4, 4, 4, 8}, 0, 20},
        {VIQ_RGB24, 8, {5, 6, 1, 8}, 16, 100}, {VIQ_RGB24, 8, {1, 1, 1, 8}, 0, 256},
        {VIQ_RGB24, 8, {4, 4, 4, 8}, 16, 9},   {VIQ_RGB24, 8, {8, 1, 3, 1}, 0, 256},
        {VIQ_Y8, 8, {4, 4, 4, 8}, 0, 256},     {VIQ_Y8, 8, {4, 4, 4, 3}, 16, 20},
        {VIQ_Y16, 11, {4, 4, 4, 8}, 0, 30},    {VIQ_Y16, 16, {4, 4, 4, 5}, 0, 256}};
    for (const generation &g : generations)
        for (const u32 width : numbers{1, 16, 33})
            for (const u32 lines : numbers{7, 40}) {
                SCOPED_TRACE(text_of(&g - generations, "width", width, "by", lines));
                ASSERT_NO_FATAL_FAILURE(check_generation(g, width, lines));
            }
}

TEST_P(Palettes, GenerationRejectsUnsupportedInput) {
    constexpr const char *name = "VIQ_cmap_generate";
    const picture p(VIQ_RGB24, 3, 2), bgr(VIQ_BGR24, 3, 2), narrow(VIQ_Y16, 3, 2), bad;
    narrow->data_width = 7;
    EXPECT_ERROR(VIQ_cmap_generate(bgr, 9, 3), 0x10070000, "Unsupported image format");
    EXPECT_ERROR(VIQ_cmap_generate(narrow, 9, 3), 0x10050000, "Data width must be > 7 for Y16");
    EXPECT_ERROR(VIQ_cmap_generate(p, 257, 3), 0x10030000, "Too many colours");
    EXPECT_ERROR(VIQ_cmap_generate(missing, 9, 3), 0x10050000, "Corrupt image");
    EXPECT_NO_FORMAT(VIQ_cmap_generate(bad, 9, 3), name, "Corrupt image");
    EXPECT_REPORT(VIQ_cmap_generate(p, 9, 3), "VIQ_cmap_generate_1_strip", 0x10050000,
                  "No image data");
    EXPECT_OK(VIQ_cmap_generate(p, 9, 4));
    fill_with_noise(p);
    p->cmap_info->red_bits = 5;
    EXPECT_ERROR(VIQ_cmap_generate(p, 9, 3), 0x10020000, "Array size overflow");
    p->cmap_info->red_bits = 9;
    p->cmap_info->green_bits = p->cmap_info->blue_bits = 1;
    EXPECT_REPORT(VIQ_cmap_generate(p, 9, 3), "VIQ_cmap_generate_1_strip", 0x10020000,
                  "More than 8 bits in one colour");
    EXPECT_OK(VIQ_cmap_generate(p, 9, 4));
    set_lines(p, 0);
    EXPECT_OK(VIQ_cmap_generate(p, 9, 3));
}

// ---- Conversion to and from paletted

TEST_P(Palettes, PixelsMapToTheirBinsEntryOrTheNearest) {
    for (const u16 format : words{VIQ_RGB24, VIQ_Y8})
        for (const u32 width : numbers{1, 8, 33})
            for (const u32 lines : numbers{40, 3}) {
                const picture whole(format, width, 40), out, gathered;
                paint(whole);
                generate_by_strips(whole, 20, lines);
                convert_by_strips(whole, lines, VIQ_convert_to_paletted, out, gathered);
                EXPECT_EQ(gathered->num_colours, 20);
                for_every_pixel(whole, [&](u32 x, u32 y, const u8 *pixel) {
                    const u8 grey[] = {*pixel, *pixel, *pixel};
                    const u32 index = whole->cmap_info->bins[bin_of(whole, pixel)].index;
                    const u8 nearest = closest(whole, format == VIQ_Y8 ? grey : pixel);
                    ASSERT_EQ(gathered->data[y * gathered->bytes_per_line + x],
                              index != 0xFFFFFFFF ? index : nearest);
                });
            }
    const picture in(VIQ_RGB24, 2, 2), bgr(VIQ_BGR24, 2, 2), paletted(VIQ_PALETTED, 2, 2), out,
        mapless;
    EXPECT_ERROR(VIQ_convert_to_paletted(in, out, 3), 0x10030000,
                 "VIQ_cmap_generate must be called first");
    EXPECT_ERROR(VIQ_convert_to_paletted(bgr, out, 3), 0x10070000, "Unsupported image format");
    fill_with_noise(in);
    EXPECT_OK(VIQ_cmap_generate(in, 9, 3));
    VIQ_image_set_ptr(mapless, VIQ_PTR_CMAP, nullptr);
    EXPECT_REPORT(VIQ_convert_to_paletted(in, mapless, 3), "VIQ_convert_to_paletted_1_strip",
                  0x100b0000, "Colourmap is NULL");
    EXPECT_OK(VIQ_convert_to_paletted(in, mapless, 4));
    fill_with_noise(paletted);
    EXPECT_OK(VIQ_convert_to_paletted(paletted, out, 3));
    EXPECT_EQ(pixels_of(out), pixels_of(paletted));
}

TEST_P(Palettes, DitheringUsesThe332Colourmap) {
    const picture in(VIQ_RGB24, 4, 3, 8), out, grey(VIQ_Y8, 4, 3), none(VIQ_RGB24, 4, 3);
    set_strip(in, bytes(36, 255));
    std::fill_n(in->data + in->bytes_per_line, 12, u8{0x7F});
    EXPECT_OK(VIQ_convert_to_RGB8_dither(in, out, 3));
    // The carries of 0x7F are 15, 15 and 32; they are reset at a line and at every third pixel.
    const bytes expected = {255, 255, 255, 255, 0x6D, 0x92, 0x92, 0x6D, 255, 255, 255, 255};
    EXPECT_EQ(pixels_of(out), expected);
    set_lines(none, 0);
    const picture empty;
    EXPECT_OK(VIQ_convert_to_RGB8_dither(none, empty, 3));
    for (const picture *p : {&out, &empty}) {
        EXPECT_EQ((*p)->pixel_format, VIQ_PALETTED);
        EXPECT_EQ((*p)->num_colours, 256);
        EXPECT_EQ(VIQ_cmap_get_RGB_colour(*p, 1), 0x1F1F5Fu);
    }
    EXPECT_ERROR(VIQ_convert_to_RGB8_dither(grey, out, 3), 0x10070000, "Unsupported image format");
}

TEST_P(Palettes, PalettedPicturesConvertToColourOrGrey) {
    for (const bool grey : {false, true}) {
        const picture whole(VIQ_PALETTED, 5, 7, 4), out, gathered;
        fill_with_noise(whole);
        VIQ_cmap_set_type(whole, grey ? 2 : 3);
        convert_by_strips(whole, 3, VIQ_paletted_to_RGB24_or_Y8, out, gathered);
        bytes expected;
        for (const u8 index : pixels_of(whole)) {
            const tVIQ_Colour &entry = whole->colourmap[index];
            expected.push_back(entry.red);
            if (!grey)
                expected.insert(expected.end(), {entry.green, entry.blue});
        }
        EXPECT_EQ(gathered->pixel_format, grey ? VIQ_Y8 : VIQ_RGB24);
        EXPECT_EQ(pixels_of(gathered), expected);
    }
    const picture bgr(VIQ_BGR24, 2, 2), rgb(VIQ_RGB24, 2, 2), y8(VIQ_Y8, 2, 2), out;
    EXPECT_REPORT(VIQ_paletted_to_RGB24_or_Y8(bgr, out, 3), "VIQ_convert_to_RGB24_or_Y8",
                  0x10070000, "Input image should be paletted");
    for (const picture *same : {&rgb, &y8}) {
        fill_with_noise(*same);
        EXPECT_OK(VIQ_paletted_to_RGB24_or_Y8(*same, out, 3));
        EXPECT_EQ(pixels_of(out), pixels_of(*same));
    }
}

// ---- YUV triples and hues

TEST(Hues, AreTheAnglesOfTheChroma) {
    EXPECT_EQ(VIQ_CK_get_YUV_values_RGB(255, 255, 255), 0x8080FFu);
    EXPECT_EQ(VIQ_CK_get_YUV_values_RGB(0xFF00, 0x100, 0), 0x808000u);
    EXPECT_EQ(VIQ_CK_get_YUV_values_RGB(255, 0, 0), 0xFF544Cu);
    EXPECT_EQ(VIQ_CK_get_YUV_values_RGB(0, 0, 255), 0x6BFF1Du);

    for (int round = 0; round < 2; ++round) { // created on first use, and again after destruction
        const u16 *hue = nullptr;
        ASSERT_EQ(need_hue_table(hue), 0u);
        const u32 known[][3] = {{128, 128, 180}, {122, 134, 180}, {255, 128, 240}, {135, 128, 240},
                                {128, 255, 330}, {0, 128, 60},    {128, 0, 150},   {228, 129, 241}};
        for (const auto &[u, v, degrees] : known)
            EXPECT_EQ(hue[u << 8 | v], degrees) << u << ", " << v;
        // Negated chroma gives the opposite hue, except for rounding.
        for (u32 n = 0x101; n < 65536; n += 7) {
            const int u = static_cast<int>(n >> 8) - 128, v = static_cast<int>(n & 255) - 128;
            ASSERT_LT(hue[n], 360);
            const bool grey = std::abs(u) <= 6 && std::abs(v) <= 6;
            const int turned = hue[(128 - u) << 8 | ((128 - v) & 255)];
            EXPECT_TRUE(grey || v == -128 || std::abs(std::abs(hue[n] - turned) - 180) < 2) << n;
        }
        EXPECT_OK(VIQ_CK_generate_UV_to_hue_LUT());
        EXPECT_OK(VIQ_CK_destroy_UV_to_hue_LUT());
    }
}

} // namespace
} // namespace viq
