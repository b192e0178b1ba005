// The window of viq view.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/frame_clock.h"
#include "tools/region_statistics.h"
#include "tools/shown_frame.h"
#include "tools/view_state.h"

namespace tool {

struct viewer_options {
    std::vector<std::string> files;
    viewing_options how;
    double rate = 0; // frames of a film a second
    view_size size;  // of the window; 0 x 0: that of the first picture, within limits
};

// The values of 16-bit grey that are shown, from black to white. A count of 0: all.
struct value_range {
    uint32_t level = 0; // the middle of the values
    uint32_t count = 0;
};

enum class drag_kind { none, select, move };

struct pointer_drag {
    drag_kind kind = drag_kind::none;
    view_position start, last; // in the window
    bool has_moved = false;
};

struct viewer {
    std::vector<std::string> files; // without those that cannot be read
    std::size_t current = 0;
    viewing_options how;
    double rate = 0;
    shown_frame frame;
    std::optional<frame_clock> playing; // a film that is not paused
    view_state view;
    value_range values;
    std::optional<view_rectangle> region; // of the picture
    std::optional<region_statistics> statistics;
    bool shows_statistics = false;
    bool shows_help = false;
    std::optional<view_position> pointer; // in the window
    pointer_drag drag;
    std::string skipped; // why a file was skipped, until the next one is opened
    std::string title;   // of the window
    uint32_t display = 0;
    bool is_changed = true; // the window has to be painted
    bool is_done = false;
    int status = 0;
};

// Shows the files until the user closes the window. Returns the exit status.
int run_viewer(const viewer_options &options);

// The keys and the mouse, one line for each, for help texts.
std::vector<std::string> control_lines();

// ---- Between the sources of the viewer

// Opens the file that is `direction` files further, 1 or -1, or the nearest one after it that can
// be read. 0: the current one. After the last file follows the first one.
void open_file(viewer &v, int direction);

// Shows a frame of the file. A frame that cannot be read is skipped.
void show_frame(viewer &v, uint64_t number);

void play(viewer &v);

// The number of different values that 16-bit pictures can have; 0 for pictures of other formats.
uint32_t values_of_grey16(const viewer &v);
value_range range_of(const viewer &v);

// Those of the region, or of the whole picture.
const region_statistics &current_statistics(viewer &v);

void handle_event(viewer &v, const tVIQ_DisplayEvent &event);

void paint(viewer &v);
void update_title(viewer &v);

} // namespace tool
