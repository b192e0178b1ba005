// "Discrete Wavelet Transform": transforms the samples of a component to its subbands, and back.
//
// An instance buffers the coefficients of the whole component. The forward transform computes them
// when the first band of a run is requested, and provides each band as a plane. The inverse
// transform fetches all bands from its upstream when the first samples are requested, and computes
// the samples strip by strip as they are requested.
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
    aligned_buffer<i16> coefficients;
    line_based_dwt dwt;
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
    return transform.coefficients.data() + y * coefficient_stride(transform.width) + x;
}

u32 stride(const transform_data &transform) {
    return static_cast<u32>(coefficient_stride(transform.width) * sizeof(i16));
}

u32 allocate(transform_data &transform) {
    output_description output = {};
    const u32 status = find_shape(transform, output, transform.subbands);
    if (failed(status))
        return status;
    transform.width = output.width;
    transform.height = output.height;
    const u64 size = u64{coefficient_stride(output.width)} * output.height;
    return transform.coefficients.resize(size + coefficient_padding) ? success : stage_no_memory;
}

u32 count_levels(const transform_data &transform) {
    return (transform.subbands - 1) / 3;
}

u32 begin_levels(transform_data &transform) {
    const u32 levels = count_levels(transform);
    if (levels == 0)
        return success;
    const coefficient_buffer buffer = {transform.coefficients.data(),
                                       coefficient_stride(transform.width), transform.width,
                                       transform.height};
    const auto begin = transform.inverse != 0 ? begin_inverse : begin_forward;
    return begin(transform.dwt, buffer, levels) ? success : stage_no_memory;
}

void push_strip(transform_data &transform, u32 y, const region &strip) {
    const auto line = [&](u32 i) {
        return reinterpret_cast<const i16 *>(strip.data + std::size_t{i} * strip.stride);
    };
    for (u32 i = 0; i < strip.height;) {
        const u32 count = count_levels(transform) != 0 ? std::min(strip.height - i, 2u) : 1;
        const i16 *const lines[2] = {line(i), line(i + count - 1)};
        if (count_levels(transform) != 0)
            push_lines(transform.dwt, lines, count);
        else
            std::copy_n(lines[0], transform.width, coefficient_at(transform, 0, y + i));
        i += count;
    }
}

u32 transform_component(transform_data &transform) {
    u32 status = allocate(transform);
    if (!failed(status))
        status = begin_levels(transform);
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

u32 fetch_band(transform_data &transform, u32 band) {
    const subband area = find_subband(transform.width, transform.height, transform.subbands, band);
    for (u32 y = 0; y < area.height;) {
        const region_destination own = {
            reinterpret_cast<u8 *>(coefficient_at(transform, area.x, area.y + y)),
            stride(transform)};
        set_module(transform.up.handle, id_destination, sizeof own, &own); // optional
        region lines = {area.width, area.height - y, nullptr, 0};
        const u32 status = get_region(transform.up.handle, band, 0, y, &lines);
        if (failed(status))
            return status;
        const bool whole =
            lines.width == area.width && lines.height != 0 && lines.height <= area.height - y;
        for (u32 i = 0; whole && lines.data != own.data && i < lines.height; ++i)
            std::memcpy(coefficient_at(transform, area.x, area.y + y + i),
                        lines.data + std::size_t{i} * lines.stride, area.width * sizeof(i16));
        release_region(transform.up.handle, lines.data);
        if (!whole)
            return transform_bad_size;
        y += lines.height;
    }
    return success;
}

u32 fetch_bands(transform_data &transform) {
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
        return success;
    }
    requested.data =
        reinterpret_cast<const u8 *>(coefficient_at(transform, area.x + x, area.y + y));
    requested.stride = stride(transform);
    return success;
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
