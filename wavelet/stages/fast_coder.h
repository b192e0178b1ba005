// The fast packing: symbols of the fixed Huffman code, and plain bits beside them.
//
// The places of a phase fall into classes by their measure, and each class codes its own sequence
// of values: a phrase is a run of zeros with the value that ends it, or a run without an end. A
// phrase may go on over many lines. The phrases of all classes stand in the order in which a reader
// comes to need them: the next one of a class as soon as the last one is through.
#pragma once

#include "wavelet/stages/band_scan.h"

namespace viq {

// Symbols are places of the fixed code; six of them take 3 bits, one takes 5, all others take 9.
enum fast_symbol : u8 {
    symbol_empty = 0, // lines without any value (zero tree)
    symbol_gap = 1,   // lines of values, none of them -1
    symbol_full = 2,  // lines of all values
    symbol_none = 3,
    symbol_large = 4,
    symbol_run = 5, // a run without an end
    symbol_near = 6,
    symbol_far = 11,
};
constexpr u32 fast_symbols = 32;
constexpr u32 near_symbols = symbol_far - symbol_near;

// What a symbol says in a class: the parts of its run and of its magnitude less 1 that it stands
// for, and how many plain bits tell the rest. The run's bits come first, the sign last.
struct phrase {
    u32 run;
    u16 run_mask, above, above_mask;
    u8 run_bits, sign_bit, bits;
    u8 ends; // 1: with a value; 2: no such phrase
};

struct phrase_book {
    phrase of[fast_symbols];
};

constexpr u32 fast_classes = part_floors + 1;

// A number of values and the sum of their magnitudes less 1.
constexpr u64 outcome_of(u32 values, u32 above) {
    return u64{values} << 32 | above;
}

// How a class has come out so far, and its open phrase.
struct fast_class {
    u32 places;                // of all kinds
    u64 outcome;               // see outcome_of
    const phrase_book *book = nullptr;
    bool open = false;
    u32 run = 0; // zeros still to come, or seen so far by the writer

    // Of the reader: what follows the run.
    u64 ending = 0; // 0: no value
    i32 value = 0;

    // Of the writer: where the phrase goes, and the book it was opened with.
    u32 slot = 0;
    const phrase_book *open_book = nullptr;

    void adapt();
};

struct fast_models {
    fast_class classes[line_phases][fast_classes];
    fast_models();
    void finish(); // at the end of a pack all phrases are forgotten
};

// Which places of a phase are of which class.
struct class_parts {
    std::vector<u32> masks, list;
    u32 words = 0;
    u32 places[fast_classes];

    bool resize(u32 width);
    void part(const component_scan &scan, u32 phase, const u8 *measures, u32 count);
    const u32 *mask(u32 k) const { return masks.data() + std::size_t{k} * words; }
    u32 list_places(const component_scan &scan, u32 k);
};

struct fast_slot {
    u32 bits;
    u8 count;
    u8 symbol;
};

struct fast_writer {
    static constexpr bool reads = false;
    std::vector<fast_slot> slots;
    u32 used = 0; // of the slots
    class_parts parts;
    std::vector<u32> with_value; // a mask of a phase
    fast_models *models = nullptr;
    bool out_of_memory = false;

    [[nodiscard]] bool resize(u32 width);
    void begin_pack();
    unit_content head(unit_content known);
    void places(component_scan &scan, u32 phase, const u8 *measures, const i16 *values, u32 count);
    void end_line();
};

// Symbols and plain bits of a pack, the lowest bit of a byte first. Behind the last symbol stand some
// that are none, behind the bits zeros.
struct pack_place {
    const u8 *symbol = nullptr, *symbols_end = nullptr;
    const u8 *bytes = nullptr;
    u64 bit = 0, end = 0;
    u32 found = 0; // all kinds of phrases' ends
};

struct fast_reader {
    static constexpr bool reads = true;
    class_parts parts;
    fast_models *models = nullptr;
    std::vector<u8> pack;
    pack_place at;
    bool damaged = false;

    [[nodiscard]] bool open(const u8 *symbols, u32 count, u32 bytes);
    bool is_sound() const;
    unit_content head(unit_content known);
    void places(component_scan &scan, u32 phase, const u8 *measures, i16 *values, u32 count);
    void end_line();
};

} // namespace viq
