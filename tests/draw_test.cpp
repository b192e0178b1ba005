// Fonts, text, timestamps and pixels.
#include <ctime>

#include "draw/timestamp.h"
#include "tests/support.h"

namespace viq {
namespace {

const tVIQ_Font *font_of(u32 type) {
    const tVIQ_Font *font = nullptr;
    EXPECT_OK(VIQ_draw_get_ptr(type, &font));
    return font;
}

bytes glyph_of(const tVIQ_Font &font, u32 code) {
    const u8 *glyph = font.glyphs + code * font.bytes_per_glyph;
    return bytes(glyph, glyph + font.bytes_per_glyph);
}

TEST(Font, HasDistinctGlyphsOfItsCellSize) {
    const u32 sizes[][3] = {{7, 7, 7}, {14, 9, 28}, {19, 15, 38}};
    for (u32 type = 0; type < 3; ++type) {
        const tVIQ_Font &font = *font_of(type);
        EXPECT_EQ(font.height, sizes[type][0]);
        EXPECT_EQ(font.width, sizes[type][1]);
        EXPECT_EQ(font.bytes_per_glyph, sizes[type][2]);
        EXPECT_EQ(glyph_of(font, 0), bytes(font.bytes_per_glyph));
        EXPECT_EQ(glyph_of(font, ' '), bytes(font.bytes_per_glyph));
        for (u32 a = 33; a < 127; ++a)
            for (u32 b = 33; b < a; ++b)
                EXPECT_NE(glyph_of(font, a), glyph_of(font, b)) << type << ' ' << a << ' ' << b;
        const u32 row = (font.width + 7) / 8; // no bits outside the cell
        for (u32 n = row - 1; n < 128 * font.bytes_per_glyph; n += row)
            EXPECT_EQ(font.glyphs[n] & (0xFF >> ((font.width - 1) % 8 + 1)), 0);
    }
    EXPECT_EQ(glyph_of(*font_of(0), 'A'), (bytes{0, 0x10, 0x28, 0x7C, 0x44, 0x44, 0}));
    const tVIQ_Font *font = nullptr;
    EXPECT_ERROR(VIQ_draw_get_ptr(3, &font), 0x10070003, "Unknown data type");
    EXPECT_ERROR(VIQ_draw_get_ptr(0x12345, &font), 0x10072345, "Unknown data type");
    EXPECT_ERROR(VIQ_draw_get_ptr(0, nullptr), 0x10030000, "Null pointer");
}

// The expected pixels of a picture with text.
bytes drawn(const picture &rgb, const std::string &text, const tVIQ_Font &font, u32 left, u32 top,
            u32 background, const bytes &ink) {
    bytes result = pixels_of(rgb);
    for (u32 y = 0; y < font.height; ++y)
        for (u32 x = 0; x < text.size() * font.width; ++x) {
            const u32 code = static_cast<u8>(text[x / font.width]);
            const u32 column = x % font.width;
            const bytes glyph = glyph_of(font, code);
            const u8 row = glyph[y * ((font.width + 7) / 8) + column / 8];
            for (u32 n = 0; n < 3; ++n) {
                u8 &b = result[((top + y) * rgb->width + left + x) * 3 + n];
                b = (row >> (7 - column % 8) & 1) != 0
                        ? ink[n]
                        : static_cast<u8>(b >> 1 | (background == 1 ? 127 : 0));
            }
        }
    return result;
}

TEST(Text, IsDrawnOverADimOrFlatBackground) {
    const std::string text = "Az\x01~";
    for (u32 type = 0; type < 3; ++type)
        for (const u16 background : words{0, 1}) {
            const tVIQ_Font &font = *font_of(type);
            const u32 width = 4 * font.width;
            const u32 alignment = background == 1 ? 64 : 2;
            const picture p(VIQ_RGB24, width + 5, font.height + 3, alignment);
            fill_with_noise(p);
            for (const u32 x : {1u, 6u})
                for (const u32 y : {1u, 4u}) { // touches every side
                    const bytes wanted =
                        drawn(p, text, font, x - 1, y - 1, background, {152, 0, 152});
                    EXPECT_OK(VIQ_draw_text(p, text.c_str(), &font, x, y, background, 5));
                    EXPECT_EQ(pixels_of(p), wanted);
                }
            EXPECT_OK(VIQ_draw_text(p, "", &font, 1, 1, background, 5));
        }
}

TEST(Text, IsDrawnThroughRgb24InAnyFormat) {
    const tVIQ_Font &font = *font_of(0);
    for (const u16 format :
         words{VIQ_Y8, VIQ_RGB16, VIQ_BGR24, VIQ_BGRX32, VIQ_XBGR32, VIQ_YUV422}) {
        SCOPED_TRACE(format);
        const picture p(format, 28, 9), cut, colour, again, expected;
        fill_with_noise(p);
        EXPECT_OK(VIQ_image_copy(p, expected));
        EXPECT_OK(VIQ_IP_crop(p, cut, 2, 1, 14, 7, 3));
        EXPECT_OK(VIQ_image_convert(cut, colour, VIQ_RGB24, 0, 3));
        EXPECT_OK(VIQ_draw_text(colour, "Hi", &font, 1, 1, 1, 14));
        EXPECT_OK(VIQ_image_convert(colour, again, format, 0, 3));
        EXPECT_OK(VIQ_IP_image_insert(expected, again, 3, 2));
        EXPECT_OK(VIQ_draw_text(p, "Hi", &font, 3, 2, 1, 14));
        EXPECT_EQ(pixels_of(p), pixels_of(expected));
    }
    // Drawing does not disturb unfinished conversions of the same picture, in either direction.
    const picture wide(VIQ_BGRX32, 14, 14), strip;
    fill_with_noise(wide);
    set_lines(wide, 7);
    EXPECT_OK(VIQ_convert_to_RGB24(wide, strip, 3));
    EXPECT_OK(VIQ_draw_text(wide, "A", &font, 1, 1, 0, 15));
    EXPECT_OK(VIQ_draw_text(strip, "A", &font, 1, 1, 0, 15));
    EXPECT_OK(VIQ_convert_to_RGB24(wide, strip, 3));
    // YUV 4:2:2 is converted in whole pairs: grey stays grey at odd columns and widths too.
    const picture yuv(VIQ_YUV422, 16, 7);
    EXPECT_OK(VIQ_image_malloc_a_strip(yuv));
    for (u32 n = 0; n < 16 * 7 * 2; ++n)
        yuv->data[n] = n % 2 == 0 ? 100 : 128;
    EXPECT_OK(VIQ_draw_text(yuv, "O", &font, 4, 1, 0, 15));
    for (u32 n = 1; n < 16 * 7 * 2; n += 2)
        EXPECT_EQ(yuv->data[n], 128);
    EXPECT_EQ(yuv->data[4], 100); // column 2 is outside, column 3 under the text
    EXPECT_EQ(yuv->data[6], 50);
}

TEST(Text, LeavesTheImageUnchangedIfRejected) {
    const tVIQ_Font &font = *font_of(0);
    const picture p(VIQ_RGB24, 20, 10);
    fill_with_noise(p);
    const bytes before = pixels_of(p);
    const struct {
        const char *text;
        u32 x, y;
        u16 background, colour;
        u32 code;
        const char *message;
    } cases[] = {{"A", 0, 0, 2, 16, 0x10070002, "Invalid background mode"},
                 {"A", 0, 0, 1, 16, 0x10070010, "Unrecognised colour"},
                 {"A", 0, 0, 1, 15, 0x10070000, "Trying to draw text too far left"},
                 {"AB", 8, 0, 1, 15, 0x10070000, "Trying to draw text too far right"},
                 {"ABC", 1, 1, 1, 15, 0x10070000, "Trying to draw text too far right"},
                 {"A", 0xFFFFFFFF, 1, 1, 15, 0x10070000, "Trying to draw text too far right"},
                 {"A", 1, 0, 1, 15, 0x10070000, "Trying to draw text too high"},
                 {"A", 1, 5, 1, 15, 0x10070000, "Trying to draw text too low"},
                 {"\x80", 1, 1, 1, 15, 0x10030000, "Character not in the font"}};
    for (const auto &c : cases)
        EXPECT_ERROR(VIQ_draw_text(p, c.text, &font, c.x, c.y, c.background, c.colour), c.code,
                     c.message);
    for (const tVIQ_Font &bad :
         {tVIQ_Font{7, 0, 7, font.glyphs}, tVIQ_Font{0, 7, 7, font.glyphs},
          tVIQ_Font{1, 33, 99, font.glyphs}, tVIQ_Font{7, 9, 13, font.glyphs}})
        EXPECT_ERROR(VIQ_draw_text(p, "A", &bad, 1, 1, 0, 0), 0x10070000, "Unsupported font");
    EXPECT_ERROR(VIQ_draw_text(p, nullptr, &font, 1, 1, 0, 0), 0x10030000, "Null pointer");
    EXPECT_ERROR(VIQ_draw_text(p, "A", nullptr, 1, 1, 0, 0), 0x10030000, "Null pointer");
    set_lines(p, 6);
    EXPECT_ERROR(VIQ_draw_text(p, "A", &font, 1, 1, 0, 0), 0x10050000, "No image data");
    set_lines(p, 10);
    EXPECT_EQ(pixels_of(p), before);
    EXPECT_ERROR(VIQ_draw_text(missing, "A", &font, 1, 1, 0, 0), 0x10050000, "Image is corrupt");
    // Formats that cannot be converted to RGB24, or back, or cropped.
    const struct {
        u16 format;
        const char *function;
        u32 code;
    } dead_ends[] = {{VIQ_PALETTED, "VIQ_convert_to_RGB24", 0x10070000},
                     {VIQ_Y16, "VIQ_convert_to_Y16", 0x10070000},
                     {VIQ_RGB8, "VIQ_IP_crop", 0x10070004}};
    for (const auto &d : dead_ends) {
        const picture other(d.format, 20, 10);
        other->num_colours = 4;
        fill_with_noise(other);
        const bytes pixels = pixels_of(other);
        EXPECT_REPORT(VIQ_draw_text(other, "A", &font, 1, 1, 0, 0), d.function, d.code,
                      "Unsupported image format");
        EXPECT_EQ(pixels_of(other), pixels);
    }
}

TEST(Text, AcceptsFontsOf32Pixels) {
    bytes glyphs(128 * 4);
    for (u32 n = 0; n < 4; ++n)
        glyphs['A' * 4 + n] = static_cast<u8>(0x81 + n);
    const tVIQ_Font font = {1, 32, 4, glyphs.data()};
    const picture p(VIQ_RGB24, 64, 1);
    fill_with_noise(p);
    const bytes wanted = drawn(p, "A ", font, 0, 0, 0, {255, 255, 255});
    EXPECT_OK(VIQ_draw_text(p, "A ", &font, 1, 1, 0, 15));
    EXPECT_EQ(pixels_of(p), wanted);
}

TEST(Timestamp, HasSixteenCharacters) {
    std::tm time = {};
    time.tm_hour = 14;
    time.tm_min = 5;
    time.tm_sec = 9;
    time.tm_mday = 7;
    time.tm_mon = 2;
    time.tm_year = 103;
    EXPECT_STREQ(timestamp_text(time, false).data(), "14:05:09 07Mar03");
    EXPECT_STREQ(timestamp_text(time, true).data(), "14:05:09 07Mar03");
    time.tm_sec = 10;
    EXPECT_STREQ(timestamp_text(time, true).data(), "14 05 10 07Mar03");
    EXPECT_STREQ(timestamp_text(time, false).data(), "14:05:10 07Mar03");
    const tVIQ_Font &font = *font_of(0);
    const picture p(VIQ_Y8, 16 * 7, 7), narrow(VIQ_Y8, 16 * 7 - 1, 7);
    fill_with_noise(p);
    fill_with_noise(narrow);
    EXPECT_OK(VIQ_draw_timestamp(p, &font, 1, 1, 0x81, 15));
    const bytes pixels = pixels_of(p); // white on flat grey only
    EXPECT_TRUE(
        std::all_of(pixels.begin(), pixels.end(), [](u8 v) { return v == 255 || v == 127; }));
    EXPECT_REPORT(VIQ_draw_timestamp(narrow, &font, 1, 1, 0, 15), "VIQ_draw_text", 0x10070000,
                  "Trying to draw text too far right");
    EXPECT_REPORT(VIQ_draw_timestamp(p, &font, 1, 1, 0x82, 15), "VIQ_draw_text", 0x10070002,
                  "Invalid background mode");
}

TEST(Pixel, CoversTwoPixelsCountedFromTheBottom) {
    const picture p(VIQ_YUV422, 6, 2);
    const bytes blank(24, 9);
    set_strip(p, blank);
    EXPECT_OK(VIQ_DrawPixel(p, 1, 2, 0)); // an even column of the last line
    bytes wanted = blank;
    wanted[16] = wanted[18] = 47;
    wanted[17] = 212;
    wanted[19] = 100;
    EXPECT_EQ(pixels_of(p), wanted);
    EXPECT_OK(VIQ_DrawPixel(p, 6, 3, 1)); // an odd one of the first line
    wanted[6] = wanted[8] = 215;
    wanted[5] = 44;
    wanted[7] = 142;
    EXPECT_EQ(pixels_of(p), wanted);
    EXPECT_ERROR(VIQ_DrawPixel(p, 8, 0, 0), 0x10030000, "Unrecognised colour");
    const u32 outside[][2] = {{5, 0}, {6, 0}, {0, 2}, {0, 0xFFFFFFFF}, {0xFFFFFFFF, 1}};
    for (const auto &at : outside)
        EXPECT_ERROR(VIQ_DrawPixel(p, 0, at[0], at[1]), 0x10030000, "Pixel outside the image");
    EXPECT_EQ(pixels_of(p), wanted);
    EXPECT_OK(VIQ_DrawPixel(p, 7, 6, 1)); // beyond the line, but inside the buffer
    const picture grey(VIQ_Y8, 6, 2), empty(VIQ_YUV422, 6, 2);
    EXPECT_ERROR(VIQ_DrawPixel(grey, 0, 0, 0), 0x10030001, "Unknown or unsupported pixel format");
    EXPECT_ERROR(VIQ_DrawPixel(empty, 0, 0, 0), 0x10050000, "No image data");
    EXPECT_ERROR(VIQ_DrawPixel(missing, 0, 0, 0), 0x10040000, "");
}

} // namespace
} // namespace viq
