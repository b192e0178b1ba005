#include "tools/demo_codecs.h"

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "tools/demo_chart.h"
#include "tools/demo_runner.h"
#include "tools/pipeline.h"
#include "tools/psnr.h"
#include "tools/verb_convert.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

struct codec {
    const char *name;
    const char *extension;
    const char *options; // for the commands that the page shows
    bool small_wavelet;
    std::vector<uint16_t> qualities;
};

constexpr const char *temporary_name = "coded";
constexpr uint16_t highest_quality = 400; // of each codec

const codec codecs[] = {
    {"VIQ JPEG, 4:2:2", ".jpg", "--quality ", false, {2, 4, 8, 16, 32, 64, 120, 250}},
    {"VIQ wavelet, --small",
     ".dwt",
     "--small --wavelet-quality ",
     true,
     {10, 20, 30, 40, 50, 60, 75, 110}},
    {"VIQ wavelet", ".dwt", "--wavelet-quality ", false, {10, 20, 30, 40, 50, 60, 75, 110}},
};
const codec &jpeg = codecs[0];
const codec &small = codecs[1];

// Another program, and the commands that code the picture in.ppm to `coded` and decode it, if VIQ
// does not read the result itself, to out.ppm.
struct peer {
    const char *name, *program;
    std::vector<std::string> commands; // one for each quality
    const char *coded, *decoded;
};

std::vector<std::string> for_each_of(const std::vector<const char *> &values,
                                     const std::string &before, const std::string &after) {
    std::vector<std::string> commands;
    for (const char *value : values)
        commands.push_back(before + value + after);
    return commands;
}

const peer peers[] = {
    {"cjpeg (libjpeg-turbo), 4:2:2", "cjpeg",
     for_each_of({"5", "10", "20", "35", "50", "70", "85", "94"}, "cjpeg -sample 2x1 -quality ",
                 " -outfile peer.jpg in.ppm"),
     "peer.jpg", "peer.jpg"},
    {"opj_compress (JPEG 2000), 4:4:4", "opj_compress",
     for_each_of({"160", "96", "48", "24", "16", "12", "8", "6", "4"},
                 "opj_compress -i in.ppm -o peer.j2k -r ",
                 " && opj_decompress -i peer.j2k -o out.ppm"),
     "peer.j2k", "out.ppm"},
};

double bits_per_pixel(const std::string &file, const picture_header &size) {
    return 8.0 * static_cast<double>(fs::file_size(file)) / (double(size.width) * size.height);
}

std::string kilobytes(const std::string &file) {
    return fixed_point(static_cast<double>(fs::file_size(file)) / 1000, 1) + " KB";
}

// ---- Curves

// Codes a photograph and returns the name of the file.
std::string code(const std::string &photo, const codec &by, uint16_t quality) {
    const std::string coded = std::string(temporary_name) + by.extension;
    convert({.in = photo,
             .out = coded,
             .coding = {.quality = quality,
                        .wavelet = {.quality = quality, .small = by.small_wavelet}}});
    return coded;
}

rate_curve curve_of(const codec &by, const std::string &photo, const image &original) {
    rate_curve curve = {by.name, false, {}};
    for (const uint16_t quality : by.qualities) {
        const std::string coded = code(photo, by, quality);
        curve.points.push_back(
            {bits_per_pixel(coded, read_header(photo)), psnr_of(original, read_as_rgb24(coded))});
        fs::remove(coded);
    }
    return curve;
}

bool is_installed([[maybe_unused]] const std::string &program) {
#ifdef _WIN32
    return false;
#else
    return std::system(("command -v " + program + " > /dev/null 2>&1").c_str()) == 0;
#endif
}

rate_curve curve_of(const peer &other, const std::string &photo, const image &original) {
    rate_curve curve = {other.name, true, {}};
    convert({.in = photo, .out = "in.ppm"});
    for (const std::string &command : other.commands)
        if (std::system(("{ " + command + "; } > /dev/null 2>&1").c_str()) == 0)
            curve.points.push_back({bits_per_pixel(other.coded, read_header(photo)),
                                    psnr_of(original, read_as_rgb24(other.decoded))});
    std::error_code ignored;
    for (const char *file : {"in.ppm", other.coded, other.decoded})
        fs::remove(file, ignored);
    return curve;
}

