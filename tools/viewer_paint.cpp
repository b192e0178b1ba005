// What the window of viq view shows, and its title.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "tools/pixel_format_table.h"
#include "tools/pixel_samples.h"
#include "tools/view_overlay.h"
#include "tools/viewer.h"

namespace tool {

namespace {

// Columns or lines of the window that the picture covers, and those of the picture under them.
struct covered {
    uint32_t first;
    std::vector<uint32_t> sources;
};

bool has_overlay(const viewer &v);
void show_picture(viewer &v, const image &picture);
void show_with_overlay(viewer &v, const image &picture);
std::string position_text(const viewer &v);

} // namespace

void paint(viewer &v) {
    const image &picture = picture_for_zoom(v.frame, v.view.zoom);
    if (has_overlay(v))
        show_with_overlay(v, picture);
    else
        show_picture(v, picture);
}

void update_title(viewer &v) {
    const view_file &file = v.frame.file;
    std::string title = file.name;
    const auto append_number = [&title](const char *what, uint64_t number, uint64_t count) {
        if (count > 1)
            title += what + std::to_string(number) + " of " + std::to_string(count);
    };
    append_number(" - file ", v.current + 1, v.files.size());
    append_number(file.is_film ? " - frame " : " - page ", v.frame.number, file.frames);
    const double percent = v.view.zoom * 100;
    char text[100];
    std::snprintf(
        text, sizeof text, " - %u x %u %s - %.*f %%", static_cast<unsigned>(v.view.picture.width),
        static_cast<unsigned>(v.view.picture.height),
        format_name(format_of(v.frame.picture.handle)).c_str(), percent < 10 ? 1 : 0, percent);
    title += text;
    if (values_of_grey16(v) != 0) {
        const value_range range = range_of(v);
        title +=
            " - window " + std::to_string(range.count) + " level " + std::to_string(range.level);
    }
    title += position_text(v);
    if (!v.skipped.empty())
        title += " - skipped " + v.skipped;
    if (title == v.title)
        return;
    v.title = title;
    check(VIQ_display_set_title(v.display, title.c_str()), "viq view");
}

namespace {

bool has_overlay(const viewer &v) {
    return v.shows_help || v.shows_statistics || v.region;
}

void set_parameter(const viewer &v, uint16_t parameter, uint32_t value) {
    check(VIQ_display_set_parameter(v.display, parameter, value), "viq view");
}

struct placement {
    int32_t left, top;
    uint32_t width, height; // 0: to the edge of the window
};

void show_image(const viewer &v, const image &picture, const placement &target) {
    const value_range range = range_of(v);
    set_parameter(v, VIQ_DISPLAY_FIT, VIQ_DISPLAY_FIT_STRETCH);
    set_parameter(v, VIQ_DISPLAY_TARGET_X, static_cast<uint32_t>(target.left));
    set_parameter(v, VIQ_DISPLAY_TARGET_Y, static_cast<uint32_t>(target.top));
    set_parameter(v, VIQ_DISPLAY_TARGET_WIDTH, target.width);
    set_parameter(v, VIQ_DISPLAY_TARGET_HEIGHT, target.height);
    set_parameter(v, VIQ_DISPLAY_WINDOW, range.count);
    set_parameter(v, VIQ_DISPLAY_LEVEL, range.level);
    check(VIQ_display_image(v.display, picture.handle, VIQ_STRIP_NEXT), v.frame.file.name);
}

void show_picture(viewer &v, const image &picture) {
    show_image(v, picture, {v.view.left, v.view.top, v.view.shown.width, v.view.shown.height});
}

covered covered_by(int32_t start, uint32_t shown, uint32_t window, uint32_t side) {
    const int64_t end = std::min<int64_t>(window, int64_t{start} + shown);
    covered found = {static_cast<uint32_t>(std::max(start, 0)), {}};
    for (int64_t x = found.first; x < end; ++x)
        found.sources.push_back(source_column(x - start, side, shown));
    return found;
}

// As the display shows them.
void map_values(const uint16_t *from, uint32_t count, const value_range &range, uint8_t *rgb) {
    const int64_t low = int64_t{range.level} - range.count / 2;
    for (std::size_t x = 0; x < count; ++x) {
        const int64_t grey = (from[x] - low) * 256 / range.count;
        std::memset(rgb + x * rgb24_bytes, static_cast<int>(std::clamp<int64_t>(grey, 0, 255)),
                    rgb24_bytes);
    }
}

void copy_to_rgb(const viewer &v, const image &samples, uint32_t left, uint32_t top,
                 const pixels &window) {
    const pixels from = pixels_of(samples.handle);
    const uint16_t format = format_of(samples.handle);
    for (uint32_t y = 0; y < from.lines; ++y) {
        uint8_t *to = window.line(top + y) + std::size_t{left} * rgb24_bytes;
        const uint8_t *line = from.line(y);
        if (format == VIQ_Y16)
            map_values(reinterpret_cast<const uint16_t *>(line), from.width, range_of(v), to);
        else if (format == VIQ_RGB24)
            std::memcpy(to, line, std::size_t{from.width} * rgb24_bytes);
        else
            for (std::size_t x = 0; x < from.width; ++x)
                std::memset(to + x * rgb24_bytes, line[x], rgb24_bytes);
    }
}

// What the window shows of a picture, in RGB24.
image visible_copy(const viewer &v, const image &picture) {
    const view_state &view = v.view;
    const pixels from = pixels_of(picture.handle);
    const covered columns = covered_by(view.left, view.shown.width, view.window.width, from.width);
    const covered lines = covered_by(view.top, view.shown.height, view.window.height, from.lines);
    image copy;
    check(set_shape(copy.handle, VIQ_RGB24, view.window.width, view.window.height,
                    view.window.height),
          v.frame.file.name);
    const pixels window = pixels_of(copy.handle);
    for (uint32_t y = 0; y < window.lines; ++y)
        std::memset(window.line(y), 0, std::size_t{window.width} * rgb24_bytes);
    copy_to_rgb(v, sample_pixels(picture, columns.sources, lines.sources, v.frame.file.name),
                columns.first, lines.first, window);
    return copy;
}

// The rectangle covers the pixels of the window that show the region.
void draw_region(const viewer &v, const image &window) {
    const view_state &view = v.view;
    const auto edge = [](uint32_t pixel, uint32_t side, int32_t start, uint32_t shown) {
        return start + static_cast<int32_t>(std::lround(static_cast<double>(pixel) * shown / side));
    };
    const auto column = [&](uint32_t x) {
        return edge(x, view.picture.width, view.left, view.shown.width);
    };
    const auto line = [&](uint32_t y) {
        return edge(y, view.picture.height, view.top, view.shown.height);
    };
    draw_outline(window, column(v.region->x), line(v.region->y),
                 column(v.region->x + v.region->width), line(v.region->y + v.region->height));
}

// A region that is being selected has no statistics yet.
void show_with_overlay(viewer &v, const image &picture) {
    const image copy = visible_copy(v, picture);
    if (v.region)
        draw_region(v, copy);
    const bool is_selecting = v.drag.kind == drag_kind::select && v.drag.has_moved;
    if (v.shows_help)
        draw_lines(copy, control_lines());
    else if (!is_selecting && (v.region || v.shows_statistics))
        draw_statistics(copy, current_statistics(v));
    show_image(v, copy, {0, 0, 0, 0});
}

std::string position_text(const viewer &v) {
    if (!v.pointer)
        return "";
    const auto pixel = pixel_at(v.view, *v.pointer);
    if (!pixel)
        return "";
    return " - " + std::to_string(pixel->x) + ", " + std::to_string(pixel->y) + ": " +
           stored_pixel(v.frame.picture, static_cast<uint32_t>(pixel->x),
                        static_cast<uint32_t>(pixel->y), v.frame.file.name);
}

} // namespace

} // namespace tool
