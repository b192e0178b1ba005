#include "wavelet/stages/run_value_coder.h"

#include <span>

#include "core/byte_order.h"
#include "wavelet/stages/entropy_packet.h"

namespace viq {

namespace {

constexpr u8 class_thresholds[line_phases][mask_thresholds] = {{3, 13, 49}, {4, 21, 86}};

// Initial statistics are averages over photographs, in values for each 240 coefficients, so that
// the first codebooks suit typical content.
struct initial_statistics {
    u32 values, excess;
};
constexpr u32 initial_coefficients = 240;
constexpr initial_statistics initial[mask_classes] = {{2, 0}, {34, 12}, {112, 118}, {188, 790}};

// A class adapts after this many nonzero values or coefficients.
constexpr u32 adapt_values = 64;
constexpr u32 adapt_coefficients = 1 << 13;

} // namespace

// ---------------------------------------------------------------- statistics

run_value_models::run_value_models() {
    for (u32 k = 0; k < mask_classes; ++k) {
        classes[k] = {initial_coefficients, value_statistics(initial[k].values, initial[k].excess)};
        classes[k].codebook = &choose_codebook(classes[k].coefficients, classes[k].statistics);
    }
}

void run_value_models::discard_open_pairs() {
    for (run_value_class &model : classes)
        model.open = false;
}

// Counts are halved after each adaptation, so that recent values weigh more.
void run_value_models::adapt() {
    for (run_value_class &model : classes) {
        if (value_count(model.statistics) < adapt_values && model.coefficients < adapt_coefficients)
            continue;
        model.codebook = &choose_codebook(model.coefficients, model.statistics);
        model.coefficients /= 2;
        model.statistics =
            value_statistics((value_count(model.statistics) + 1) / 2,
                             static_cast<u32>(magnitude_excess(model.statistics) / 2));
    }
}

void segment_classes::classify(const component_scan &scan, u32 phase, const u8 *contexts,
                               u32 count) {
    words = round_up_to_block(count) / kernel_block;
    scan.classes->classify_to_masks(contexts, class_thresholds[phase], masks, counts, count);
}

// ---------------------------------------------------------------- encoder

namespace {

bool reserve_slots(run_value_encoder &encoder, u32 count) {
    encoder.out_of_memory |= !try_resize(encoder.slots, u64{encoder.used} + count);
    return !encoder.out_of_memory;
}

void write_segment(run_value_encoder &encoder, const component_scan &scan, u32 phase,
                   const u8 *contexts, const i16 *values, u32 count) {
    segment_classes &segment = encoder.segment;
    segment.classify(scan, phase, contexts, count);
    scan.kernels->find_nonzero(values, encoder.nonzero, count);
    if (!reserve_slots(encoder, count + 2 * mask_classes))
        return;
    const run_value_kernels &kernels = current_run_value_kernels();
    slot_list list = {encoder.slots.data(), encoder.used};
    for (u32 k = 0; k < mask_classes; ++k) {
        if (segment.counts[k] == 0)
            continue;
        run_value_class &model = encoder.models->classes[k];
        model.coefficients += segment.counts[k];
        kernels.write(list, model, segment.mask(k), encoder.nonzero, segment.words, values);
    }
    encoder.used = list.used;
}

} // namespace

void run_value_encoder::begin() {
    used = 0;
    out_of_memory = false;
}

bool run_value_encoder::finish(u64 min_bytes, vector<u8> &packet) const {
    const std::span<const symbol_slot> written(slots.data(), used);
    u64 bits = 0;
    for (const symbol_slot &slot : written)
        bits += slot.bit_count;
    const u64 size = std::max((bits + 7) / 8, min_bytes);
    if (out_of_memory || !begin_packet(packet, {used, static_cast<u32>(size)}, used + size))
        return false;
    u8 *symbol = packet.data() + sizeof(packet_header);
    u8 *byte = symbol + used;
    std::fill_n(byte, size, u8{0});
    u64 window = 0;
    u32 window_bits = 0;
    for (const symbol_slot &slot : written) {
        *symbol++ = slot.symbol;
        window |= u64{slot.bits} << window_bits; // at most 31 + 28 bits
        window_bits += slot.bit_count;
        if (window_bits >= 32) {
            store<u32>(byte, static_cast<u32>(window), endian::little);
            byte += sizeof(u32);
            window >>= 32;
            window_bits -= 32;
        }
    }
    for (u32 left = (window_bits + 7) / 8; left > 0; --left, window >>= 8)
        *byte++ = static_cast<u8>(window);
    return true;
}

unit_content run_value_encoder::code_unit_header(unit_content content) {
    if (reserve_slots(*this, 1))
        slots[used++] = {0, 0, static_cast<u8>(symbol_unit_header + static_cast<u32>(content))};
    return content;
}

void run_value_encoder::code_phase(component_scan &scan, u32 phase, const u8 *contexts,
                                   const i16 *values, u32 count) {
    for (u32 i = 0; i < count; i += segment_size)
        write_segment(*this, scan, phase, contexts + i, values + i,
                      std::min(count - i, segment_size));
}

// ---------------------------------------------------------------- decoder

namespace {

constexpr u32 padding_symbols = 2;
constexpr u32 padding_bytes = 8;

// symbol_unused ends every list, so that a loop reads at most one symbol after the last.
void clamp_position(run_value_decoder &decoder) {
    decoder.corrupt |= decoder.at.symbol > decoder.at.symbols_end;
    decoder.at.symbol = std::min(decoder.at.symbol, decoder.at.symbols_end);
}

void read_segment(run_value_decoder &decoder, const component_scan &scan, u32 phase,
                  const u8 *contexts, i16 *values, u32 count) {
    static constexpr codebook_entry no_entry = {};
    const class_reader read = current_run_value_kernels().read;
    segment_classes &segment = decoder.segment;
    segment.classify(scan, phase, contexts, count);
    std::fill_n(decoder.sorted, count, i16{0});
    const i16 *of_class[mask_classes];
    i16 *next = decoder.sorted;
    for (u32 k = 0; k < mask_classes; ++k) {
        const u32 in_class = segment.counts[k];
        i16 *own = next;
        of_class[k] = own;
        next += in_class;
        if (in_class == 0)
            continue;
        run_value_class &model = decoder.models->classes[k];
        model.coefficients += in_class;
        if (!model.open) {
            model.run = 0;
            model.entry = &no_entry;
            model.value = 0;
            model.open = true;
        }
        if (model.run >= in_class) {
            model.run -= in_class;
            continue;
        }
        read(decoder.at, model, own, in_class);
        clamp_position(decoder);
    }
    scan.classes->merge_classes(segment.masks, segment.words, of_class, values);
}

} // namespace

bool run_value_decoder::begin(const u8 *symbols, u32 symbol_count, u32 bytes) {
    packet.clear();
    if (!try_resize(packet, u64{symbol_count} + padding_symbols + bytes + padding_bytes))
        return false;
    u8 *own = packet.data();
    for (u32 i = 0; i < symbol_count; ++i)
        own[i] = symbols[i] % run_value_symbols;
    std::fill_n(own + symbol_count, padding_symbols, symbol_unused);
    u8 *extra = own + symbol_count + padding_symbols;
    std::memcpy(extra, symbols + symbol_count, bytes);
    at = {own, own + symbol_count, extra, 0, u64{bytes} * 8};
    corrupt = false;
    return true;
}

bool run_value_decoder::is_valid() const {
    return !corrupt && at.symbol == at.symbols_end && at.bit <= at.end;
}

unit_content run_value_decoder::code_unit_header(unit_content) {
    const u32 content = u32{*at.symbol++} - symbol_unit_header;
    clamp_position(*this);
    const bool known = content <= static_cast<u32>(unit_content::any);
    corrupt |= !known;
    return known ? static_cast<unit_content>(content) : unit_content::all_zero;
}

void run_value_decoder::code_phase(component_scan &scan, u32 phase, const u8 *contexts, i16 *values,
                                   u32 count) {
    for (u32 i = 0; i < count; i += segment_size)
        read_segment(*this, scan, phase, contexts + i, values + i,
                     std::min(count - i, segment_size));
}

} // namespace viq
