#include "tools/view_state.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace tool {

namespace {

// Above 1 a pixel of the picture is a whole number of pixels wide.
constexpr double zooms[] = {1.0 / 64, 1.0 / 48, 1.0 / 32, 1.0 / 24, 1.0 / 16, 1.0 / 12, 1.0 / 8,
                            1.0 / 6,  1.0 / 4,  1.0 / 3,  1.0 / 2,  2.0 / 3,  1,        1.5,
                            2,        3,        4,        6,        8,        12,       16,
                            24,       32,       48,       64};

constexpr double longest_side = 1000000; // that a display accepts

double fitting_zoom(const view_state &view) {
    return std::min({static_cast<double>(view.window.width) / view.picture.width,
                     static_cast<double>(view.window.height) / view.picture.height,
                     *std::rbegin(zooms)});
}

uint32_t scaled(uint32_t side, double zoom) {
    return static_cast<uint32_t>(std::max(1L, std::lround(side * zoom)));
}

// A picture that is smaller than the window is in its middle.
int32_t placed(int64_t wanted, uint32_t window, uint32_t shown) {
    const int64_t room = int64_t{window} - shown;
    return static_cast<int32_t>(room >= 0 ? room / 2 : std::clamp<int64_t>(wanted, room, 0));
}

void place(view_state &view, int64_t left, int64_t top) {
    view.left = placed(left, view.window.width, view.shown.width);
    view.top = placed(top, view.window.height, view.shown.height);
}

void apply_zoom(view_state &view, double zoom) {
    const uint32_t side = std::max(view.picture.width, view.picture.height);
    view.zoom = std::min(zoom, longest_side / side);
    view.shown = {scaled(view.picture.width, view.zoom), scaled(view.picture.height, view.zoom)};
}

void show_again(view_state &view) {
    if (view.fits)
        show_whole(view);
    else
        place(view, view.left, view.top);
}

// Where the scaled picture starts, so that the point which is at `at` now stays there.
int64_t start_around(int32_t at, int32_t start, uint32_t shown, uint32_t shown_later) {
    const double middle = at + 0.5;
    return std::llround(middle - (middle - start) * shown_later / shown);
}

} // namespace

void set_picture_size(view_state &view, view_size size) {
    if (size == view.picture)
        return;
    view.picture = size;
    view.fits = true;
    show_whole(view);
}

void set_window_size(view_state &view, view_size size) {
    view.window = size;
    show_again(view);
}

void show_whole(view_state &view) {
    apply_zoom(view, fitting_zoom(view));
    view.fits = true;
    place(view, 0, 0);
}

void set_zoom(view_state &view, double zoom, view_position around) {
    const view_size before = view.shown;
    apply_zoom(view, zoom);
    view.fits = false;
    place(view, start_around(around.x, view.left, before.width, view.shown.width),
          start_around(around.y, view.top, before.height, view.shown.height));
}

void change_zoom(view_state &view, int32_t steps, view_position around) {
    constexpr double tolerance = 1.0001; // the size of a picture is rounded to pixels
    const auto *const first = std::begin(zooms);
    const auto *const end = std::end(zooms);
    double zoom = view.zoom;
    for (; steps > 0; --steps) {
        const double *larger = std::upper_bound(first, end, zoom * tolerance);
        zoom = larger == end ? zoom : *larger;
    }
    for (; steps < 0; ++steps) {
        const double *not_smaller = std::lower_bound(first, end, zoom / tolerance);
        zoom = not_smaller == first ? zoom : *std::prev(not_smaller);
    }
    if (zoom != view.zoom)
        set_zoom(view, zoom, around);
}

void pan(view_state &view, int32_t right, int32_t down) {
    place(view, int64_t{view.left} + right, int64_t{view.top} + down);
}

view_position middle_of_window(const view_state &view) {
    return {static_cast<int32_t>(view.window.width / 2),
            static_cast<int32_t>(view.window.height / 2)};
}

std::optional<view_position> pixel_at(const view_state &view, view_position in_window) {
    const int64_t x = int64_t{in_window.x} - view.left;
    const int64_t y = int64_t{in_window.y} - view.top;
    if (x < 0 || x >= view.shown.width || y < 0 || y >= view.shown.height)
        return {};
    return nearest_pixel(view, in_window);
}

view_position nearest_pixel(const view_state &view, view_position in_window) {
    const int64_t x =
        std::clamp<int64_t>(int64_t{in_window.x} - view.left, 0, view.shown.width - 1);
    const int64_t y =
        std::clamp<int64_t>(int64_t{in_window.y} - view.top, 0, view.shown.height - 1);
    return {static_cast<int32_t>(source_column(x, view.picture.width, view.shown.width)),
            static_cast<int32_t>(source_column(y, view.picture.height, view.shown.height))};
}

uint32_t source_column(int64_t x, uint32_t side, uint32_t shown) {
    return static_cast<uint32_t>((2 * x + 1) * side / (2 * int64_t{shown}));
}

view_rectangle rectangle_between(view_position a, view_position b) {
    const view_position first = {std::min(a.x, b.x), std::min(a.y, b.y)};
    const view_position last = {std::max(a.x, b.x), std::max(a.y, b.y)};
    return {static_cast<uint32_t>(first.x), static_cast<uint32_t>(first.y),
            static_cast<uint32_t>(last.x - first.x + 1),
            static_cast<uint32_t>(last.y - first.y + 1)};
}

} // namespace tool
