// Showing images: VIQ_display_image, VIQ_display_refresh, VIQ_display_get_pixel.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/format_checks.h"
#include "core/image.h"
#include "core/lines.h"
#include "core/report.h"
#include "display/display.h"

using namespace viq;

namespace {

// The arguments of the strip driver.
struct shown_on {
    display *d;
    bool operator==(const shown_on &) const = default;
};

verdict check_shown_image(const strip_call &call, const shown_on &on);
u32 show_strip(const strip_call &call, const shown_on &on);
tVIQ_Image *find_shown_image(const display &d);
present_lines lines_of_strip(const tVIQ_Image &image, u32 first_line);
void read_pixel(display &d, const tVIQ_Image &image, tVIQ_DisplayPixel &pixel);

} // namespace

u32 VIQ_display_image(u32 hDisplay, u32 hImage, u16 wStripCommand) {
    const bool abandons = wStripCommand == VIQ_STRIP_FINISH;
    const display_call call("VIQ_display_image", hDisplay,
                            abandons ? window_need::any : window_need::shown);
    if (call.d == nullptr)
        return call.code;
    const strip_transfer<shown_on> transfer = {.name = call.d->function,
                                               .sequence = call.d->sequence,
                                               .check_image = check_shown_image,
                                               .process = show_strip,
                                               .line = present_bit_line};
    return run_transfer(transfer, hImage, wStripCommand, {call.d});
}

u32 VIQ_display_refresh(u32 hDisplay) {
    const display_call call("VIQ_display_refresh", hDisplay, window_need::shown);
    if (call.d == nullptr)
        return call.code;
    bool lost = false;
    const u32 code = show_again(*call.d, lost);
    return lost && !is_error(code)
               ? report(call.d->function, VIQ_ERR_STATE, "Picture no longer available")
               : code;
}

u32 VIQ_display_get_pixel(u32 hDisplay, i32 x, i32 y, tVIQ_DisplayPixel *pPixel) {
    const display_call call("VIQ_display_get_pixel", hDisplay, window_need::any);
    if (call.d == nullptr)
        return call.code;
    display &d = *call.d;
    if (pPixel == nullptr)
        return report_null(d.function);
    *pPixel = {};
    if (!d.shown.valid)
        return report(d.function, VIQ_ERR_STATE, "No picture shown");
    const image_position at = map_to_image(d, x, y);
    if (!at.inside)
        return report(d.function, VIQ_ERR_PARAMETER, "Position outside the picture");
    pPixel->x = static_cast<u32>(at.column);
    pPixel->y = static_cast<u32>(at.line);
    pPixel->image_type = d.shown.geometry.format;
    const tVIQ_Image *image = find_shown_image(d);
    const image_use use(image);
    if (image != nullptr && !use.busy)
        read_pixel(d, *image, *pPixel);
    return success;
}

