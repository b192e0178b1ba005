// "DWT serialiser": codes the quantised bands of a component into packets, and back.
//
// A band is divided into coding units of whole lines. A packet contains coding units, across band
// borders if need be, until it covers packet_coefficients or the component ends; both sides derive
// this from the sizes of the bands, so that the stream does not mark it. Packets bound the memory
// of a run. Statistics and codebooks continue across packets; only the coder states restart.
#include <algorithm>
#include <array>
#include <cstdlib>

#include "wavelet/framework/module_support.h"
#include "wavelet/stages/entropy_packet.h"
#include "wavelet/stages/rans_coder.h"
#include "wavelet/stages/run_value_coder.h"

namespace viq {

namespace {

constexpr u32 unit_coefficients = 32768;
constexpr u32 packet_coefficients = 131072;
// A packet has at least one byte for each 65536 coefficients; the decompressor rejects streams that
// claim more pixels for each byte.
constexpr u32 coefficients_per_byte_log2 = 16;

// The settings block contains the size of the component and, in its header, the subbands.
constexpr u32 width_offset = settings_header_size;
constexpr u32 height_offset = width_offset + sizeof(u32);
constexpr u32 settings_size = height_offset + sizeof(u32);

struct serialiser_data {
    upstream_link up;
    u32 inverse = 0;
    u32 coder = coder_rans;
    u32 optimisation = 0;
    u32 width = 0, height = 0, subbands = 0;

    bool running = false;
    component_scan scan;
    u32 band = 0, line = 0; // where the next coding unit begins
    // Models of the selected entropy coder, one for each kind of band.
    owned<std::array<rans_models, band_kinds>> rans;
    owned<std::array<run_value_models, band_kinds>> run_value;

    run_value_encoder run_value_writer;
    rans_encoder rans_writer;
    vector<u8> packet;

