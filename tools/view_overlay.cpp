#include "tools/view_overlay.h"

#include <algorithm>

#include "tools/pixel_format_table.h"

namespace tool {

namespace {

constexpr uint32_t margin = 6;
constexpr uint32_t bars = 256; // of a histogram
constexpr uint32_t bar_height = 80;

// A font and the distance of its lines.
struct text_style {
    const tVIQ_Font *font;
    uint32_t line_distance;
};

text_style style_of_font(uint32_t number) {
    constexpr uint32_t gap = 3;
    const tVIQ_Font *font = nullptr;
    check(VIQ_draw_get_ptr(number, &font), "font");
    return {font, font->height + gap};
}

void set_pixel(const pixels &window, int32_t x, int32_t y, uint8_t grey) {
    if (x >= 0 && y >= 0 && static_cast<uint32_t>(x) < window.width &&
        static_cast<uint32_t>(y) < window.lines)
        std::fill_n(window.line(static_cast<uint32_t>(y)) +
                        static_cast<std::size_t>(x) * rgb24_bytes,
                    rgb24_bytes, grey);
}

void darken(const pixels &window, const view_rectangle &part) {
    for (uint32_t y = part.y; y < std::min(part.y + part.height, window.lines); ++y) {
        uint8_t *line = window.line(y);
        for (std::size_t i = std::size_t{part.x} * rgb24_bytes;
             i < std::size_t{std::min(part.x + part.width, window.width)} * rgb24_bytes; ++i)
            line[i] = static_cast<uint8_t>(line[i] / 4);
    }
}

// The library draws ASCII, and only text that fits.
void draw_line(const image &window, const std::string &text, const tVIQ_Font &font, uint32_t left,
               uint32_t top) {
    constexpr uint16_t darkened = 0;
    constexpr uint16_t white = 15;
    constexpr uint32_t first = 1; // column and line of the library
    const pixels area = pixels_of(window.handle);
    if (area.width < left + font.width || area.lines < top + font.height)
        return;
    std::string fitting = text.substr(0, (area.width - left) / font.width);
    std::replace_if(
        fitting.begin(), fitting.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    if (!fitting.empty())
        check(VIQ_draw_text(window.handle, fitting.c_str(), &font, left + first, top + first,
                            darkened, white),
              "text");
}

// With the margins around it.
view_size size_of(const std::vector<std::string> &lines, const text_style &style) {
    std::size_t longest = 0;
    for (const std::string &line : lines)
        longest = std::max(longest, line.size());
    return {static_cast<uint32_t>(longest) * style.font->width + 2 * margin,
            static_cast<uint32_t>(lines.size()) * style.line_distance + 2 * margin};
}

// The larger font, unless the text does not fit into the window in it.
text_style fitting_style(const image &window, const std::vector<std::string> &lines,
                         uint32_t further_height) {
    constexpr uint32_t small_font = 0;
    constexpr uint32_t medium_font = 1;
    const pixels area = pixels_of(window.handle);
    const text_style medium = style_of_font(medium_font);
    const view_size size = size_of(lines, medium);
    const bool fits = size.width <= area.width && size.height + further_height <= area.lines;
    return fits ? medium : style_of_font(small_font);
}

void draw_block(const image &window, const std::vector<std::string> &lines, const text_style &style,
                uint32_t top) {
    uint32_t y = top + margin;
    for (const std::string &line : lines) {
        draw_line(window, line, *style.font, margin, y);
        y += style.line_distance;
    }
}

// The histogram in as many bins as there are bars. If a value exceeds 8 bits, those from 0 to the
// largest share the bins.
std::vector<uint64_t> bars_of(const channel_statistics &channel, uint32_t largest) {
    std::vector<uint64_t> sums(bars);
    const std::size_t values = std::max<std::size_t>(bars, std::size_t{largest} + 1);
    for (std::size_t value = 0; value < std::min(values, channel.histogram.size()); ++value)
        sums[value * bars / values] += channel.histogram[value];
    return sums;
}

uint32_t largest_of(const region_statistics &found) {
    uint32_t largest = 0;
    for (const channel_statistics &channel : found.channels)
        largest = std::max(largest, channel.largest);
    return largest;
}

// The bars of red, green and blue are added, so that bars of all three are white.
void draw_bars(const pixels &window, const channel_statistics &channel, uint32_t largest,
               std::size_t component, uint32_t left, uint32_t base) {
    const std::vector<uint64_t> sums = bars_of(channel, largest);
    const uint64_t highest = std::max<uint64_t>(1, *std::max_element(sums.begin(), sums.end()));
    for (uint32_t n = 0; n < bars && left + n < window.width; ++n) {
        const uint64_t height = (sums[n] * bar_height + highest - 1) / highest;
        for (uint32_t y = 1; y <= height && y <= base; ++y)
            window.line(base - y)[(left + n) * rgb24_bytes + component] = 255;
    }
}

} // namespace

void draw_outline(const image &window, int32_t left, int32_t top, int32_t right, int32_t lower) {
    constexpr int32_t dash = 4;
    const pixels area = pixels_of(window.handle);
    const auto shade = [](int32_t at) {
        return static_cast<uint8_t>(at / dash % 2 == 0 ? 255 : 0);
    };
    for (int32_t x = std::max(left, 0); x < std::min(right, static_cast<int32_t>(area.width)); ++x)
        for (const int32_t y : {top, lower - 1})
            set_pixel(area, x, y, shade(x - left));
    for (int32_t y = std::max(top, 0); y < std::min(lower, static_cast<int32_t>(area.lines)); ++y)
        for (const int32_t x : {left, right - 1})
            set_pixel(area, x, y, shade(y - top));
}

void draw_lines(const image &window, const std::vector<std::string> &lines) {
    const text_style style = fitting_style(window, lines, 0);
    const view_size size = size_of(lines, style);
    darken(pixels_of(window.handle), {0, 0, size.width, size.height});
    draw_block(window, lines, style, 0);
}

void draw_statistics(const image &window, const region_statistics &found) {
    const std::vector<std::string> lines = statistics_lines(found);
    const text_style style = fitting_style(window, lines, bar_height + margin);
    const pixels area = pixels_of(window.handle);
    view_size size = size_of(lines, style);
    size.width = std::max(size.width, bars + 2 * margin);
    size.height += bar_height + margin;
    const uint32_t top = area.lines > size.height ? area.lines - size.height : 0;
    darken(area, {0, top, size.width, size.height});
    draw_block(window, lines, style, top);
    if (area.lines < size.height)
        return; // the text is more important
    const uint32_t largest = largest_of(found);
    for (std::size_t component = 0; component < rgb24_bytes; ++component)
        draw_bars(area, found.channels[std::min(component, found.channels.size() - 1)], largest,
                  component, margin, area.lines - margin);
}

} // namespace tool
