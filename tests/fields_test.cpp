// Video fields, extraction of channels, and pseudo-colour.
#include "tests/support.h"

namespace viq {
namespace {

class Fields : public every_set {};
WITH_EVERY_SET(Fields);

void put_second_first(const picture &p) {
    VIQ_image_set_flags(p, VIQ_FLAG_20, 1);
    p->param_23 = 2;
}

bytes line_of(const picture &p, u32 y) {
    const u8 *line = p->data + std::size_t{y} * p->bytes_per_line;
    return bytes(line, line + p->bytes_per_line);
}

TEST(TwoFields, AreInterleavedInFieldOrder) {
    for (const u16 format : words{VIQ_Y8, VIQ_RGB24, VIQ_HSI})
        for (const bool second_first : {false, true}) {
            const picture first(format, 5, 6), second(format, 5, 6), out;
            fill_with_noise(first);
            fill_with_noise(second);
            if (second_first)
                put_second_first(first);
            EXPECT_OK(VIQ_SPL_2fields_to_frame(first, second, out, 3));
            ASSERT_EQ(out->height, 12u);
            ASSERT_EQ(out->lines_per_strip, 12u);
            for (u32 y = 0; y < 12; ++y)
                EXPECT_EQ(line_of(out, y),
                          line_of((y % 2 != 0) != second_first ? second : first, y / 2));
        }
    // By strips, of which the last is shorter in both fields.
    const picture first(VIQ_Y8, 4, 5), second(VIQ_Y8, 4, 5), strip1, strip2, out, gathered, whole;
    fill_with_noise(first);
    fill_with_noise(second);
    EXPECT_OK(VIQ_SPL_2fields_to_frame(first, second, whole, 3));
    VIQ_image_set_flags(second, VIQ_FLAG_20, 1); // the field order of the second field is ignored
    second->param_23 = 2;
    for (u32 done = 0; done < 5; done += 2) {
        for (const auto &[from, to] : {std::pair{&first, &strip1}, {&second, &strip2}}) {
            EXPECT_OK(VIQ_image_copy_parameters(*from, *to));
            set_lines(*to, 2);
            EXPECT_OK(VIQ_image_free_data(*to));
            EXPECT_OK(VIQ_image_malloc_a_strip(*to));
            const bytes all = pixels_of(*from);
            std::copy_n(all.begin() + 4 * done, std::min(8u, 20 - 4 * done), (*to)->data);
        }
        EXPECT_OK(VIQ_SPL_2fields_to_frame(strip1, strip2, out, 3));
        EXPECT_OK(VIQ_write_to_memory(out, gathered, 3));
    }
    EXPECT_EQ(strip2->lines_per_strip, 1u);
    EXPECT_EQ(pixels_of(gathered), pixels_of(whole));
}

TEST(TwoFields, MustHaveTheSameGeometry) {
    const picture a(VIQ_Y8, 4, 4), out;
    fill_with_noise(a);
    for (const picture &b : {picture(VIQ_Y8, 5, 4), picture(VIQ_Y8, 4, 5), picture(VIQ_RGB8, 4, 4),
                             picture(VIQ_Y8, 4, 4, 64)})
        EXPECT_ERROR(VIQ_SPL_2fields_to_frame(a, b, out, 3), 0x10070000, "Fields are different");
    const picture b(VIQ_Y8, 4, 4);
    EXPECT_ERROR(VIQ_SPL_2fields_to_frame(a, b, out, 3), 0x10050000, "No image data");
    fill_with_noise(b);
    set_lines(b, 3);
    EXPECT_ERROR(VIQ_SPL_2fields_to_frame(a, b, out, 3), 0x10070000, "Fields are different");
    EXPECT_OK(VIQ_SPL_2fields_to_frame(a, b, out, 4));
    EXPECT_ERROR(VIQ_SPL_2fields_to_frame(missing, b, out, 3), 0x10050000,
                 "Corrupt image - parameter 1");
    EXPECT_ERROR(VIQ_SPL_2fields_to_frame(a, missing, out, 3), 0x10050000,
                 "Corrupt image - parameter 2");
    set_lines(b, 4);
    fill_with_noise(out);
    EXPECT_OK(VIQ_image_set_ptr(b, VIQ_PTR_DATA, out->data)); // shares the buffer of the output
    EXPECT_ERROR(VIQ_SPL_2fields_to_frame(a, b, out, 3), 0x10030000,
                 "Input and output image are the same");
    EXPECT_OK(VIQ_SPL_2fields_to_frame(a, b, out, 4));
    for (const picture *without_lines : {&b, &a}) { // first only b, then both
        set_lines(*without_lines, 0);
        EXPECT_OK(VIQ_SPL_2fields_to_frame(a, b, out, 3));
        EXPECT_EQ(out->height, 8u);
        EXPECT_EQ(out->lines_per_strip, 0u);
    }
}

// The byte that a scheme interpolates between lines n and n + 1. Neighbouring samples of the same
// component are `gap` bytes apart.
u8 between(u32 scheme, const std::vector<bytes> &lines, std::size_t n, std::size_t x, u32 gap,
           std::size_t pixel_bytes) {
    const auto at = [&](std::size_t line, std::size_t byte) {
        return static_cast<int>(lines[std::min(line, lines.size() - 1)][byte]);
    };
    const int mean = (at(n, x) + at(n + 1, x)) >> 1;
    if (scheme == 2)
        return static_cast<u8>(mean);
    if (scheme == 4)
        return static_cast<u8>(std::clamp(
            (9 * (at(n, x) + at(n + 1, x)) - at(n > 0 ? n - 1 : 0, x) - at(n + 2, x)) >> 4, 0,
            255));
    if (gap == 0 || x < 2 * gap || x + 2 * gap >= pixel_bytes)
        return static_cast<u8>(mean);
    int best = mean;
    int least = 256;
    for (const int lean : {0, 1, -1, 2, -2}) {
        const int aside = lean * static_cast<int>(gap);
        const int up = at(n, x + static_cast<std::size_t>(aside));
        const int down = at(n + 1, x - static_cast<std::size_t>(aside));
        if (std::abs(up - down) < least) {
            least = std::abs(up - down);
            best = (up + down) >> 1;
        }
    }
    return static_cast<u8>(best);
}

TEST_P(Fields, SchemesInterpolateTheMissingLines) {
    for (const u16 format : words{VIQ_Y8, VIQ_YUV422, VIQ_RGB24})
        for (const u32 width : {2u, 4u, 6u, 50u, 610u})
            for (const u32 height : {1u, 2u, 5u})
                for (const u16 scheme : words{1, 2, 3, 4})
                    for (const bool second_first : {false, true}) {
                        SCOPED_TRACE(text_of(format, width, height, scheme, second_first));
                        const picture in(format, width, height), out;
                        fill_with_noise(in);
                        if (second_first)
                            put_second_first(in);
                        set_lines(in, std::max(height - 1, 1u));
                        EXPECT_OK(VIQ_SPL_field_to_frame(in, out, scheme, 3));
                        EXPECT_EQ(in->lines_per_strip, height);
                        EXPECT_EQ(out->param_23, 0u);
                        std::vector<bytes> lines, wanted;
                        for (u32 y = 0; y < height; ++y)
                            lines.push_back(line_of(in, y));
                        const u32 size = find_known(format)->depth / 8;
                        if (second_first && scheme != 1)
                            wanted.push_back(lines[0]);
                        for (std::size_t y = 0; y < height; ++y) {
                            wanted.push_back(lines[y]);
                            if (scheme == 1)
                                wanted.push_back(lines[y]);
                            else if (y + 1 < height) {
                                wanted.push_back(lines[y]);
                                for (std::size_t x = 0; x < width * size; ++x)
                                    wanted.back()[x] =
                                        between(scheme, lines, y, x,
                                                format == VIQ_YUV422 && x % 2 != 0 ? 0 : size,
                                                std::size_t{width} * size);
                            }
                        }
                        if (wanted.size() < 2 * height)
                            wanted.push_back(lines.back());
                        ASSERT_EQ(out->lines_per_strip, 2 * height);
                        for (u32 y = 0; y < 2 * height; ++y)
                            ASSERT_EQ(line_of(out, y), wanted[y]) << y;
                    }
}

TEST(Field, RejectsUnsupportedFormatsAndSchemes) {
    const picture deep(VIQ_Y16, 4, 4), grey(VIQ_Y8, 4, 4), out;
    fill_with_noise(grey);
    EXPECT_ERROR(VIQ_SPL_field_to_frame(deep, out, 1, 3), 0x1007000e,
                 "Supports Y8, YUV422 and RGB24 only");
    for (const u16 scheme : words{0, 5, 0x1234})
        EXPECT_ERROR(VIQ_SPL_field_to_frame(grey, out, scheme, 3), 0x10070000u | scheme,
                     "Invalid Interpolation Scheme");
    const picture part(VIQ_Y8, 4, 4);
    set_lines(part, 2);
    fill_with_noise(part);
    const char *workers[] = {"A", "B", "C", "D"};
    for (u16 scheme = 1; scheme <= 4; ++scheme) {
        EXPECT_REPORT(VIQ_SPL_field_to_frame(part, out, scheme, 3),
                      std::string("VIQ_SPL_field_to_frame_1_strip_") + workers[scheme - 1],
                      0x10050000, "No image data");
        EXPECT_EQ(part->lines_per_strip, 2u);
    }
    EXPECT_OK(VIQ_SPL_field_to_frame(grey, out, 1, 3)); // no unfinished sequence remains
}

TEST(Interlace, InterleavesTheHalves) {
    const picture empty(VIQ_Y8, 4, 4), none;
    empty->param_23 = 4;
    EXPECT_ERROR(VIQ_SPL_interlace_frame(empty, none, 3), 0x10050000, "No image data");
    for (const u32 height : {2u, 6u, 7u}) {
        const picture in(VIQ_RGB24, 3, height), out;
        fill_with_noise(in);
        in->param_23 = height == 2 ? 4 : 5;
        EXPECT_OK(VIQ_SPL_interlace_frame(in, out, 3));
        for (u32 y = 0; y < height; ++y) {
            const u32 half = height / 2;
            const u32 from = y == 2 * half ? y : y % 2 == 0 ? y / 2 : half + y / 2;
            EXPECT_EQ(line_of(out, y), line_of(in, from));
        }
        set_lines(in, 1);
        EXPECT_ERROR(VIQ_SPL_interlace_frame(in, out, 3), 0x10070000,
                     "Can only process full image");
        in->param_23 = 2;
        EXPECT_ERROR(VIQ_SPL_interlace_frame(in, out, 3), 0x10070000, "Field order ID not set up");
    }
    EXPECT_ERROR(VIQ_SPL_interlace_frame(missing, missing, 3), 0x10050000, "Corrupt input image");
}

// ---- Channels and pseudo-colour

TEST_P(Fields, ExtractorsSelectOneByte) {
    const picture out;
    for (const u32 width : {1u, 3u, 8u, 33u, 70u}) {
        const picture in(VIQ_BGRX32, width, 3);
        fill_with_noise(in);
        const bytes source = pixels_of(in);
        for (const u32 shift : {0u, 5u, 8u, 24u, 31u, 32u, 0xFFFFFFF0u}) {
            EXPECT_OK(VIQ_SPL_Data32_to_Y8(in, out, shift, 3));
            for (u32 n = 0; n < out->bytes_per_line * 3; ++n) {
                u32 word = 0;
                if (n < width * 3)
                    std::memcpy(&word, &source[4 * n], 4);
                ASSERT_EQ(out->data[n], word >> (shift & 31) & 255); // without padding
            }
        }
        for (const u32 byte : {1u, 2u, 3u, 4u}) {
            EXPECT_OK(VIQ_SPL_XXXX32_to_Y8(in, out, byte, 3));
            const bytes grey = pixels_of(out);
            for (u32 n = 0; n < width * 3; ++n)
                ASSERT_EQ(grey[n], source[4 * n + byte - 1]);
        }
    }
    const picture xrgb(VIQ_XRGB32, 2, 2), hsi(VIQ_HSI, 2, 2), bgr(VIQ_BGRX32, 2, 2);
    fill_with_noise(xrgb);
    EXPECT_OK(VIQ_SPL_Data32_to_Y8(xrgb, out, 0, 3));
    EXPECT_ERROR(VIQ_SPL_XXXX32_to_Y8(xrgb, out, 1, 3), 0x10070000, "Unsupported image format");
    EXPECT_ERROR(VIQ_SPL_Data32_to_Y8(hsi, out, 1, 3), 0x10070000, "Unsupported image format");
    for (const u32 byte : {0u, 5u, 0x10001u})
        EXPECT_ERROR(VIQ_SPL_XXXX32_to_Y8(bgr, out, byte, 3), 0x10030000,
                     "Byte number out of range");
}

TEST_P(Fields, PseudoColoursMatchTheirFormulas) {
    for (u32 width = 2; width < 80; width += 2) {
        const picture yuv(VIQ_YUV422, width, 2), out;
        fill_with_noise(yuv);
        EXPECT_OK(VIQ_SPL_YUV422_to_RGB_pseudo_colour(yuv, out, 3));
        for (u32 n = 0; n < 2 * width; ++n) {
            const u8 *pair = yuv->data + n / 2 * 4;
            const u8 *pixel = out->data + 3 * n;
            ASSERT_EQ(bytes(pixel, pixel + 3), (bytes{pair[n % 2 * 2], pair[1], pair[3]}));
        }
    }
    // Every 16-bit hue; the result is the low byte of the product.
    const picture hsi(VIQ_HSI, 65536, 1), rgb, grey(VIQ_Y8, 256, 1), colours;
    fill_with_noise(hsi);
    for (u32 hue = 0; hue < 65536; ++hue) {
        hsi->data[4 * hue] = static_cast<u8>(hue);
        hsi->data[4 * hue + 1] = static_cast<u8>(hue >> 8);
    }
    EXPECT_OK(VIQ_SPL_HSI_to_RGB_pseudo_colour(hsi, rgb, 3));
    for (u32 hue = 0; hue < 65536; ++hue) {
        ASSERT_EQ(rgb->data[3 * hue], hue * 253 / 360 % 256) << hue;
        ASSERT_EQ(rgb->data[3 * hue + 1], hsi->data[4 * hue + 2]);
        ASSERT_EQ(rgb->data[3 * hue + 2], hsi->data[4 * hue + 3]);
    }
    ASSERT_EQ(VIQ_image_malloc_a_strip(grey), 0u);
    for (u32 v = 0; v < 256; ++v)
        grey->data[v] = static_cast<u8>(v);
    EXPECT_OK(VIQ_SPL_Y8_to_pseudo_colour(grey, colours, 99, 3));
    for (u32 v = 0; v < 256; ++v) {
        const u32 ramp = v < 128 ? 2 * v : 511 - 2 * v;
        EXPECT_EQ(colours->data[2 * v] | colours->data[2 * v + 1] << 8,
                  static_cast<int>(v / 8 * 2048 + ramp / 4 * 32 + (255 - v) / 8));
    }
    const picture other(VIQ_Y16, 2, 2), odd(VIQ_YUV422, 3, 2);
    EXPECT_ERROR(VIQ_SPL_Y8_to_pseudo_colour(other, rgb, 0, 3), 0x10070000,
                 "Image format must be VIQ_Y8");
    EXPECT_ERROR(VIQ_SPL_HSI_to_RGB_pseudo_colour(other, rgb, 3), 0x10070000,
                 "Unsupported image format");
    EXPECT_ERROR(VIQ_SPL_YUV422_to_RGB_pseudo_colour(other, rgb, 3), 0x10070000,
                 "Unsupported image format");
    EXPECT_ERROR(VIQ_SPL_YUV422_to_RGB_pseudo_colour(odd, rgb, 3), 0x10070000,
                 "YUV422 image must be an even width");
}

} // namespace
} // namespace viq
