#include "tools/viewer.h"

#include <algorithm>

#include "tools/interrupts.h"
#include "tools/progress_bar.h"
#include "tools/verbs.h"

namespace tool {

namespace {

void open_window(viewer &v, view_size size);
view_size usual_size(view_size picture);
void skip_file(viewer &v, const std::string &reason);
uint32_t milliseconds_to_wait(const viewer &v);
void handle_events(viewer &v);
void advance_film(viewer &v);
void take_picture(viewer &v);

} // namespace

int run_viewer(const viewer_options &options) {
    notice_interrupts();
    viewer v;
    v.files = options.files;
    v.how = options.how;
    v.rate = options.rate;
    open_file(v, 0);
    if (v.files.empty())
        return v.status;
    const library_object display(VIQ_display_create(), VIQ_display_destroy);
    v.display = display.handle;
    open_window(v, options.size);
    while (!v.is_done && !is_interrupted()) {
        if (v.is_changed)
            paint(v);
        v.is_changed = false;
        update_title(v);
        handle_events(v);
        advance_film(v);
    }
    return v.status;
}

void open_file(viewer &v, int direction) {
    v.skipped.clear();
    while (!v.files.empty()) {
        const auto count = static_cast<std::ptrdiff_t>(v.files.size());
        const auto next = (static_cast<std::ptrdiff_t>(v.current) + direction + count) % count;
        v.current = static_cast<std::size_t>(next);
        try {
            shown_frame frame;
            frame.file = open_to_view(v.files[v.current], v.how);
            frame.as_samples = v.frame.as_samples;
            read_frame(frame, 1);
            v.frame = std::move(frame);
            break;
        } catch (const failure &stop) {
            skip_file(v, stop.text);
            // The file that follows has the number of the one that was removed.
            direction = std::min(direction, 0);
            v.current = v.files.empty() ? 0 : v.current % v.files.size();
        }
    }
    if (v.files.empty())
        return;
    v.region.reset();
    v.values = {};
    v.playing.reset();
    take_picture(v);
    if (v.frame.file.is_film)
        play(v);
}

void show_frame(viewer &v, uint64_t number) {
    try {
        read_frame(v.frame, number);
        take_picture(v);
    } catch (const failure &stop) {
        v.playing.reset();
        v.skipped = stop.text;
        v.status = exit_error;
        print_message("viq: " + stop.text);
    }
}

void play(viewer &v) {
    v.playing = frame_clock{v.rate, v.frame.number, std::chrono::steady_clock::now()};
}

uint32_t values_of_grey16(const viewer &v) {
    const uint32_t handle = v.frame.picture.handle;
    return format_of(handle) == VIQ_Y16 ? 1u << VIQ_image_get_parameter(handle, VIQ_DATA_WIDTH) : 0;
}

value_range range_of(const viewer &v) {
    const uint32_t all = values_of_grey16(v);
    return v.values.count != 0 ? v.values : value_range{all / 2, all};
}

const region_statistics &current_statistics(viewer &v) {
    const view_size &picture = v.view.picture;
    if (!v.statistics)
        v.statistics = statistics_of(
            v.frame.picture, v.region.value_or(view_rectangle{0, 0, picture.width, picture.height}),
            v.frame.file.name);
    return *v.statistics;
}

namespace {

void open_window(viewer &v, view_size size) {
    if (size.width == 0)
        size = usual_size(v.view.picture);
    try {
        check(VIQ_display_open(v.display, "viq", size.width, size.height), "viq view");
    } catch (const failure &stop) {
        throw failure{stop.text + "; --terminal draws in the terminal"};
    }
    set_window_size(v.view, size);
    show_whole(v.view);
}

// Pages of a file can have different sizes; a region is one of a picture of the same size.
void take_picture(viewer &v) {
    const view_size size = size_of(v.frame);
    if (size != v.view.picture)
        v.region.reset();
    v.statistics.reset();
    set_picture_size(v.view, size);
    v.is_changed = true;
}

// The size of the picture, if the window is neither too large for a screen nor too small for texts.
view_size usual_size(view_size picture) {
    constexpr view_size smallest = {480, 360};
    constexpr view_size largest = {1280, 900};
    const double zoom = std::min({1.0, static_cast<double>(largest.width) / picture.width,
                                  static_cast<double>(largest.height) / picture.height});
    return {std::max(smallest.width, static_cast<uint32_t>(picture.width * zoom)),
            std::max(smallest.height, static_cast<uint32_t>(picture.height * zoom))};
}

void skip_file(viewer &v, const std::string &reason) {
    print_message("viq: " + reason);
    v.skipped = reason;
    v.status = exit_error;
    v.files.erase(v.files.begin() + static_cast<std::ptrdiff_t>(v.current));
}

// Short enough that an interrupt ends the viewer soon.
uint32_t milliseconds_to_wait(const viewer &v) {
    constexpr uint32_t longest = 100;
    if (!v.playing)
        return longest;
    const auto wait = v.playing->time_of(v.frame.number + 1) - std::chrono::steady_clock::now();
    const auto count = std::chrono::ceil<std::chrono::milliseconds>(wait).count();
    return static_cast<uint32_t>(std::clamp<int64_t>(count, 0, longest));
}

// All events that have arrived, before the window is painted.
void handle_events(viewer &v) {
    tVIQ_DisplayEvent event = {};
    uint32_t wait = v.is_changed ? 0 : milliseconds_to_wait(v);
    for (;;) {
        const uint32_t code = VIQ_display_next_event(v.display, &event, wait);
        check(code, "viq view");
        if (code == 0 || v.is_done)
            return;
        handle_event(v, event);
        wait = 0;
    }
}

// Frames that are late are left out. After the last frame follows the first one.
void advance_film(viewer &v) {
    if (!v.playing)
        return;
    const uint64_t due = v.playing->frame_at(std::chrono::steady_clock::now());
    if (due == v.frame.number)
        return;
    if (due <= v.frame.file.frames) {
        show_frame(v, due);
    } else {
        show_frame(v, 1);
        if (v.playing)
            play(v);
    }
}

} // namespace

} // namespace tool