namespace {

u32 make_rules(const display &d, const shown_picture &picture, render_rules &rules);
u32 draw(display &d, const tVIQ_Image &image, const shown_picture &picture);
u32 paint_background(display &d);

// ---- One strip

verdict check_shown_image(const strip_call &call, const shown_on &) {
    const tVIQ_Image &in = *call.in;
    if (!can_render(in.pixel_format))
        return stop_with(
            report(call.name, VIQ_ERR_UNSUPPORTED | in.pixel_format, "Unsupported image format"));
    if (in.pixel_format == VIQ_PALETTED && in.colourmap == nullptr)
        return stop_with(report_no_colourmap(call.name));
    return in.pixel_format == VIQ_YUV422 ? accept_even(call, in.width) : proceed;
}

u32 show_strip(const strip_call &call, const shown_on &on) {
    tVIQ_Image &image = *call.in;
    if (!has_pixels(image, image.lines_per_strip))
        return report_no_data(call.name);
    companion(image).in_sequence = true; // the display is notified when the image is destroyed
    const shown_picture picture = {.valid = true,
                                   .handle = call.in_handle,
                                   .image = &image,
                                   .geometry = geometry_of(image),
                                   .data_width = image.data_width,
                                   .first_line = call.sequence->lines_done,
                                   .place = {}};
    return draw(*on.d, image, picture);
}

// Renders the strip of the image and copies what has changed to the window.
u32 draw(display &d, const tVIQ_Image &image, const shown_picture &picture) {
    u32 code = d.system->prepare(d);
    render_rules rules;
    if (!is_error(code))
        code = make_rules(d, picture, rules);
    if (is_error(code))
        return code;
    const bool same = d.render.ready && d.render.rules == rules && !d.contents_lost;
    if (!set_up(d.render, rules))
        return report(d.function, VIQ_ERR_MEMORY, "");
    if (picture.first_line == 0)
        begin_picture(d.render);
    const bool whole = image.lines_per_strip >= image.height;
    code = d.system->lock(d, whole);
    if (is_error(code))
        return code;
    if (!same || whole)
        fill_background(d.render, d.pixels, whole);
    d.render.map = image.colourmap;
    const rectangle written =
        render_lines(d.render, d.pixels, lines_of_strip(image, picture.first_line));
    const bool all = !same || d.exposed;
    d.contents_lost = d.exposed = false;
    d.shown = picture;
    d.shown.place = rules.place;
    return d.system->put(d, all ? rules.place.painted : written);
}

present_lines lines_of_strip(const tVIQ_Image &image, u32 first_line) {
    return {lines_of(image), first_line};
}

// ---- Rules and placement

u32 make_placement(const display &d, const shown_picture &picture, placement &place);

u32 make_rules(const display &d, const shown_picture &picture, render_rules &rules) {
    rules.pixel = d.pixels.pixel;
    rules.background = parameter(d, VIQ_DISPLAY_BACKGROUND);
    rules.bilinear = parameter(d, VIQ_DISPLAY_ZOOM) == VIQ_DISPLAY_BILINEAR;
    rules.format = picture.geometry.format;
    rules.data_width = picture.data_width;
    rules.width = picture.geometry.width;
    rules.height = picture.geometry.height;
    if (rules.format == VIQ_Y16) {
        rules.window = parameter(d, VIQ_DISPLAY_WINDOW);
        rules.level = parameter(d, VIQ_DISPLAY_LEVEL);
        if (rules.window == 0) {
            rules.window = u32{1} << picture.data_width;
            rules.level = rules.window / 2;
        }
    }
    if (rules.format == VIQ_RGGB32)
        rules.mosaic_colour = static_cast<u16>(parameter(d, VIQ_DISPLAY_MOSAIC));
    return make_placement(d, picture, rules.place);
}

// The region of interest in the image.
u32 find_region(const display &d, const strip_geometry &image, rectangle &region) {
    const u32 x = parameter(d, VIQ_DISPLAY_REGION_X);
    const u32 y = parameter(d, VIQ_DISPLAY_REGION_Y);
    u32 width = parameter(d, VIQ_DISPLAY_REGION_WIDTH);
    u32 height = parameter(d, VIQ_DISPLAY_REGION_HEIGHT);
    if (image.width > INT32_MAX || image.height > INT32_MAX)
        return report(d.function, VIQ_ERR_UNSUPPORTED, "Image too large to be shown");
    if (x >= image.width || y >= image.height || width > image.width - x ||
        height > image.height - y)
        return report(d.function, VIQ_ERR_PARAMETER, "Region outside the image");
    width = width != 0 ? width : image.width - x;
    height = height != 0 ? height : image.height - y;
    region = {static_cast<i32>(x), static_cast<i32>(y), static_cast<i32>(width),
              static_cast<i32>(height)};
    return success;
}

rectangle find_target(const display &d) {
    const i32 x = static_cast<i32>(parameter(d, VIQ_DISPLAY_TARGET_X));
    const i32 y = static_cast<i32>(parameter(d, VIQ_DISPLAY_TARGET_Y));
    const i32 width = static_cast<i32>(parameter(d, VIQ_DISPLAY_TARGET_WIDTH));
    const i32 height = static_cast<i32>(parameter(d, VIQ_DISPLAY_TARGET_HEIGHT));
    return {x, y, width != 0 ? width : std::max(static_cast<i32>(d.width) - x, 0),
            height != 0 ? height : std::max(static_cast<i32>(d.height) - y, 0)};
}

// What the region is scaled to, for a target that is not empty.
rectangle fit_region(const rectangle &region, const rectangle &target, u32 fit) {
    if (fit == VIQ_DISPLAY_FIT_NONE)
        return {target.x, target.y, region.width, region.height};
    if (fit == VIQ_DISPLAY_FIT_STRETCH)
        return target;
    rectangle picture = target;
    const auto scaled = [](i64 size, i64 numerator, i64 denominator) {
        return static_cast<i32>(
            std::max((2 * size * numerator + denominator) / (2 * denominator), i64{1}));
    };
    if (i64{target.width} * region.height <= i64{target.height} * region.width)
        picture.height = scaled(region.height, target.width, region.width);
    else
        picture.width = scaled(region.width, target.height, region.height);
    picture.x += (target.width - picture.width) / 2;
    picture.y += (target.height - picture.height) / 2;
    return picture;
}

u32 make_placement(const display &d, const shown_picture &picture, placement &place) {
    const rectangle window = {0, 0, static_cast<i32>(d.width), static_cast<i32>(d.height)};
    const rectangle target = find_target(d);
    place.painted = d.own_window ? window : intersection(window, target);
    if (!picture.valid)
        return success;
    const u32 code = find_region(d, picture.geometry, place.region);
    if (is_error(code))
        return code;
    place.picture = place.region;
    if (is_empty(target))
        return success;
    place.picture = fit_region(place.region, target, parameter(d, VIQ_DISPLAY_FIT));
    place.visible = intersection(intersection(place.picture, target), window);
    return success;
}

// ---- Painting again

// The image that was last shown, if it still has these lines.
tVIQ_Image *find_shown_image(const display &d) {
    tVIQ_Image *image = find_image(d.shown.handle);
    if (image == nullptr || image != d.shown.image)
        return nullptr;
    const u32 previous = image->bytes_per_line;
    image->bytes_per_line = present_bit_line(*image, previous);
    const bool same = geometry_of(*image) == d.shown.geometry &&
                      image->data_width == d.shown.data_width &&
                      has_pixels(*image, image->lines_per_strip) &&
                      (image->pixel_format != VIQ_PALETTED || image->colourmap != nullptr);
    if (!same)
        image->bytes_per_line = previous;
    return same ? image : nullptr;
}

u32 paint_background(display &d) {
    render_rules rules;
    const u32 code = make_rules(d, {}, rules);
    if (is_error(code))
        return code;
    if (!set_up(d.render, rules))
        return report(d.function, VIQ_ERR_MEMORY, "");
    const u32 locked = d.system->lock(d, true);
    if (is_error(locked))
        return locked;
    fill_background(d.render, d.pixels, false);
    d.contents_lost = d.exposed = false;
    return d.system->put(d, rules.place.painted);
}

// ---- Pixels

// The components of pixel x of a line.
u16 read_values(const u8 *line, const tVIQ_Image &image, u32 x, u32 value[4]) {
    const pixel_format &format = format_row(image.pixel_format);
    const u8 *at = line + std::size_t{format.bytes_per_pixel} * x;
    u16 word;
    const auto read_word = [&](const u8 *from) {
        std::memcpy(&word, from, sizeof word);
        return u32{word};
    };
    switch (format.layout) {
    case pixel_layout::rgb_bytes:
        value[0] = at[format.rgb.red];
        value[1] = at[format.rgb.green];
        value[2] = at[format.rgb.blue];
        return 3;
    case pixel_layout::rgb_fields: {
        const u32 pixel = format.bytes_per_pixel == 1 ? u32{*at} : read_word(at);
        const bit_field fields[3] = {format.fields.red, format.fields.green, format.fields.blue};
        for (u32 n = 0; n < 3; ++n)
            value[n] = pixel >> fields[n].shift & ((u32{1} << fields[n].bits) - 1);
        return 3;
    }
    case pixel_layout::yuv_pair: {
        const u8 *pair = line + std::size_t{4} * (x / 2);
        value[0] = pair[x % 2 == 0 ? format.yuv.first_y : format.yuv.second_y];
        value[1] = pair[format.yuv.u];
        value[2] = pair[format.yuv.v];
        return 3;
    }
    case pixel_layout::cmyk_bytes:
        std::copy_n(at, 4, value);
        return 4;
    case pixel_layout::hsi:
        value[0] = read_word(at + format.hsi.hue);
        value[1] = at[format.hsi.saturation];
        value[2] = at[format.hsi.intensity];
        return 3;
    default:
        break;
    }
    if (format.bytes_per_pixel == 0)
        value[0] = line[x / 8] >> (7 - x % 8) & 1;
    else
        value[0] = format.bytes_per_pixel == 1 ? u32{*at} : read_word(at);
    return 1;
}

void read_pixel(display &d, const tVIQ_Image &image, tVIQ_DisplayPixel &pixel) {
    const present_lines present = lines_of_strip(image, d.shown.first_line);
    if (!d.render.ready || pixel.y < present.first ||
        pixel.y - present.first >= present.lines.lines)
        return;
    pixel.components =
        read_values(present.lines.line(pixel.y - d.shown.first_line), image, pixel.x, pixel.value);
    u8 bgrx[4] = {};
    d.render.map = image.colourmap;
    show_pixel(d.render, present, pixel.x, pixel.y, bgrx);
    pixel.red = bgrx[2];
    pixel.green = bgrx[1];
    pixel.blue = bgrx[0];
}

} // namespace

