#include "tools/view_terminal.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "tools/area_average.h"
#include "tools/frame_clock.h"
#include "tools/frame_file.h"
#include "tools/interrupts.h"
#include "tools/pixel_format_table.h"
#include "tools/temporary_folder.h"
#include "tools/terminal_size.h"
#include "tools/view_state.h"

namespace tool {

namespace {

constexpr const char *upper_half = "\xE2\x96\x80"; // U+2580
constexpr const char *no_colours = "\x1b[0m";

// The size in pixels, of which a character shows two, one above the other. Pictures are not
// enlarged.
view_size size_in(const terminal_size &terminal, view_size picture) {
    const double zoom =
        std::min({1.0, static_cast<double>(terminal.columns) / picture.width,
                  terminal.lines == 0 ? 1.0 : 2.0 * terminal.lines / picture.height});
    const auto scaled = [zoom](uint32_t side) {
        return std::max(1u, static_cast<uint32_t>(side * zoom));
    };
    return {scaled(picture.width), scaled(picture.height)};
}

image reduced(image picture, const terminal_size &terminal, const std::string &name) {
    picture_source source = source_of_image(std::move(picture), name);
    picture_flow flow = {name, &source};
    const view_size size = size_in(terminal, {source.header.width, source.header.height});
    reduce_by_area(flow, size.width, size.height);
    return take_whole(flow);
}

std::string colour_sequence(const char *kind, const uint8_t *rgb) {
    char text[32];
    std::snprintf(text, sizeof text, "\x1b[%s;2;%u;%u;%um", kind, rgb[0], rgb[1], rgb[2]);
    return text;
}

// Two lines of pixels. `lower` is null below the last line of an odd height.
std::string half_blocks(const uint8_t *upper, const uint8_t *lower, uint32_t width) {
    std::string text;
    std::string before[2];
    const auto select = [&](std::string &colour, const std::string &sequence) {
        if (sequence != colour)
            text += colour = sequence;
    };
    for (std::size_t x = 0; x < width; ++x) {
        select(before[0], colour_sequence("38", upper + x * rgb24_bytes));
        if (lower != nullptr)
            select(before[1], colour_sequence("48", lower + x * rgb24_bytes));
        text += upper_half;
    }
    return text + no_colours + "\n";
}

struct drawn_frame {
    std::string text;
    uint32_t lines;
};

drawn_frame draw(const image &rgb24) {
    const pixels picture = pixels_of(rgb24.handle);
    drawn_frame drawn = {{}, (picture.lines + 1) / 2};
    for (uint32_t y = 0; y < picture.lines; y += 2)
        drawn.text += half_blocks(
            picture.line(y), y + 1 < picture.lines ? picture.line(y + 1) : nullptr, picture.width);
    return drawn;
}

void print(const std::string &text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
        fail_by_system("standard output", "cannot be written");
}

// Hides the cursor while a film is played. Restores it and the colours also after a failure.
struct hidden_cursor {
    hidden_cursor() { std::fputs("\x1b[?25l", stdout); }
    ~hidden_cursor() {
        std::fputs(no_colours, stdout);
        std::fputs("\x1b[?25h", stdout);
        std::fflush(stdout);
    }
    hidden_cursor(const hidden_cursor &) = delete;
    hidden_cursor &operator=(const hidden_cursor &) = delete;
};

// In short intervals, so that an interrupt ends the wait.
void wait_until(frame_clock::time time) {
    constexpr auto interval = std::chrono::milliseconds(20);
    for (auto now = std::chrono::steady_clock::now(); now < time && !is_interrupted();
         now = std::chrono::steady_clock::now())
        std::this_thread::sleep_for(std::min<frame_clock::time::duration>(time - now, interval));
}

// Frames that are late are left out, except the last one.
void play(const view_file &film, const terminal_size &size, double rate) {
    notice_interrupts();
    const hidden_cursor hidden;
    const frame_clock clock = {rate, 1, std::chrono::steady_clock::now()};
    uint32_t lines_above = 0;
    for (uint64_t frame = 1; frame <= film.frames && !is_interrupted();) {
        const drawn_frame drawn = draw(reduced(film.read(frame), size, film.name));
        wait_until(clock.time_of(frame));
        print(lines_above == 0 ? drawn.text
                               : "\x1b[" + std::to_string(lines_above) + "A\r" + drawn.text);
        lines_above = drawn.lines;
        if (frame == film.frames)
            break;
        frame =
            std::clamp(clock.frame_at(std::chrono::steady_clock::now()), frame + 1, film.frames);
    }
    wait_until(clock.time_of(film.frames + 1));
}

} // namespace

void show_in_terminal(const view_file &file, const terminal_options &options) {
    terminal_size size = standard_output_size();
    if (options.columns != 0)
        size.columns = options.columns;
    const terminal_colours colours;
    if (!file.is_film || !is_terminal(stdout)) {
        print(draw(reduced(file.read(1), size, file.name)).text);
        return;
    }
    try {
        play(file, size, options.rate);
    } catch (const failure &) {
        if (!is_interrupted())
            throw;
    }
}

} // namespace tool
