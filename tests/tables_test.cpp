// Lookup tables, histograms and thresholds.
#include <cmath>
#include <memory>

#include "tests/support.h"

namespace viq {
namespace {

class Tables : public every_set {};
WITH_EVERY_SET(Tables);

struct lut {
    u32 handle;
    lut(u32 elements, u16 size) : handle(VIQ_LUT_create(elements, size)) {}
    lut(const lut &) = delete;
    lut &operator=(const lut &) = delete;
    ~lut() { VIQ_LUT_destroy(handle); }
    u8 *bytes(u16 mask) const { return static_cast<u8 *>(VIQ_LUT_get_ptr(handle, mask)); }
    u16 *words(u16 mask) const { return static_cast<u16 *>(VIQ_LUT_get_ptr(handle, mask)); }
};

constexpr u16 masks[] = {8, 4, 2, 1};

TEST(LookupTable, IsCreatedAsIdentityInOneOfFifteenSlots) {
    EXPECT_ERROR(VIQ_LUT_create(16, 3), 0x10030003, "element size must be 1 or 2 bytes");
    EXPECT_ERROR(VIQ_LUT_create(257, 1), 0x10030001, "too many LUT elements");
    EXPECT_ERROR(VIQ_LUT_create(65537, 2), 0x10030002, "too many LUT elements");
    EXPECT_ERROR(VIQ_LUT_create(0, 1), 0x10030000, "too few LUT elements");
    for (u32 n = 1; n <= 15; ++n)
        EXPECT_EQ(VIQ_LUT_create(n % 2 != 0 ? 256 : 65536, n % 2 != 0 ? 1 : 2), n);
    EXPECT_ERROR(VIQ_LUT_create(1, 1), 0x10080000, "");
    EXPECT_EQ(static_cast<u8 *>(VIQ_LUT_get_ptr(1, 4))[200], 200);
    EXPECT_EQ(static_cast<u16 *>(VIQ_LUT_get_ptr(2, 1))[65535], 65535);
    for (const u16 mask : words{0, 3, 16, 9})
        EXPECT_EQ(VIQ_LUT_get_ptr(1, mask), nullptr);
    EXPECT_OK(VIQ_LUT_destroy(4));
    EXPECT_EQ(VIQ_LUT_get_ptr(4, 8), nullptr);
    EXPECT_OK(VIQ_LUT_destroy(4));
    EXPECT_EQ(VIQ_LUT_create(256, 1), 4u);
    EXPECT_OK(VIQ_image_destroy(VIQ_ALL_IMAGES)); // destroys the tables as well
    for (u32 handle = 0; handle < 20; ++handle)
        EXPECT_EQ(VIQ_LUT_get_ptr(handle, 8), nullptr);
    EXPECT_ERROR(VIQ_LUT_generate(1, 100, 100, 100, 100, 100, 100), 0x10040000, "");
}

TEST(LookupTable, MatchesTheFormulaWhenGenerated) {
    const i16 settings[][6] = {{100, 100, 100, 100, 100, 100}, {120, 100, 100, 100, 100, 100},
                               {100, 150, 100, 50, 100, 200},  {100, 100, 10, 100, 100, 100},
                               {90, 110, 220, 0, 130, 70},     {-5, 300, 500, -1, 999, 100},
                               {100, 100, 100, 100, 100, 101}, {100, 0, 100, 100, 100, 100}};
    for (const u16 size : words{1, 2})
        for (const u32 n : {1u, 200u, 256u}) {
            const lut table(n, size);
            for (const auto &s : settings) {
                EXPECT_OK(VIQ_LUT_generate(table.handle, s[0], s[1], s[2], s[3], s[4], s[5]));
                const bool neutral = std::all_of(s, s + 6, [](i16 v) { return v == 100; });
                const auto percent = [](i16 v) { return std::clamp<double>(v, 0, 200); };
                const double k = 100 / std::clamp<double>(s[2], 25, 400);
                for (u32 t = 0; t < 4; ++t)
                    for (u32 i = 0; i < n; ++i) {
                        const double g = n * std::pow(static_cast<double>(i) / n, k);
                        const double v =
                            n / 2 + (g - n / 2) * percent(s[1]) / 100 + percent(s[0]) / 2 - 50;
                        const double gain = t == 0 ? 1 : percent(s[2 + t]) / 100;
                        const double wanted =
                            neutral  ? i
                            : i == 0 ? 0
                                     : std::clamp(v * gain, 0.0, size == 1 ? 255.0 : n - 1.0);
                        const u32 found =
                            size == 1 ? table.bytes(masks[t])[i] : table.words(masks[t])[i];
                        // If the formula gives an integer, rounding may give the one below.
                        ASSERT_TRUE(found == static_cast<u32>(wanted) ||
                                    std::abs(found - wanted) < 1e-9 ||
                                    std::abs(found + 1 - wanted) < 1e-9)
                            << text_of(n, s[0], s[1], s[2], t, i, found, wanted);
                    }
            }
        }
}

void randomise(const lut &table) {
    for (const u16 mask : masks)
        std::generate_n(table.bytes(mask), 256, noise);
}

u32 word_at(const bytes &b, std::size_t n) {
    return b[n] | u32{b[n + 1]} << 8;
}

TEST_P(Tables, MapPixelsOfEveryFormat) {
    const lut table(256, 1);
    randomise(table);
    const u8 *const t[] = {table.bytes(8), table.bytes(4), table.bytes(2), table.bytes(1)};
    const auto field = [&](u32 colour, u32 value, u32 bits) {
        return static_cast<u32>(t[colour][value << (8 - bits) & 255] >> (8 - bits));
    };
    for (u32 width = 2; width < 120; width += 2)
        for (const u16 format :
             words{VIQ_Y8, VIQ_RGB24, VIQ_RGB15, VIQ_RGB16, VIQ_RGB8, VIQ_YUV422}) {
            SCOPED_TRACE(text_of(format, width));
            const picture in(format, width, 2), out;
            fill_with_noise(in);
            EXPECT_OK(VIQ_LUT_apply(in, out, table.handle, 3));
            const bytes source = pixels_of(in);
            bytes wanted = source;
            for (std::size_t n = 0; n < source.size(); ++n) {
                const u32 v = source[n];
                u32 w = n % 2 == 0 ? word_at(source, n) : 0;
                switch (format) {
                case VIQ_Y8:
                    wanted[n] = t[0][v];
                    continue;
                case VIQ_RGB24:
                    wanted[n] = t[1 + n % 3][v];
                    continue;
                case VIQ_YUV422:
                    wanted[n] = n % 2 == 0 ? t[0][v] : source[n];
                    continue;
                case VIQ_RGB8:
                    wanted[n] = static_cast<u8>(field(1, v >> 5, 3) << 5 |
                                                field(2, v >> 2 & 7, 3) << 2 | field(3, v & 3, 2));
                    continue;
                default:
                    if (n % 2 != 0)
                        continue;
                    w = format == VIQ_RGB15
                            ? field(1, w >> 10 & 31, 5) << 10 | field(2, w >> 5 & 31, 5) << 5 |
                                  field(3, w & 31, 5)
                            : field(1, w >> 11, 5) << 11 | field(2, w >> 5 & 63, 6) << 5 |
                                  field(3, w & 31, 5);
                    wanted[n] = static_cast<u8>(w);
                    wanted[n + 1] = static_cast<u8>(w >> 8);
                }
            }
            ASSERT_EQ(pixels_of(out), wanted);
        }
}

TEST(LookupTable, MapsYuv422ThroughRgbIfGainsDiffer) {
    const lut table(256, 1);
    EXPECT_OK(VIQ_LUT_generate(table.handle, 100, 100, 100, 120, 100, 80));
    const picture in(VIQ_YUV422, 1030, 3), out, colours, mapped, expected;
    fill_with_noise(in);
    EXPECT_OK(VIQ_LUT_apply(in, out, table.handle, 3));
    EXPECT_OK(VIQ_YUV422_to_RGB24(in, colours, 3));
    EXPECT_OK(VIQ_LUT_apply(colours, mapped, table.handle, 3));
    EXPECT_OK(VIQ_convert_to_YUV422(mapped, expected, 3));
    EXPECT_EQ(pixels_of(out), pixels_of(expected));
}

TEST(LookupTable, KeepsLargerValuesAndRejectsOtherFormats) {
    const lut short_table(16, 1), wide(100, 2);
    std::fill_n(short_table.bytes(8), 16, u8{9});
    std::fill_n(wide.words(8), 100, u16{7});
    const picture grey(VIQ_Y8, 4, 1), deep(VIQ_Y16, 2, 1), out;
    set_strip(grey, {0, 15, 16, 255});
    EXPECT_OK(VIQ_LUT_apply(grey, out, short_table.handle, 3));
    EXPECT_EQ(pixels_of(out), (bytes{9, 9, 16, 255}));
    deep->data_width = 10;
    set_strip(deep, {99, 0, 100, 0});
    EXPECT_OK(VIQ_LUT_apply(deep, out, wide.handle, 3));
    EXPECT_EQ(pixels_of(out), (bytes{7, 0, 100, 0}));
    EXPECT_EQ(out->data_width, 10u);
    const char *unsupported = "Unsupported image format";
    EXPECT_ERROR(VIQ_LUT_apply(deep, out, short_table.handle, 3), 0x1007000e, unsupported);
    EXPECT_ERROR(VIQ_LUT_apply(grey, out, wide.handle, 3), 0x10070002, unsupported);
    EXPECT_ERROR(VIQ_LUT_apply(grey, out, 16, 3), 0x10040000, "");
    const picture odd(VIQ_YUV422, 3, 1);
    EXPECT_ERROR(VIQ_LUT_apply(odd, out, short_table.handle, 3), 0x10070000,
                 "YUV422 image must be an even width");
    set_lines(deep, 0);
    EXPECT_OK(VIQ_LUT_apply(deep, out, short_table.handle, 3));
    EXPECT_EQ(out->pixel_format, VIQ_Y16);
}

// ---- Histograms

TEST(Histogram, CountsHsiPixelsStripByStrip) {
    const auto h = std::make_unique<tVIQ_Histogram>();
    const picture in(VIQ_HSI, 7, 9);
    fill_with_noise(in);
    for (u32 n = 0; n < 63; ++n) // hues up to 511
        in->data[4 * n + 1] &= 1;
    tVIQ_Histogram wanted = {};
    for (u32 n = 0; n < 63; ++n) {
        const u8 *pixel = in->data + 4 * n;
        const u32 hue = pixel[0] | u32{pixel[1]} << 8;
        if (hue > 359)
            continue;
        ++wanted.hue[hue];
        ++wanted.saturation[pixel[2]];
        ++wanted.intensity[pixel[3]];
        for (u32 &total : wanted.totals)
            ++total;
    }
    for (const u32 lines : {9u, 4u, 1u}) {
        by_strips(in, lines, [&](const picture &strip) {
            EXPECT_OK(VIQ_IP_histogram_generate(strip, h.get(), 3));
        });
        EXPECT_EQ(std::memcmp(h.get(), &wanted, sizeof wanted), 0);
    }
    tVIQ_Histogram copy;
    EXPECT_OK(VIQ_IP_histogram_copy(h.get(), &copy));
    EXPECT_OK(VIQ_IP_histogram_clear(h.get()));
    EXPECT_EQ(h->totals[2], 0u);
    EXPECT_EQ(copy.totals[2], wanted.totals[2]);
}

TEST(Histogram, IsFilteredAndMatched) {
    tVIQ_Histogram a = {}, flat = {};
    a.intensity[100] = 4;
    a.intensity[0] = a.saturation[255] = a.hue[359] = 40;
    EXPECT_OK(VIQ_IP_histogram_filter(&a, 900));
    EXPECT_EQ(a.intensity[99], 1u);
    EXPECT_EQ(a.intensity[100], 2u);
    EXPECT_EQ(a.intensity[101], 1u);
    EXPECT_EQ(a.intensity[0], 40u);
    EXPECT_EQ(a.intensity[1], 10u);
    EXPECT_EQ(a.hue[358], 10u);
    EXPECT_EQ(a.hue[359], 40u);
    a.totals[0] = 3600;
    a.totals[1] = a.totals[2] = 2560;
    std::fill_n(flat.hue, 360, 10);
    std::fill_n(flat.saturation, 256, 10);
    std::fill_n(flat.intensity, 256, 10);
    for (const u16 plane : words{1, 2, 3}) {
        u32 result = 55;
        EXPECT_OK(VIQ_IP_histogram_match(&a, &a, plane, &result));
        EXPECT_EQ(result, 100u);
        EXPECT_OK(VIQ_IP_histogram_match(&a, &flat, plane, &result));
        EXPECT_EQ(result, 0u);
    }
    tVIQ_Histogram b = a;
    b.intensity[0] += 100; // compared with the deviation of all bins from the mean
    i64 spread = 0;
    for (const u32 bin : a.intensity)
        spread += std::abs(i64{bin} - 10);
    u32 result = 0;
    EXPECT_OK(VIQ_IP_histogram_match(&a, &b, 3, &result));
    EXPECT_EQ(result, 100 - 10000 / spread);
}

TEST(Histogram, RejectsMissingAndUnsupportedInput) {
    tVIQ_Histogram h = {};
    u32 result = 0;
    const char *null = "Histogram structure is NULL";
    const picture hsi(VIQ_HSI, 2, 2), grey(VIQ_Y8, 2, 2);
    EXPECT_ERROR(VIQ_IP_histogram_clear(nullptr), 0x10030000, null);
    EXPECT_ERROR(VIQ_IP_histogram_copy(&h, nullptr), 0x10030000, null);
    EXPECT_ERROR(VIQ_IP_histogram_generate(hsi, nullptr, 3), 0x10030000, null);
    EXPECT_ERROR(VIQ_IP_histogram_generate(grey, &h, 3), 0x10070000, "Unsupported image format");
    EXPECT_REPORT(VIQ_IP_histogram_generate(hsi, &h, 3), "VIQ_IP_histogram_generate_1_strip",
                  0x10050000, "No image data");
    EXPECT_ERROR(VIQ_IP_histogram_filter(nullptr, 900), 0x10030000,
                 "Histogram structure(s) is NULL");
    EXPECT_ERROR(VIQ_IP_histogram_filter(&h, 0), 0x10070000, "Only 0th order currently supported");
    for (const u16 plane : words{0, 4, 65535})
        EXPECT_ERROR(VIQ_IP_histogram_match(&h, &h, plane, &result), 0x10030001,
                     "Only planes 1,2 and 3 are acceptable");
    EXPECT_ERROR(VIQ_IP_histogram_match(&h, &h, 1, nullptr), 0x10030000, "Null pointer");
}

// ---- Thresholds

TEST_P(Tables, ThresholdGivesBlackAndWhite) {
    const picture in(VIQ_Y8, 259, 1), out;
    fill_with_noise(in);
    for (u32 x = 0; x < 256; ++x)
        in->data[x] = static_cast<u8>(x);
    const u16 limits[][2] = {{200, 50}, {0, 0},     {255, 255}, {256, 1},  {256, 256},
                             {50, 200}, {300, 300}, {65535, 0}, {128, 128}};
    for (const auto &limit : limits) {
        EXPECT_OK(VIQ_IP_threshold_grayscale(in, out, limit[0], limit[1], 3));
        for (u32 x = 0; x < 259; ++x) {
            const u32 v = in->data[x];
            ASSERT_EQ(out->data[x], v >= limit[0] ? 255 : v < limit[1] ? 0 : v) << limit[0];
        }
    }
    const picture colour(VIQ_RGB24, 2, 2);
    EXPECT_ERROR(VIQ_IP_threshold_grayscale(colour, out, 200, 50, 3), 0x10070000,
                 "Unsupported image format");
    set_lines(colour, 0);
    EXPECT_OK(VIQ_IP_threshold_grayscale(colour, out, 200, 50, 3));
    EXPECT_EQ(out->pixel_format, VIQ_Y8);
}

} // namespace
} // namespace viq
