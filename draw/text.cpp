// Text drawing in bitmap fonts, and access to the built-in fonts.
#include <string_view>

#include "convert/converter.h"
#include "convert/named_colours.h"
#include "core/lines.h"
#include "core/report.h"
#include "draw/fonts.h"
#include "process/crop.h"
#include "process/insert.h"

using namespace viq;

namespace {

constexpr const char *name = "VIQ_draw_text";

struct caption {
    std::string_view text;
    const tVIQ_Font &font;
    u32 x, y; // top left pixel, from 1
    u16 background, colour;
};

u32 check_caption(const tVIQ_Image &image, const caption &c);
u32 draw(u32 hImage, const caption &c);

} // namespace

u32 VIQ_draw_get_ptr(u32 dwType, const tVIQ_Font **ppFont) {
    constexpr const tVIQ_Font *fonts[] = {&font_small, &font_medium, &font_large};
    if (dwType >= std::size(fonts))
        return report("VIQ_draw_get_ptr", VIQ_ERR_UNSUPPORTED | low_word(dwType),
                      "Unknown data type");
    if (ppFont == nullptr)
        return report_null("VIQ_draw_get_ptr");
    *ppFont = fonts[dwType];
    return success;
}

u32 VIQ_draw_text(u32 hImage, const char *pszText, const tVIQ_Font *pFont, u32 x, u32 y,
                  u16 wBackground, u16 wColour) {
    u32 code = check_image(name, hImage, "Image is corrupt");
    if (is_error(code))
        return code;
    if (pszText == nullptr || pFont == nullptr || pFont->glyphs == nullptr)
        return report_null(name);
    const caption c = {pszText, *pFont, x, y, wBackground, wColour};
    code = check_caption(*find_image(hImage), c);
    return is_error(code) || c.text.empty() ? code : draw(hImage, c);
}

