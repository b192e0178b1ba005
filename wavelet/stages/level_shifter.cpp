// "Level shifter": converts samples from the type of the upstream to a target type. Wavelet samples
// are signed, centred on 0, with 6 fractional bits. From YUV 4:2:2 pixels it extracts one
// component.
#include <algorithm>

#include "wavelet/framework/module_support.h"
#include "wavelet/stages/lifting_kernels.h"

namespace viq {

namespace {

using i8 = std::int8_t;
using row_conversion = void (*)(const u8 *from, u8 *to, u32 count);

struct shifter_data {
    upstream_link up;
    u32 target = type_unspecified;
    u32 component = 0;
    vector<u8> converted;
    region_destination destination = {}; // of the regions of a run, instead of `converted`
};

constexpr u32 bytes_per_sample(u32 type) {
    return type == type_signed_8 || type == type_bytes ? 1 : 2;
}

template <class From, class To, class Formula>
void convert_each(const u8 *from, u8 *to, u32 count, Formula formula) {
    for (u32 i = 0; i < count; ++i) {
        From value;
        std::memcpy(&value, from + std::size_t{i} * sizeof value, sizeof value);
        const To result = static_cast<To>(formula(value));
        std::memcpy(to + std::size_t{i} * sizeof result, &result, sizeof result);
    }
}

// Converts a row with a formula for one sample.
template <class From, class To, i32 (*formula)(i32)>
void convert_row(const u8 *from, u8 *to, u32 count) {
    convert_each<From, To>(from, to, count, [](From value) { return formula(value); });
}

i32 identity(i32 v) {
    return v;
}
i32 add_128(i32 v) {
    return v + 128;
}
i32 add_32768(i32 v) {
    return v + 32768;
}
i32 subtract_128(i32 v) {
    return v - 128;
}
i32 to_wavelet(i32 v) {
    return v * 64;
}
i32 clamp_signed(i32 v) {
    return std::clamp(v, -128, 127);
}
i32 clamp_byte(i32 v) {
    return std::clamp(v + 128, 0, 255);
}
i32 centre_and_clamp(i32 v) {
    return std::clamp(v - 32768, -128, 127);
}
i32 clamp_to_255(i32 v) {
    return std::min(v, 255);
}
// Rounds to integers; 128 is added for signed bytes too, which is deliberate.
i32 round_to_signed(i32 v) {
    return std::clamp(((v + 32) >> 6) + 128, -128, 127);
}

void widen_bytes(const u8 *from, u8 *to, u32 count) {
    current_wavelet_kernels().widen(from, 1, reinterpret_cast<i16 *>(to), count);
}

void narrow_samples(const u8 *from, u8 *to, u32 count) {
    current_wavelet_kernels().narrow(reinterpret_cast<const i16 *>(from), to, count);
}

struct conversion {
    u32 from, to;
    row_conversion convert;
};

constexpr conversion conversions[] = {
    {type_signed_8, type_bytes, convert_row<i8, u8, add_128>},
    {type_bytes, type_signed_8, convert_row<u8, i8, add_128>},
    {type_signed_8, type_signed_16, convert_row<i8, i16, identity>},
    {type_signed_8, type_unsigned_16, convert_row<i8, u16, add_32768>},
    {type_signed_8, type_wavelet, convert_row<i8, i16, to_wavelet>},
    {type_bytes, type_signed_16, convert_row<u8, i16, subtract_128>},
    {type_bytes, type_unsigned_16, convert_row<u8, u16, identity>},
    {type_bytes, type_wavelet, widen_bytes},
    {type_signed_16, type_signed_8, convert_row<i16, i8, clamp_signed>},
    {type_signed_16, type_bytes, convert_row<i16, u8, clamp_byte>},
    {type_signed_16, type_unsigned_16, convert_row<i16, u16, add_32768>},
    {type_unsigned_16, type_signed_16, convert_row<u16, i16, add_32768>},
    {type_unsigned_16, type_signed_8, convert_row<u16, i8, centre_and_clamp>},
    {type_unsigned_16, type_bytes, convert_row<u16, u8, clamp_to_255>},
    {type_wavelet, type_bytes, narrow_samples},
    {type_wavelet, type_signed_8, convert_row<i16, i8, round_to_signed>},
};

// Position of a component in a line of YUV 4:2:2: the offset of its first sample and the distance
// of its samples, in bytes.
struct component_layout {
    u32 offset, step;
};
constexpr component_layout component_layouts[3] = {{0, 2}, {1, 4}, {3, 4}};

bool passes_through(const shifter_data &shifter, u32 type) {
    return shifter.target == type_unspecified || type == type_unspecified || type == shifter.target;
}

bool extracts_component(const shifter_data &shifter, u32 type) {
    return shifter.target == type_wavelet && type == type_yuv422;
}

row_conversion find_conversion(u32 from, u32 to) {
    for (const conversion &row : conversions)
        if (row.from == from && row.to == to)
            return row.convert;
    return nullptr;
}

u32 describe(const shifter_data &shifter, output_description &output) {
    const u32 status = describe_output(shifter.up.handle, output);
    if (failed(status) || passes_through(shifter, output.type))
        return status;
    if (extracts_component(shifter, output.type))
        output.width = shifter.component == 0 ? output.width : output.width / 2;
    else if (find_conversion(output.type, shifter.target) == nullptr)
        return shifter_no_conversion;
    output.type = shifter.target;
    return success;
}

u32 init(void *self, u32 size, const void *configuration, module_handle upstream) {
    auto &shifter = construct_data<shifter_data>(self);
    const u32 status = connect(shifter.up, size, configuration, upstream);
    if (failed(status) || size == 0)
        return status;
    if (failed(read_mode(size, configuration, type_wavelet, shifter.target)))
        return shifter_bad_target;
    switch (shifter.target) {
    case type_signed_8:
    case type_bytes:
    case type_signed_16:
    case type_unsigned_16:
    case type_wavelet:
    case type_unspecified:
        return success;
    default:
        return shifter_bad_target;
    }
}

u32 destroy(void *self) {
    disconnect(data<shifter_data>(self).up);
    return destroy_data<shifter_data>(self);
}

u32 query(void *self, u32 id, u32 &size, void *buffer) {
    const auto &shifter = data<shifter_data>(self);
    if (id != id_output)
        return query_module(shifter.up.handle, id, &size, buffer);
    output_description output = {};
    const u32 status = describe(shifter, output);
    return failed(status) ? status : answer(output, size, buffer, stage_short_buffer);
}

u32 set(void *self, u32 id, u32 size, const void *value) {
    auto &shifter = data<shifter_data>(self);
    if (id == id_destination && shifter.target == type_bytes &&
        size == sizeof shifter.destination) {
        shifter.destination = value_of<region_destination>(value);
        return success;
    }
    if (id == id_source)
        shifter.destination = {};
    // The component selects what the shifter after the source extracts; it is not passed on.
    if (id != id_component || shifter.target != type_wavelet)
        return set_module(shifter.up.handle, id, size, value);
    if (size < sizeof(u32) || value_of<u32>(value) > 2)
        return shifter_bad_component;
    shifter.component = value_of<u32>(value);
    return success;
}

// Requests the source of a region of samples and converts it line by line.
u32 convert_region(shifter_data &shifter, u32 type, u32 x, u32 y, region &requested) {
    const bool extracts = extracts_component(shifter, type);
    const component_layout layout = component_layouts[shifter.component];
    const u32 pixels = extracts && shifter.component != 0 ? 2 : 1;
    region source = {requested.width * pixels, requested.height, nullptr, 0};
    const u32 status = get_region(shifter.up.handle, 0, x * pixels, y, &source);
    if (failed(status))
        return status;
    const u32 width = std::min(source.width / pixels, requested.width);
    const u32 sample = bytes_per_sample(shifter.target);
    const row_conversion convert = find_conversion(type, shifter.target);
    region_destination buffer = shifter.destination;
    const bool own = buffer.data == nullptr || u64{y} + source.height > buffer.lines;
    if (own)
        buffer = {nullptr, (width * sample + 1) / 2 * 2, source.height};
    const bool allocated = !own || try_resize(shifter.converted, u64{buffer.stride} * buffer.lines);
    u8 *target = own ? shifter.converted.data()
                     : buffer.data + std::size_t{y} * buffer.stride + std::size_t{x} * sample;
    for (u32 i = 0; allocated && i < source.height; ++i) {
        const u8 *from = source.data + std::size_t{i} * source.stride;
        u8 *to = target + std::size_t{i} * buffer.stride;
        if (extracts)
            current_wavelet_kernels().widen(from + layout.offset, layout.step,
                                            reinterpret_cast<i16 *>(to), width);
        else
            convert(from, to, width);
    }
    release_region(shifter.up.handle, source.data);
    if (!allocated)
        return stage_no_memory;
    requested = {width, source.height, target, buffer.stride};
    return success;
}

u32 get(void *self, u32 plane, u32 x, u32 y, region &requested) {
    auto &shifter = data<shifter_data>(self);
    output_description source = {};
    const u32 status = describe_output(shifter.up.handle, source);
    if (failed(status))
        return status;
    if (passes_through(shifter, source.type))
        return get_region(shifter.up.handle, plane, x, y, &requested);
    output_description output = {};
    const u32 convertible = describe(shifter, output);
    if (failed(convertible))
        return convertible;
    if (u64{x} + requested.width > output.width || u64{y} + requested.height > output.height)
        return shifter_outside;
    return convert_region(shifter, source.type, x, y, requested);
}

u32 release(void *self, const u8 *bytes) {
    auto &shifter = data<shifter_data>(self);
    return bytes == shifter.converted.data() || shifter.destination.data != nullptr
               ? success
               : release_region(shifter.up.handle, bytes);
}

} // namespace

const module_descriptor level_shifter_module = {
    level_shifter_id,
    sizeof(shifter_data),
    module_version,
    "Level shifter",
    {init, destroy, query, set, get, release},
};

} // namespace viq
