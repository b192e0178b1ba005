// "DWT Quantiser": uniform scalar quantisation. The forward direction divides the coefficients of a
// band by the step of the band, rounding down; the inverse multiplies and adds half a step. The
// steps follow from the step control, the component and the band; they are the settings of the
// module.
#include <algorithm>
#include <utility>

#include "core/aligned_memory.h"
#include "wavelet/framework/module_support.h"
#include "wavelet/stages/lifting_kernels.h"
#include "wavelet/stages/subbands.h"

namespace viq {

namespace {

struct quantiser_data {
    upstream_link up;
    u32 inverse = 0;
    i16 control = 0;
    u32 component = 0;
    u32 optimisation = 0;
    vector<u8> settings; // inverse: the block as it was set
    vector<i16> values;
    region_destination destination = {}; // of the next region, instead of `values`
    // The lines of an upstream region that did not fit the destination: they are the next region.
    region rest = {};
    const u8 *held = nullptr; // the upstream region that they belong to
    u32 rest_plane = 0, rest_y = 0;
    u32 headroom = 0;         // of the coefficients in this run (lifting_kernels.h)
    u32 parts = 1;            // value_parts: the last region had parts of steps
    bool steps_valid = false; // for the current run
    vector<u16> steps;
};

// Size of the settings block: the header, whose module-specific value is the number of subbands, a
// step for each subband, and two zero bytes.
constexpr u32 block_size(u32 subbands) {
    return settings_header_size + 2 * subbands + 2;
}

constexpr u32 min_settings_size = block_size(1);

u32 check_type(const quantiser_data &quantiser, output_description &output) {
    const u32 status = describe_output(quantiser.up.handle, output);
    if (failed(status))
        return status;
    const u32 expected = quantiser.inverse != 0 ? type_signed_16 : type_wavelet;
    return output.type == expected || output.type == type_unspecified ? success
                                                                      : quantiser_bad_type;
}

u32 count_upstream_bands(const quantiser_data &quantiser, u32 &subbands) {
    u32 size = sizeof subbands;
    return query_module(quantiser.up.handle, id_subbands, &size, &subbands);
}

// Steps of all bands: from the step control and the component (forward) or the settings (inverse).
u32 find_steps(quantiser_data &quantiser) {
    u32 subbands = 0;
    const auto *block = quantiser.settings.data();
    if (quantiser.inverse != 0) {
        subbands = quantiser.settings.empty() ? 0 : settings_word(block);
    } else {
        const u32 status = count_upstream_bands(quantiser, subbands);
        if (failed(status))
            return status;
    }
    if (!try_resize(quantiser.steps, subbands))
        return quantiser_no_memory;
    const auto step_of = quantiser.optimisation != 0 ? optimised_step : quantiser_step;
    for (u32 band = 0; band < subbands; ++band)
        quantiser.steps[band] = static_cast<u16>(
            quantiser.inverse != 0
                ? load<u16>(block + settings_header_size + 2 * std::size_t{band}, endian::little)
                : step_of(quantiser.control, quantiser.component, band, subbands));
    quantiser.steps_valid = true;
    return success;
}

u32 answer_settings(quantiser_data &quantiser, u32 &size, void *buffer) {
    u32 status = find_steps(quantiser);
    if (failed(status))
        return status;
    const auto subbands = static_cast<u32>(quantiser.steps.size());
    vector<u8> block;
    if (!try_resize(block, block_size(subbands)))
        return quantiser_no_memory;
    store_settings_header(block.data(), quantiser_id, static_cast<u16>(subbands));
    for (u32 band = 0; band < subbands; ++band)
        store<u16>(block.data() + settings_header_size + 2 * std::size_t{band},
                   quantiser.steps[band], endian::little);
    return query_settings(quantiser.up.handle, block.data(), block_size(subbands), size, buffer);
}

u32 apply_settings(quantiser_data &quantiser, u32 size, const void *value) {
    switch (check_settings_header(quantiser_id, min_settings_size, size, value)) {
    case success:
        break;
    case settings_short:
        return quantiser_short_settings;
    case settings_wrong_module:
        return quantiser_wrong_settings;
    default:
        return quantiser_unknown_version;
    }
    const auto *block = static_cast<const u8 *>(value);
    const u32 own = block_size(settings_word(block));
    if (size < own)
        return quantiser_truncated_settings;
    if (!try_resize(quantiser.settings, own))
        return quantiser_no_memory;
    std::memcpy(quantiser.settings.data(), block, own);
    quantiser.steps_valid = false;
    return pass_settings(quantiser.up.handle, own, size, value);
}

u32 init(void *self, u32 size, const void *configuration, module_handle upstream) {
    auto &quantiser = construct_data<quantiser_data>(self);
    return connect_directed(quantiser.up, quantiser.inverse, size, configuration, upstream);
}

void drop_rest(quantiser_data &quantiser) {
    if (quantiser.held != nullptr)
        release_region(quantiser.up.handle, quantiser.held);
    quantiser.held = nullptr;
    quantiser.rest = {};
}

u32 destroy(void *self) {
    drop_rest(data<quantiser_data>(self));
    disconnect(data<quantiser_data>(self).up);
    return destroy_data<quantiser_data>(self);
}

u32 query(void *self, u32 id, u32 &size, void *buffer) {
    auto &quantiser = data<quantiser_data>(self);
    if (id == id_settings && quantiser.inverse == 0)
        return answer_settings(quantiser, size, buffer);
    if (id == id_headroom && quantiser.inverse != 0)
        return answer(quantiser.headroom, size, buffer, stage_short_buffer);
    if (id == id_value_parts && quantiser.inverse == 0)
        return answer(quantiser.parts, size, buffer, stage_short_buffer);
    if (id != id_output)
        return query_module(quantiser.up.handle, id, &size, buffer);
    output_description output = {};
    const u32 status = check_type(quantiser, output);
    if (failed(status))
        return status;
    output.type = quantiser.inverse != 0 ? type_wavelet : type_signed_16;
    return answer(output, size, buffer, stage_short_buffer);
}

u32 set(void *self, u32 id, u32 size, const void *value) {
    auto &quantiser = data<quantiser_data>(self);
    if (id == id_destination) {
        if (quantiser.inverse == 0 || size != sizeof quantiser.destination)
            return stage_bad_configuration;
        quantiser.destination = value_of<region_destination>(value);
        return success;
    }
    drop_rest(quantiser);
    quantiser.steps_valid = false;
    quantiser.headroom = 0;
    switch (id) {
    case id_settings:
        if (quantiser.inverse != 0)
            return apply_settings(quantiser, size, value);
        break;
    case id_quantiser_control:
        if (size < sizeof quantiser.control)
            return quantiser_bad_control;
        quantiser.control = value_of<i16>(value);
        return success;
    case id_optimisation:
        if (size < sizeof quantiser.optimisation)
            return quantiser_bad_control;
        quantiser.optimisation = value_of<u32>(value);
        return success;
    case id_component:
        if (size < sizeof quantiser.component)
            return quantiser_bad_component;
        quantiser.component = value_of<u32>(value);
        break;
    default:
        break;
    }
    return set_module(quantiser.up.handle, id, size, value);
}

// Lines of a region that differ from each other.
u32 distinct_lines(const region &source) {
    return source.stride == 0 ? std::min(source.height, 1u) : source.height;
}

// Buffer for a region: the requested destination, or one of the module. Regions of equal lines are
// not stored in the destination.
bool find_buffer(quantiser_data &quantiser, const region_destination &requested,
                 const region &source, region_destination &buffer) {
    buffer = requested;
    if (buffer.data != nullptr && source.stride != 0 && source.height <= buffer.lines)
        return true;
    if (!try_resize(quantiser.values, u64{source.width} * distinct_lines(source)))
        return false;
    const u32 stride = source.width * static_cast<u32>(sizeof(i16));
    buffer = {reinterpret_cast<u8 *>(quantiser.values.data()), source.stride == 0 ? 0 : stride,
              distinct_lines(source)};
    return true;
}

// A line is fetched into the cache while this many lines before it are written.
constexpr u32 prefetched_lines = 2;

void prefetch_line(const region_destination &buffer, u32 y, u32 width) {
    if (y >= buffer.lines)
        return;
    const u8 *line = buffer.data + std::size_t{y} * buffer.stride;
    for (u32 i = 0; i < width * sizeof(i16); i += cache_line)
        __builtin_prefetch(line + i, 1);
}

// Quantises or dequantises the lines of a region; false if a coefficient does not fit.
bool map_lines(const quantiser_data &quantiser, const region &source,
               const region_destination &buffer, u32 step) {
    const wavelet_kernels &kernels = current_wavelet_kernels();
    bool fits = true;
    for (u32 i = 0; i < distinct_lines(source); ++i) {
        const auto *from =
            reinterpret_cast<const i16 *>(source.data + std::size_t{i} * source.stride);
        auto *to = reinterpret_cast<i16 *>(buffer.data + std::size_t{i} * buffer.stride);
        if (quantiser.inverse != 0)
            prefetch_line(buffer, i + prefetched_lines, source.width);
        if (quantiser.parts != 1)
            kernels.divide(from, to, source.width, step, quantiser.headroom);
        else if (quantiser.inverse == 0)
            kernels.quantise(from, to, source.width, step, quantiser.headroom);
        else if (!kernels.dequantise(from, to, source.width, step, quantiser.headroom))
            fits = false;
    }
    return fits;
}

u32 upstream_headroom(const quantiser_data &quantiser) {
    u32 headroom = 0;
    u32 size = sizeof headroom;
    return failed(query_module(quantiser.up.handle, id_headroom, &size, &headroom)) ? 0 : headroom;
}

// The upstream's region, or what is left of the last one; at most `most_lines` lines of different
// content, if this is not 0. The other lines are kept.
u32 get_source(quantiser_data &quantiser, u32 plane, u32 x, u32 y, u32 most_lines, region &source) {
    if (quantiser.held != nullptr && plane == quantiser.rest_plane && y == quantiser.rest_y) {
        source = quantiser.rest;
    } else {
        drop_rest(quantiser);
        const u32 status = get_region(quantiser.up.handle, plane, x, y, &source);
        if (failed(status))
            return status;
        quantiser.held = source.data;
    }
    quantiser.rest = {};
    if (most_lines != 0 && source.stride != 0 && source.height > most_lines) {
        quantiser.rest = {source.width, source.height - most_lines,
                          source.data + std::size_t{most_lines} * source.stride, source.stride};
        quantiser.rest_plane = plane;
        quantiser.rest_y = y + most_lines;
        source.height = most_lines;
    }
    return success;
}

u32 get(void *self, u32 plane, u32 x, u32 y, region &requested) {
    auto &quantiser = data<quantiser_data>(self);
    const region_destination destination = std::exchange(quantiser.destination, {});
    output_description output = {};
    u32 status = check_type(quantiser, output);
    if (!failed(status) && !quantiser.steps_valid)
        status = find_steps(quantiser);
    if (failed(status))
        return status;
    if (plane >= quantiser.steps.size())
        return quantiser_no_step;
    region source = requested;
    status = get_source(quantiser, plane, x, y, destination.lines, source);
    if (failed(status))
        return status;
    const bool fits = source.width <= requested.width && source.height <= requested.height;
    region_destination buffer = {};
    const bool allocated =
        find_buffer(quantiser, fits ? destination : region_destination{}, source, buffer);
    const u32 step = quantiser.steps[plane];
    if (quantiser.inverse == 0)
        quantiser.headroom = upstream_headroom(quantiser);
    quantiser.parts = quantiser.optimisation != 0 && step >= first_coarse_step ? value_parts : 1;
    if (allocated && !map_lines(quantiser, source, buffer, step) && quantiser.headroom == 0) {
        quantiser.headroom = max_headroom;
        map_lines(quantiser, source, buffer, step);
    }
    if (quantiser.rest.height == 0)
        drop_rest(quantiser);
    if (!allocated)
        return quantiser_no_memory;
    requested = {source.width, source.height, buffer.data, buffer.stride};
    return success;
}

u32 release(void *, const u8 *) {
    return success;
}

} // namespace

const module_descriptor quantiser_module = {
    quantiser_id,
    sizeof(quantiser_data),
    module_version,
    "DWT Quantiser",
    {init, destroy, query, set, get, release},
};

} // namespace viq
