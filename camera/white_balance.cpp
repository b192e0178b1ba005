// White balance, black level and gamma of colour-filter mosaics, before they are demosaiced.
#include <algorithm>
#include <cmath>

#include "camera/camera_rows.h"
#include "core/byte_order.h"
#include "core/format_checks.h"
#include "core/full_precision.h"
#include "core/process_lines.h"
#include "core/report.h"

using namespace viq;

namespace {

constexpr u32 colours = 3;
constexpr u32 unity_gain = 4096; // 4.12 fixed point
constexpr u32 most_gain = 65535;

struct balance {
    u16 pixel_colour, black_level;
    u16 gains[colours];
    u16 gamma; // in hundredths
};

u32 check_mosaic(const char *function, const tVIQ_Image &image, u16 pixel_colour, u16 black_level);
void measure_gains(const tVIQ_Image &image, u16 pixel_colour, u16 black_level, u16 *gains);
verdict check_balance(const strip_call &call, const balance &arguments);
output_shape shape_of_mosaic(const strip_call &call);
u32 apply_balance(const strip_call &call, const balance &arguments);

VIQ_PER_CONTEXT(strip_sequence, sequence);

constexpr strip_operation<balance> balance_operation = {.name = "VIQ_BAY_apply_gains",
                                                        .sequence = sequence,
                                                        .check_before_header = check_balance,
                                                        .shape = shape_of_mosaic,
                                                        .process = apply_balance,
                                                        .whole_picture = true};

} // namespace

u32 VIQ_BAY_grey_world_gains(u32 hInImage, u16 wPixelColour, u16 wBlackLevel, u16 *pGains) {
    constexpr const char *name = "VIQ_BAY_grey_world_gains";
    if (pGains == nullptr)
        return report_null(name);
    u32 code = check_image(name, hInImage);
    if (is_error(code))
        return code;
    const tVIQ_Image &image = *find_image(hInImage);
    code = check_mosaic(name, image, wPixelColour, wBlackLevel);
    if (is_error(code))
        return code;
    if (!has_lines(image, image.lines_per_strip))
        return report_no_data(name);
    measure_gains(image, wPixelColour, wBlackLevel, pGains);
    return success;
}

u32 VIQ_BAY_apply_gains(u32 hInImage, u32 hOutImage, u16 wPixelColour, u16 wBlackLevel,
                        const u16 *pGains, u16 wGamma, u16 wStripCommand) {
    if (pGains == nullptr && wStripCommand != VIQ_STRIP_FINISH)
        return called_by_handler() ? VIQ_ERR_STATE : report_null(balance_operation.name);
    balance arguments = {wPixelColour, wBlackLevel, {}, wGamma};
    if (pGains != nullptr)
        std::copy_n(pGains, colours, arguments.gains);
    return run_conversion(balance_operation, hInImage, hOutImage, wStripCommand, arguments);
}

