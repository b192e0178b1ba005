// Bayer mosaics and chroma keying.
#include <array>
#include <functional>

#include "tests/support.h"

namespace viq {
namespace {

class Camera : public every_set {};
WITH_EVERY_SET(Camera);

constexpr u32 red = 0, green = 1, blue = 2;

// The colour at (x, y) of a mosaic with this phase.
u32 colour_at(u16 phase, int x, int y) {
    constexpr u32 cells[4][2][2] = {{{red, green}, {green, blue}},
                                    {{green, red}, {blue, green}},
                                    {{green, blue}, {red, green}},
                                    {{blue, green}, {green, red}}};
    return cells[phase - 1][y % 2][x % 2];
}

TEST_P(Camera, MosaicKeepsOneColourPerPixel) {
    for (const u32 width : {1u, 2u, 31u, 33u, 64u, 101u}) {
        const picture in(VIQ_RGB24, width, 5), mosaic, colours, grey;
        fill_with_noise(in);
        set_lines(in, 2); // the whole picture is processed regardless
        EXPECT_OK(VIQ_BAY_RGB24_to_RGGB32(in, mosaic, 3));
        EXPECT_EQ(in->lines_per_strip, 5u);
        EXPECT_OK(VIQ_BAY_RGGB32_map_to_RGB24(mosaic, colours, 3));
        for (u32 y = 0; y < 5; ++y)
            for (u32 x = 0; x < width; ++x)
                for (u32 c = 0; c < 3; ++c) {
                    const std::size_t at = std::size_t{y} * in->bytes_per_line + 3 * x + c;
                    const bool kept = c == colour_at(1, static_cast<int>(x), static_cast<int>(y));
                    ASSERT_EQ(colours->data[at], kept ? in->data[at] : 0);
                }
        EXPECT_OK(VIQ_BAY_RGGB32_map_to_Y8(mosaic, grey, 3));
        for (u32 n = 0; n < 5 * grey->bytes_per_line; ++n) // skewed if lines are padded
            ASSERT_EQ(grey->data[n], n < 5 * width ? mosaic->data[n] : 0);
    }
}

// ---- Reference demosaicing; coordinates outside the mosaic are mirrored

struct mosaic_view {
    const picture &p;
    int at(int x, int y) const {
        const auto mirrored = [](int n, int count) {
            n = n < 0 ? -n : n;
            n = n >= count ? 2 * (count - 1) - n : n;
            return std::clamp(n, 0, count - 1);
        };
        const int w = static_cast<int>(p->width), h = static_cast<int>(p->height);
        return p->data[static_cast<u32>(mirrored(y, h)) * p->bytes_per_line +
                       static_cast<u32>(mirrored(x, w))];
    }
};

std::array<int, 3> demosaiced(const mosaic_view &m, u16 scheme, u16 phase, int x, int y) {
    const u32 own = colour_at(phase, x, y);
    const u32 beside = colour_at(phase, x + 1, y);
    const auto s = [&](int dx, int dy) { return m.at(x + dx, y + dy); };
    std::array<int, 3> c = {};
    c[own] = s(0, 0);
    if (own == green) {
        const u32 below = colour_at(phase, x, y + 1);
        c[beside] = scheme == 1 ? s(1, 0) : (s(-1, 0) + s(1, 0)) >> 1;
        c[below] = scheme == 1 ? s(0, 1) : (s(0, -1) + s(0, 1)) >> 1;
        return c;
    }
    const u32 other = red + blue - own;
    const bool inner_top = y == 0 && x > 0 && x + 1 < static_cast<int>(m.p->width);
    const int across = (s(-1, 0) + s(1, 0)) >> 1;
    const int down = (s(0, -1) + s(0, 1)) >> 1;
    if (scheme == 1) {
        c[green] = s(1, 0);
        c[other] = s(1, 1);
    } else if (scheme == 2) {
        c[green] = inner_top ? across : (s(-1, 0) + s(1, 0) + s(0, -1) + s(0, 1)) >> 2;
        c[other] = (s(-1, -1) + s(1, -1) + s(-1, 1) + s(1, 1)) >> 2;
    } else {
        const auto bend = [&](int a, int b) { return 2 * std::abs(s(0, 0) - ((a + b + 1) >> 1)); };
        // The gradient along a direction: difference of the two neighbours plus curvature.
        const auto change = [&](int dx, int dy) {
            return std::min(255, std::abs(s(-dx, -dy) - s(dx, dy)) +
                                     bend(s(-2 * dx, -2 * dy), s(2 * dx, 2 * dy)));
        };
        c[green] = change(0, 1) < change(1, 0) ? down : across;
        c[other] =
            change(1, -1) < change(1, 1) ? (s(1, -1) + s(-1, 1)) >> 1 : (s(-1, -1) + s(1, 1)) >> 1;
    }
    return c;
}

TEST_P(Camera, DemosaicMatchesReferenceForEveryPhaseAndBorder) {
    for (const u32 width : {1u, 2u, 3u, 32u, 33u, 70u})
        for (const u32 height : {1u, 2u, 3u, 6u})
            for (u16 scheme = 1; scheme <= 3; ++scheme)
                for (u16 phase = 1; phase <= 4; ++phase) {
                    SCOPED_TRACE(text_of(width, height, scheme, phase));
                    const picture in(VIQ_RGGB32, width, height), wide, packed;
                    fill_with_noise(in);
                    EXPECT_OK(VIQ_BAY_RGGB32_to_BGRX32(in, wide, scheme, phase, 3));
                    EXPECT_OK(VIQ_BAY_RGGB32_to_RGB16(in, packed, scheme, phase, 3));
                    for (u32 y = 0; y < height; ++y)
                        for (u32 x = 0; x < width; ++x) {
                            const auto c = demosaiced({in}, scheme, phase, static_cast<int>(x),
                                                      static_cast<int>(y));
                            const u8 *p = wide->data + y * wide->bytes_per_line + 4 * x;
                            ASSERT_EQ((std::array{p[0] + 0, p[1] + 0, p[2] + 0, p[3] + 0}),
                                      (std::array{c[2], c[1], c[0], 0}))
                                << x << ' ' << y;
                            const u8 *w = packed->data + y * packed->bytes_per_line + 2 * x;
                            ASSERT_EQ(w[0] | w[1] << 8,
                                      (c[0] & 0xF8) << 8 | (c[1] & 0xFC) << 3 | c[2] >> 3);
                        }
                }
}

// The error against the photograph decreases from scheme to scheme.
TEST(Mosaic, HigherSchemesReduceTheError) {
    for (const char *name : {"chelsea", "coffee"}) {
        const std::string file = VIQ_SOURCE_DIR "/samples/" + std::string(name) + ".bmp";
        const picture photo, mosaic, out, rgb;
        EXPECT_OK(VIQ_image_set_infilename(photo, file.c_str()));
        EXPECT_OK(VIQ_image_read(photo, 0, 3));
        EXPECT_OK(VIQ_BAY_RGB24_to_RGGB32(photo, mosaic, 3));
        const bytes wanted = pixels_of(photo);
        u64 before = UINT64_MAX;
        for (u16 scheme = 1; scheme <= 3; ++scheme) {
            EXPECT_OK(VIQ_BAY_RGGB32_to_BGRX32(mosaic, out, scheme, 1, 3));
            EXPECT_OK(VIQ_convert_to_RGB24(out, rgb, 3));
            const bytes found = pixels_of(rgb);
            u64 error = 0;
            for (std::size_t n = 0; n < wanted.size(); ++n)
                error += static_cast<u64>((wanted[n] - found[n]) * (wanted[n] - found[n]));
            EXPECT_LT(error, before) << name << ' ' << scheme;
            before = error;
        }
    }
}

TEST(Mosaic, RejectsInvalidInputBeforeOutput) {
    const picture rgb(VIQ_RGB24, 4, 4), mosaic(VIQ_RGGB32, 4, 4), out;
    fill_with_noise(mosaic);
    const char *unsupported = "Unsupported image format";
    EXPECT_ERROR(VIQ_BAY_RGB24_to_RGGB32(mosaic, out, 3), 0x10070000,
                 "Input must be VIQ_RGB24 only");
    EXPECT_ERROR(VIQ_BAY_RGGB32_map_to_RGB24(rgb, out, 3), 0x10070000, unsupported);
    EXPECT_ERROR(VIQ_BAY_RGGB32_map_to_Y8(rgb, out, 3), 0x10070000, unsupported);
    const struct {
        u32 (*call)(u32, u32, u16, u16, u16);
        const char *name;
    } decoders[] = {{VIQ_BAY_RGGB32_to_BGRX32, "VIQ_BAY_RGGB32_to_BGRX32"},
                    {VIQ_BAY_RGGB32_to_RGB16, "VIQ_BAY_RGGB32_to_RGB16"}};
    for (const auto &d : decoders) {
        EXPECT_REPORT(d.call(rgb, out, 1, 1, 3), d.name, 0x10070000,
                      "Input must be VIQ_RGGB32 only");
        for (const u16 wrong : words{0, 4, 65535})
            EXPECT_REPORT(d.call(mosaic, out, wrong, 1, 3), d.name, 0x10070000,
                          "Invalid Bayer Decoding Scheme");
        for (const u16 wrong : words{0, 5, 65535})
            EXPECT_REPORT(d.call(mosaic, out, 3, wrong, 3), d.name, 0x10070000,
                          "Invalid Bayer Pixel Colour");
        EXPECT_EQ(out->pixel_format, 0u);
    }
    set_lines(rgb, 2);
    EXPECT_OK(VIQ_image_malloc_a_strip(rgb)); // holds only two of the four lines
    EXPECT_ERROR(VIQ_BAY_RGB24_to_RGGB32(rgb, out, 3), 0x10050000, "No image data");
    EXPECT_EQ(rgb->lines_per_strip, 2u);
    set_lines(rgb, 0);
    EXPECT_OK(VIQ_BAY_RGB24_to_RGGB32(rgb, out, 3));
    EXPECT_EQ(out->pixel_format, VIQ_RGGB32);
    EXPECT_EQ(out->data, nullptr);
    set_lines(mosaic, 0); // only map_to_RGB24 copies just the metadata
    EXPECT_OK(VIQ_BAY_RGGB32_map_to_RGB24(mosaic, out, 3));
    EXPECT_EQ(out->lines_per_strip, 0u);
    EXPECT_OK(VIQ_BAY_RGGB32_map_to_Y8(mosaic, out, 3));
    EXPECT_EQ(out->lines_per_strip, 4u);
    set_lines(mosaic, 0);
    EXPECT_OK(VIQ_BAY_RGGB32_to_RGB16(mosaic, out, 2, 1, 3));
    EXPECT_EQ(out->lines_per_strip, 4u);
}

// ---- Chroma keying

struct key_object {
    u32 handle = VIQ_CK_create();
    ~key_object() { VIQ_CK_destroy(handle); }
};

TEST(ChromaKey, ProvidesThreeIndependentObjects) {
    const key_object a, b, c;
    EXPECT_EQ(c.handle, 3u);
    EXPECT_ERROR(VIQ_CK_create(), 0x10080000, "");
    const u32 defaults[] = {340, 20, 120, 64};
    for (u16 n = 0; n < 4; ++n) {
        const u16 id = static_cast<u16>(300 + n);
        EXPECT_EQ(VIQ_CK_get_parameter(b.handle, id), defaults[n]);
        EXPECT_OK(VIQ_CK_set_parameter(b.handle, id, static_cast<u16>(7 + n)));
        EXPECT_EQ(VIQ_CK_get_parameter(b.handle, id), 7u + n);
        EXPECT_EQ(VIQ_CK_get_parameter(c.handle, id), defaults[n]);
    }
    EXPECT_ERROR(VIQ_CK_get_parameter(a.handle, 304), 0x10030000, "Unknown parameter");
    EXPECT_ERROR(VIQ_CK_set_parameter(a.handle, 299, 1), 0x10030000, "Unknown parameter");
    EXPECT_OK(VIQ_CK_destroy(b.handle));
    EXPECT_OK(VIQ_CK_destroy(b.handle));
    for (const u32 handle : {0u, 2u, 4u})
        EXPECT_ERROR(VIQ_CK_get_parameter(handle, 300), 0x10040000, "");
    EXPECT_OK(VIQ_CK_destroy(0x10001));
    EXPECT_ERROR(VIQ_CK_get_parameter(a.handle, 300), 0x10040000, "");
}

TEST(ChromaKey, ReturnsYuvOfNamedColours) {
    EXPECT_EQ(VIQ_CK_get_YUV_values(15), 0x8080FFu);
    EXPECT_EQ(VIQ_CK_get_YUV_values(8), VIQ_CK_get_YUV_values_RGB(76, 76, 76));
    EXPECT_ERROR(VIQ_CK_get_YUV_values(16), 0x10030000, "Unrecognized colour");
    const u32 values = VIQ_CK_get_YUV_values(12);
    EXPECT_EQ(VIQ_CK_get_component(12, 500), values);
    EXPECT_EQ(VIQ_CK_get_component(12, 501), values >> 8);
    EXPECT_EQ(VIQ_CK_get_component(12, 503), values >> 16);
    EXPECT_EQ(VIQ_CK_get_component(12, 502), 0xFFFFFF00u);
    EXPECT_EQ(VIQ_CK_get_component(12, 1015), 512u);
}

u32 hue_of(const u8 *pair) {
    const picture yuv(VIQ_YUV422, 2, 1), hsi;
    set_strip(yuv, {255, pair[1], 255, pair[3]});
    EXPECT_OK(VIQ_YUV422_to_HSI(yuv, hsi, 3));
    return hsi->data[0] | u32{hsi->data[1]} << 8;
}

// Reference chroma key: pixel pairs are processed in sequence, across line ends.
bytes keyed(const picture &in, const picture *background, u32 colour, const u32 (&window)[4],
            u16 mode) {
    const bytes source = pixels_of(in);
    bytes other = background != nullptr ? pixels_of(*background) : source;
    if (background == nullptr)
        for (std::size_t n = 0; n < other.size(); ++n)
            other[n] = static_cast<u8>(n % 4 == 1   ? colour >> 8
                                       : n % 4 == 3 ? colour >> 16
                                                    : colour);
    bytes result = source;
    const auto mix = [&](std::size_t at) {
        for (std::size_t n = at; n < at + 4; ++n)
            result[n] = static_cast<u8>((source[n] + other[n]) >> 1);
    };
    bool was = false;
    for (std::size_t at = 0; at < source.size(); at += 4) {
        const u32 hue = hue_of(&source[at]);
        const bool is =
            window[0] < source[at] && source[at] < window[1] && window[2] < hue && hue < window[3];
        if (is)
            std::copy_n(other.begin() + static_cast<std::ptrdiff_t>(at), 4,
                        result.begin() + static_cast<std::ptrdiff_t>(at));
        if (mode == 1 && is != was && at >= in->width * 2u)
            mix(is ? at - 4 : at);
        was = is;
    }
    return result;
}

TEST_P(Camera, ChromaKeySelectsByLumaAndHue) {
    const key_object key;
    const struct {
        u16 hue, hue_tolerance, luma, luma_tolerance;
        u32 window[4];
    } cases[] = {{340, 20, 120, 64, {56, 184, 320, 359}},
                 {10, 20, 250, 60, {190, 255, 0, 30}},
                 {180, 150, 100, 150, {0, 250, 30, 330}},
                 {40000, 1, 65535, 1, {255, 255, 359, 359}}};
    for (const auto &c : cases) {
        const u16 values[] = {c.hue, c.hue_tolerance, c.luma, c.luma_tolerance};
        for (u16 n = 0; n < 4; ++n)
            EXPECT_OK(VIQ_CK_set_parameter(key.handle, static_cast<u16>(300 + n), values[n]));
        for (const u32 width : {2u, 14u, 38u})
            for (const u32 alignment : {2u, 64u}) {
                SCOPED_TRACE(text_of(c.hue, width, alignment));
                const picture in(VIQ_YUV422, width, 6, alignment), back(VIQ_YUV422, width, 6), out;
                fill_with_noise(in);
                fill_with_noise(back);
                for (const u16 mode : words{0, 1}) {
                    EXPECT_OK(VIQ_CK_chroma_key(in, out, 0, 12, key.handle, mode, 3));
                    ASSERT_EQ(pixels_of(out),
                              keyed(in, nullptr, VIQ_CK_get_YUV_values(12), c.window, mode));
                    EXPECT_OK(VIQ_CK_chroma_key(in, out, back, 0, key.handle, mode, 3));
                    ASSERT_EQ(pixels_of(out), keyed(in, &back, 0, c.window, mode));
                }
                EXPECT_OK(VIQ_CK_chroma_key(in, out, 0, 12, key.handle, 2, 3));
                EXPECT_EQ(pixels_of(out), bytes(width * 12));
            }
    }
}

TEST(ChromaKey, RejectsInvalidInputBeforeOutput) {
    const key_object key;
    const char *name = "VIQ_CK_chroma_key";
    const picture in(VIQ_YUV422, 12, 4), rgb(VIQ_RGB24, 12, 4), odd(VIQ_YUV422, 5, 4), out;
    fill_with_noise(in);
    fill_with_noise(rgb);
    const auto run = [&](u32 image, u32 background, u16 colour, u32 object) {
        return VIQ_CK_chroma_key(image, out, background, colour, object, 0, 3);
    };
    EXPECT_REPORT(run(rgb, 0, 1, key.handle), name, 0x10070007, "Not YUV 4:2:2 image format");
    EXPECT_REPORT(run(odd, 0, 1, key.handle), name, 0x10070000,
                  "YUV422 image must be an even width");
    EXPECT_REPORT(run(in, 0, 16, key.handle), "VIQ_CK_get_YUV_values", 0x10030000,
                  "Unrecognized colour");
    for (const u32 object : {0u, 2u, 9u})
        EXPECT_REPORT(run(in, 0, 1, object), name, 0x10040000, "");
    for (const picture &background :
         {picture(VIQ_RGB24, 12, 4), picture(VIQ_YUV422, 14, 4), picture(VIQ_YUV422, 12, 5)})
        EXPECT_REPORT(run(in, background, 1, key.handle), name, 0x10070000,
                      "Background image does not match");
    EXPECT_EQ(out->pixel_format, 0u);
    const picture empty(VIQ_YUV422, 12, 4);
    EXPECT_REPORT(run(in, empty, 1, key.handle), "VIQ_CK_chroma_key_1_strip", 0x10050000,
                  "No image data");
    EXPECT_OK(VIQ_CK_chroma_key(in, out, 0, 1, key.handle, 0, 4));

    const picture narrow(VIQ_YUV422, 8, 4);
    EXPECT_ERROR(VIQ_CK_calibrate(narrow, key.handle, 3), 0x10070000,
                 "Image too small to calibrate");
    EXPECT_ERROR(VIQ_CK_calibrate(rgb, key.handle, 3), 0x10070007, "Not YUV 4:2:2 image format");
    EXPECT_ERROR(VIQ_CK_calibrate(in, 2, 3), 0x10040000, "");
}

TEST(ChromaKey, CalibrationSetsTheHueCentreToTheMean) {
    const key_object key;
    const picture in(VIQ_YUV422, 20, 6, 64);
    fill_with_noise(in);
    double sum = 0; // 7 pairs per line are read consecutively, across line ends
    for (u32 n = 0; n < 6 * 7; ++n)
        sum += hue_of(in->data + 4 * n) / 36.0;
    EXPECT_OK(VIQ_CK_calibrate(in, key.handle, 3));
    const u32 wanted[] = {static_cast<u32>(sum + 0.5), 20, 20, 64};
    for (u16 n = 0; n < 4; ++n)
        EXPECT_EQ(VIQ_CK_get_parameter(key.handle, static_cast<u16>(300 + n)), wanted[n]);
}

} // namespace
} // namespace viq
