// The fast packing: symbols of the fixed Huffman code, and plain bits beside them.
//
// The places of a phase fall into classes by their measure, and each class codes its own sequence
// of values in phrases, which may go on over many lines. The phrases of all classes stand in the
// order in which a reader comes to need them: the next one of a class as soon as the value of the
// last one is through.
#pragma once

#include "wavelet/stages/band_scan.h"
#include "wavelet/stages/fast_reading.h"

namespace viq {

constexpr u32 fast_classes = part_floors + 1;

struct fast_models {
    fast_class classes[fast_classes];
    fast_models();
    void finish(); // at the end of a pack all phrases are forgotten
};

// Which of so many places of a phase at most are of which class.
constexpr u32 part_places = 8192;

struct class_parts {
    u32 masks[fast_classes * part_places / scan_block];
    u16 list[part_places + list_spare];
    u32 words = 0;
    u32 places[fast_classes];

    void part(const component_scan &scan, u32 phase, const u8 *measures, u32 count);
    const u32 *mask(u32 k) const { return masks + std::size_t{k} * words; }
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
    u32 with_value[part_places / scan_block]; // a mask
    fast_models *models = nullptr;
    bool out_of_memory = false;

    void begin();
    // The pack, with so many bytes of plain bits at least.
    [[nodiscard]] bool finish(u64 least_bytes, std::vector<u8> &pack) const;

    unit_content head(unit_content known);
    void places(component_scan &scan, u32 phase, const u8 *measures, const i16 *values, u32 count);
    void end_line();
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
