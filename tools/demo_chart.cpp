#include "tools/demo_chart.h"

#include <algorithm>
#include <cmath>

#include "tools/demo_page.h"

namespace tool {

namespace {

constexpr double width = 560;
constexpr double height = 340;
constexpr double left = 34;
constexpr double right = 12;
constexpr double top = 28;
constexpr double bottom = 50;
constexpr double least_bits = 0.125;
constexpr double most_bits = 8;
constexpr double lowest_psnr = 22; // in dB
constexpr double highest_psnr = 46;

// The axis of bits per pixel is logarithmic.
double x_of(double bits) {
    return left + (width - left - right) * std::log2(bits / least_bits) /
                      std::log2(most_bits / least_bits);
}

double y_of(double psnr) {
    return top + (height - top - bottom) * (highest_psnr - psnr) / (highest_psnr - lowest_psnr);
}

bool is_in_range(const rate_point &p) {
    return p.bits >= least_bits && p.bits <= most_bits && p.psnr >= lowest_psnr &&
           p.psnr <= highest_psnr;
}

std::string attribute(const char *name, double value) {
    return std::string(" ") + name + "=\"" + fixed_point(value, 1) + "\"";
}

std::string grid_line(double x1, double y1, double x2, double y2) {
    return "<line class=\"grid\"" + attribute("x1", x1) + attribute("y1", y1) +
           attribute("x2", x2) + attribute("y2", y2) + "/>";
}

std::string label(double x, double y, const char *anchor, const std::string &text) {
    return "<text" + attribute("x", x) + attribute("y", y) + " text-anchor=\"" + anchor + "\">" +
           text + "</text>\n";
}

std::string axes() {
    std::string text;
    for (double psnr = 25; psnr <= 45; psnr += 5)
        text += grid_line(left, y_of(psnr), width - right, y_of(psnr)) +
                label(left - 7, y_of(psnr) + 4, "end", fixed_point(psnr, 0));
    for (double bits = least_bits; bits <= most_bits; bits *= 2) {
        const std::string value = bits < 1 ? "1/" + fixed_point(1 / bits, 0) : fixed_point(bits, 0);
        text += grid_line(x_of(bits), top, x_of(bits), height - bottom) +
                label(x_of(bits), height - bottom + 18, "middle", value);
    }
    return text + label(left - 26, 16, "start", "PSNR in dB") +
           label(width - right, height - 5, "end", "bits per pixel");
}

std::string class_of(const rate_curve &curve, std::size_t index) {
    return "class=\"curve" + std::to_string(index) + (curve.is_peer ? " peer" : "") + "\"";
}

std::string drawn(const rate_curve &curve, std::size_t index) {
    std::string line;
    std::string dots;
    for (const rate_point &p : curve.points) {
        if (!is_in_range(p))
            continue;
        line += fixed_point(x_of(p.bits), 1) + "," + fixed_point(y_of(p.psnr), 1) + " ";
        dots += "<circle r=\"3.2\"" + attribute("cx", x_of(p.bits)) +
                attribute("cy", y_of(p.psnr)) + "><title>" + escaped(curve.name) + ": " +
                fixed_point(p.bits, 2) + " bits per pixel, " + fixed_point(p.psnr, 1) +
                " dB</title></circle>";
    }
    return "<g " + class_of(curve, index) + "><polyline points=\"" + line + "\"/>" + dots +
           "</g>\n";
}

} // namespace

std::string rate_chart(const std::string &title, const std::vector<rate_curve> &curves) {
    std::string drawing;
    std::string legend;
    for (std::size_t n = 0; n < curves.size(); ++n) {
        drawing += drawn(curves[n], n);
        legend += "<li " + class_of(curves[n], n) + "><i></i><span>" + escaped(curves[n].name) +
                  "</span></li>";
    }
    return "<figure class=\"chart\"><h3>" + escaped(title) + "</h3><svg viewBox=\"0 0 " +
           fixed_point(width, 0) + " " + fixed_point(height, 0) +
           "\" role=\"img\" aria-label=\"PSNR by bits per pixel\">\n" + axes() + drawing +
           "</svg><ul class=\"legend\">" + legend + "</ul></figure>\n";
}

} // namespace tool
