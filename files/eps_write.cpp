// EPS writer: one page with the centred picture, pixels in hexadecimal.
#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstring>
#include <string_view>

#include "core/cmap_record.h"
#include "core/image.h"
#include "core/report.h"
#include "files/eps.h"

using namespace viq;

namespace {

VIQ_PER_CONTEXT(file_sequence, state);

verdict check(const tVIQ_Image &image);
void write_header(std::FILE *file, const tVIQ_Image &image);
u32 write_strip(std::FILE *file, const tVIQ_Image &image);
void write_trailer(std::FILE *file);

constexpr u16 formats[] = {VIQ_Y1, VIQ_Y8, VIQ_PALETTED, VIQ_RGB24};

constexpr strip_writer writer = {
    .name = "VIQ_write_EPS_file",
    .strip_name = "VIQ_write_EPS_file_1_strip",
    .state = state,
    .formats = formats,
    .write_strip = write_strip,
    .write_header = write_header,
    .write_trailer = write_trailer,
    .check = check,
    .line = padded_bit_line,
};

} // namespace

u32 VIQ_write_EPS_file(u32 hImage, u16 wMode) {
    return run_writer(writer, hImage, wMode);
}

namespace {

// The lines end as those of the system's text files do. They are written as binary data, because
// text streams of Windows are converted character by character.
#if defined(_WIN32)
constexpr std::string_view line_end = "\r\n";
#else
constexpr std::string_view line_end = "\n";
#endif

// Position of the picture on the page, in points.
struct placement {
    i32 left, bottom, right, top;
    i32 scale_x, scale_y; // operands of the scale operator
    bool landscape;
};

placement place(u32 width, u32 height);
#if defined(__GNUC__)
__attribute__((format(printf, 2, 3)))
#endif
void print(std::FILE *file, const char *format, ...);
void write_comments(std::FILE *file, const tVIQ_Image &image, const placement &page);
void write_indexed(std::FILE *file, const tVIQ_Image &image, const placement &page);
void write_direct(std::FILE *file, const tVIQ_Image &image, const placement &page);
void write_palette(std::FILE *file, const tVIQ_Image &image);
void write_matrix(std::FILE *file, const tVIQ_Image &image, const placement &page,
                  const char *separator);
void pack_hex(const tVIQ_Image &image, u32 first, u32 lines, u64 line_size, u8 *text);
u8 *end_line(u8 *text);

verdict check(const tVIQ_Image &image) {
    if (image.pixel_format == VIQ_PALETTED && image.colourmap == nullptr)
        return stop_with(report_no_colourmap(writer.name));
    if (image.width == 0 || image.height == 0)
        return stop_with(report_corrupt(writer.name));
    return proceed;
}

void write_header(std::FILE *file, const tVIQ_Image &image) {
    const placement page = place(image.width, image.height);
    write_comments(file, image, page);
    if (image.pixel_format == VIQ_PALETTED)
        write_indexed(file, image, page);
    else
        write_direct(file, image, page);
}

u32 write_strip(std::FILE *file, const tVIQ_Image &image) {
    const u64 bytes = eps::line_bytes(image);
    const u64 text = 2 * bytes + (bytes / eps::bytes_per_text_line + 1) * line_end.size();
    return write_packed_lines(writer.strip_name, file, image, text, pack_hex);
}

void write_trailer(std::FILE *file) {
    print(file, "showpage\n%%%%EOF\n");
}

// Like fprintf; "\n" ends a line.
void print(std::FILE *file, const char *format, ...) {
    char text[512]; // the longest line is that of the creator
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    for (const char *c = text; *c != '\0'; ++c)
        if (*c == '\n')
            std::fwrite(line_end.data(), 1, line_end.size(), file);
        else
            std::fputc(*c, file);
}

// Scales the picture so that its longer side has 720 points or its shorter side 522, whichever is
// the smaller picture; quotients with 16 fraction bits decide. If the quotients are equal, very
// large pictures exceed the area by a few points.
placement place(u32 width, u32 height) {
    constexpr i32 long_room = 720;
    constexpr i32 short_room = 522;
    constexpr i64 one = 65536;
    constexpr i32 left_margin = 18;
    constexpr i32 bottom_margin = 10;
    const i64 shorter = std::min(width, height);
    const i64 longer = std::max(width, height);
    i32 x = short_room;
    i32 y = long_room;
    if (short_room * one / shorter >= long_room * one / longer)
        x = static_cast<i32>(shorter * long_room / longer);
    else
        y = static_cast<i32>(longer * short_room / shorter);
    const bool landscape = width > height;
    return {.left = ((short_room - x) >> 1) + left_margin,
            .bottom = ((long_room - y) >> 1) + bottom_margin,
            .right = ((short_room + x) >> 1) + left_margin,
            .top = ((long_room + y) >> 1) + bottom_margin,
            .scale_x = landscape ? y : x,
            .scale_y = landscape ? x : y,
            .landscape = landscape};
}

// The comments of RGB files declare CMYK, although their data is RGB.
void write_comments(std::FILE *file, const tVIQ_Image &image, const placement &page) {
    print(file, "%%!PS-Adobe-3.0 EPSF-3.0\n%%%%BoundingBox: %d %d %d %d\n", page.left, page.bottom,
          page.right, page.top);
    // A line end in the text would end the comment.
    char creator[sizeof image.spare_text + 1] = {};
    std::memcpy(creator, image.spare_text, sizeof image.spare_text);
    creator[std::strcspn(creator, "\r\n")] = '\0';
    print(file, "%%%%Creator: %s\n", creator);
    if (image.pixel_format == VIQ_RGB24)
        print(file, "%%%%Extensions: CMYK\n");
    if (image.pixel_format == VIQ_PALETTED)
        print(file, "%%%%LanguageLevel: 2\n");
    print(file, "%%%%EndComments\n%%%%EndProlog\n%d %d translate\n0 rotate\n", page.left,
          page.bottom);
}

void write_indexed(std::FILE *file, const tVIQ_Image &image, const placement &page) {
    print(file, "%d %d scale\n[/Indexed /DeviceRGB %u\n <", page.scale_x, page.scale_y,
          colour_count(image) - 1);
    write_palette(file, image);
    print(file,
          ">\n] setcolorspace\n<<\n  /ImageType 1\n  /Width %u\n  /Height %u\n"
          "  /BitsPerComponent %u\n  /Decode [0 1 0 1 0 1]\n",
          image.width, image.height, u32{image.bits_per_pixel});
    write_matrix(file, image, page, "  /ImageMatrix");
    print(file, "  /DataSource currentfile\n  /ASCIIHexDecode filter\n>>\nimage\n");
}

void write_palette(std::FILE *file, const tVIQ_Image &image) {
    constexpr u32 colours_per_line = 11;
    const u32 colours = colour_count(image);
    for (u32 i = 0; i < colours; ++i) {
        const tVIQ_Colour &entry = image.colourmap[i];
        const char *separator = i % colours_per_line == colours_per_line - 1 ? "\n  "
                                : i + 1 < colours                            ? " "
                                                                             : "";
        print(file, "%02x%02x%02x%s", u32{entry.red}, u32{entry.green}, u32{entry.blue}, separator);
    }
}

void write_direct(std::FILE *file, const tVIQ_Image &image, const placement &page) {
    print(file, "/picstr %u string def\n%d %d scale\n%u %u %s\n", image.width, page.scale_x,
          page.scale_y, image.width, image.height, image.pixel_format == VIQ_Y1 ? "1" : "8");
    write_matrix(file, image, page, "");
    print(file, "{currentfile\n picstr readhexstring pop}\n");
    print(file, "%s\n", image.pixel_format == VIQ_RGB24 ? "false 3\ncolorimage" : "image");
}

void write_matrix(std::FILE *file, const tVIQ_Image &image, const placement &page,
                  const char *key) {
    if (page.landscape)
        print(file, "%s[0 %u %u 0 0 0]\t%% Landscape Orientation\n", key, image.width,
              image.height);
    else
        print(file, "%s[%u 0 0 -%u 0 %u]\t%% Portrait Orientation\n", key, image.width,
              image.height, image.height);
}

using digit_pairs = std::array<std::array<char, 2>, 256>;

constexpr digit_pairs make_pairs() {
    constexpr char digits[] = "0123456789abcdef";
    digit_pairs pairs = {};
    for (std::size_t byte = 0; byte < pairs.size(); ++byte)
        pairs[byte] = {digits[byte >> 4], digits[byte & 15]};
    return pairs;
}

constexpr digit_pairs hex_digits = make_pairs();

void pack_hex(const tVIQ_Image &image, u32 first, u32 lines, u64 line_size, u8 *text) {
    const u64 bytes = eps::line_bytes(image);
    const u8 *source = image.data + first * static_cast<std::size_t>(image.bytes_per_line);
    for (u32 n = 0; n < lines; ++n, source += image.bytes_per_line, text += line_size) {
        u8 *to = text;
        const u8 *from = source;
        for (u64 left = bytes; left > 0;) {
            const u64 run = std::min<u64>(left, eps::bytes_per_text_line);
            for (u64 i = 0; i < run; ++i, to += 2)
                std::memcpy(to, hex_digits[from[i]].data(), 2);
            from += run;
            left -= run;
            if (run == eps::bytes_per_text_line)
                to = end_line(to);
        }
        end_line(to);
    }
}

u8 *end_line(u8 *text) {
    std::memcpy(text, line_end.data(), line_end.size());
    return text + line_end.size();
}

} // namespace