    run_value_decoder run_value_reader;
    rans_decoder rans_reader;
    bool packet_open = false;
    u64 decoded = 0; // coefficients of the open packet
    vector<i16> values;
};

u32 begin_run(serialiser_data &serialiser) {
    if (serialiser.coder == coder_rans)
        serialiser.rans = make_owned<std::array<rans_models, band_kinds>>();
    else
        serialiser.run_value = make_owned<std::array<run_value_models, band_kinds>>();
    if (serialiser.rans == nullptr && serialiser.run_value == nullptr)
        return stage_no_memory;
    begin_component(serialiser.scan, serialiser.width, serialiser.height, serialiser.subbands);
    if (!serialiser.rans_writer.resize(serialiser.width) ||
        !serialiser.rans_reader.resize(serialiser.width) || !begin_band(serialiser.scan, 0))
        return stage_no_memory;
    serialiser.band = 0;
    serialiser.line = 0;
    serialiser.packet_open = false;
    serialiser.running = true;
    return success;
}

bool at_end(const serialiser_data &serialiser) {
    return serialiser.band >= serialiser.subbands;
}

u32 unit_lines(const serialiser_data &serialiser) {
    const subband &area = serialiser.scan.area;
    return std::min(area.height - serialiser.line, std::max(unit_coefficients / area.width, 1u));
}

// Moves to the next coding unit.
u32 advance(serialiser_data &serialiser, u32 lines) {
    if (serialiser.scan.no_memory)
        return stage_no_memory;
    serialiser.line += lines;
    if (serialiser.line < serialiser.scan.area.height)
        return success;
    serialiser.line = 0;
    ++serialiser.band;
    return at_end(serialiser) || begin_band(serialiser.scan, serialiser.band) ? success
                                                                              : stage_no_memory;
}

void discard_open_pairs(serialiser_data &serialiser) {
    for (u32 kind = 0; kind < band_kinds; ++kind)
        (*serialiser.run_value)[kind].discard_open_pairs();
}

// Codes or decodes the current coding unit. If all its values are 0, only one line is decoded.
template <class Coder>
unit_content code_unit(serialiser_data &serialiser, Coder &coder, u32 lines, i16 *values,
                       std::size_t stride, unit_content content) {
    component_scan &scan = serialiser.scan;
    content = coder.code_unit_header(content);
    if (content == unit_content::all_zero) {
        skip_lines(scan, serialiser.line, lines);
        if constexpr (Coder::decodes)
            std::fill_n(values, stride, i16{0});
        return content;
    }
    for (u32 i = 0; i < lines; ++i, values += stride)
        code_line(scan, coder, serialiser.line + i, values, content == unit_content::no_minus_one);
    return content;
}

// ---------------------------------------------------------------- encoding

unit_content content_of(const region &lines) {
    bool any_nonzero = false;
    bool any_minus_one = false;
    for (u32 y = 0; y < lines.height; ++y) {
        const auto *values =
            reinterpret_cast<const i16 *>(lines.data + std::size_t{y} * lines.stride);
        i16 bits = 0;
        bool has_minus_one = false;
        for (u32 x = 0; x < lines.width; ++x) {
            bits = static_cast<i16>(bits | values[x]);
            has_minus_one |= values[x] == -1;
        }
        any_nonzero |= bits != 0;
        any_minus_one |= has_minus_one;
    }
    return !any_nonzero     ? unit_content::all_zero
           : !any_minus_one ? unit_content::no_minus_one
                            : unit_content::any;
}

// The same for values in parts of a step, before they are rounded: a unit is all_zero if none of
// them can become nonzero.
unit_content content_of_parts(const region &lines) {
    i32 peak = 0;
    for (u32 y = 0; y < lines.height; ++y) {
        const auto *values =
            reinterpret_cast<const i16 *>(lines.data + std::size_t{y} * lines.stride);
        for (u32 x = 0; x < lines.width; ++x)
            peak = std::max(peak, std::abs(values[x]));
    }
    return peak < lowest_rounding_limit ? unit_content::all_zero : unit_content::no_minus_one;
}

// Whether the upstream has delivered values in parts of a step.
bool delivers_parts(const serialiser_data &serialiser) {
    u32 parts = 1;
    u32 size = sizeof parts;
    return serialiser.optimisation != 0 &&
           !failed(query_module(serialiser.up.handle, id_value_parts, &size, &parts)) &&
           parts == value_parts;
}

// Encodes one packet.
template <class Encoder, class Models>
u32 write_units(serialiser_data &serialiser, Encoder &encoder, Models *models) {
    encoder.begin();
    u64 coefficients = 0;
    while (coefficients < packet_coefficients && !at_end(serialiser)) {
        const u32 lines = unit_lines(serialiser);
        region unit = {serialiser.scan.area.width, lines, nullptr, 0};
        u32 status = get_region(serialiser.up.handle, serialiser.band, 0, serialiser.line, &unit);
        if (failed(status))
            return status;
        if (unit.height != lines || unit.width != serialiser.scan.area.width)
            return serialiser_bad_shape;
        // An encoder does not modify the values.
        auto *values = reinterpret_cast<i16 *>(const_cast<u8 *>(unit.data));
        encoder.models = &models[band_kind(serialiser.band, serialiser.subbands)];
        serialiser.scan.has_parts = delivers_parts(serialiser);
        code_unit(serialiser, encoder, lines, values, unit.stride / sizeof(i16),
                  serialiser.scan.has_parts ? content_of_parts(unit) : content_of(unit));
        release_region(serialiser.up.handle, unit.data);
        coefficients += u64{lines} * serialiser.scan.area.width;
        status = advance(serialiser, lines);
        if (failed(status))
            return status;
    }
    return encoder.finish(coefficients >> coefficients_per_byte_log2, serialiser.packet)
               ? success
               : stage_no_memory;
}

u32 write_packet(serialiser_data &serialiser, region &requested) {
    output_description source = {};
    if (!serialiser.running) {
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
        requested = {0, 1, nullptr, 0};
        return success;
    }
    u32 status = success;
    if (serialiser.coder == coder_rans) {
        status = write_units(serialiser, serialiser.rans_writer, serialiser.rans->data());
    } else {
        status = write_units(serialiser, serialiser.run_value_writer, serialiser.run_value->data());
        discard_open_pairs(serialiser);
    }
    return failed(status) ? status : deliver_packet(serialiser.packet, requested);
}

// ---------------------------------------------------------------- decoding

u32 open_packet(serialiser_data &serialiser) {
    region packet = {};
    const u32 status = get_region(serialiser.up.handle, 0, 0, 0, &packet);
    if (failed(status))
        return status;
    if (packet.data == nullptr || packet.stride < sizeof(packet_header))
        return serialiser_corrupt;
    const packet_header header = header_of(packet.data);
    if (u64{header.symbols} + header.bytes != packet.stride - sizeof(packet_header))
        return serialiser_corrupt;
    const u8 *symbols = packet.data + sizeof(packet_header);
    const u8 *bytes = symbols + header.symbols;
    const bool allocated =
        serialiser.coder == coder_rans
            ? serialiser.rans_reader.begin(bytes, header.bytes)
            : serialiser.run_value_reader.begin(symbols, header.symbols, header.bytes);
    if (!allocated)
        return stage_no_memory;
    serialiser.packet_open = true;
    serialiser.decoded = 0;
    return success;
}

u32 close_packet(serialiser_data &serialiser) {
    serialiser.packet_open = false;
    if (serialiser.coder == coder_rans)
        return serialiser.rans_reader.is_valid() ? success : serialiser_corrupt;
    discard_open_pairs(serialiser);
    return serialiser.run_value_reader.is_valid() ? success : serialiser_corrupt;
}

u32 read_unit(serialiser_data &serialiser, region &requested) {
    const u32 width = serialiser.scan.area.width;
    const u32 lines = unit_lines(serialiser);
    if (!try_resize(serialiser.values, u64{width} * lines + kernel_block))
        return stage_no_memory;
    u32 status = serialiser.packet_open ? success : open_packet(serialiser);
    if (failed(status))
        return status;
    const u32 kind = band_kind(serialiser.band, serialiser.subbands);
    i16 *values = serialiser.values.data();
    unit_content content = unit_content::all_zero;
    if (serialiser.coder == coder_rans) {
        serialiser.rans_reader.models = &(*serialiser.rans)[kind];
        content = code_unit(serialiser, serialiser.rans_reader, lines, values, width, content);
    } else {
        serialiser.run_value_reader.models = &(*serialiser.run_value)[kind];
        content = code_unit(serialiser, serialiser.run_value_reader, lines, values, width, content);
    }
    serialiser.decoded += u64{width} * lines;
    const u32 stride = width * static_cast<u32>(sizeof(i16));
    requested = {width, lines, reinterpret_cast<const u8 *>(values),
                 content == unit_content::all_zero ? 0 : stride};
    status = advance(serialiser, lines);
    if (!failed(status) && (serialiser.decoded >= packet_coefficients || at_end(serialiser)))
        status = close_packet(serialiser);
    return status;
}

// Bands are requested in coding order, each from its first line.
u32 read_lines(serialiser_data &serialiser, u32 band, u32 x, u32 y, region &requested) {
    if (!serialiser.running) {
        const u32 status = begin_run(serialiser);
        if (failed(status))
            return status;
    }
    const bool in_order = !at_end(serialiser) && band == serialiser.band && x == 0 &&
                          y == serialiser.line && requested.width == serialiser.scan.area.width &&
                          requested.height >= unit_lines(serialiser);
    return in_order ? read_unit(serialiser, requested) : stage_out_of_order;
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
    store_settings_header(block, serialiser_id, static_cast<u16>(subbands));
    store<u32>(block + width_offset, source.width, endian::little);
    store<u32>(block + height_offset, source.height, endian::little);
    return query_settings(serialiser.up.handle, block, settings_size, size, buffer);
}

u32 apply_settings(serialiser_data &serialiser, u32 size, const void *value) {
    const u32 status = check_settings_header(serialiser_id, settings_size, size, value);
    if (failed(status))
        return status;
    const auto *block = static_cast<const u8 *>(value);
    const u32 subbands = settings_word(block);
    const u32 width = load<u32>(block + width_offset, endian::little);
    const u32 height = load<u32>(block + height_offset, endian::little);
    if (width == 0 || height == 0 || subbands == 0 || subbands > max_subbands ||
        count_subbands(width, height, (subbands - 1) / 3) != subbands)
        return serialiser_bad_shape;
    serialiser.subbands = subbands;
    serialiser.width = width;
    serialiser.height = height;
    return pass_settings(serialiser.up.handle, settings_size, size, value);
}

// ---------------------------------------------------------------- operations

u32 init(void *self, u32 size, const void *configuration, module_handle upstream) {
    auto &serialiser = construct_data<serialiser_data>(self);
    return connect_directed(serialiser.up, serialiser.inverse, size, configuration, upstream);
}

u32 destroy(void *self) {
    disconnect(data<serialiser_data>(self).up);
    return destroy_data<serialiser_data>(self);
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
    serialiser.running = false;
    if (id == id_entropy_coder) {
        if (size < sizeof serialiser.coder)
            return stage_bad_configuration;
        serialiser.coder = value_of<u32>(value);
        return success;
    }
    if (id == id_optimisation) {
        if (size < sizeof serialiser.optimisation)
            return stage_bad_configuration;
        serialiser.optimisation = value_of<u32>(value);
    }
    if (id != id_settings || serialiser.inverse == 0)
        return set_module(serialiser.up.handle, id, size, value);
    const u32 status = apply_settings(serialiser, size, value);
    u32 answer_size = sizeof serialiser.coder;
    if (!failed(status) && failed(query_module(serialiser.up.handle, id_entropy_coder, &answer_size,
                                               &serialiser.coder)))
        serialiser.coder = coder_rans;
    return status;
}

u32 get(void *self, u32 plane, u32 x, u32 y, region &requested) {
    auto &serialiser = data<serialiser_data>(self);
    return serialiser.inverse != 0 ? read_lines(serialiser, plane, x, y, requested)
                                   : write_packet(serialiser, requested);
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
