#include "tools/strip_stages.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>

#include "tools/file_lines.h"

namespace tool {

namespace {

// A sink that collects lines in an image and keeps some of them between strips.
struct line_collector {
    image lines;
    uint32_t held = 0;
    uint64_t taken = 0; // lines of the picture
};

} // namespace

strip_sink process_strips(const strip_call &call, const std::string &name, strip_sink next) {
    struct progress {
        image out;
        uint64_t lines = 0;
    };
    const auto state = std::make_shared<progress>();
    const auto take = [state, call, name, take_result = std::move(next.take)](uint32_t strip,
                                                                              bool) {
        const uint32_t out = state->out.handle;
        check(call(strip, out, VIQ_STRIP_NEXT), name);
        const uint32_t lines = VIQ_get_lines_this_strip(out);
        state->lines += lines;
        if (lines != 0)
            take_result(out, state->lines >= VIQ_get_height(out));
    };
    const auto abandon = [state, call, abandon_next = std::move(next.abandon)](uint32_t strip) {
        call(strip, state->out.handle, VIQ_STRIP_FINISH);
        if (abandon_next)
            abandon_next(state->out.handle);
    };
    return {take, abandon};
}

strip_sink divide_into_strips(uint32_t lines, const std::string &name, strip_sink next) {
    const auto state = std::make_shared<line_collector>();
    const auto abandon = [state, abandon_next = std::move(next.abandon)](uint32_t) {
        if (abandon_next)
            abandon_next(state->lines.handle);
    };
    const auto take = [state, lines, name, take_result = std::move(next.take)](uint32_t strip,
                                                                               bool is_last) {
        const pixels from = pixels_of(strip);
        const uint32_t out = state->lines.handle;
        const uint32_t height = VIQ_get_height(strip);
        uint32_t used = 0;
        while (used < from.lines) {
            if (state->held == 0)
                shape_like(strip, height,
                           static_cast<uint32_t>(std::min<uint64_t>(lines, height - state->taken)),
                           out, name);
            const uint32_t room = VIQ_get_lines_this_strip(out) - state->held;
            const uint32_t count = std::min(room, from.lines - used);
            copy_lines(from, used, count, out, state->held);
            used += count;
            state->held += count;
            state->taken += count;
            if (count == room) {
                state->held = 0;
                take_result(out, is_last && used == from.lines);
            }
        }
    };
    return {take, abandon};
}

strip_sink process_with_neighbours(const std::function<image(const image &part)> &process_part,
                                   const std::string &name, strip_sink next) {
    struct window {
        image kept; // the last lines of the input, at most two
        uint32_t held = 0;
        uint64_t passed_on = 0;
        image out;
    };
    const auto state = std::make_shared<window>();
    const auto abandon = [state, abandon_next = std::move(next.abandon)](uint32_t) {
        if (abandon_next)
            abandon_next(state->out.handle);
    };
    const auto take = [state, process_part, name,
                       take_result = std::move(next.take)](uint32_t strip, bool is_last) {
        const pixels from = pixels_of(strip);
        const uint32_t height = VIQ_get_height(strip);
        const uint32_t count = state->held + from.lines;
        image part;
        shape_like(strip, count, count, part.handle, name);
        copy_lines(pixels_of(state->kept.handle), 0, state->held, part.handle, 0);
        copy_lines(from, 0, from.lines, part.handle, state->held);
        const uint32_t first = state->passed_on == 0 ? 0 : 1;
        const uint32_t end = is_last ? count : count - 1;
        if (end > first) {
            const image result = process_part(part);
            shape_like(result.handle, height, end - first, state->out.handle, name);
            copy_lines(pixels_of(result.handle), first, end - first, state->out.handle, 0);
            state->passed_on += end - first;
        }
        state->held = std::min<uint32_t>(2, count);
        shape_like(strip, height, state->held, state->kept.handle, name);
        copy_lines(pixels_of(part.handle), count - state->held, state->held, state->kept.handle, 0);
        if (end > first)
            take_result(state->out.handle, is_last);
    };
    return {take, abandon};
}

void copy_lines(const pixels &from, uint32_t first, uint32_t count, uint32_t to, uint32_t at) {
    if (count == 0)
        return;
    const pixels target = pixels_of(to);
    const std::size_t bytes = packed_bytes(format_of(to), target.width);
    for (uint32_t y = 0; y < count; ++y)
        std::memcpy(target.line(at + y), from.line(first + y), bytes);
}

void shape_like(uint32_t strip, uint32_t height, uint32_t lines, uint32_t out,
                const std::string &name) {
    const uint16_t format = format_of(strip);
    if (format == VIQ_PALETTED)
        check(VIQ_cmap_copy(strip, out), name);
    check(set_shape(out, format, VIQ_get_width(strip), height, lines), name);
    if (format == VIQ_Y16)
        VIQ_image_set_parameter(out, VIQ_DATA_WIDTH,
                                VIQ_image_get_parameter(strip, VIQ_DATA_WIDTH));
}

} // namespace tool