std::string chart_of(const std::string &title, const std::string &photo) {
    const image original = read_as_rgb24(photo);
    std::vector<rate_curve> curves;
    for (const codec &by : codecs)
        curves.push_back(curve_of(by, photo, original));
    for (const peer &other : peers)
        if (is_installed(other.program))
            curves.push_back(curve_of(other, photo, original));
    return rate_chart(title, curves);
}

// ---- Details

constexpr const char *photo = "coffee.bmp";
constexpr const char *detail = "190,80,180,120";

// The result of a codec beside the original, or beside another result.
card coded_card(const codec &by, uint16_t quality, const std::string &id, const std::string &title,
                const std::string &note) {
    const std::string coded = code(photo, by, quality);
    const std::string file = "coffee-" + id + by.extension;
    card c = {
        .title = title,
        .note = note,
        .after = show(coded, id, detail),
        .before = show(photo, "coffee-detail", detail),
        .facts = {{"file", kilobytes(coded)},
                  {"bits per pixel", fixed_point(bits_per_pixel(coded, read_header(photo)), 2)},
                  {"PSNR", psnr_text(psnr_of_files(photo, coded))}},
        .command = std::string("viq convert ") + by.options + std::to_string(quality) + " " +
                   photo + " " + file};
    fs::remove(coded);
    return c;
}

// The highest quality whose file has at most so many bytes.
uint16_t quality_of_size(const codec &by, std::uintmax_t most_bytes) {
    uint16_t fits = 0;
    uint16_t too_large = highest_quality + 1;
    while (fits + 1 < too_large) {
        const auto middle = static_cast<uint16_t>((fits + too_large) / 2);
        (fs::file_size(code(photo, by, middle)) <= most_bytes ? fits : too_large) = middle;
    }
    return fits;
}

card equal_size_card() {
    constexpr uint16_t coarse_quality = 5;
    const card by_jpeg = coded_card(jpeg, coarse_quality, "jpeg-equal", "", "");
    const std::uintmax_t bytes = fs::file_size(code(photo, jpeg, coarse_quality));
    card c = coded_card(small, quality_of_size(small, bytes), "wavelet-equal",
                        "JPEG and wavelet, files of one size", "");
    c.note = "JPEG with " + by_jpeg.facts[0].value + " and " + by_jpeg.facts[2].value +
             ", the wavelet with " + c.facts[0].value + " and " + c.facts[2].value;
    c.before = by_jpeg.after;
    c.before_label = "JPEG";
    c.after_label = "Wavelet";
    c.facts.clear();
    c.command = by_jpeg.command + "\n" + c.command;
    return c;
}

} // namespace

section codec_section() {
    section s = {.id = "compression",
                 .title = "Compression",
                 .intro = "PSNR of the decoded photograph in RGB, by the size of its file. Both "
                          "codecs of the library halve the horizontal resolution of the chroma, "
                          "which limits them on colour pictures. The pictures show a part, "
                          "magnified; the numbers are those of the whole photograph.",
                 .charts = "<div class=\"charts\">\n" + chart_of("Coffee cup, colour", photo) +
                           chart_of("Cameraman, grey", "camera.bmp") + "</div>\n",
                 .layout = "wide"};
    s.cards.push_back(equal_size_card());
    s.cards.push_back(
        coded_card(jpeg, 16, "jpeg16", "JPEG, quality factor 16", "the tables of the standard"));
    s.cards.push_back(
        coded_card(jpeg, 64, "jpeg64", "JPEG, quality factor 64", "a quarter of the steps"));
    s.cards.push_back(coded_card(small, 20, "wavelet20", "Wavelet, quality 20", "rANS coder"));
    s.cards.push_back(coded_card(small, 40, "wavelet40", "Wavelet, quality 40", "rANS coder"));
    s.cards.push_back(coded_card(small, 60, "wavelet60", "Wavelet, quality 60", "rANS coder"));
    std::error_code ignored;
    for (const codec &by : codecs)
        fs::remove(std::string(temporary_name) + by.extension, ignored);
    return s;
}

} // namespace tool
