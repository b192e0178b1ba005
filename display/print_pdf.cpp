// Objects of the document: 1 catalog, 2 tree of pages, 3 information; then for each page the
// picture, its length, the drawing instructions and the page.
#include "display/print_pdf.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "core/geometry.h"
#include "core/report.h"
#include "display/print_lines.h"

namespace viq {

namespace {

constexpr u32 catalog = 1, page_tree = 2, information = 3;
constexpr u32 objects_of_document = 3, objects_of_page = 4;

struct colour_space {
    u16 format;
    const char *name; // null: indexed
    u32 components;
    u32 predicted_bytes; // distance of the left neighbour for the prediction, 0: none
};
constexpr colour_space colour_spaces[] = {
    {VIQ_Y1, "/DeviceGray", 1, 0},     {VIQ_Y8, "/DeviceGray", 1, 1},
    {VIQ_PALETTED, nullptr, 1, 0},     {VIQ_RGB24, "/DeviceRGB", 3, 3},
    {VIQ_CMYK32, "/DeviceCMYK", 4, 4},
};

bool has_room_for(const pdf_document &pdf, const pdf_pixels &pixels);
u32 report_memory(pdf_document &pdf);
void begin_object(pdf_document &pdf, u32 number);
#if defined(__GNUC__)
__attribute__((format(printf, 2, 3)))
#endif
void print(pdf_document &pdf, const char *format, ...);
void print_points(pdf_document &pdf, double length);
void print_text(pdf_document &pdf, const char *text);
void append(pdf_document &pdf, const void *data, std::size_t size);
void send(pdf_document &pdf, const u8 *data, std::size_t size);
u32 send_text(pdf_document &pdf);
u32 send_coded(pdf_document &pdf, bool has_memory);

} // namespace

u32 begin_pdf(pdf_document &pdf, const char *title) {
    if (!try_resize(pdf.objects, objects_of_document))
        return report_memory(pdf);
    // Bytes above 127 mark the file as binary.
    print(pdf, "%%PDF-1.4\n%%\xE2\xE3\xCF\xD3\n");
    begin_object(pdf, information);
    print(pdf, "<< /Producer (VIQ) /Title ");
    print_text(pdf, title);
    print(pdf, " >>\nendobj\n");
    return send_text(pdf);
}

u32 begin_pdf_page(pdf_document &pdf, const pdf_pixels &pixels) {
    const colour_space &space =
        *std::find_if(std::begin(colour_spaces), std::end(colour_spaces),
                      [&pixels](const colour_space &row) { return row.format == pixels.format; });
    const u32 bits = pixels.format == VIQ_Y1 ? 1 : 8;
    const u32 picture = static_cast<u32>(pdf.objects.size()) + 1;
    if (!has_room_for(pdf, pixels))
        return pdf.status =
                   report(pdf.function, VIQ_ERR_UNSUPPORTED, "Picture too large for a PDF file");
    if (!try_resize(pdf.objects, pdf.objects.size() + objects_of_page))
        return report_memory(pdf);
    begin_object(pdf, picture);
    print(pdf, "<< /Type /XObject /Subtype /Image /Width %u /Height %u /BitsPerComponent %u\n",
          pixels.width, pixels.height, bits);
    if (space.name != nullptr) {
        print(pdf, "/ColorSpace %s\n", space.name);
    } else {
        print(pdf, "/ColorSpace [/Indexed /DeviceRGB 255 <");
        for (const tVIQ_Colour *colour = pixels.map; colour != pixels.map + 256; ++colour)
            print(pdf, "%02x%02x%02x", u32{colour->red}, u32{colour->green}, u32{colour->blue});
        print(pdf, ">]\n");
    }
    print(pdf,
          "/Filter /FlateDecode /DecodeParms << /Predictor 15 /Colors %u /BitsPerComponent %u "
          "/Columns %u >>\n/Length %u 0 R >>\nstream\n",
          space.components, bits, pixels.width, picture + 1);
    pdf.stream_start = pdf.position + pdf.text.size();
    const auto line = static_cast<std::size_t>(printed_line_bytes(pixels.format, pixels.width));
    send_text(pdf);
    return send_coded(pdf, begin_deflate(pdf.coder, line, space.predicted_bytes));
}

u32 write_pdf_line(pdf_document &pdf, const u8 *line, std::size_t size) {
    return send_coded(pdf, is_error(pdf.status) || deflate_line(pdf.coder, line, size));
}

u32 end_pdf_page(pdf_document &pdf, const paper_size &paper, const page_layout &layout,
                 bool turns_view) {
    if (is_error(send_coded(pdf, is_error(pdf.status) || end_deflate(pdf.coder))))
        return pdf.status;
    const u64 length = pdf.position - pdf.stream_start;
    const u32 page = static_cast<u32>(pdf.objects.size());
    const u32 contents = page - 1;
    const u32 picture = page - 3;
    if (!try_resize(pdf.pages, pdf.pages.size() + 1))
        return report_memory(pdf);
    pdf.pages.back() = page;
    print(pdf, "\nendstream\nendobj\n");
    begin_object(pdf, picture + 1);
    print(pdf, "%llu\nendobj\n", static_cast<unsigned long long>(length));

    // The picture fills a unit square, whose lower left corner is the origin.
    const page_area area = area_as_fed(layout, paper);
    const double bottom = paper.height - area.y - area.height;
    const double upright[] = {area.width, 0, 0, area.height, area.x, bottom};
    const double turned[] = {0, area.height, -area.width, 0, area.x + area.width, bottom};
    vector<u8> before;
    before.swap(pdf.text);
    for (const double number : layout.turned ? turned : upright)
        print_points(pdf, number);
    print(pdf, "cm /Picture Do\n");
    before.swap(pdf.text);
    begin_object(pdf, contents);
    print(pdf, "<< /Length %u >>\nstream\n", static_cast<u32>(before.size()));
    append(pdf, before.data(), before.size());
    print(pdf, "endstream\nendobj\n");

    begin_object(pdf, page);
    print(pdf,
          "<< /Type /Page /Parent %u 0 R /Contents %u 0 R\n/Resources << /XObject << /Picture "
          "%u 0 R >> >>\n/MediaBox [0 0 ",
          page_tree, contents, picture);
    print_points(pdf, paper.width);
    print_points(pdf, paper.height);
    print(pdf, "]%s >>\nendobj\n", layout.turned && turns_view ? " /Rotate 90" : "");
    return send_text(pdf);
}

u32 end_pdf(pdf_document &pdf) {
    begin_object(pdf, page_tree);
    print(pdf, "<< /Type /Pages /Count %u /Kids [", static_cast<u32>(pdf.pages.size()));
    for (const u32 page : pdf.pages)
        print(pdf, "%u 0 R ", page);
    print(pdf, "] >>\nendobj\n");
    begin_object(pdf, catalog);
    print(pdf, "<< /Type /Catalog /Pages %u 0 R >>\nendobj\n", page_tree);

    const u64 table = pdf.position + pdf.text.size();
    const u32 entries = static_cast<u32>(pdf.objects.size()) + 1;
    print(pdf, "xref\n0 %u\n0000000000 65535 f \n", entries);
    for (const u64 position : pdf.objects)
        print(pdf, "%010llu 00000 n \n", static_cast<unsigned long long>(position));
    print(pdf, "trailer\n<< /Size %u /Root %u 0 R /Info %u 0 R >>\nstartxref\n%llu\n%%%%EOF\n",
          entries, catalog, information, static_cast<unsigned long long>(table));
    return send_text(pdf);
}

namespace {

// The positions in the table at the end have ten digits. Compression adds less than 1/64 to the
// pixels and the byte before each line.
bool has_room_for(const pdf_document &pdf, const pdf_pixels &pixels) {
    constexpr u64 last_position = 9999999999;
    constexpr u64 end_of_document = 4096;
    const u64 line = printed_line_bytes(pixels.format, pixels.width) + 1;
    const u64 around = end_of_document + u64{64} * pdf.objects.size();
    return line * pixels.height / 64 * 65 + around <= last_position - pdf.position;
}

u32 report_memory(pdf_document &pdf) {
    if (!is_error(pdf.status))
        pdf.status = report_no_memory(pdf.function, 0);
    return pdf.status;
}

void begin_object(pdf_document &pdf, u32 number) {
    pdf.objects[number - 1] = pdf.position + pdf.text.size();
    print(pdf, "%u 0 obj\n", number);
}

void print(pdf_document &pdf, const char *format, ...) {
    char line[256]; // the longest one is shorter
    std::va_list arguments;
    va_start(arguments, format);
    const int size = std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    append(pdf, line, static_cast<std::size_t>(size));
}

// With a blank after it, and a decimal point in every locale.
void print_points(pdf_document &pdf, double length) {
    constexpr double points = 72.0 / 2540;
    constexpr i64 scale = 100000;
    const i64 rounded = std::llround(length * points * scale);
    const i64 size = std::abs(rounded);
    print(pdf, "%s%lld.%05lld ", rounded < 0 ? "-" : "", static_cast<long long>(size / scale),
          static_cast<long long>(size % scale));
}

// The next character of a UTF-8 text; bytes that are no character count as one each.
u32 next_character(const char *&text) {
    const auto byte = [&text](u32 n) { return u32{static_cast<u8>(text[n])}; };
    const u32 first = byte(0);
    const u32 more = first < 0xC0 ? 0 : first < 0xE0 ? 1 : first < 0xF0 ? 2 : first < 0xF8 ? 3 : 0;
    u32 character = more == 0 ? first : first & (0x3Fu >> more);
    for (u32 n = 1; n <= more; ++n) {
        if ((byte(n) & 0xC0) != 0x80) {
            ++text;
            return first;
        }
        character = character << 6 | (byte(n) & 0x3F);
    }
    text += more + 1;
    return character;
}

// A text string of UTF-16, in hexadecimal digits.
void print_text(pdf_document &pdf, const char *text) {
    print(pdf, "<FEFF");
    while (*text != '\0') {
        const u32 character = next_character(text);
        if (character >= 0x10000)
            print(pdf, "%04X%04X", 0xD800 + ((character - 0x10000) >> 10 & 0x3FF),
                  0xDC00 + (character & 0x3FF));
        else
            print(pdf, "%04X", character);
    }
    print(pdf, ">");
}

void append(pdf_document &pdf, const void *data, std::size_t size) {
    const std::size_t used = pdf.text.size();
    if (size == 0 || is_error(pdf.status))
        return;
    if (!try_resize(pdf.text, used + size)) {
        report_memory(pdf);
        return;
    }
    std::memcpy(pdf.text.data() + used, data, size);
}

void send(pdf_document &pdf, const u8 *data, std::size_t size) {
    if (is_error(pdf.status) || size == 0)
        return;
    pdf.position += size;
    pdf.status = pdf.send(pdf.receiver, data, size);
}

u32 send_text(pdf_document &pdf) {
    send(pdf, pdf.text.data(), pdf.text.size());
    pdf.text.clear();
    return pdf.status;
}

u32 send_coded(pdf_document &pdf, bool has_memory) {
    if (!has_memory)
        return report_memory(pdf);
    send(pdf, pdf.coder.output.data(), pdf.coder.output.size());
    pdf.coder.output.clear();
    return pdf.status;
}

} // namespace

} // namespace viq