namespace {

// ---- Samples

// VIQ_RGGB32 has 8 bits, whatever its data width says.
u32 largest_sample(const tVIQ_Image &image) {
    const u32 bits = image.pixel_format == VIQ_Y16 ? image.data_width : 8;
    return (1u << bits) - 1;
}

u32 check_mosaic(const char *function, const tVIQ_Image &image, u16 pixel_colour, u16 black_level) {
    if (!contains(formats(VIQ_RGGB32, VIQ_Y16), image.pixel_format))
        return report(function, VIQ_ERR_UNSUPPORTED | image.pixel_format,
                      "Unsupported image format");
    if (pixel_colour < 1 || pixel_colour > 4)
        return report(function, VIQ_ERR_UNSUPPORTED, "Invalid Bayer Pixel Colour");
    if (black_level >= largest_sample(image))
        return report(function, VIQ_ERR_PARAMETER, "Black level is not below the largest sample");
    return success;
}

// Calls `work` with a function that reads sample x of a line.
template <class Work> void with_reader(const tVIQ_Image &image, Work work) {
    if (image.pixel_format == VIQ_RGGB32)
        return work([](const u8 *line, std::size_t x) -> u32 { return line[x]; });
    const u32 mask = largest_sample(image);
    work([mask](const u8 *line, std::size_t x) -> u32 { return load_word(line + 2 * x) & mask; });
}

// 0 red, 1 green, 2 blue.
u32 colour_of(mosaic_line line, std::size_t x) {
    const bool green = (x % 2 == 0) == line.green_first;
    return green ? 1 : line.red ? 0 : 2;
}

// ---- Grey world

// The gain that makes the mean of a colour equal to the largest mean.
u16 gain_between(double mean, double largest) {
    if (mean <= 0)
        return unity_gain;
    return static_cast<u16>(std::min(largest / mean * unity_gain + 0.5, double{most_gain}));
}

// Cells of 2 x 2 samples with a saturated one are not counted, because a clipped colour would look
// weaker than it is.
void measure_gains(const tVIQ_Image &image, u16 pixel_colour, u16 black_level, u16 *gains) {
    const line_view lines = lines_of(image);
    const u32 saturated = largest_sample(image);
    u64 sums[4] = {}; // by position in a cell
    with_reader(image, [&](auto sample) {
        for (u64 y = 0; y + 1 < lines.lines; y += 2) {
            const u8 *top = lines.line(y);
            const u8 *bottom = lines.line(y + 1);
            for (std::size_t x = 0; x + 1 < lines.width; x += 2) {
                const u32 cell[4] = {sample(top, x), sample(top, x + 1), sample(bottom, x),
                                     sample(bottom, x + 1)};
                if (*std::max_element(cell, cell + 4) == saturated)
                    continue;
                for (u32 n = 0; n < 4; ++n)
                    sums[n] += cell[n] > black_level ? cell[n] - black_level : 0u;
            }
        }
    });
    double means[colours] = {};
    for (u32 n = 0; n < 4; ++n) {
        const u32 colour = colour_of(line_of_mosaic(pixel_colour, n / 2), n % 2);
        means[colour] += static_cast<double>(sums[n]) / (colour == 1 ? 2 : 1);
    }
    const double largest = *std::max_element(means, means + colours);
    for (u32 colour = 0; colour < colours; ++colour)
        gains[colour] = gain_between(means[colour], largest);
}

// ---- Applying

verdict check_balance(const strip_call &call, const balance &arguments) {
    const u32 code =
        check_mosaic(call.name, *call.in, arguments.pixel_colour, arguments.black_level);
    if (is_error(code))
        return stop_with(code);
    if (arguments.gamma < 25 || arguments.gamma > 400)
        return stop_with(report(call.name, VIQ_ERR_PARAMETER, "Gamma not between 25 and 400"));
    return proceed;
}

output_shape shape_of_mosaic(const strip_call &call) {
    return {VIQ_RGGB32, call.in->width, call.in->height, 8};
}

// The output of each sample value of one colour.
void fill_table(u8 *table, u32 largest, const balance &arguments, u32 colour) {
    const full_precision precision;
    const double range = largest - arguments.black_level;
    const double gain = arguments.gains[colour] / double{unity_gain};
    for (u32 value = 0; value <= largest; ++value) {
        const double light =
            value > arguments.black_level ? (value - arguments.black_level) / range * gain : 0;
        table[value] =
            static_cast<u8>(255 * std::pow(std::min(light, 1.0), 100.0 / arguments.gamma) + 0.5);
    }
}

u32 apply_balance(const strip_call &call, const balance &arguments) {
    const u32 largest = largest_sample(*call.in);
    const std::size_t entries = std::size_t{largest} + 1;
    vector<u8> tables;
    if (!try_resize(tables, colours * entries))
        return report_no_memory(call.worker_name, colours * entries);
    for (u32 colour = 0; colour < colours; ++colour)
        fill_table(&tables[colour * entries], largest, arguments, colour);
    u32 code = success;
    with_reader(*call.in, [&](auto sample) {
        code = process_lines(call, [&](const u8 *from, u8 *to, u64 n) {
            const mosaic_line line = line_of_mosaic(arguments.pixel_colour, n);
            const u8 *even = &tables[colour_of(line, 0) * entries];
            const u8 *odd = &tables[colour_of(line, 1) * entries];
            for (std::size_t x = 0; x < call.in->width; ++x)
                to[x] = (x % 2 == 0 ? even : odd)[sample(from, x)];
        });
    });
    return code;
}

} // namespace
