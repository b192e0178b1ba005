// Which part of a picture a window shows, and at what size.
#pragma once

#include <cstdint>
#include <optional>

namespace tool {

struct view_size {
    uint32_t width = 0, height = 0;

    bool operator==(const view_size &) const = default;
};

// Columns and lines, of a window or of a picture.
struct view_position {
    int32_t x = 0, y = 0;
};

struct view_rectangle {
    uint32_t x = 0, y = 0, width = 0, height = 0;
};

// The picture is scaled as a whole and placed in the window, which cuts off what is outside of it.
struct view_state {
    view_size picture, window;
    view_size shown;           // of the scaled picture, in pixels of the window
    int32_t left = 0, top = 0; // of the scaled picture in the window
    double zoom = 1;           // pixels of the window for a pixel of the picture
    bool fits = true;          // the whole picture is shown, as large as the window permits
};

// These keep the whole picture in the window if `fits` is set.
void set_picture_size(view_state &view, view_size size);
void set_window_size(view_state &view, view_size size);

void show_whole(view_state &view);

// The pixel at a position of the window stays there, as far as the picture fills the window.
void set_zoom(view_state &view, double zoom, view_position around);

// Changes the zoom by so many steps; a positive number enlarges.
void change_zoom(view_state &view, int32_t steps, view_position around);

// Moves the picture. It does not leave a part of the window empty that it can fill.
void pan(view_state &view, int32_t right, int32_t down);

view_position middle_of_window(const view_state &view);

// The column, or line, of a picture whose side has `side` pixels and is shown with `shown` pixels:
// the one under the middle of pixel x, as the display of the library shows it.
uint32_t source_column(int64_t x, uint32_t side, uint32_t shown);

// The pixel of the picture at a position of the window.
std::optional<view_position> pixel_at(const view_state &view, view_position in_window);

// The same, for a position outside of the picture the nearest pixel.
view_position nearest_pixel(const view_state &view, view_position in_window);

// The rectangle with two pixels as its corners.
view_rectangle rectangle_between(view_position a, view_position b);

} // namespace tool
