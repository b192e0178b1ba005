// Rendering of lines: set-up, and the rows of the window that depend on the lines that are present.
#include "display/render.h"

#include <algorithm>
#include <cstring>

#include "display/row_route.h"

namespace viq {

namespace {

// The lines of the region between which a row of the window is interpolated.
struct source_lines {
    i64 upper, lower; // of the image
    u32 weight;       // of the lower one, in 1/256
};

bool allocate_rows(renderer &r);
bool make_columns(renderer &r);
source_lines lines_of_row(const renderer &r, i32 row);
bool can_convert(const renderer &r, const present_lines &present, i64 line);
void render_row(renderer &r, const surface &to, const present_lines &present, i32 row,
                const source_lines &source);
void keep_lines(renderer &r, const present_lines &present);

} // namespace

rectangle intersection(const rectangle &a, const rectangle &b) {
    const i32 left = std::max(a.x, b.x);
    const i32 top = std::max(a.y, b.y);
    const i64 right = std::min(i64{a.x} + a.width, i64{b.x} + b.width);
    const i64 bottom = std::min(i64{a.y} + a.height, i64{b.y} + b.height);
    if (right <= left || bottom <= top)
        return {left, top, 0, 0};
    return {left, top, static_cast<i32>(right - left), static_cast<i32>(bottom - top)};
}

bool set_up(renderer &r, const render_rules &rules) {
    if (r.ready && r.rules == rules)
        return true;
    r.ready = false;
    r.rules = rules;
    const rectangle &region = rules.place.region;
    const rectangle &picture = rules.place.picture;
    r.scaled = region.width != picture.width || region.height != picture.height;
    begin_picture(r);
    r.ready = make_routes(r) && make_columns(r) && allocate_rows(r);
    return r.ready;
}

void begin_picture(renderer &r) {
    r.next_row = r.rules.place.visible.y;
    r.line_in_row = -1;
    r.blended_line[0] = r.blended_line[1] = -1;
    r.held_line = -1;
}

rectangle render_lines(renderer &r, const surface &to, const present_lines &present) {
    const rectangle &visible = r.rules.place.visible;
    rectangle written = {visible.x, r.next_row, visible.width, 0};
    for (; r.next_row < visible.y + visible.height; ++r.next_row) {
        const source_lines source = lines_of_row(r, r.next_row);
        if (needed_line(r, source.lower) >= present.first + i64{present.lines.lines})
            break;
        render_row(r, to, present, r.next_row, source);
    }
    keep_lines(r, present);
    written.height = r.next_row - written.y;
    return written;
}

void fill_background(renderer &r, const surface &to, bool keep_picture) {
    const rectangle &painted = r.rules.place.painted;
    const rectangle &visible = r.rules.place.visible;
    const bool all = !keep_picture || is_empty(visible);
    const rectangle inner = all ? rectangle{painted.x, painted.y, 0, 0} : visible;
    const u32 right = static_cast<u32>(painted.x + painted.width);
    for (i32 y = painted.y; y < painted.y + painted.height; ++y) {
        const bool beside = y >= inner.y && y < inner.y + inner.height;
        const u32 left_end = beside ? static_cast<u32>(inner.x) : right;
        const u32 right_start = beside ? static_cast<u32>(inner.x + inner.width) : right;
        fill_row(r, to, static_cast<u32>(y), static_cast<u32>(painted.x), left_end);
        fill_row(r, to, static_cast<u32>(y), right_start, right);
    }
}

bool show_pixel(renderer &r, const present_lines &present, u32 x, u32 y, u8 bgrx[4]) {
    if (!can_convert(r, present, y))
        return false;
    convert_pixel(r, present, x, y, bgrx);
    return true;
}

scaled_position position_of(i64 n, i64 elements, i64 scaled, bool interpolated) {
    if (elements == scaled)
        return {n, 0};
    if (!interpolated)
        return {(2 * n + 1) * elements / (2 * scaled), 0};
    // The distance between the centres of the first elements, in 1/256.
    const i64 distance = (2 * n + 1) * elements * 128 / scaled - 128;
    const i64 position = std::clamp(distance, i64{0}, (elements - 1) * 256);
    return {position / 256, static_cast<u32>(position % 256)};
}

namespace {

// ---- Set-up

bool allocate_rows(renderer &r) {
    const u64 columns = u64{r.column_count} + row_margin;
    const u64 visible = static_cast<u64>(r.rules.place.visible.width);
    const u64 longest = 4 * std::max(columns, visible);
    bool done = true;
    for (vector<u8> *row : {&r.after_own_step, &r.before_masks, &r.groups, &r.row})
        done = done && try_resize(*row, longest);
    for (vector<u16> &line : r.blended)
        done = done && try_resize(line, r.rules.bilinear && r.scaled ? 4 * visible : 0);
    const bool mosaic = shows_mosaic(r);
    return done && try_resize(r.held, mosaic ? u64{r.rules.width} : 0) &&
           try_resize(r.mosaic, mosaic ? 2 * columns : 0);
}

// The columns of the image that the visible part of the picture shows. In scaled pictures, also the
// column of each pixel, and for interpolation the weight of the column that follows it.
bool make_columns(renderer &r) {
    const placement &place = r.rules.place;
    const u32 count = static_cast<u32>(place.visible.width);
    const i64 hidden = i64{place.visible.x} - place.picture.x;
    r.column_count = count;
    r.first_column = static_cast<u32>(place.region.x + hidden);
    if (!r.scaled)
        return true;
    if (!try_resize(r.columns, count) || !try_resize(r.weights, r.rules.bilinear ? count : 0))
        return false;
    i64 last = 0;
    for (u32 n = 0; n < count; ++n) {
        const scaled_position at =
            position_of(hidden + n, place.region.width, place.picture.width, r.rules.bilinear);
        if (n == 0)
            r.first_column = static_cast<u32>(place.region.x + at.element);
        r.columns[n] = static_cast<u32>(place.region.x + at.element) - r.first_column;
        if (r.rules.bilinear)
            r.weights[n] = static_cast<u16>(at.weight);
        last = at.element + (at.weight != 0 ? 1 : 0);
    }
    r.column_count = count != 0 ? static_cast<u32>(place.region.x + last) - r.first_column + 1 : 0;
    return true;
}

// ---- Rows

source_lines lines_of_row(const renderer &r, i32 row) {
    const placement &place = r.rules.place;
    const scaled_position at = position_of(i64{row} - place.picture.y, place.region.height,
                                           place.picture.height, r.rules.bilinear);
    const i64 upper = place.region.y + at.element;
    return {upper, upper + (at.weight != 0 ? 1 : 0), at.weight};
}

bool is_present(const renderer &r, const present_lines &present, i64 line) {
    return (line >= present.first && line < present.first + i64{present.lines.lines}) ||
           line == r.held_line;
}

bool can_convert(const renderer &r, const present_lines &present, i64 line) {
    return is_present(r, present, line) &&
           (!shows_mosaic(r) || is_present(r, present, line_below(r, line)));
}

// The line in its interpolated form; converts it if it has not been.
const u16 *blend_columns(renderer &r, const present_lines &present, i64 line) {
    const u32 slot = static_cast<u32>(line % 2);
    u16 *to = r.blended[slot].data();
    if (r.blended_line[slot] == line)
        return to;
    r.blended_line[slot] = line;
    u8 *row = r.row.data();
    convert_columns(r, r.to_colours, present, line, row);
    std::memcpy(row + std::size_t{4} * r.column_count, row + std::size_t{4} * (r.column_count - 1),
                4);
    for (std::size_t n = 0; n < r.columns.size(); ++n) {
        const u8 *left = row + std::size_t{4} * r.columns[n];
        const u32 weight = r.weights[n];
        for (std::size_t c = 0; c < 4; ++c)
            to[4 * n + c] = static_cast<u16>(left[c] * (256 - weight) + left[c + 4] * weight);
    }
    return to;
}

void interpolate_row(renderer &r, const present_lines &present, const source_lines &source,
                     u8 *target) {
    const u16 *upper = blend_columns(r, present, source.upper);
    const u16 *lower = source.weight != 0 ? blend_columns(r, present, source.lower) : upper;
    const u32 width = static_cast<u32>(r.rules.place.visible.width);
    u8 *row = r.row.data();
    const bool direct = r.rules.pixel == bgrx32_pixel;
    if (direct)
        row = target;
    for (std::size_t n = 0; n < std::size_t{4} * width; ++n)
        row[n] = static_cast<u8>(
            (upper[n] * (256 - source.weight) + lower[n] * source.weight + 32768) >> 16);
    if (!direct)
        run_route(r, r.colours_to_window, row, 0, width, target);
}

// Copies the pixel of each column.
template <std::size_t bytes> void pick_columns(const renderer &r, const u8 *row, u8 *target) {
    for (const u32 column : r.columns) {
        std::memcpy(target, row + bytes * column, bytes);
        target += bytes;
    }
}

void pick_row(renderer &r, const present_lines &present, i64 line, u8 *target) {
    if (r.line_in_row != line)
        convert_columns(r, r.to_window, present, line, r.row.data());
    r.line_in_row = line;
    const u8 *row = r.row.data();
    switch (r.rules.pixel.bytes) {
    case 1:
        return pick_columns<1>(r, row, target);
    case 2:
        return pick_columns<2>(r, row, target);
    case 3:
        return pick_columns<3>(r, row, target);
    default:
        return pick_columns<4>(r, row, target);
    }
}

// Rows whose lines are not present any more stay as they are: rendering has begun in the middle of
// the picture.
void render_row(renderer &r, const surface &to, const present_lines &present, i32 row,
                const source_lines &source) {
    const rectangle &visible = r.rules.place.visible;
    u8 *target = to.data + row * to.stride + std::ptrdiff_t{visible.x} * r.rules.pixel.bytes;
    const auto blended = [&](i64 line) { return r.blended_line[line % 2] == line; };
    if (r.scaled && r.rules.bilinear) {
        if ((blended(source.upper) || can_convert(r, present, source.upper)) &&
            (blended(source.lower) || can_convert(r, present, source.lower)))
            interpolate_row(r, present, source, target);
    } else if (r.scaled && r.line_in_row == source.upper) {
        pick_row(r, present, source.upper, target);
    } else if (can_convert(r, present, source.upper)) {
        if (r.scaled)
            pick_row(r, present, source.upper, target);
        else
            convert_columns(r, r.to_window, present, source.upper, target);
    }
}

// Keeps what the next row needs of these lines.
void keep_lines(renderer &r, const present_lines &present) {
    const rectangle &visible = r.rules.place.visible;
    if (present.lines.lines == 0 || r.next_row >= visible.y + visible.height)
        return;
    if (r.scaled && r.rules.bilinear) {
        const source_lines source = lines_of_row(r, r.next_row);
        for (const i64 line : {source.upper, source.lower})
            if (needed_line(r, line) < present.first + i64{present.lines.lines} &&
                can_convert(r, present, line))
                blend_columns(r, present, line);
    }
    if (shows_mosaic(r)) {
        const u32 last = present.lines.lines - 1;
        std::memcpy(r.held.data(), present.lines.line(last), r.rules.width);
        r.held_line = present.first + last;
    }
}

} // namespace

} // namespace viq
