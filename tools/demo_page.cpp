#include "tools/demo_page.h"

#include <algorithm>
#include <cmath>
#include <fstream>

#include "tools/image_handle.h"
#include "tools/pixel_format_table.h"
#include "tools/psnr.h"

namespace tool {

namespace {

std::string head();
std::string section(const gallery &g);
std::string card(const shot &s, const shot &original);
std::string rate_plot(const gallery &g);
std::string plot_axes();
std::string plot_curve(const gallery &g, const char *group, int index);
std::string route_section(const route_table &routes);
std::string route_cell(const route_table &routes, uint16_t from, uint16_t to);
std::string kilobytes(std::uintmax_t bytes);

constexpr const char *style = R"(
:root { color-scheme: light dark; --paper: #f6f5f2; --card: #fff; --ink: #22252a; --soft: #6b7078;
        --line: #dedcd6; --accent: #0b6e6e; }
@media (prefers-color-scheme: dark) {
  :root { --paper: #17191c; --card: #212429; --ink: #e8e6e1; --soft: #9aa0a8; --line: #34383f;
          --accent: #5cc4c0; } }
* { box-sizing: border-box; }
body { margin: 0; background: var(--paper); color: var(--ink);
       font: 15px/1.5 system-ui, "Segoe UI", sans-serif; }
header, main { max-width: 1360px; margin: 0 auto; padding: 0 24px; }
header { padding-top: 40px; }
h1 { font-size: 30px; margin: 0 0 4px; letter-spacing: -0.02em; }
h2 { font-size: 21px; margin: 48px 0 0; }
h3 { font-size: 13px; margin: 28px 0 10px; color: var(--soft); text-transform: uppercase;
     letter-spacing: 0.08em; }
p { margin: 4px 0; color: var(--soft); max-width: 75ch; }
nav { position: sticky; top: 0; z-index: 2; background: var(--paper);
      border-bottom: 1px solid var(--line); margin-top: 18px; }
nav div { max-width: 1360px; margin: 0 auto; padding: 10px 24px; display: flex; gap: 22px;
          flex-wrap: wrap; }
a { color: var(--accent); text-decoration: none; }
a:hover { text-decoration: underline; }
section { scroll-margin-top: 50px; }
.grid { display: grid; gap: 18px; grid-template-columns: repeat(auto-fill, minmax(290px, 1fr)); }
figure { margin: 0; background: var(--card); border: 1px solid var(--line); border-radius: 10px;
         overflow: hidden; }
.stack { position: relative; display: block; background: #0001; }
.stack img { display: block; width: 100%; height: auto; }
.stack .before { position: absolute; inset: 0; height: 100%; opacity: 0; transition: opacity .15s; }
.stack:hover .before { opacity: 1; }
figcaption { padding: 10px 14px 12px; }
figcaption b { display: block; }
figcaption span { color: var(--soft); font-size: 13px; display: block; min-height: 1.5em; }
dl { display: flex; gap: 16px; margin: 8px 0 0; font-size: 13px; font-variant-numeric: tabular-nums; }
dl div { display: flex; gap: 5px; }
dt { color: var(--soft); } dd { margin: 0; font-weight: 600; }
.wide { overflow-x: auto; background: var(--card); border: 1px solid var(--line);
        border-radius: 10px; margin-top: 14px; }
table { border-collapse: collapse; font-size: 13px; font-variant-numeric: tabular-nums; width: 100%; }
th, td { padding: 6px 10px; text-align: right; border-bottom: 1px solid var(--line); }
th { font-weight: 600; } tr:last-child > * { border-bottom: 0; }
tbody th { text-align: left; }
td.none { color: var(--line); } td.exact { color: var(--accent); }
.plot { background: var(--card); border: 1px solid var(--line); border-radius: 10px;
        display: block; margin-bottom: 14px; font-size: 11px; }
.plot line { stroke: var(--line); } .plot text { fill: var(--soft); }
.plot polyline { fill: none; stroke: currentColor; stroke-width: 2; }
.plot circle, .plot .name { fill: currentColor; }
.plot .curve0 { color: #b8651b; } .plot .curve1 { color: #4a7fc1; } .plot .curve2 { color: var(--accent); }
footer { height: 60px; }
)";

} // namespace

void write_page(const std::string &path, const std::vector<gallery> &galleries,
                const route_table &routes) {
    std::string text = head() + "<nav><div>";
    for (const gallery &g : galleries)
        text += "<a href=\"#" + std::string(g.photo.name) + "\">" + g.photo.title + "</a>";
    text += "<a href=\"#routes\">All conversions</a></div></nav>\n<main>\n";
    for (const gallery &g : galleries)
        text += section(g);
    text += route_section(routes) + "</main>\n<footer></footer>\n</body></html>\n";
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    if (!file)
        throw failure{path + ": Failed to write file"};
}

namespace {

std::string head() {
    return std::string("<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n"
                       "<meta name=\"viewport\" content=\"width=device-width\">\n"
                       "<title>VIQ demo</title>\n<style>") +
           style +
           "</style></head>\n<body>\n<header><h1>VIQ demo</h1>\n"
           "<p>Each photograph is read strip by strip, converted to the pixel format or palette "
           "given, converted again to a format that a BMP file can hold, and written. The PSNR is "
           "that of the written file against the original. Point at a picture to see the original; "
           "click to open the file.</p></header>\n";
}

std::string section(const gallery &g) {
    const shot &original = g.shots.front();
    std::string text = "<section id=\"" + std::string(g.photo.name) + "\"><h2>" + g.photo.title +
                       "</h2>\n<p>" + std::to_string(original.width) + " &times; " +
                       std::to_string(original.height) + ". Photograph: " + g.photo.credit +
                       "</p>\n";
    std::string group;
    for (const shot &s : g.shots) {
        if (s.group != group)
            text += (group.empty() ? "" : "</div>\n") + ("<h3>" + s.group) + "</h3>\n" +
                    (s.group == jpeg_group ? rate_plot(g) : "") + "<div class=\"grid\">\n";
        group = s.group;
        text += card(s, original);
    }
    return text + "</div></section>\n";
}

std::string card(const shot &s, const shot &original) {
    const std::string size = "\" loading=\"lazy\" width=\"" + std::to_string(s.width) +
                             "\" height=\"" + std::to_string(s.height) + "\" alt=\"";
    std::string text = "<figure><a class=\"stack\" href=\"" + s.file + "\"><img src=\"" + s.file +
                       size + s.name + "\">";
    const bool changed = s.file != original.file;
    if (changed)
        text += "<img class=\"before\" src=\"" + (s.before.empty() ? original.file : s.before) +
                size + "original\">";
    text += "</a><figcaption><b>" + s.name + "</b><span>" + s.note +
            "</span><dl><div><dt>size</dt><dd>" + kilobytes(s.bytes) + "</dd></div>";
    if (changed && s.psnr != no_psnr)
        text += "<div><dt>PSNR</dt><dd>" + psnr_text(s.psnr) + "</dd></div>";
    return text + "</dl></figcaption></figure>\n";
}

// ---- PSNR by file size

constexpr double plot_width = 460;
constexpr double plot_height = 230;
constexpr double plot_left = 40;
constexpr double plot_right = 20;
constexpr double plot_top = 10;
constexpr double plot_bottom = 30;
constexpr double most_bits = 16; // per pixel
constexpr double least_bits = 0.0625;
constexpr double lowest_psnr = 20; // in dB
constexpr double highest_psnr = 50;

// The axis of bits per pixel is logarithmic.
double x_of(double bits) {
    const double position = std::log2(bits / least_bits) / std::log2(most_bits / least_bits);
    return plot_left + (plot_width - plot_left - plot_right) * position;
}

double y_of(double psnr) {
    const double position = (highest_psnr - psnr) / (highest_psnr - lowest_psnr);
    return plot_top + (plot_height - plot_top - plot_bottom) * position;
}

// Two decimals.
std::string number(double value) {
    const std::string text = std::to_string(value);
    return text.substr(0, text.find('.') + 3);
}

// Two attributes of an SVG element.
std::string position(const char *x, double x_value, const char *y, double y_value) {
    return std::string(" ") + x + "=\"" + number(x_value) + "\" " + y + "=\"" + number(y_value) +
           "\"";
}

std::string rate_plot(const gallery &g) {
    std::string text = "<svg class=\"plot\" width=\"460\" height=\"230\" role=\"img\" "
                       "aria-label=\"PSNR by bits per pixel\">\n" +
                       plot_axes();
    int curve = 0;
    for (const char *group : {jpeg_group, fast_group, small_group})
        text += plot_curve(g, group, curve++);
    return text + "</svg>\n";
}

std::string plot_axes() {
    std::string text;
    for (double psnr = lowest_psnr; psnr <= highest_psnr; psnr += 10)
        text += "<line" + position("x1", x_of(least_bits), "y1", y_of(psnr)) +
                position("x2", x_of(most_bits), "y2", y_of(psnr)) + "/><text" +
                position("x", 4, "y", y_of(psnr) + 4) + ">" + std::to_string(int(psnr)) +
                " dB</text>\n";
    text += "<text" + position("x", plot_width - plot_right, "y", 26) +
            " text-anchor=\"end\">PSNR by bits per pixel</text>\n";
    for (double bits = 2 * least_bits; bits <= most_bits; bits *= 4)
        text += "<text" + position("x", x_of(bits) - 8, "y", plot_height - 8) + ">" + number(bits) +
                "</text>\n";
    return text;
}

std::string plot_curve(const gallery &g, const char *group, int index) {
    constexpr int legend_line = 16;
    std::string points;
    std::string dots;
    for (const shot &s : g.shots) {
        if (s.group != group)
            continue;
        const double bits = 8.0 * static_cast<double>(s.bytes) / (double(s.width) * s.height);
        points += number(x_of(bits)) + "," + number(y_of(s.psnr)) + " ";
        dots += "<circle r=\"3\"" + position("cx", x_of(bits), "cy", y_of(s.psnr)) + "><title>" +
                group + ", " + s.name + ": " + number(bits) + " bits per pixel, " +
                psnr_text(s.psnr) + "</title></circle>\n";
    }
    return "<g class=\"curve" + std::to_string(index) + "\"><polyline points=\"" + points +
           "\"/>\n" + dots + "<text class=\"name\"" +
           position("x", plot_left + 12, "y", 26 + legend_line * index) + ">" + group +
           "</text></g>\n";
}

// ---- Table of conversions

std::string route_section(const route_table &routes) {
    std::vector<uint16_t> rows;
    std::vector<uint16_t> columns;
    for (const pixel_format &f : pixel_formats()) {
        if (std::any_of(routes.begin(), routes.end(),
                        [&f](const auto &r) { return r.first.first == f.code; }))
            rows.push_back(f.code);
        if (std::any_of(routes.begin(), routes.end(),
                        [&f](const auto &r) { return r.first.second == f.code; }))
            columns.push_back(f.code);
    }
    std::string text =
        "<section id=\"routes\"><h2>All conversions</h2>\n<p>The first photograph is "
        "converted to the format of the row, by one converter to the format of the "
        "column, and back to RGB24. Each cell gives the PSNR in dB, or &equiv; for "
        "identical pictures. There are " +
        std::to_string(routes.size()) +
        " conversions.</p>\n<div class=\"wide\"><table><thead><tr><th></th>";
    for (uint16_t to : columns)
        text += "<th>" + format_name(to) + "</th>";
    text += "</tr></thead><tbody>\n";
    for (uint16_t from : rows) {
        text += "<tr><th>" + format_name(from) + "</th>";
        for (uint16_t to : columns)
            text += route_cell(routes, from, to);
        text += "</tr>\n";
    }
    return text + "</tbody></table></div></section>\n";
}

std::string route_cell(const route_table &routes, uint16_t from, uint16_t to) {
    const auto cell = routes.find({from, to});
    if (cell == routes.end())
        return "<td class=\"none\">&middot;</td>";
    if (std::isinf(cell->second))
        return "<td class=\"exact\">&equiv;</td>";
    const std::string text = psnr_text(cell->second);
    return "<td>" + text.substr(0, text.find(' ')) + "</td>";
}

std::string kilobytes(std::uintmax_t bytes) {
    return std::to_string((bytes + 512) / 1024) + " KB";
}

} // namespace

} // namespace tool
