#include "tools/demo_keying.h"

#include <algorithm>
#include <cmath>

#include "tools/pixel_format_table.h"

namespace tool {

namespace {

constexpr const char *subject = "key screen"; // in error messages
constexpr uint16_t green = 10;                // named colour

// Modes of VIQ_CK_chroma_key.
constexpr uint16_t hard_edges = 0;
constexpr uint16_t soft_edges = 1;

image draw_screen(uint32_t width, uint32_t height);
image compose(const image &object, const image &background);
image scaled_to(const image &from, uint32_t width, uint32_t height);
image as_yuv422(const image &from);
image keyed(const image &scene, const image *background, uint32_t object, uint16_t mode);
image magnified(const image &from);
std::string calibration_text(uint32_t object);

} // namespace

key_scene make_key_scene(const image &photograph, const image &background) {
    const uint32_t width = VIQ_get_width(photograph.handle);
    const uint32_t height = VIQ_get_height(photograph.handle);
    image screen = draw_screen(width, height);
    image scene = compose(photograph, screen);
    image scaled = scaled_to(background, width, height);
    key_scene made;
    made.ideal = compose(photograph, scaled);
    const image scene_yuv = as_yuv422(scene);
    const image background_yuv = as_yuv422(scaled);
    const library_object key(VIQ_CK_create(), VIQ_CK_destroy);
    check(VIQ_CK_calibrate(as_yuv422(screen).handle, key.handle, VIQ_STRIP_NEXT), subject);
    image hard = keyed(scene_yuv, &background_yuv, key.handle, hard_edges);
    image soft = keyed(scene_yuv, &background_yuv, key.handle, soft_edges);
    image hard_detail = magnified(hard);
    image soft_detail = magnified(soft);
    const auto add = [&made](const char *name, const std::string &note, image picture,
                             bool is_composite = false) {
        made.steps.push_back({name, note, std::move(picture), is_composite});
    };
    add("Scene", "a cup in front of a blue screen, with uneven light and noise", std::move(scene));
    add("Empty screen", "calibration measures " + calibration_text(key.handle), std::move(screen));
    add("Background", "another photograph, scaled", std::move(scaled));
    add("Key colour", "mode 0, keyed pixel pairs become green",
        keyed(scene_yuv, nullptr, key.handle, hard_edges));
    add("Mode 0", "keyed pixel pairs are replaced by the background", std::move(hard), true);
    add("Mode 1", "the same with softened edges", std::move(soft), true);
    add("Mode 0, magnified", "the rim of the saucer, 8 times", std::move(hard_detail));
    add("Mode 1, magnified", "pairs next to keyed ones are mixed with the background",
        std::move(soft_detail));
    return made;
}

namespace {

// ---- The scene

// The brightness at a position, each coordinate from 0 to 1, with a lamp at the upper left.
double light_at(double x, double y) {
    return 1.2 - 0.45 * std::hypot(x - 0.35, y - 0.2);
}

// Camera noise: the sum of four uniform random numbers with mean 0. The generator is a linear
// congruential one, so that the demo is reproducible.
double next_noise(uint32_t &state) {
    constexpr double amplitude = 6;
    double sum = 0;
    for (int n = 0; n < 4; ++n) {
        state = state * 1664525 + 1013904223;
        sum += (state >> 16) / 65536.0 - 0.5;
    }
    return amplitude * sum;
}

uint8_t byte_of(double value) {
    return static_cast<uint8_t>(std::clamp(std::lround(value), 0L, 255L));
}

image draw_screen(uint32_t width, uint32_t height) {
    constexpr double blue[] = {26, 46, 170}; // RGB
    image screen;
    check(set_shape(screen.handle, VIQ_RGB24, width, height, height), subject);
    const pixels to = pixels_of(screen.handle);
    uint32_t noise = 1;
    for (uint32_t y = 0; y < height; ++y)
        for (uint32_t x = 0; x < width; ++x) {
            const double level = light_at(double(x) / width, double(y) / height);
            uint8_t *pixel = to.line(y) + rgb24_bytes * x;
            for (const double component : blue)
                *pixel++ = byte_of(component * level + next_noise(noise));
        }
    return screen;
}

struct ellipse {
    double x, y; // centre
    double half_width, half_height;
    double angle; // clockwise, in radians
};

// The cup and its saucer.
constexpr ellipse outlines[] = {{278, 226, 199, 156, 0.19}, {291, 113, 116, 94, 0}};

// Distance of a position from the outline in pixels, approximately; positive inside.
double depth_in(const ellipse &outline, double x, double y) {
    const double dx = x - outline.x;
    const double dy = y - outline.y;
    const double along = dx * std::cos(outline.angle) + dy * std::sin(outline.angle);
    const double across = dy * std::cos(outline.angle) - dx * std::sin(outline.angle);
    return (1 - std::hypot(along / outline.half_width, across / outline.half_height)) *
           std::min(outline.half_width, outline.half_height);
}

// The lens blurs the edge of the object over two pixels.
double share_of_object(uint32_t x, uint32_t y) {
    constexpr double edge_width = 2;
    double depth = -1;
    for (const ellipse &outline : outlines)
        depth = std::max(depth, depth_in(outline, x, y));
    return std::clamp(depth / edge_width + 0.5, 0.0, 1.0);
}

image compose(const image &object, const image &background) {
    const pixels near = pixels_of(object.handle);
    const pixels far = pixels_of(background.handle);
    image scene;
    check(set_shape(scene.handle, VIQ_RGB24, far.width, far.lines, far.lines), subject);
    const pixels to = pixels_of(scene.handle);
    for (uint32_t y = 0; y < far.lines; ++y)
        for (uint32_t x = 0; x < far.width; ++x) {
            const double share = share_of_object(x, y);
            for (uint32_t n = rgb24_bytes * x; n < rgb24_bytes * (x + 1); ++n)
                to.line(y)[n] = byte_of(share * near.line(y)[n] + (1 - share) * far.line(y)[n]);
        }
    return scene;
}

// ---- Keying

image scaled_to(const image &from, uint32_t width, uint32_t height) {
    image scaled;
    check(VIQ_IP_scale(from.handle, scaled.handle, width, height, VIQ_STRIP_NEXT), subject);
    return scaled;
}

image as_yuv422(const image &from) {
    image yuv;
    check(VIQ_convert_to_YUV422(from.handle, yuv.handle, VIQ_STRIP_NEXT), subject);
    return yuv;
}

image keyed(const image &scene, const image *background, uint32_t object, uint16_t mode) {
    image result;
    check(VIQ_CK_chroma_key(scene.handle, result.handle,
                            background != nullptr ? background->handle : 0, green, object, mode,
                            VIQ_STRIP_NEXT),
          subject);
    return result;
}

image magnified(const image &from) {
    constexpr uint16_t factor = 8;
    image detail;
    image large;
    check(VIQ_IP_crop(from.handle, detail.handle, 430, 280, 74, 50, VIQ_STRIP_NEXT), subject);
    check(VIQ_IP_pixel_rep(detail.handle, large.handle, factor, VIQ_STRIP_NEXT), subject);
    return large;
}

std::string calibration_text(uint32_t object) {
    const auto value = [object](uint16_t which) {
        return std::to_string(VIQ_CK_get_parameter(object, which));
    };
    return "hue " + value(VIQ_CK_HUE_CENTRE) + " \u00b1 " + value(VIQ_CK_HUE_TOLERANCE) +
           ", and sets luma " + value(VIQ_CK_LUMA_CENTRE) + " \u00b1 " +
           value(VIQ_CK_LUMA_TOLERANCE);
}

} // namespace

} // namespace tool
