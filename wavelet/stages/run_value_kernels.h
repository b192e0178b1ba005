// Inner loops of the run/value coder: the values of one context class in a segment of a phase.
#pragma once

#include "wavelet/stages/run_codebook.h"

namespace viq {

// State of a context class: its statistics, its codebook and its open pair.
struct run_value_class {
    u32 coefficients; // seen so far, zeros included; halved together with the statistics
    u64 statistics;   // see value_statistics
    const run_codebook *codebook = nullptr;
    bool open = false; // a pair continues in the next segment of this class
    u32 run = 0;       // encoder: zeros so far; decoder: zeros that remain before the value

    // Decoder: the entry that was read last, and the value after the run.
    const codebook_entry *entry = nullptr;
    i32 value = 0;

    // Encoder: where the symbol of the open pair goes, and the codebook when it was opened. The
    // decoder reads the symbol at that point, so that a later codebook does not apply.
    u32 slot = 0;
    const run_codebook *open_codebook = nullptr;
};

// Read position in the symbols and the extra bits of a packet, the lowest bit of a byte first. The
// symbols are padded with symbol_unused, the extra bits with zeros.
struct packet_position {
    const u8 *symbol = nullptr, *symbols_end = nullptr;
    const u8 *bytes = nullptr;
    u64 bit = 0, end = 0;
};

// Decodes the next `count` values of a class until a pair ends after the last of them; that pair
// stays open. Values of 0 are not written.
using class_reader = void (*)(packet_position &at, run_value_class &model, i16 *values, u32 count);

// A symbol and its extra bits.
struct symbol_slot {
    u32 bits;
    u8 bit_count;
    u8 symbol;
};

struct slot_list {
    symbol_slot *slots;
    u32 used;
};

// Codes the values at the set bits of `mask`, of which those at the set bits of `nonzero` are not
// 0. The list has room for a slot for each of them and two more.
using class_writer = void (*)(slot_list &list, run_value_class &model, const u32 *mask,
                              const u32 *nonzero, u32 words, const i16 *values);

struct run_value_kernels {
    class_reader read;
    class_writer write;
};

const run_value_kernels &current_run_value_kernels();

extern const run_value_kernels plain_run_value_kernels;
extern const run_value_kernels avx2_run_value_kernels;

} // namespace viq
