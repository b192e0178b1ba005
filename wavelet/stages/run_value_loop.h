// The loops of run_value_kernels. The sources for each instruction set include them, so that each
// has a copy with internal linkage.
#include <algorithm>
#include <bit>

#include "core/byte_order.h"
#include "wavelet/stages/context_kernels.h"
#include "wavelet/stages/run_value_kernels.h"

namespace viq {

namespace {

// A run and a value, whose extra bits are the lowest bits of the window.
struct decoded_pair {
    u32 run;
    i32 value;
};

[[gnu::always_inline]] inline decoded_pair decode_pair(const codebook_entry &entry, u64 window) {
    const auto rest = static_cast<u32>(window >> entry.run_bits);
    const u32 magnitude = entry.magnitude + (rest >> 1 & entry.magnitude_mask);
    const u32 sign = 0 - (rest & 1);
    const u32 run_rest = static_cast<u32>(window) & ((1u << entry.run_bits) - 1);
    return {entry.run + run_rest, static_cast<i32>((magnitude ^ sign) - sign)};
}

// The end of the list is the only branch that depends on the data, and the position of the next
// extra bits depends on the symbols alone; so consecutive pairs overlap in the pipeline. A window
// contains the extra bits of two pairs.
void read_class(packet_position &position, run_value_class &model, i16 *values, u32 count) {
    packet_position at = position;
    const codebook_entry *entry = model.entry;
    const codebook_entry *entries = model.codebook->entries;
    u64 statistics = model.statistics;
    decoded_pair pair = {model.run, model.value};
    u32 i = pair.run;
    u64 window = 0;
    static_assert(2 * max_extra_bits + 7 <= 64);
    const auto next_pair = [&] {
        values[i] = static_cast<i16>(pair.value);
        statistics += entry->statistics;
        i += entry->has_value;
        entry = entries + *at.symbol++;
        pair = decode_pair(*entry, window);
        i += pair.run;
        at.bit += entry->extra_bits;
    };
    while (i < count) {
        window = load<u64>(at.bytes + std::min(at.bit, at.end) / 8, endian::little) >> (at.bit % 8);
        next_pair();
        if (i >= count)
            break;
        window >>= entry->extra_bits;
        next_pair();
    }
    model.statistics = statistics;
    model.entry = entry;
    model.value = pair.value;
    model.run = i - count;
    position = at;
}

// Without a population count instruction, std::popcount is a call into the compiler's library.
u32 count_bits(u32 word) {
#if defined(__POPCNT__)
    return static_cast<u32>(std::popcount(word));
#else
    word -= word >> 1 & 0x55555555;
    word = (word & 0x33333333) + (word >> 2 & 0x33333333);
    return ((word + (word >> 4)) & 0x0F0F0F0F) * 0x01010101 >> 24;
#endif
}

void open_pair(slot_list &list, run_value_class &model) {
    model.slot = list.used;
    list.slots[list.used++] = {0, 0, symbol_zero_run};
    model.run = 0;
    model.open = true;
    model.open_codebook = model.codebook;
}

// Closes the open pair with a value.
void write_value(slot_list &list, run_value_class &model, i32 value) {
    const auto magnitude = static_cast<u32>(value < 0 ? -value : value);
    const u32 symbol = symbol_of(*model.open_codebook, model.run, magnitude);
    const codebook_entry &entry = model.open_codebook->entries[symbol];
    const u32 sign = value < 0 ? 1 : 0;
    const u32 rest = magnitude - entry.magnitude;
    list.slots[model.slot] = {(model.run - entry.run) | (sign | rest << 1) << entry.run_bits,
                              static_cast<u8>(entry.extra_bits), static_cast<u8>(symbol)};
    model.statistics += entry.statistics;
}

// Codes zeros that exceed the run span of a pair as zero-run symbols. At the end of a segment
// (`keep` is 1) a span that ends exactly there remains in the open pair, because the decoder reads
// the next symbol of a class only when the class has another coefficient.
void split_run(slot_list &list, run_value_class &model, u32 run, u32 keep) {
    for (;;) {
        const u32 span = model.open_codebook->entries[symbol_zero_run].run;
        if (run < span + keep)
            break;
        run -= span;
        open_pair(list, model);
    }
    model.run = run;
}

void write_class(slot_list &target, run_value_class &written, const u32 *mask, const u32 *nonzero,
                 u32 words, const i16 *values) {
    slot_list list = target; // copies that stay in registers
    run_value_class model = written;
    if (!model.open)
        open_pair(list, model);
    u32 run = model.run;
    for (u32 i = 0; i < words; ++i, values += kernel_block) {
        u32 zeros = mask[i];
        for (u32 rest = zeros & nonzero[i]; rest != 0; rest &= rest - 1) {
            const u32 before = (rest & (0 - rest)) - 1;
            split_run(list, model, run + count_bits(zeros & before), 0);
            zeros &= ~before & ~(before + 1);
            write_value(list, model, values[std::countr_zero(rest)]);
            open_pair(list, model);
            run = 0;
        }
        run += count_bits(zeros);
    }
    split_run(list, model, run, 1);
    target = list;
    written = model;
}

} // namespace

} // namespace viq
