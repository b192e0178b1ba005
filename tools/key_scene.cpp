#include "tools/key_scene.h"

#include <algorithm>
#include <cmath>

#include "tools/process.h"

namespace tool {

namespace {

constexpr const char *subject = "key screen";
constexpr u16 green = 10;

image draw_screen(u32 width, u32 height);
image set_before(const image &object, const image &behind);
image background_of(const image &from, u32 width, u32 height);
image as_yuv422(const image &from);
image keyed(const image &scene, const image *background, u32 object, u16 mode);
image magnified(const image &from);
std::string measured(u32 object);

} // namespace

key_scene key_cup(const image &photograph, const image &background) {
    const u32 width = VIQ_get_width(photograph.handle);
    const u32 height = VIQ_get_height(photograph.handle);
    image screen = draw_screen(width, height);
    image scene = set_before(photograph, screen);
    image behind = background_of(background, width, height);
    key_scene made;
    made.ideal = set_before(photograph, behind);
    const image yuv = as_yuv422(scene);
    const image yuv_behind = as_yuv422(behind);
    const scoped_key key;
    check(key.handle, subject);
    check(VIQ_CK_calibrate(as_yuv422(screen).handle, key.handle, VIQ_STRIP_NEXT), subject);
    const auto add = [&made](const char *name, const std::string &note, image picture,
                             bool composite = false) {
        made.steps.push_back({name, note, std::move(picture), composite});
    };
    add("Scene", "a cup before a blue screen, unevenly lit and noisy", std::move(scene));
    add("Empty screen", "calibration measures " + measured(key.handle), std::move(screen));
    add("Background", "another photograph, scaled", std::move(behind));
    add("Key colour", "mode 0, keyed pairs become green", keyed(yuv, nullptr, key.handle, 0));
    image hard = keyed(yuv, &yuv_behind, key.handle, 0);
    image soft = keyed(yuv, &yuv_behind, key.handle, 1);
    image hard_detail = magnified(hard);
    image soft_detail = magnified(soft);
    add("Mode 0", "keyed pairs become the background's", std::move(hard), true);
    add("Mode 1", "the same with softened edges", std::move(soft), true);
    add("Mode 0, magnified", "the saucer's rim, 8 times", std::move(hard_detail));
    add("Mode 1, magnified", "pairs beside keyed ones are a mean", std::move(soft_detail));
    return made;
}

namespace {

// ---- The scene

// A lamp from above on the left lights places from 0 to 1.
double light_at(double x, double y) {
    return 1.2 - 0.45 * std::hypot(x - 0.35, y - 0.2);
}

// A camera's noise: the sum of four uniform numbers around 0.
double next_noise(u32 &state) {
    double sum = 0;
    for (int n = 0; n < 4; ++n) {
        state = state * 1664525 + 1013904223;
        sum += (state >> 16) / 65536.0 - 0.5;
    }
    return 6 * sum;
}

u8 byte_of(double value) {
    return static_cast<u8>(std::clamp(std::lround(value), 0L, 255L));
}

image draw_screen(u32 width, u32 height) {
    constexpr double paint[] = {26, 46, 170};
    image screen;
    check(shape(screen.handle, VIQ_RGB24, width, height, height), subject);
    const pixels to = pixels_of(screen.handle);
    u32 noise = 1;
    for (u32 y = 0; y < height; ++y)
        for (u32 x = 0; x < width; ++x) {
            const double level = light_at(double(x) / width, double(y) / height);
            u8 *pixel = to.line(y) + 3 * x;
            for (const double part : paint)
                *pixel++ = byte_of(part * level + next_noise(noise));
        }
    return screen;
}

// Ellipses that hold the cup and its saucer.
struct ellipse {
    double x, y, wide, high, turned; // radians clockwise
};

constexpr ellipse outlines[] = {{278, 226, 199, 156, 0.19}, {291, 113, 116, 94, 0}};

// How far a place lies inside the rim, in pixels.
double depth_in(const ellipse &rim, double x, double y) {
    const double dx = x - rim.x;
    const double dy = y - rim.y;
    const double along = dx * std::cos(rim.turned) + dy * std::sin(rim.turned);
    const double across = dy * std::cos(rim.turned) - dx * std::sin(rim.turned);
    return (1 - std::hypot(along / rim.wide, across / rim.high)) * std::min(rim.wide, rim.high);
}

// A lens gives the rim a width of two pixels.
double share_of_object(u32 x, u32 y) {
    double depth = -1;
    for (const ellipse &outline : outlines)
        depth = std::max(depth, depth_in(outline, x, y));
    return std::clamp(depth / 2 + 0.5, 0.0, 1.0);
}

image set_before(const image &object, const image &behind) {
    const pixels near = pixels_of(object.handle);
    const pixels far = pixels_of(behind.handle);
    image scene;
    check(shape(scene.handle, VIQ_RGB24, far.width, far.lines, far.lines), subject);
    const pixels to = pixels_of(scene.handle);
    for (u32 y = 0; y < far.lines; ++y)
        for (u32 x = 0; x < far.width; ++x) {
            const double share = share_of_object(x, y);
            for (u32 n = 3 * x; n < 3 * x + 3; ++n)
                to.line(y)[n] = byte_of(share * near.line(y)[n] + (1 - share) * far.line(y)[n]);
        }
    return scene;
}

// ---- Keying

image background_of(const image &from, u32 width, u32 height) {
    image scaled;
    check(VIQ_IP_scale(from.handle, scaled.handle, width, height, VIQ_STRIP_NEXT), subject);
    return scaled;
}

image as_yuv422(const image &from) {
    image yuv;
    check(VIQ_convert_to_YUV422(from.handle, yuv.handle, VIQ_STRIP_NEXT), subject);
    return yuv;
}

image keyed(const image &scene, const image *background, u32 object, u16 mode) {
    image result;
    check(VIQ_CK_chroma_key(scene.handle, result.handle,
                            background != nullptr ? background->handle : 0, green, object, mode,
                            VIQ_STRIP_NEXT),
          subject);
    return result;
}

image magnified(const image &from) {
    image detail;
    image large;
    check(VIQ_IP_crop(from.handle, detail.handle, 430, 280, 74, 50, VIQ_STRIP_NEXT), subject);
    check(VIQ_IP_pixel_rep(detail.handle, large.handle, 8, VIQ_STRIP_NEXT), subject);
    return large;
}

std::string measured(u32 object) {
    const auto value = [object](u16 which) {
        return std::to_string(VIQ_CK_get_parameter(object, which));
    };
    return "hue " + value(VIQ_CK_HUE_CENTRE) + " \u00b1 " + value(VIQ_CK_HUE_TOLERANCE) +
           ", and sets luma " + value(VIQ_CK_LUMA_CENTRE) + " \u00b1 " +
           value(VIQ_CK_LUMA_TOLERANCE);
}

} // namespace

} // namespace tool
