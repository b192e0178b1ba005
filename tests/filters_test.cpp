// Filters, shading correction, motion detection and averages.
#include <array>
#include <cmath>

#include "tests/support.h"

namespace viq {
namespace {

class Filters : public every_set {};
WITH_EVERY_SET(Filters);

using kernel = std::array<i32, 9>;

bytes filtered(const picture &in, const kernel &k) {
    const u32 gap = in->pixel_format == VIQ_RGB24 ? 3 : 1;
    i64 sum = 0;
    for (const i32 c : k)
        sum += c;
    bytes result = pixels_of(in);
    const bytes source = result;
    const std::size_t line = std::size_t{in->width} * gap;
    for (std::size_t y = 1; y + 1 < in->height; ++y)
        for (std::size_t x = gap; x + gap < line; ++x) {
            i64 s = 0;
            for (std::size_t n = 0; n < 9; ++n)
                s += i64{k[n]} * source[(y + n / 3 - 1) * line + x + n % 3 * gap - gap];
            result[y * line + x] =
                static_cast<u8>(std::clamp<i64>(s / (sum == 0 ? 1 : sum), 0, 255));
        }
    return result;
}

const kernel kernels[] = {{0, 0, 0, 0, 1, 0, 0, 0, 0},
                          {1, 1, 1, 1, 1, 1, 1, 1, 1},
                          {0, -1, 0, -1, 5, -1, 0, -1, 0},
                          {-1, -1, -1, -1, 8, -1, -1, -1, -1},
                          {1, 2, 1, 2, 4, 2, 1, 2, 1},
                          {1, 3, 1, 5, 15, 5, 1, 3, 1},
                          {-1, -1, -1, 0, 0, 0, 0, 0, 0},
                          {3, 1, 4, 1, 5, 9, 2, 6, 5},
                          {64, 0, 0, 0, 64, 0, 0, 0, 0},
                          {64, -64, 0, 0, 3, 0, 0, 0, -4},
                          {1, 0, 65, 0, 0, 0, 0, 0, 7},
                          {14, 14, 14, 14, 14, 14, 14, 14, 14},
                          {14, 14, 14, 14, 15, 14, 14, 14, 15},
                          {INT32_MAX, INT32_MAX, 0, 0, INT32_MAX, 0, 0, 0, INT32_MAX},
                          {INT32_MIN, INT32_MIN, INT32_MIN, INT32_MIN, INT32_MIN, 0, 0, 0, 1},
                          {0, 0, 0, 0, 0, 0, 0, 0, 0}};

TEST_P(Filters, MatchTheFormula) {
    for (const u16 format : words{VIQ_Y8, VIQ_RGB24})
        for (const u32 width : {1u, 2u, 3u, 4u, 33u, 34u, 35u, 66u, 130u, 2051u})
            for (const u32 height : {1u, 2u, 5u}) {
                const picture in(format, width, height), out;
                fill_with_noise(in);
                std::fill_n(in->data, in->bytes_per_line, u8{255}); // white, for the largest sums
                for (const kernel &k : kernels) {
                    SCOPED_TRACE(text_of(format, width, height, &k - kernels));
                    EXPECT_OK(VIQ_IP_filter_3x3(in, out, k.data(), 3));
                    ASSERT_EQ(pixels_of(out), filtered(in, k));
                }
            }
}

// Every divisor of small kernels, with sums from below 0 to far above 255.
TEST_P(Filters, DivideExactlyByEveryKernelSum) {
    const picture in(VIQ_Y8, 600, 3), out;
    fill_with_noise(in);
    for (i32 divisor = 1; divisor <= 128; ++divisor) {
        kernel k = {};
        const i32 half = divisor / 2;
        k[0] = half;
        k[5] = divisor - half;
        if (divisor <= 60) {
            k[7] = 30;
            k[8] = -30;
        }
        EXPECT_OK(VIQ_IP_filter_3x3(in, out, k.data(), 3));
        ASSERT_EQ(pixels_of(out), filtered(in, k)) << divisor;
    }
}

TEST(Filter, KeepsTheLineAboveBetweenStrips) {
    const picture in(VIQ_RGB24, 11, 10), out, gathered, top, bottom;
    fill_with_noise(in);
    const kernel above = {0, 1, 0, 0, 1, 0, 0, 0, 0}; // does not use the line below
    EXPECT_OK(VIQ_IP_filter_3x3(in, out, above.data(), 3));
    const bytes whole = pixels_of(out);
    EXPECT_EQ(whole, filtered(in, above));
    for (const u32 lines : {1u, 3u, 10u}) {
        const picture part, all;
        convert_by_strips(
            in, lines,
            [&](u32 i, u32 o, u16 mode) { return VIQ_IP_filter_3x3(i, o, above.data(), mode); },
            part, all);
        EXPECT_EQ(pixels_of(all), whole);
    }
    // At the end of a strip, the last line is used as the line below it.
    const kernel below = {0, 0, 0, 0, 0, 0, 0, 1, 0};
    set_lines(in, 4);
    EXPECT_OK(VIQ_IP_filter_3x3(in, out, below.data(), 3));
    EXPECT_EQ(out->data[3 * out->bytes_per_line + 5], in->data[3 * in->bytes_per_line + 5]);
    EXPECT_EQ(out->data[2 * out->bytes_per_line + 5], in->data[3 * in->bytes_per_line + 5]);
    EXPECT_OK(VIQ_IP_filter_3x3(in, out, below.data(), 4));
    const picture other(VIQ_Y16, 4, 4);
    EXPECT_ERROR(VIQ_IP_filter_3x3(other, out, below.data(), 3), 0x10070000,
                 "Supports RGB24 & Y8 only");
    EXPECT_ERROR(VIQ_IP_filter_3x3(in, out, nullptr, 3), 0x10030000, "Null pointer");
}

// ---- Shading

void set_words(const picture &p, const words &values) {
    bytes strip;
    for (const u16 v : values) {
        strip.push_back(static_cast<u8>(v));
        strip.push_back(static_cast<u8>(v >> 8));
    }
    set_strip(p, strip);
}

words words_of(const picture &p) {
    const bytes strip = pixels_of(p);
    words values;
    for (std::size_t n = 0; n < strip.size(); n += 2)
        values.push_back(static_cast<u16>(strip[n] | strip[n + 1] << 8));
    return values;
}

TEST(Shading, GeneratesOffsetAndGainReferences) {
    const picture black(VIQ_Y16, 7, 1), white(VIQ_Y16, 7, 1), offset, gain;
    set_words(black, {0, 0, 0, 100, 5, 9, 65534});
    set_words(white, {65535, 4096, 4095, 100, 4, 10, 65535});
    EXPECT_OK(VIQ_IP_ShadingCorrection_Generate(black, white, offset, gain));
    EXPECT_EQ(words_of(offset), words_of(black));
    const u16 limited = static_cast<u16>(61440 + (65535 - 15) * 4096);
    EXPECT_EQ(words_of(gain), (words{4096, 65535, 15, 65535, 65535, limited, limited}));
}

TEST_P(Filters, ShadingCorrectsPixelPairs) {
    for (const u32 width : {1u, 2u, 15u, 16u, 17u, 34u, 67u}) {
        const picture in(VIQ_Y16, width, 3), offset(VIQ_Y16, width, 3), gain(VIQ_Y16, width, 3),
            out;
        for (const picture *p : {&in, &offset, &gain})
            fill_with_noise(*p);
        EXPECT_OK(VIQ_IP_ShadingCorrection(in, out, offset, gain));
        const words p = words_of(in), o = words_of(offset), g = words_of(gain);
        words wanted(p.size());
        for (std::size_t n = 0; n < p.size(); ++n)
            if (width % 2 == 0 || n % width != width - 1)
                wanted[n] = static_cast<u16>(std::min<u64>(
                    u64{g[n]} * static_cast<u64>(std::max(0, p[n] - o[n])) >> 12, 65535));
        EXPECT_EQ(words_of(out), wanted);
    }
}

TEST(Shading, ReportsWhichImageIsInvalid) {
    const char *make = "VIQ_IP_ShadingCorrection_Generate";
    const char *apply = "VIQ_IP_ShadingCorrection";
    const picture good(VIQ_Y16, 4, 4), also(VIQ_Y16, 4, 4), out, other, grey(VIQ_Y8, 4, 4),
        small(VIQ_Y16, 4, 3);
    for (const picture *p : {&good, &also, &grey, &small})
        fill_with_noise(*p);
    const auto corrupt = [](const char *name, const char *image) {
        return failures{{name, 0x10050000, std::string("Corrupt image - ") + image}};
    };
    expect_reports([&] { return VIQ_IP_ShadingCorrection_Generate(good, missing, out, other); },
                   corrupt(make, "hWhiteRefImage"));
    expect_reports([&] { return VIQ_IP_ShadingCorrection_Generate(missing, good, out, other); },
                   corrupt(make, "hBlackRefImage"));
    expect_reports([&] { return VIQ_IP_ShadingCorrection(missing, out, good, also); },
                   corrupt(apply, "hInImage"));
    expect_reports([&] { return VIQ_IP_ShadingCorrection(good, out, missing, also); },
                   corrupt(apply, "hOffsetRefImage"));
    expect_reports([&] { return VIQ_IP_ShadingCorrection(good, out, also, missing); },
                   corrupt(apply, "hGainRefImage"));
    expect_reports([&] { return VIQ_IP_ShadingCorrection(good, missing, good, also); },
                   corrupt(apply, "hOutImage"));
    expect_reports([&] { return VIQ_IP_ShadingCorrection_Generate(good, also, out, missing); },
                   corrupt(make, "hGainRefImage"));
    expect_reports([&] { return VIQ_IP_ShadingCorrection_Generate(good, also, missing, out); },
                   corrupt(make, "hOffsetRefImage"));
    EXPECT_EQ(out->pixel_format, 0u); // no output changes before all images are checked
    EXPECT_ERROR(VIQ_IP_ShadingCorrection_Generate(good, also, out, out), 0x10030000,
                 "Input and output image are the same");
    EXPECT_ERROR(VIQ_IP_ShadingCorrection(grey, out, good, also), 0x10070000,
                 "Unsupported image format");
    EXPECT_ERROR(VIQ_IP_ShadingCorrection(small, out, good, also), 0x10070000,
                 "Images do not match");
    EXPECT_ERROR(VIQ_IP_ShadingCorrection_Generate(good, small, out, other), 0x10070000,
                 "Images do not match");
    EXPECT_ERROR(VIQ_IP_ShadingCorrection(good, good, also, also), 0x10030000,
                 "Input and output image are the same");
}

// ---- Motion detection, whose stored value is process-wide

TEST_P(Filters, MotionIsComparedWithTheLastMovingFrame) {
    static i64 stored = 0;
    for (const u16 format : words{VIQ_Y8, VIQ_YUV422})
        for (const u32 width : {1u, 17u, 60u, 700u})
            for (const u32 step : {1u, 2u, 3u, 100u, 0xFFFFFFFFu}) {
                SCOPED_TRACE(text_of(format, width, step));
                const picture a(format, width, 40), b(format, width, 40);
                fill_with_noise(a);
                fill_with_noise(b);
                const u32 size = format == VIQ_Y8 ? 1 : 2;
                i64 c = 0;
                for (u64 y = 0; y < 40; y += step)
                    for (u64 x = 0; x < width; x += step) {
                        const u64 at = y * a->bytes_per_line + x * size;
                        c += ((a->data[at] & 0xFC) - 128) * ((b->data[at] & 0xFC) - 128);
                    }
                c = c == 0 ? 1 : c >= 0x1000001 ? c >> 7 : c;
                const u64 change = static_cast<u64>(std::abs(100 - stored * 100 / c));
                u32 result = 12345;
                EXPECT_OK(VIQ_IP_motion_detect(a, b, 50, step, &result));
                EXPECT_EQ(result, stored == 0 ? 0 : change);
                if (stored == 0 || change > 50)
                    stored = c;
                EXPECT_OK(VIQ_IP_motion_detect(a, b, 50, step, &result));
                EXPECT_EQ(result, static_cast<u64>(std::abs(100 - stored * 100 / c)));
            }
}

TEST(Motion, RejectsFramesOfDifferentGeometry) {
    const picture a(VIQ_Y8, 4, 4), wide(VIQ_Y8, 5, 4), yuv(VIQ_YUV422, 4, 4), rgb(VIQ_RGB24, 4, 4);
    for (const picture *p : {&a, &wide, &yuv, &rgb})
        fill_with_noise(*p);
    u32 result = 7;
    EXPECT_ERROR(VIQ_IP_motion_detect(a, yuv, 0, 1, &result), 0x10070001,
                 "Both images must be the same");
    EXPECT_EQ(result, 0u);
    EXPECT_ERROR(VIQ_IP_motion_detect(rgb, rgb, 0, 1, &result), 0x10070000,
                 "Unsupported image format");
    EXPECT_ERROR(VIQ_IP_motion_detect(a, wide, 0, 1, &result), 0x10070000, "Images do not match");
    EXPECT_ERROR(VIQ_IP_motion_detect(a, a, 0, 0, &result), 0x10030000, "Step is 0");
    EXPECT_ERROR(VIQ_IP_motion_detect(a, a, 0, 1, nullptr), 0x10030000, "Null pointer");
    set_lines(yuv, 0);
    EXPECT_OK(VIQ_IP_motion_detect(a, yuv, 0, 1, &result));
}

// ---- Averages

TEST_P(Filters, HsiAveragesAreDividedAfterEachStrip) {
    for (const u32 width : {1u, 9u, 40u}) {
        const picture hsi(VIQ_HSI, width, 6), grey(VIQ_Y8, width, 6);
        fill_with_noise(hsi);
        fill_with_noise(grey);
        for (const u32 lines : {6u, 4u}) {
            tVIQ_Average average = {{9, 9, 9}};
            u64 running[3] = {};
            u32 done = 0;
            by_strips(hsi, lines, [&](const picture &strip) {
                EXPECT_OK(VIQ_IP_generate_averages(strip, &average, 3));
                for (u32 n = 0; n < width * strip->lines_per_strip; ++n) {
                    const u8 *pixel = strip->data + 4 * n;
                    running[0] += pixel[0] | u32{pixel[1]} << 8;
                    running[1] += pixel[2];
                    running[2] += pixel[3];
                }
                for (u64 &value : running)
                    value /= width * strip->lines_per_strip;
            });
            for (u32 n = 0; n < 3; ++n)
                EXPECT_EQ(average.average[n], running[n]);
            bytes seen;
            by_strips(grey, lines, [&](const picture &strip) {
                EXPECT_OK(VIQ_IP_generate_averages(strip, &average, 3));
                const bytes more = pixels_of(strip);
                seen.insert(seen.end(), more.begin(), more.end());
                done += strip->lines_per_strip;
                u32 sum = 0;
                for (const u8 v : seen)
                    sum += v;
                EXPECT_EQ(average.average[0], sum / seen.size());
                EXPECT_EQ(average.average[1], *std::min_element(seen.begin(), seen.end()));
                EXPECT_EQ(average.average[2], *std::max_element(seen.begin(), seen.end()));
            });
        }
    }
    const picture rgb(VIQ_RGB24, 2, 2), grey(VIQ_Y8, 2, 2);
    tVIQ_Average average;
    EXPECT_ERROR(VIQ_IP_generate_averages(rgb, &average, 3), 0x10070000,
                 "Unsupported image format");
    EXPECT_ERROR(VIQ_IP_generate_averages(grey, nullptr, 3), 0x10030000,
                 "tVIQ_Average structure pointer is NULL");
}

} // namespace
} // namespace viq
