#include "tools/area_average.h"

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "tools/pixel_format_table.h"

namespace tool {

namespace {

// Lengths are measured in units of which a pixel of the picture is as many long as the result has
// pixels, and a pixel of the result as many as the picture has pixels. A pixel of the picture
// therefore covers parts of at most two pixels of the result.
struct cover {
    uint32_t first;           // pixel of the result
    uint64_t in_first, after; // lengths in that one and in the next one
};

cover cover_of(uint64_t position, uint64_t picture, uint64_t result) {
    const uint64_t first = position * result / picture;
    const uint64_t in_first = std::min(result, (first + 1) * picture - position * result);
    return {static_cast<uint32_t>(first), in_first, result - in_first};
}

struct area_reducer {
    uint32_t from_width, from_height, width, height;
    std::vector<cover> columns;
    std::vector<uint64_t> line;        // sums of a line of the picture
    std::vector<uint64_t> sums, after; // of the line of the result, and of the next one
    uint32_t lines_taken = 0;
    uint32_t lines_done = 0;
    image out = {};
};

void sum_line(area_reducer &state, const uint8_t *rgb) {
    std::fill(state.line.begin(), state.line.end(), 0);
    for (std::size_t x = 0; x < state.columns.size(); ++x) {
        const cover &c = state.columns[x];
        uint64_t *sums = state.line.data() + std::size_t{c.first} * rgb24_bytes;
        for (std::size_t i = 0; i < rgb24_bytes; ++i) {
            sums[i] += c.in_first * rgb[x * rgb24_bytes + i];
            sums[i + rgb24_bytes] += c.after * rgb[x * rgb24_bytes + i];
        }
    }
}

void add_line(area_reducer &state, const cover &row) {
    for (std::size_t i = 0; i < state.sums.size(); ++i) {
        state.sums[i] += row.in_first * state.line[i];
        state.after[i] += row.after * state.line[i];
    }
}

void write_line(area_reducer &state) {
    const uint64_t area = uint64_t{state.from_width} * state.from_height;
    uint8_t *out = pixels_of(state.out.handle).line(0);
    for (std::size_t i = 0; i < state.sums.size(); ++i)
        out[i] = static_cast<uint8_t>((state.sums[i] + area / 2) / area);
    std::swap(state.sums, state.after);
    std::fill(state.after.begin(), state.after.end(), 0);
    ++state.lines_done;
}

std::shared_ptr<area_reducer> make_reducer(const picture_header &from, uint32_t width,
                                           uint32_t height, const std::string &name) {
    const std::size_t samples = std::size_t{width} * rgb24_bytes;
    const auto state = std::make_shared<area_reducer>(
        area_reducer{from.width, from.height, width, height, std::vector<cover>(from.width),
                     std::vector<uint64_t>(samples + rgb24_bytes), std::vector<uint64_t>(samples),
                     std::vector<uint64_t>(samples)});
    for (uint32_t x = 0; x < from.width; ++x)
        state->columns[x] = cover_of(x, from.width, width);
    check(set_shape(state->out.handle, VIQ_RGB24, width, height, 1), name);
    return state;
}

strip_sink reduce_strips(const std::shared_ptr<area_reducer> &state, strip_sink next) {
    const auto take = [state, take_result = std::move(next.take)](uint32_t strip, bool) {
        const pixels from = pixels_of(strip);
        for (uint32_t y = 0; y < from.lines; ++y) {
            const cover row = cover_of(state->lines_taken++, state->from_height, state->height);
            sum_line(*state, from.line(y));
            add_line(*state, row);
            // The line of the result is complete at its lower edge.
            if (uint64_t{state->lines_taken} * state->height >=
                (uint64_t{row.first} + 1) * state->from_height) {
                write_line(*state);
                take_result(state->out.handle, state->lines_done == state->height);
            }
        }
    };
    const auto abandon = [state, abandon_next = std::move(next.abandon)](uint32_t) {
        if (abandon_next)
            abandon_next(state->out.handle);
    };
    return {take, abandon};
}

} // namespace

void reduce_by_area(picture_flow &flow, uint32_t width, uint32_t height) {
    convert_flow(flow, {VIQ_RGB24}, false);
    const picture_header from = header_of(flow);
    if (from.width == width && from.height == height)
        return;
    picture_header to = from;
    to.width = width;
    to.height = height;
    append_stage(flow, to, [=, name = flow.name](strip_sink next) {
        return reduce_strips(make_reducer(from, width, height, name), std::move(next));
    });
}

} // namespace tool