namespace {

u32 check_font(const tVIQ_Font &font) {
    constexpr u32 widest = 32;
    const bool usable = font.width >= 1 && font.width <= widest && font.height >= 1 &&
                        u64{font.height} * row_bytes(font) <= font.bytes_per_glyph;
    return usable ? success : report(name, VIQ_ERR_UNSUPPORTED, "Unsupported font");
}

u32 check_caption(const tVIQ_Image &image, const caption &c) {
    if (c.background > 1)
        return report(name, VIQ_ERR_UNSUPPORTED | c.background, "Invalid background mode");
    if (c.colour >= std::size(named_colours))
        return report(name, VIQ_ERR_UNSUPPORTED | c.colour, "Unrecognised colour");
    const u32 code = check_font(c.font);
    if (is_error(code))
        return code;
    const u64 width = u64{c.text.size()} * c.font.width;
    if (c.x == 0)
        return report(name, VIQ_ERR_UNSUPPORTED, "Trying to draw text too far left");
    if (c.x + width > u64{image.width} + 1)
        return report(name, VIQ_ERR_UNSUPPORTED, "Trying to draw text too far right");
    if (c.y == 0)
        return report(name, VIQ_ERR_UNSUPPORTED, "Trying to draw text too high");
    if (u64{c.y} + c.font.height > u64{image.height} + 1)
        return report(name, VIQ_ERR_UNSUPPORTED, "Trying to draw text too low");
    for (const char character : c.text)
        if (static_cast<u8>(character) > last_character)
            return report(name, VIQ_ERR_PARAMETER, "Character not in the font");
    const u64 lines = u64{c.y} - 1 + c.font.height;
    if (lines > image.lines_per_strip || !has_lines(image, lines))
        return report_no_data(name);
    return success;
}

// ---- Drawing: the rectangle of the text is cropped, converted to RGB24, drawn into, converted
// back and inserted into the image

rectangle area_of(const tVIQ_Image &image, const caption &c);
void draw_glyphs(const tVIQ_Image &canvas, u32 column, const caption &c);

// Converts the rectangle as a single strip, without the process-wide strip sequence of the
// converter, because the caller may be converting the same picture strip by strip.
u32 convert_whole(u32 hFrom, u32 hTo, u16 format) {
    const bool yuv422 = find_image(hFrom)->pixel_format == VIQ_YUV422 || format == VIQ_YUV422;
    const converter *which = yuv422 ? yuv422_converter(format) : packed_converter(format);
    return which != nullptr ? convert_one_strip(*which, hFrom, hTo)
                            : VIQ_image_convert(hFrom, hTo, format, 0, VIQ_STRIP_NEXT);
}

u32 draw(u32 hImage, const caption &c) {
    const tVIQ_Image &image = *find_image(hImage);
    const scoped_image cropped;
    const scoped_image canvas;
    for (const u32 handle : {cropped.handle, canvas.handle})
        if (is_error(handle))
            return handle;
    const rectangle area = area_of(image, c);
    strip_sequence sequence;
    u32 code = crop(sequence, hImage, cropped.handle, area, VIQ_STRIP_NEXT);
    if (is_error(code))
        return code;
    tVIQ_Image &cut = *find_image(cropped.handle);
    cut.flags &= ~static_cast<u32>(VIQ_FLAG_DIB | VIQ_FLAG_USE_LUT | VIQ_FLAG_DITHER);
    code = convert_whole(cropped.handle, canvas.handle, VIQ_RGB24);
    if (!is_error(code))
        code = check_image(name, canvas.handle, "Colour cropped image is corrupt");
    if (is_error(code))
        return code;
    draw_glyphs(*find_image(canvas.handle), static_cast<u32>(c.x - 1 - area.x), c);
    cut.data_width = image.data_width;
    code = convert_whole(canvas.handle, cropped.handle, image.pixel_format);
    if (is_error(code))
        return code;
    const u64 left = static_cast<u64>(area.x) * bytes_per_pixel(image);
    insert_lines_at(image, left, static_cast<u64>(area.y), cut, cut.lines_per_strip);
    return success;
}

// The pixels that the text covers; in YUV 4:2:2, extended to whole pixel pairs.
rectangle area_of(const tVIQ_Image &image, const caption &c) {
    rectangle area = {i64{c.x} - 1, i64{c.y} - 1,
                      static_cast<i64>(u64{c.text.size()} * c.font.width), c.font.height};
    if (image.pixel_format == VIQ_YUV422 && image.width % 2 == 0) {
        const i64 left = area.x - area.x % 2;
        area.width = (area.x + area.width - left + 1) / 2 * 2;
        area.x = left;
    }
    return area;
}

// Draws the text into an RGB24 image from its first line and `column` on. Pixels of a glyph take
// the text colour; all others are halved and, with background 1, become 127.
void draw_glyphs(const tVIQ_Image &canvas, u32 column, const caption &c) {
    const line_view lines = lines_of(canvas);
    const named_colour text_colour = named_colours[c.colour];
    const u8 background = c.background == 1 ? 0x7F : 0;
    for (u32 y = 0; y < c.font.height; ++y) {
        u8 *pixel = lines.line(y) + std::size_t{3} * column;
        for (const char character : c.text) {
            const u8 *row = c.font.glyphs +
                            std::size_t{static_cast<u8>(character)} * c.font.bytes_per_glyph +
                            std::size_t{y} * row_bytes(c.font);
            for (u32 x = 0; x < c.font.width; ++x, pixel += 3) {
                const bool set = is_set(row, x);
                pixel[0] = set ? text_colour.red : static_cast<u8>(pixel[0] >> 1 | background);
                pixel[1] = set ? text_colour.green : static_cast<u8>(pixel[1] >> 1 | background);
                pixel[2] = set ? text_colour.blue : static_cast<u8>(pixel[2] >> 1 | background);
            }
        }
    }
}

} // namespace
