// The conversion of lines: the steps for each format, and their loops.
#include "display/row_route.h"

#include <bit>
#include <cstring>

#include "camera/camera_rows.h"

namespace viq {

namespace {

// ---- Own steps

void bits_to_grey(renderer &, const u8 *line, u32 first, u32 pixels, u8 *to) {
    for (u32 x = first; x < first + pixels; ++x)
        *to++ = (line[x / 8] << x % 8 & 0x80) != 0 ? 255 : 0;
}

void values_to_grey(renderer &r, const u8 *line, u32 first, u32 pixels, u8 *to) {
    const u8 *from = line + std::size_t{2} * first;
    for (u32 n = 0; n < pixels; ++n, from += 2) {
        u16 value;
        std::memcpy(&value, from, sizeof value);
        to[n] = r.grey[value];
    }
}

void intensities(renderer &, const u8 *line, u32 first, u32 pixels, u8 *to) {
    const u8 *from = line + std::size_t{4} * first + format_row(VIQ_HSI).hsi.intensity;
    for (u32 n = 0; n < pixels; ++n)
        to[n] = from[std::size_t{4} * n];
}

void widen_rgb8(renderer &, const u8 *line, u32 first, u32 pixels, u8 *to) {
    find_row(VIQ_RGB8, VIQ_RGB16)(line + first, to, pixels, {});
}

void inks_to_colours(renderer &, const u8 *line, u32 first, u32 pixels, u8 *to) {
    const u8 *from = line + std::size_t{4} * first;
    for (u32 n = 0; n < pixels; ++n, from += 4, to += 4) {
        for (u32 c = 0; c < 3; ++c)
            to[c] = static_cast<u8>(255 - std::min(255, from[2 - c] + from[3]));
        to[3] = 0;
    }
}

void swap_spare(renderer &, const u8 *line, u32 first, u32 pixels, u8 *to) {
    const u8 *from = line + std::size_t{4} * first;
    for (u32 n = 0; n < pixels; ++n, from += 4, to += 4)
        for (u32 c = 0; c < 4; ++c)
            to[c] = from[3 - c];
}

// How lines of a format are read; formats that are not in the table are read by row kernels.
struct line_reading {
    u16 format;
    u16 kernel_format; // which kernels read in its place
    own_step before;   // null: the lines are read as they are
};

constexpr line_reading own_readings[] = {
    {VIQ_Y1, VIQ_Y8, bits_to_grey},
    {VIQ_Y16, VIQ_Y8, values_to_grey},
    {VIQ_HSI, VIQ_Y8, intensities},
    {VIQ_RGB8, VIQ_RGB16, widen_rgb8},
    {VIQ_CMYK32, VIQ_BGRX32, inks_to_colours},
    {VIQ_XRGB32, VIQ_BGRX32, swap_spare},
    {VIQ_RGGB32, VIQ_Y8, nullptr},
};

line_reading reading_of(u16 format) {
    for (const line_reading &reading : own_readings)
        if (reading.format == format)
            return reading;
    return {format, format, nullptr};
}

// ---- Pixels of windows

// Windows whose pixels are those of a pixel format, on a machine that stores low bytes first.
struct window_format {
    window_pixel pixel;
    u16 format;
};

constexpr window_format window_formats[] = {
    {bgrx32_pixel, VIQ_BGRX32},
    {{4, false, 0xFF, 0xFF00, 0xFF0000}, VIQ_RGBX32},
    {{4, false, 0xFF000000, 0xFF0000, 0xFF00}, VIQ_XBGR32},
    {{4, false, 0xFF00, 0xFF0000, 0xFF000000}, VIQ_XRGB32},
    {{3, false, 0xFF0000, 0xFF00, 0xFF}, VIQ_BGR24},
    {{3, false, 0xFF, 0xFF00, 0xFF0000}, VIQ_RGB24},
    {rgb16_pixel, VIQ_RGB16},
    {rgb15_pixel, VIQ_RGB15},
};

u32 swap_bytes(u32 value, u32 bytes) {
    u32 swapped = 0;
    for (u32 n = 0; n < bytes; ++n)
        swapped |= (value >> 8 * n & 0xFF) << 8 * (bytes - 1 - n);
    return swapped;
}

// The format with these pixels, or 0.
u16 format_of(window_pixel pixel) {
    if (std::endian::native != std::endian::little)
        return 0;
    if (pixel.swapped && pixel.bytes > 2) {
        for (u32 *bits : {&pixel.red, &pixel.green, &pixel.blue, &pixel.opaque})
            *bits = swap_bytes(*bits, pixel.bytes);
        pixel.swapped = false;
    }
    for (const window_format &known : window_formats)
        if (known.pixel == pixel)
            return known.format;
    return 0;
}

// The bits of an 8-bit value in a component of a pixel.
u32 place_value(u32 value, u32 mask) {
    if (mask == 0)
        return 0;
    const int bits = std::popcount(mask);
    const u32 scaled = bits <= 8 ? value >> (8 - bits) : value << (bits - 8) | value >> (16 - bits);
    return scaled << std::countr_zero(mask) & mask;
}

bool make_masks(renderer &r) {
    const window_pixel &pixel = r.rules.pixel;
    if (!try_resize(r.masks, 3 * 256))
        return false;
    const u32 components[3] = {pixel.blue, pixel.green, pixel.red};
    for (u32 c = 0; c < 3; ++c)
        for (u32 value = 0; value < 256; ++value) {
            const u32 bits = place_value(value, components[c]) | pixel.opaque;
            r.masks[256 * c + value] = pixel.swapped ? swap_bytes(bits, pixel.bytes) : bits;
        }
    return true;
}

u32 pixel_value(const renderer &r, u32 blue, u32 green, u32 red) {
    return r.masks[blue] | r.masks[256 + green] | r.masks[512 + red];
}

void store_pixel(u8 *to, u32 bytes, u32 value) {
    if (std::endian::native == std::endian::big)
        value <<= 8 * (4 - bytes);
    std::memcpy(to, &value, bytes);
}

void pack_by_masks(const renderer &r, const u8 *bgrx, u32 pixels, u8 *to) {
    const u32 bytes = r.rules.pixel.bytes;
    for (u32 n = 0; n < pixels; ++n, bgrx += 4, to += bytes)
        store_pixel(to, bytes, pixel_value(r, bgrx[0], bgrx[1], bgrx[2]));
}

// ---- Routes

// The format 0 is that of windows with other pixels than the formats have.
row_route make_route(const line_reading &reading, u16 target, u32 target_bytes) {
    row_route route;
    route.before = reading.before;
    route.by_masks = target == 0;
    const u16 kernel_target = target != 0 ? target : u16{VIQ_BGRX32};
    if (reading.kernel_format != kernel_target)
        route.kernel = find_row(reading.kernel_format, kernel_target);
    route.source_bytes = static_cast<u32>(pixel_bytes(reading.kernel_format));
    route.kernel_bytes = static_cast<u32>(pixel_bytes(kernel_target));
    route.target_bytes = target_bytes;
    route.group = reading.kernel_format == VIQ_YUV422 ? 2 : 1;
    return route;
}

// The grey value of each sample value.
bool make_grey_values(renderer &r) {
    constexpr u32 values = 65536;
    const bool needed = r.rules.format == VIQ_Y16;
    if (!try_resize(r.grey, needed ? values : 0))
        return false;
    const i64 low = i64{r.rules.level} - r.rules.window / 2;
    for (i64 value = 0; value < i64(r.grey.size()); ++value) {
        const i64 above = std::max(value - low, i64{0});
        r.grey[static_cast<u32>(value)] =
            static_cast<u8>(std::min(above * 256 / r.rules.window, i64{255}));
    }
    return true;
}

// The columns of a mosaic in BGRX32.
void convert_mosaic(renderer &r, const present_lines &present, i64 line, u32 first, u32 pixels,
                    u8 *bgrx);

// A line that is present or held.
const u8 *find_line(const renderer &r, const present_lines &present, i64 line) {
    const i64 number = line - present.first;
    return number >= 0 && number < i64{present.lines.lines}
               ? present.lines.line(static_cast<u64>(number))
               : r.held.data();
}

void finish_route(renderer &r, const row_route &route, const u8 *source, u32 pixels, u8 *target) {
    u8 *to = route.by_masks ? r.before_masks.data() : target;
    row_options options;
    options.map = r.map;
    if (route.kernel != nullptr)
        route.kernel(source, to, pixels, options);
    else
        std::memcpy(to, source, std::size_t{route.kernel_bytes} * pixels);
    if (route.by_masks)
        pack_by_masks(r, to, pixels, target);
}

void convert_range(renderer &r, const row_route &route, const present_lines &present, i64 line,
                   u32 first, u32 pixels, u8 *target) {
    if (shows_mosaic(r)) {
        convert_mosaic(r, present, line, first, pixels, r.after_own_step.data());
        return finish_route(r, route, r.after_own_step.data(), pixels, target);
    }
    const u8 *from = find_line(r, present, line);
    const u32 before = first % route.group;
    const u32 whole = (before + pixels + route.group - 1) / route.group * route.group;
    if (whole == pixels)
        return run_route(r, route, from, first, pixels, target);
    u8 *groups = r.groups.data();
    run_route(r, route, from, first - before, whole, groups);
    std::memcpy(target, groups + std::size_t{before} * route.target_bytes,
                std::size_t{pixels} * route.target_bytes);
}

} // namespace

bool can_render(u16 format) {
    const line_reading reading = reading_of(format);
    return reading.kernel_format == VIQ_BGRX32 ||
           find_row(reading.kernel_format, VIQ_BGRX32) != nullptr;
}

bool make_routes(renderer &r) {
    const line_reading reading = shows_mosaic(r) ? line_reading{VIQ_BGRX32, VIQ_BGRX32, nullptr}
                                                 : reading_of(r.rules.format);
    const u16 window = format_of(r.rules.pixel);
    r.to_window = make_route(reading, window, r.rules.pixel.bytes);
    r.to_colours = make_route(reading, VIQ_BGRX32, 4);
    r.colours_to_window = make_route(reading_of(VIQ_BGRX32), window, r.rules.pixel.bytes);
    return make_masks(r) && make_grey_values(r);
}

bool shows_mosaic(const renderer &r) {
    return r.rules.format == VIQ_RGGB32 && r.rules.mosaic_colour != 0;
}

i64 line_below(const renderer &r, i64 line) {
    const i64 last = i64{r.rules.height} - 1;
    return line < last ? line + 1 : std::max(line - 1, i64{0});
}

void convert_columns(renderer &r, const row_route &route, const present_lines &present, i64 line,
                     u8 *target) {
    convert_range(r, route, present, line, r.first_column, r.column_count, target);
}

void run_route(renderer &r, const row_route &route, const u8 *line, u32 first, u32 pixels,
               u8 *target) {
    if (route.before == nullptr)
        return finish_route(r, route, line + std::size_t{first} * route.source_bytes, pixels,
                            target);
    route.before(r, line, first, pixels, r.after_own_step.data());
    finish_route(r, route, r.after_own_step.data(), pixels, target);
}

void convert_pixel(renderer &r, const present_lines &present, u32 x, i64 line, u8 bgrx[4]) {
    convert_range(r, r.to_colours, present, line, x, 1, bgrx);
}

void fill_row(renderer &r, const surface &to, u32 row, u32 first, u32 end) {
    const u32 colour = r.rules.background;
    const u32 value = pixel_value(r, colour & 0xFF, colour >> 8 & 0xFF, colour >> 16 & 0xFF);
    const u32 bytes = r.rules.pixel.bytes;
    if (first >= end)
        return;
    u8 *pixels =
        to.data + static_cast<std::ptrdiff_t>(row) * to.stride + std::size_t{bytes} * first;
    const std::size_t size = std::size_t{bytes} * (end - first);
    store_pixel(pixels, bytes, value);
    for (std::size_t filled = bytes; filled < size; filled *= 2)
        std::memcpy(pixels + filled, pixels, std::min(filled, size - filled));
}

namespace {

void convert_mosaic(renderer &r, const present_lines &present, i64 line, u32 first, u32 pixels,
                    u8 *bgrx) {
    const std::size_t stride = std::size_t{pixels} + 2 * mosaic_margin;
    const u32 width = r.rules.width;
    const u8 *sources[2] = {find_line(r, present, line),
                            find_line(r, present, line_below(r, line))};
    mosaic_lines lines;
    for (u32 n = 0; n < 2; ++n) {
        u8 *to = r.mosaic.data() + n * stride;
        std::memset(to, 0, mosaic_margin);
        std::memcpy(to + mosaic_margin, sources[n] + first, pixels);
        // The columns after the last one are mirrored about it.
        for (u32 k = 0; k < mosaic_margin; ++k) {
            const u64 column = u64{first} + pixels + k;
            const u64 mirrored = column < width ? column : 2 * u64{width - 1} - column;
            to[mosaic_margin + pixels + k] = sources[n][mirrored < width ? mirrored : 0];
        }
    }
    for (const u8 *&at : lines.at)
        at = r.mosaic.data() + mosaic_margin;
    lines.at[3] = lines.at[4] = r.mosaic.data() + stride + mosaic_margin;
    mosaic_line kind = line_of_mosaic(r.rules.mosaic_colour, static_cast<u64>(line));
    kind.green_first = kind.green_first == (first % 2 == 0);
    camera_rows().to_bgrx32[static_cast<u32>(demosaic_scheme::replicate)](lines, bgrx, pixels,
                                                                          kind);
}

} // namespace

} // namespace viq
