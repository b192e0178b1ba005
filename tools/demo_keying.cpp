#include "tools/demo_keying.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "tools/demo_runner.h"
#include "tools/image_handle.h"
#include "tools/pipeline.h"
#include "tools/pixel_format_table.h"
#include "tools/psnr.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

constexpr const char *subject = "key screen"; // in error messages
constexpr const char *rim = "430,280,74,50";  // of the saucer

image draw_screen(uint32_t width, uint32_t height);
image compose(const image &object, const image &background);
std::string file_of(const std::string &name);
void write(const image &picture, const std::string &name);
card keyed_card(const std::string &id, const std::string &options, const std::string &title,
                const std::string &note);

} // namespace

section keying_section(const std::string &photo, const std::string &background_photo) {
    const image photograph = read_as_rgb24(photo);
    const image other = read_as_rgb24(background_photo);
    const uint32_t width = VIQ_get_width(photograph.handle);
    const uint32_t height = VIQ_get_height(photograph.handle);
    const image screen = draw_screen(width, height);
    image background;
    check(VIQ_IP_scale(other.handle, background.handle, width, height, VIQ_STRIP_NEXT), subject);
    const image scene = compose(photograph, screen);
    const image ideal = compose(photograph, background);
    write(scene, "scene");
    write(screen, "screen");
    write(background, "background");

    section s = {.id = "keying",
                 .title = "Chroma key",
                 .intro = "A cup in front of a blue screen with uneven light and noise, composed "
                          "from two photographs. The hue of the screen is measured in a picture "
                          "of the empty screen.",
                 .layout = "wide"};
    card keyed = keyed_card("keyed", "--key 10," + file_of("background"), "Before a background",
                            "pixel pairs of the screen's hue are replaced, and edges softened");
    keyed.facts = {
        {"PSNR against an ideal mask", psnr_text(psnr_of(ideal, read_as_rgb24(file_of("keyed"))))}};
    s.cards.push_back(keyed);
    s.cards.push_back({.title = "The rim of the saucer",
                       .note = "a part of the same pictures, magnified",
                       .after = show(file_of("keyed"), "keyed-rim", rim),
                       .before = show(file_of("scene"), "scene-rim", rim),
                       .before_label = "Scene",
                       .after_label = "Keyed"});
    s.cards.push_back(
        keyed_card("key-colour", "--key 10", "Key colour", "what is replaced, in bright green"));
    fs::remove(file_of("keyed"));
    fs::remove(file_of("key-colour"));
    return s;
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

// ---- Pictures and commands

std::string file_of(const std::string &name) {
    return name + (kind_of_type("png").is_writable() ? ".png" : ".bmp");
}

void write(const image &picture, const std::string &name) {
    picture_source source = picture_in_memory(picture.handle, name);
    run_to_file({source}, kind_of_extension(file_of(name)), file_of(name));
}

card keyed_card(const std::string &id, const std::string &options, const std::string &title,
                const std::string &note) {
    const std::string command = "viq convert " + options + " --screen " + file_of("screen") + " " +
                                file_of("scene") + " " + file_of(id);
    run_command(command);
    return {.title = title,
            .note = note,
            .after = show(file_of(id), id),
            .before = show(file_of("scene"), "scene"),
            .before_label = "Scene",
            .after_label = "Keyed",
            .command = command};
}

} // namespace

} // namespace tool
