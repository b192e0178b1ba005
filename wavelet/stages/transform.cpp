// "Discrete Wavelet Transform": transforms the samples of a component to its subbands, and back.
//
// An instance stores the coefficients of the whole component. The forward transform computes them
// when the first band of a run is requested, and provides each band as a plane. The inverse
// transform fetches all bands from its upstream when the first samples are requested, and computes
// the samples strip by strip as they are requested. If a coefficient does not fit 16 bits, the
// component is transformed with headroom (lifting_kernels.h).
#include <algorithm>

#include "wavelet/framework/module_support.h"
#include "wavelet/stages/line_based_dwt.h"
#include "wavelet/stages/subbands.h"

namespace viq {

namespace {

struct transform_data {
    upstream_link up;
    u32 inverse = 0;
    u32 decompositions = 6;
    bool ready = false; // the buffer contains the coefficients of the current run
    u32 width = 0, height = 0, subbands = 1;
    lazy_lines<i16> coefficients;
    line_based_dwt dwt;
    u32 headroom = 0;   // of the coefficients of the current run
    vector<i16> scaled; // samples shifted by the headroom
};

constexpr u32 strip_lines = 16;

u32 find_shape(const transform_data &transform, output_description &output, u32 &subbands) {
    u32 status = describe_output(transform.up.handle, output);
    if (failed(status))
        return status;
    if (transform.inverse != 0) {
        u32 size = sizeof subbands;
        if (failed(query_module(transform.up.handle, id_subbands, &size, &subbands)))
            subbands = 1;
    } else {
        subbands = count_subbands(output.width, output.height, transform.decompositions);
    }
    const bool fits = subbands >= 1 &&
                      count_subbands(output.width, output.height, (subbands - 1) / 3) == subbands;
    return output.width != 0 && output.height != 0 && fits ? success : transform_bad_size;
}

i16 *coefficient_at(transform_data &transform, u32 x, u32 y) {
    return transform.coefficients.lines().line(y) + x;
}

u32 stride(const transform_data &transform) {
    return static_cast<u32>(transform.coefficients.stride * sizeof(i16));
}

u32 allocate(transform_data &transform) {
    output_description output = {};
    const u32 status = find_shape(transform, output, transform.subbands);
    if (failed(status))
        return status;
    transform.width = output.width;
    transform.height = output.height;
    const std::size_t stride = (std::size_t{output.width} + 1) / 2 * 2;
    const bool allocated =
        transform.inverse != 0
            ? transform.coefficients.begin(stride, output.height, coefficient_padding)
            : transform.coefficients.begin_whole(stride, output.height, coefficient_padding);
    return allocated ? success : stage_no_memory;
}

u32 count_levels(const transform_data &transform) {
    return (transform.subbands - 1) / 3;
}

u32 begin_levels(transform_data &transform) {
    const u32 levels = count_levels(transform);
    if (levels == 0)
        return success;
    const auto begin = transform.inverse != 0 ? begin_inverse : begin_forward;
    const coefficient_lines lines = {transform.coefficients.lines(), transform.width,
                                     transform.height};
    return begin(transform.dwt, lines, levels) ? success : stage_no_memory;
}

// A line of samples, shifted right by the headroom.
const i16 *source_line(transform_data &transform, const region &strip, u32 i) {
    const auto *line = reinterpret_cast<const i16 *>(strip.data + std::size_t{i} * strip.stride);
    if (transform.headroom == 0)
        return line;
    i16 *scaled = transform.scaled.data() + i % 2 * std::size_t{transform.width};
    for (u32 x = 0; x < transform.width; ++x)
        scaled[x] = static_cast<i16>(line[x] >> transform.headroom);
    return scaled;
}

void push_strip(transform_data &transform, u32 y, const region &strip) {
    for (u32 i = 0; i < strip.height;) {
        const u32 count = count_levels(transform) != 0 ? std::min(strip.height - i, 2u) : 1;
        const i16 *const lines[2] = {source_line(transform, strip, i),
                                     source_line(transform, strip, i + count - 1)};
        if (count_levels(transform) != 0)
            push_lines(transform.dwt, lines, count);
        else
            std::copy_n(lines[0], transform.width, coefficient_at(transform, 0, y + i));
        i += count;
    }
}

u32 push_component(transform_data &transform) {
    u32 status = begin_levels(transform);
    for (u32 y = 0; !failed(status) && y < transform.height;) {
        region strip = {transform.width, std::min(strip_lines, transform.height - y), nullptr, 0};
        status = get_region(transform.up.handle, 0, 0, y, &strip);
        if (failed(status))
            break;
        const bool whole = strip.width == transform.width && strip.height != 0 &&
                           strip.height <= transform.height - y;
        if (whole)
            push_strip(transform, y, strip);
        release_region(transform.up.handle, strip.data);
        if (!whole)
            return transform_bad_size;
        y += strip.height;
    }
    return status;
}

u32 transform_component(transform_data &transform) {
    transform.headroom = 0;
    u32 status = allocate(transform);
    if (!failed(status))
        status = push_component(transform);
    if (failed(status) || count_levels(transform) == 0 || !transform.dwt.saturated)
        return status;
    transform.headroom = max_headroom;
    if (!try_resize(transform.scaled, u64{transform.width} * 2))
        return stage_no_memory;
    return push_component(transform);
}

// Stores fetched lines, unless the upstream has done so; false if memory runs out.
bool store_lines(transform_data &transform, u32 x, u32 y, const region &lines) {
    const auto *first = reinterpret_cast<const i16 *>(lines.data);
    const bool zeros = lines.stride == 0 && std::all_of(first, first + lines.width,
                                                        [](i16 value) { return value == 0; });
    for (u32 i = 0; i < lines.height; ++i) {
        if (zeros) {
            transform.coefficients.clear(x, y + i, lines.width);
            continue;
        }
        const u8 *from = lines.data + std::size_t{i} * lines.stride;
        auto *to = reinterpret_cast<u8 *>(transform.coefficients.write(x, y + i, lines.width));
        if (to == nullptr)
            return false;
        if (from != to)
            std::memcpy(to, from, lines.width * sizeof(i16));
    }
    return true;
}

void shift_lines(transform_data &transform, const subband &area, u32 shift) {
    for (u32 y = 0; y < area.height; ++y) {
        i16 *line = coefficient_at(transform, area.x, area.y + y);
        for (u32 x = 0; x < area.width; ++x)
            if (line[x] != 0) // lines without memory are not written
                line[x] = static_cast<i16>(line[x] >> shift);
    }
}

// Adopts the headroom of the last fetched lines for all coefficients before them: the bands before
// `band` and the first `y` lines of this band.
void adopt_headroom(transform_data &transform, u32 band, u32 y) {
    u32 headroom = 0;
    u32 size = sizeof headroom;
    if (failed(query_module(transform.up.handle, id_headroom, &size, &headroom)) ||
        headroom <= transform.headroom)
        return;
    const u32 shift = headroom - transform.headroom;
    for (u32 i = 0; i <= band; ++i) {
        subband area = find_subband(transform.width, transform.height, transform.subbands, i);
        if (i == band)
            area.height = y;
        shift_lines(transform, area, shift);
    }
    transform.headroom = headroom;
}

u32 fetch_band(transform_data &transform, u32 band) {
    const subband area = find_subband(transform.width, transform.height, transform.subbands, band);
    for (u32 y = 0; y < area.height;) {
        const region_destination own = {
            reinterpret_cast<u8 *>(coefficient_at(transform, area.x, area.y + y)),
            stride(transform), transform.coefficients.adjacent_lines(area.y + y)};
        set_module(transform.up.handle, id_destination, sizeof own, &own); // optional
        region lines = {area.width, area.height - y, nullptr, 0};
        u32 status = get_region(transform.up.handle, band, 0, y, &lines);
        if (failed(status))
            return status;
        const bool whole =
            lines.width == area.width && lines.height != 0 && lines.height <= area.height - y;
        if (whole) {
            adopt_headroom(transform, band, y);
            if (!store_lines(transform, area.x, area.y + y, lines))
                status = stage_no_memory;
        }
        release_region(transform.up.handle, lines.data);
        if (failed(status))
            return status;
        if (!whole) {
            transform.coefficients = {}; // the upstream may have written to it
            return transform_bad_size;
        }
        y += lines.height;
    }
    return success;
}

u32 fetch_bands(transform_data &transform) {
    transform.headroom = 0;
    u32 status = allocate(transform);
    for (u32 band = 0; !failed(status) && band < transform.subbands; ++band)
        status = fetch_band(transform, band);
    return failed(status) ? status : begin_levels(transform);
}

u32 init(void *self, u32 size, const void *configuration, module_handle upstream) {
    auto &transform = construct_data<transform_data>(self);
    return connect_directed(transform.up, transform.inverse, size, configuration, upstream);
}

u32 destroy(void *self) {
    disconnect(data<transform_data>(self).up);
    return destroy_data<transform_data>(self);
}

u32 query(void *self, u32 id, u32 &size, void *buffer) {
    const auto &transform = data<transform_data>(self);
    if (id == id_headroom && transform.inverse == 0)
        return answer(transform.headroom, size, buffer, stage_short_buffer);
    if (id != id_output && id != id_subbands)
        return query_module(transform.up.handle, id, &size, buffer);
    output_description output = {};
    u32 subbands = 1;
    const u32 status = find_shape(transform, output, subbands);
    if (failed(status))
        return status;
    output.type = type_wavelet;
    return id == id_output ? answer(output, size, buffer, stage_short_buffer)
                           : answer(subbands, size, buffer, stage_short_buffer);
}

u32 set(void *self, u32 id, u32 size, const void *value) {
    auto &transform = data<transform_data>(self);
    if (id == id_decompositions && transform.inverse == 0) {
        if (size < sizeof(u32) || value_of<u32>(value) == 0)
            return transform_bad_decompositions;
        transform.decompositions = std::min(value_of<u32>(value), max_decompositions);
        transform.ready = false;
        return success;
    }
    transform.ready = false;
    return set_module(transform.up.handle, id, size, value);
}

// Removes the headroom from a region of samples.
u32 scale_up(transform_data &transform, region &samples) {
    if (!try_resize(transform.scaled, u64{samples.width} * samples.height))
        return stage_no_memory;
    const i32 factor = 1 << transform.headroom;
    i16 *to = transform.scaled.data();
    for (u32 y = 0; y < samples.height; ++y) {
        const auto *from =
            reinterpret_cast<const i16 *>(samples.data + std::size_t{y} * samples.stride);
        for (u32 x = 0; x < samples.width; ++x)
            *to++ = static_cast<i16>(std::clamp(from[x] * factor, -32768, 32767));
    }
    samples.data = reinterpret_cast<const u8 *>(transform.scaled.data());
    samples.stride = samples.width * static_cast<u32>(sizeof(i16));
    return success;
}

u32 get(void *self, u32 plane, u32 x, u32 y, region &requested) {
    auto &transform = data<transform_data>(self);
    if (!transform.ready) {
        const u32 status =
            transform.inverse != 0 ? fetch_bands(transform) : transform_component(transform);
        if (failed(status))
            return status;
        transform.ready = true;
    }
    const subband area = transform.inverse != 0 ? subband{0, 0, transform.width, transform.height}
                                                : find_subband(transform.width, transform.height,
                                                               transform.subbands, plane);
    if (u64{x} + requested.width > area.width || u64{y} + requested.height > area.height)
        return transform_outside_band;
    if (transform.inverse != 0 && count_levels(transform) != 0 && requested.height != 0) {
        const line_strip strip = pull_lines(transform.dwt, y);
        requested.height = std::min(requested.height, strip.lines);
        requested.data = reinterpret_cast<const u8 *>(strip.first + x);
        requested.stride = static_cast<u32>(strip.stride * sizeof(i16));
    } else {
        const u32 line = std::min(area.y + y, transform.height - 1); // a region may have no lines
        // Lines that have not been allocated are the same line of zeros.
        const u32 adjacent = std::max(transform.coefficients.adjacent_lines(line), 1u);
        requested.height = std::min(requested.height, adjacent);
        requested.data = reinterpret_cast<const u8 *>(coefficient_at(transform, area.x + x, line));
        requested.stride = stride(transform);
    }
    return transform.inverse != 0 && transform.headroom != 0 ? scale_up(transform, requested)
                                                             : success;
}

u32 release(void *, const u8 *) {
    return success;
}

} // namespace

const module_descriptor transform_module = {
    transform_id,
    sizeof(transform_data),
    module_version,
    "Discrete Wavelet Transform",
    {init, destroy, query, set, get, release},
};

} // namespace viq
