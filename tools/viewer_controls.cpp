// The keys and the mouse of viq view.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <utility>

#include "tools/viewer.h"

namespace tool {

namespace {

struct key_row {
    uint32_t keys[3]; // characters or VIQ_KEY_...; 0: none
    const char *names;
    const char *effect;
    void (*act)(viewer &v);
};

void quit(viewer &v) {
    v.is_done = true;
}

template <int direction> void go_to_file(viewer &v) {
    open_file(v, direction);
}

template <int32_t steps> void zoom(viewer &v) {
    change_zoom(v.view, steps, v.pointer.value_or(middle_of_window(v.view)));
}

void fit(viewer &v) {
    show_whole(v.view);
}

void show_at_full_size(viewer &v) {
    set_zoom(v.view, 1, v.pointer.value_or(middle_of_window(v.view)));
}

// By an eighth of the window.
template <int32_t right, int32_t down> void move_view(viewer &v) {
    constexpr uint32_t parts = 8;
    pan(v.view, -right * static_cast<int32_t>(v.view.window.width / parts),
        -down * static_cast<int32_t>(v.view.window.height / parts));
}

void pause_or_play(viewer &v) {
    if (v.playing)
        v.playing.reset();
    else if (v.frame.file.frames > 1)
        play(v);
}

template <int direction> void go_to_frame(viewer &v) {
    const uint64_t frames = v.frame.file.frames;
    v.playing.reset();
    if (frames > 1)
        show_frame(v, direction > 0 ? v.frame.number % frames + 1
                                    : (v.frame.number + frames - 2) % frames + 1);
}

void toggle_statistics(viewer &v) {
    v.shows_statistics = !v.shows_statistics;
}

void clear_region(viewer &v) {
    v.region.reset();
    v.statistics.reset();
}

void use_all_values(viewer &v) {
    v.values = {};
}

// The values of the region, or of the whole picture.
void use_occurring_values(viewer &v) {
    if (values_of_grey16(v) == 0)
        return;
    const channel_statistics &grey = current_statistics(v).channels.front();
    const uint32_t count = std::max(2u, grey.largest - grey.smallest + 1);
    v.values = {grey.smallest + count / 2, count};
}

// By a sixteenth of the window.
template <int direction> void change_level(viewer &v) {
    constexpr uint32_t parts = 16;
    constexpr int64_t highest = 65535;
    value_range range = range_of(v);
    const int64_t step = direction * std::max<int64_t>(1, range.count / parts);
    range.level = static_cast<uint32_t>(std::clamp<int64_t>(range.level + step, 0, highest));
    v.values = range;
}

// By a fifth.
template <int direction> void change_window(viewer &v) {
    constexpr uint32_t most = 65536;
    value_range range = range_of(v);
    range.count = direction > 0 ? std::min(most, range.count + range.count / 4 + 1)
                                : std::max(2u, range.count - range.count / 5);
    v.values = range;
}

void toggle_mosaic(viewer &v) {
    v.frame.as_samples = !v.frame.as_samples;
    if (v.frame.file.mosaic_phase != 0)
        show_frame(v, v.frame.number);
}

void toggle_help(viewer &v) {
    v.shows_help = !v.shows_help;
}

constexpr uint32_t escape = 27;
constexpr uint32_t backspace = 8;
constexpr uint32_t delete_key = 127;

constexpr key_row keys[] = {
    {{'n', VIQ_KEY_PAGE_DOWN}, "n, Page Down", "next file", go_to_file<1>},
    {{'p', VIQ_KEY_PAGE_UP, backspace}, "p, Page Up", "previous file", go_to_file<-1>},
    {{'+', '='}, "+", "enlarge around the pointer", zoom<1>},
    {{'-', '_'}, "-", "reduce around the pointer", zoom<-1>},
    {{'1'}, "1", "100 %", show_at_full_size},
    {{'f', '0', VIQ_KEY_HOME}, "f, 0", "fit the picture into the window", fit},
    {{VIQ_KEY_LEFT}, "Left", "move to the left", move_view<-1, 0>},
    {{VIQ_KEY_RIGHT}, "Right", "move to the right", move_view<1, 0>},
    {{VIQ_KEY_UP}, "Up", "move up", move_view<0, -1>},
    {{VIQ_KEY_DOWN}, "Down", "move down", move_view<0, 1>},
    {{' '}, "Space", "pause or play", pause_or_play},
    {{'.', '>'}, ".", "next frame or page", go_to_frame<1>},
    {{',', '<'}, ",", "previous frame or page", go_to_frame<-1>},
    {{'h'}, "h", "statistics and histogram on or off", toggle_statistics},
    {{'c', delete_key}, "c, Delete", "clear the region", clear_region},
    {{'w'}, "w", "16 bits: show the values from the smallest to the largest", use_occurring_values},
    {{'a'}, "a", "16 bits: show all values", use_all_values},
    {{'['}, "[", "16 bits: lower level (brighter)", change_level<-1>},
    {{']'}, "]", "16 bits: higher level (darker)", change_level<1>},
    {{'{'}, "{", "16 bits: narrower window (more contrast)", change_window<-1>},
    {{'}'}, "}", "16 bits: wider window (less contrast)", change_window<1>},
    {{'m'}, "m", "mosaic in colours or as grey samples", toggle_mosaic},
    {{'?', VIQ_KEY_F1}, "?, F1", "this list on or off", toggle_help},
    {{'q', escape}, "q, Escape", "close", quit},
};

constexpr struct {
    const char *names, *effect;
} mouse[] = {
    {"Wheel", "enlarge or reduce around the pointer"},
    {"Drag left", "select a region for statistics; a click clears it"},
    {"Drag right", "move the picture; also middle, or left with Shift"},
};

enum : uint16_t { left_button = 1, middle_button = 2, right_button = 3 };

void press_key(viewer &v, uint32_t key) {
    if (key == 0)
        return;
    for (const key_row &row : keys)
        if (std::find(std::begin(row.keys), std::end(row.keys), key) != std::end(row.keys)) {
            row.act(v);
            v.is_changed = true;
        }
}

void start_drag(viewer &v, const tVIQ_DisplayEvent &event, view_position at) {
    const bool moves = event.button == middle_button || event.button == right_button ||
                       (event.modifiers & VIQ_MODIFIER_SHIFT) != 0;
    if (event.button > right_button)
        return;
    v.drag = {moves ? drag_kind::move : drag_kind::select, at, at, false};
}

void drag_to(viewer &v, view_position at) {
    constexpr int32_t tolerance = 2; // a click is not a drag
    pointer_drag &drag = v.drag;
    drag.has_moved = drag.has_moved || std::abs(at.x - drag.start.x) > tolerance ||
                     std::abs(at.y - drag.start.y) > tolerance;
    if (!drag.has_moved)
        return;
    if (drag.kind == drag_kind::move) {
        pan(v.view, at.x - drag.last.x, at.y - drag.last.y);
    } else {
        v.region = rectangle_between(nearest_pixel(v.view, drag.start), nearest_pixel(v.view, at));
        v.statistics.reset();
    }
    drag.last = at;
    v.is_changed = true;
}

// Statistics of a new region are printed as well, so that they can be copied.
void end_drag(viewer &v) {
    const pointer_drag drag = std::exchange(v.drag, {});
    if (drag.kind != drag_kind::select)
        return;
    v.is_changed = true;
    if (!drag.has_moved) {
        clear_region(v);
        return;
    }
    for (const std::string &line : statistics_lines(current_statistics(v)))
        std::printf("%s: %s\n", v.frame.file.name.c_str(), line.c_str());
    std::fflush(stdout);
}

} // namespace

std::vector<std::string> control_lines() {
    std::vector<std::string> lines;
    const auto append = [&lines](const char *names, const char *effect) {
        char text[100];
        std::snprintf(text, sizeof text, "%-12s %s", names, effect);
        lines.emplace_back(text);
    };
    for (const key_row &row : keys)
        append(row.names, row.effect);
    for (const auto &row : mouse)
        append(row.names, row.effect);
    return lines;
}

void handle_event(viewer &v, const tVIQ_DisplayEvent &event) {
    const view_position at = {event.window_x, event.window_y};
    const bool has_position = event.type == VIQ_EVENT_BUTTON_DOWN ||
                              event.type == VIQ_EVENT_BUTTON_UP || event.type == VIQ_EVENT_WHEEL ||
                              event.type == VIQ_EVENT_MOTION;
    if (has_position)
        v.pointer = at;
    if (has_position && v.drag.kind != drag_kind::none)
        drag_to(v, at);
    switch (event.type) {
    case VIQ_EVENT_KEY_DOWN:
        press_key(v, event.key);
        break;
    case VIQ_EVENT_BUTTON_DOWN:
        start_drag(v, event, at);
        break;
    case VIQ_EVENT_BUTTON_UP:
        end_drag(v);
        break;
    case VIQ_EVENT_WHEEL:
        change_zoom(v.view, event.wheel_y, at);
        v.is_changed = true;
        break;
    case VIQ_EVENT_LEAVE:
        v.pointer.reset();
        break;
    case VIQ_EVENT_RESIZE:
        set_window_size(v.view, {event.width, event.height});
        v.is_changed = true;
        break;
    case VIQ_EVENT_CLOSE:
        quit(v);
        break;
    default:
        break;
    }
}

} // namespace tool
