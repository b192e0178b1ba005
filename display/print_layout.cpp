#include "display/print_layout.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "core/report.h"

namespace viq {

namespace {

struct named_paper {
    const char *name;
    const char *medium; // its registered name
    paper_size size;
};

constexpr named_paper papers[] = {
    {"A3", "iso_a3_297x420mm", {29700, 42000}},
    {"A4", "iso_a4_210x297mm", a4_paper},
    {"A5", "iso_a5_148x210mm", {14800, 21000}},
    {"A6", "iso_a6_105x148mm", {10500, 14800}},
    {"B4", "iso_b4_250x353mm", {25000, 35300}},
    {"B5", "iso_b5_176x250mm", {17600, 25000}},
    {"10x15cm", "om_small-photo_100x150mm", {10000, 15000}},
    {"Letter", "na_letter_8.5x11in", {21590, 27940}},
    {"Legal", "na_legal_8.5x14in", {21590, 35560}},
    {"Ledger", "na_ledger_11x17in", {27940, 43180}},
    {"4x6in", "na_index-4x6_4x6in", {10160, 15240}},
    {"5x7in", "na_5x7_5x7in", {12700, 17780}},
    {"8x10in", "na_govt-letter_8x10in", {20320, 25400}},
};

constexpr double longest_length = 1000000;

paper_size read_size(std::string_view text, std::string_view unit, double scale);
bool is_same(std::string_view one, std::string_view other);
double fitting_scale(double width, double height, double room_width, double room_height);

} // namespace

paper_size find_paper(const char *text) {
    for (const named_paper &paper : papers)
        if (is_same(text, paper.name))
            return paper.size;
    return read_size(text, "", 100);
}

paper_size size_in_media_name(const char *name) {
    const char *last = std::strrchr(name, '_');
    if (last == nullptr)
        return {};
    const paper_size metric = read_size(last + 1, "mm", 100);
    return metric == paper_size() ? read_size(last + 1, "in", 2540) : metric;
}

void write_media_name(const paper_size &paper, char (&name)[media_name_size]) {
    for (const named_paper &known : papers)
        if (known.size == paper) {
            std::snprintf(name, sizeof name, "%s", known.medium);
            return;
        }
    char size[32];
    std::snprintf(size, sizeof size, "%u.%02ux%u.%02umm", paper.width / 100, paper.width % 100,
                  paper.height / 100, paper.height % 100);
    std::snprintf(name, sizeof name, "custom_%s_%s", size, size);
}

page_area area_as_fed(const page_layout &layout, const paper_size &paper) {
    const page_area &viewed = layout.picture;
    if (!layout.turned)
        return viewed;
    return {viewed.y, paper.height - viewed.x - viewed.width, viewed.height, viewed.width};
}

u32 check_print_options(const char *function, const tVIQ_PrintOptions &options) {
    constexpr u16 most_copies = 9999;
    const u32 lengths[] = {options.width,        options.height,     options.margin_left,
                           options.margin_right, options.margin_top, options.margin_bottom};
    const bool valid = options.orientation <= VIQ_PRINT_LANDSCAPE &&
                       options.position <= VIQ_PRINT_CENTRE && options.copies >= 1 &&
                       options.copies <= most_copies && options.grey <= 1 &&
                       options.more_pages <= 1 &&
                       *std::max_element(std::begin(lengths), std::end(lengths)) <= longest_length;
    return valid ? success : report(function, VIQ_ERR_PARAMETER, "Print options out of range");
}

u32 place_picture(const char *function, const tVIQ_PrintOptions &options, const paper_size &paper,
                  u32 width, u32 height, page_layout &layout) {
    // Sizes of the area between the margins, by whether the page is turned.
    const double across = double(options.margin_left) + options.margin_right;
    const double down = double(options.margin_top) + options.margin_bottom;
    const double room_width[] = {paper.width - across, paper.height - across};
    const double room_height[] = {paper.height - down, paper.width - down};
    const double aspect = double(height) / width;
    double size[2] = {double(options.width), double(options.height)};
    if (options.width == 0)
        size[0] = options.height / aspect;
    if (options.height == 0)
        size[1] = options.width * aspect;
    const bool fits_page = options.width == 0 && options.height == 0;
    if (fits_page) {
        size[0] = width;
        size[1] = height;
    }

    double scale[2]; // to the largest size that fits
    for (u32 n = 0; n < 2; ++n)
        scale[n] = fitting_scale(size[0], size[1], room_width[n], room_height[n]);
    const bool is_wide = paper.width > paper.height;
    u32 turned = (options.orientation == VIQ_PRINT_LANDSCAPE) != is_wide ? 1 : 0;
    if (options.orientation == VIQ_PRINT_AUTO)
        turned = fits_page ? scale[1] > scale[0] : scale[0] < 1 && scale[1] >= 1;
    if (room_width[turned] <= 0 || room_height[turned] <= 0)
        return report(function, VIQ_ERR_PARAMETER, "Margins larger than the paper");
    if (!fits_page && scale[turned] < 1)
        return report(function, VIQ_ERR_PARAMETER, "Picture does not fit on the paper");

    const double used = fits_page ? scale[turned] : 1;
    layout.turned = turned != 0;
    layout.picture = {double(options.margin_left), double(options.margin_top), size[0] * used,
                      size[1] * used};
    if (options.position == VIQ_PRINT_CENTRE) {
        layout.picture.x += (room_width[turned] - layout.picture.width) / 2;
        layout.picture.y += (room_height[turned] - layout.picture.height) / 2;
    }
    return success;
}

namespace {

// A size "WIDTHxHEIGHT" with the unit after it, in units of 1/100 mm / scale.
paper_size read_size(std::string_view text, std::string_view unit, double scale) {
    const auto read_length = [&text, scale](u32 &length) {
        double value = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value,
                                                  std::chars_format::fixed);
        if (error != std::errc() || !(value * scale >= 1 && value * scale <= longest_length))
            return false;
        length = static_cast<u32>(std::lround(value * scale));
        text.remove_prefix(static_cast<std::size_t>(end - text.data()));
        return true;
    };
    paper_size size;
    if (!read_length(size.width) || !text.starts_with('x'))
        return {};
    text.remove_prefix(1);
    return read_length(size.height) && text == unit ? size : paper_size();
}

bool is_same(std::string_view one, std::string_view other) {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? c + 32 : c; };
    return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                      [lower](char a, char b) { return lower(a) == lower(b); });
}

// Sizes that differ from the room by rounding alone fit.
double fitting_scale(double width, double height, double room_width, double room_height) {
    constexpr double rounding = 0.5;
    const double scale = std::min(room_width / width, room_height / height);
    const bool fits = width <= room_width + rounding && height <= room_height + rounding;
    return fits ? std::max(scale, 1.0) : scale;
}

} // namespace

} // namespace viq