namespace viq {

void forget_picture(display &d) {
    d.sequence = {};
    d.shown = {};
}

u32 show_again(display &d, bool &lost) {
    u32 code = d.system->prepare(d);
    render_rules rules;
    if (!is_error(code))
        code = make_rules(d, d.shown, rules);
    if (is_error(code))
        return code;
    if (d.render.ready && d.render.rules == rules && !d.contents_lost) {
        d.exposed = false;
        return d.system->put(d, rules.place.painted);
    }
    const tVIQ_Image *image = d.shown.valid ? find_shown_image(d) : nullptr;
    const image_use use(image);
    if (image != nullptr && holds_picture(*image) && !use.busy) {
        shown_picture picture = d.shown;
        picture.first_line = 0;
        return draw(d, *image, picture);
    }
    lost = d.shown.valid;
    d.shown = {};
    return paint_background(d);
}

image_position map_to_image(const display &d, i32 x, i32 y) {
    image_position at = {};
    if (!d.shown.valid)
        return at;
    const rectangle &region = d.shown.place.region;
    const rectangle &picture = d.shown.place.picture;
    const rectangle &visible = d.shown.place.visible;
    const i64 column = i64{x} - picture.x;
    const i64 line = i64{y} - picture.y;
    at.inside = x >= visible.x && i64{x} < i64{visible.x} + visible.width && y >= visible.y &&
                i64{y} < i64{visible.y} + visible.height;
    at.x = region.x + (static_cast<double>(column) + 0.5) * region.width / picture.width;
    at.y = region.y + (static_cast<double>(line) + 0.5) * region.height / picture.height;
    if (at.inside) {
        at.column = region.x + position_of(column, region.width, picture.width, false).element;
        at.line = region.y + position_of(line, region.height, picture.height, false).element;
    }
    return at;
}

} // namespace viq
