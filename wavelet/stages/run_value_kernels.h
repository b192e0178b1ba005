// Inner loop of the run/value decoder: the values of one context class in a segment of a phase.
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

// Decodes values to the given positions until a pair ends after the last of them; that pair stays
// open. `values` must be 0 at the positions.
using class_reader = void (*)(packet_position &at, run_value_class &model, const u16 *positions,
                              u32 count, i16 *values);

class_reader current_class_reader();

extern const class_reader plain_class_reader;
extern const class_reader avx2_class_reader;

} // namespace viq
