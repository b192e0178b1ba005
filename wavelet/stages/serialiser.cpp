// "DWT serialiser": the quantised bands of a component into packs, and back.
//
// A band is taken in units of lines, and a pack holds as many units as it takes to cover a certain
// number of places, so that no pack's end has to be told.
#include <algorithm>

#include "wavelet/framework/link.h"
#include "wavelet/stages/fast_coder.h"
#include "wavelet/stages/packing.h"
#include "wavelet/stages/small_coder.h"

namespace viq {

namespace {

constexpr u32 unit_places = 32768;
constexpr u32 pack_places = 131072;
// A byte of a pack stands for so many places at most; see the limit of the decompressor.
constexpr u32 places_bits = 16;

constexpr u32 settings_size = settings_head + 8;

struct serialiser_data {
    upstream_link up;
    u32 inverse = 0;
    u32 packing = packing_small;
    u32 width = 0, height = 0, subbands = 0;

    bool under_way = false;
    component_scan scan;
    u32 band = 0, line = 0; // where the next unit begins
    std::unique_ptr<small_models[]> small;
    std::unique_ptr<fast_models[]> fast;
    std::vector<u8> pack;

    fast_writer fast_writing;
    small_writer small_writing;
    std::vector<i16> values;

    u64 places = 0; // of the present pack that have been read
    bool pack_open = false;
    fast_reader fast_reading;
    small_reader small_reading;
};

u32 begin_run(serialiser_data &serialiser) {
    try {
        if (serialiser.packing == packing_small)
            serialiser.small = std::make_unique<small_models[]>(band_kinds);
        else
            serialiser.fast = std::make_unique<fast_models[]>(band_kinds);
    } catch (...) {
        return stage_no_memory;
    }
    begin_component(serialiser.scan, serialiser.width, serialiser.height, serialiser.subbands);
    if (!serialiser.small_writing.resize(serialiser.width) ||
        !serialiser.small_reading.resize(serialiser.width) || !begin_band(serialiser.scan, 0))
        return stage_no_memory;
    serialiser.band = 0;
    serialiser.line = 0;
    serialiser.pack_open = false;
    serialiser.under_way = true;
    return success;
}

bool at_end(const serialiser_data &serialiser) {
    return serialiser.band >= serialiser.subbands;
}

u32 unit_lines(const serialiser_data &serialiser) {
    const subband &area = serialiser.scan.area;
    return std::min(area.height - serialiser.line, std::max(unit_places / area.width, 1u));
}

u32 go_on(serialiser_data &serialiser, u32 lines) {
    serialiser.line += lines;
    if (serialiser.line < serialiser.scan.area.height)
        return success;
    serialiser.line = 0;
    ++serialiser.band;
    return at_end(serialiser) || begin_band(serialiser.scan, serialiser.band) ? success
                                                                              : stage_no_memory;
}

void forget_phrases(serialiser_data &serialiser) {
    for (u32 kind = 0; kind < band_kinds; ++kind)
        serialiser.fast[kind].finish();
}

// The unit at the present place, whichever way the coder goes.
template <class Coder>
void code_unit(serialiser_data &serialiser, Coder &coder, u32 lines, i16 *values, std::size_t pitch,
               unit_content content) {
    component_scan &scan = serialiser.scan;
    content = coder.head(content);
    if (content == unit_content::empty) {
        skip_lines(scan, serialiser.line, lines);
        if constexpr (Coder::reads)
            std::fill_n(values, pitch * lines, i16{0});
        return;
    }
    for (u32 i = 0; i < lines; ++i, values += pitch)
        code_line(scan, coder, serialiser.line + i, values, content == unit_content::gap);
}

// ---------------------------------------------------------------- writing

unit_content content_of(const region &lines) {
    bool any = false;
    bool gap = true;
    for (u32 y = 0; y < lines.height; ++y) {
        const auto *values =
            reinterpret_cast<const i16 *>(lines.data + std::size_t{y} * lines.stride);
        i16 bits = 0;
        bool has_minus_1 = false;
        for (u32 x = 0; x < lines.width; ++x) {
            bits = static_cast<i16>(bits | values[x]);
            has_minus_1 |= values[x] == -1;
        }
        any |= bits != 0;
        gap &= !has_minus_1;
    }
    return !any ? unit_content::empty : gap ? unit_content::gap : unit_content::full;
}

// Writes one pack; there is a model for each kind of band.
template <class Writer, class Models>
u32 write_units(serialiser_data &serialiser, Writer &writer, Models *models) {
    writer.begin();
    u64 places = 0;
    while (places < pack_places && !at_end(serialiser)) {
        const u32 lines = unit_lines(serialiser);
        region unit = {serialiser.scan.area.width, lines, nullptr, 0};
        u32 status = get_region(serialiser.up.handle, serialiser.band, 0, serialiser.line, &unit);
        if (failed(status))
            return status;
        if (unit.height != lines || unit.width != serialiser.scan.area.width)
            return serialiser_bad_shape;
        // a writer leaves the values as they are
        auto *values = reinterpret_cast<i16 *>(const_cast<u8 *>(unit.data));
        writer.models = &models[band_kind(serialiser.band, serialiser.subbands)];
        code_unit(serialiser, writer, lines, values, unit.stride / sizeof(i16), content_of(unit));
        release_region(serialiser.up.handle, unit.data);
        places += u64{lines} * serialiser.scan.area.width;
        status = go_on(serialiser, lines);
        if (failed(status))
            return status;
    }
    return writer.finish(places >> places_bits, serialiser.pack) ? success : stage_no_memory;
}

u32 write_pack(serialiser_data &serialiser, region &wanted) {
    output_description source = {};
    if (!serialiser.under_way) {
        u32 status = describe_output(serialiser.up.handle, source);
        u32 size = sizeof serialiser.subbands;
        if (!failed(status))
            status = query_module(serialiser.up.handle, id_subbands, &size, &serialiser.subbands);
        if (failed(status))
            return status;
        serialiser.width = source.width;
        serialiser.height = source.height;
        status = begin_run(serialiser);
        if (failed(status))
            return status;
    }
    if (at_end(serialiser)) {
        wanted = {0, 1, nullptr, 0};
        return success;
    }
    u32 status = success;
    if (serialiser.packing == packing_small) {
        status = write_units(serialiser, serialiser.small_writing, serialiser.small.get());
    } else {
        status = write_units(serialiser, serialiser.fast_writing, serialiser.fast.get());
        forget_phrases(serialiser);
    }
    return failed(status) ? status : deliver_pack(serialiser.pack, wanted);
}

// ---------------------------------------------------------------- reading

u32 open_pack(serialiser_data &serialiser) {
    region pack = {};
    const u32 status = get_region(serialiser.up.handle, 0, 0, 0, &pack);
    if (failed(status))
        return status;
    if (pack.data == nullptr || pack.stride < sizeof(pack_head))
        return serialiser_damaged;
    const pack_head head = head_of(pack.data);
    if (u64{head.symbols} + head.bytes != pack.stride - sizeof(pack_head))
        return serialiser_damaged;
    const u8 *symbols = pack.data + sizeof(pack_head);
    const u8 *bytes = symbols + head.symbols;
    const bool room = serialiser.packing == packing_small
                          ? serialiser.small_reading.begin(bytes, head.bytes)
                          : serialiser.fast_reading.open(symbols, head.symbols, head.bytes);
    if (!room)
        return stage_no_memory;
    serialiser.pack_open = true;
    serialiser.places = 0;
    return success;
}

u32 close_pack(serialiser_data &serialiser) {
    serialiser.pack_open = false;
    if (serialiser.packing == packing_small)
        return serialiser.small_reading.is_sound() ? success : serialiser_damaged;
    forget_phrases(serialiser);
    return serialiser.fast_reading.is_sound() ? success : serialiser_damaged;
}

u32 read_unit(serialiser_data &serialiser, region &wanted) {
    const u32 width = serialiser.scan.area.width;
    const u32 lines = unit_lines(serialiser);
    if (!try_resize(serialiser.values, u64{width} * lines + scan_block))
        return stage_no_memory;
    u32 status = serialiser.pack_open ? success : open_pack(serialiser);
    if (failed(status))
        return status;
    const u32 kind = band_kind(serialiser.band, serialiser.subbands);
    i16 *values = serialiser.values.data();
    if (serialiser.packing == packing_small) {
        serialiser.small_reading.models = &serialiser.small[kind];
        code_unit(serialiser, serialiser.small_reading, lines, values, width, unit_content::empty);
    } else {
        serialiser.fast_reading.models = &serialiser.fast[kind];
        code_unit(serialiser, serialiser.fast_reading, lines, values, width, unit_content::empty);
    }
    serialiser.places += u64{width} * lines;
    wanted = {width, lines, reinterpret_cast<const u8 *>(values),
              width * static_cast<u32>(sizeof(i16))};
    status = go_on(serialiser, lines);
    if (!failed(status) && (serialiser.places >= pack_places || at_end(serialiser)))
        status = close_pack(serialiser);
    return status;
}

// Bands come in their order and from their first line on.
u32 read_lines(serialiser_data &serialiser, u32 band, u32 x, u32 y, region &wanted) {
    if (!serialiser.under_way) {
        const u32 status = begin_run(serialiser);
        if (failed(status))
            return status;
    }
    const bool in_order = !at_end(serialiser) && band == serialiser.band && x == 0 &&
                          y == serialiser.line && wanted.width == serialiser.scan.area.width &&
                          wanted.height >= unit_lines(serialiser);
    return in_order ? read_unit(serialiser, wanted) : stage_out_of_order;
}

// ---------------------------------------------------------------- settings

u32 answer_settings(serialiser_data &serialiser, u32 &size, void *buffer) {
    output_description source = {};
    u32 status = describe_output(serialiser.up.handle, source);
    u32 subbands = 0;
    u32 answer_size = sizeof subbands;
    if (!failed(status))
        status = query_module(serialiser.up.handle, id_subbands, &answer_size, &subbands);
    if (failed(status))
        return status;
    u8 block[settings_size];
    store_settings_head(block, serialiser_id, static_cast<u16>(subbands));
    store<u32>(block + settings_head, source.width, endian::little);
    store<u32>(block + settings_head + 4, source.height, endian::little);
    return query_settings(serialiser.up.handle, block, settings_size, size, buffer);
}

u32 take_settings(serialiser_data &serialiser, u32 size, const void *value) {
    const u32 status = check_settings_head(serialiser_id, settings_size, size, value);
    if (failed(status))
        return status;
    const auto *block = static_cast<const u8 *>(value);
    const u32 subbands = load<u16>(block + 6, endian::little);
    const u32 width = load<u32>(block + settings_head, endian::little);
    const u32 height = load<u32>(block + settings_head + 4, endian::little);
    if (width == 0 || height == 0 || subbands == 0 || subbands > most_subbands ||
        count_subbands(width, height, (subbands - 1) / 3) != subbands)
        return serialiser_bad_shape;
    serialiser.subbands = subbands;
    serialiser.width = width;
    serialiser.height = height;
    return pass_settings(serialiser.up.handle, settings_size, size, value);
}

// ---------------------------------------------------------------- operations

u32 init(void *self, u32 size, const void *configuration, module_handle upstream) {
    auto &serialiser = begin_data<serialiser_data>(self);
    const u32 status = connect(serialiser.up, size, configuration, upstream);
    return failed(status) ? status : read_mode(size, configuration, 1, serialiser.inverse);
}

u32 destroy(void *self) {
    disconnect(data<serialiser_data>(self).up);
    return end_data<serialiser_data>(self);
}

u32 query(void *self, u32 id, u32 &size, void *buffer) {
    auto &serialiser = data<serialiser_data>(self);
    const bool inverse = serialiser.inverse != 0;
    if (id == id_output) {
        const output_description lines = {type_signed_16, serialiser.width, serialiser.height};
        const output_description packs = {type_bytes, 0, 0};
        return answer(inverse ? lines : packs, size, buffer, stage_short_buffer);
    }
    if (id == id_subbands && inverse)
        return answer(serialiser.subbands, size, buffer, stage_short_buffer);
    if (id == id_settings && !inverse)
        return answer_settings(serialiser, size, buffer);
    return query_module(serialiser.up.handle, id, &size, buffer);
}

u32 set(void *self, u32 id, u32 size, const void *value) {
    auto &serialiser = data<serialiser_data>(self);
    serialiser.under_way = false;
    if (id == id_packing) {
        if (size < sizeof serialiser.packing)
            return stage_bad_configuration;
        serialiser.packing = value_of<u32>(value);
        return success;
    }
    if (id != id_settings || serialiser.inverse == 0)
        return set_module(serialiser.up.handle, id, size, value);
    const u32 status = take_settings(serialiser, size, value);
    u32 answer_size = sizeof serialiser.packing;
    if (!failed(status) &&
        failed(query_module(serialiser.up.handle, id_packing, &answer_size, &serialiser.packing)))
        serialiser.packing = packing_small;
    return status;
}

u32 get(void *self, u32 plane, u32 x, u32 y, region &wanted) {
    auto &serialiser = data<serialiser_data>(self);
    return serialiser.inverse != 0 ? read_lines(serialiser, plane, x, y, wanted)
                                   : write_pack(serialiser, wanted);
}

u32 release(void *, const u8 *) {
    return success;
}

} // namespace

const module_descriptor serialiser_module = {
    serialiser_id,
    sizeof(serialiser_data),
    module_version,
    "DWT serialiser",
    {init, destroy, query, set, get, release},
};

} // namespace viq
