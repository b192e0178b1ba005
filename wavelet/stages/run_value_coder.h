// Entropy coder type 0: run/value coding with the fixed Huffman code.
//
// The coefficients of a phase are classified by their contexts into four classes. Each class forms
// its own sequence of values, which is coded as run/value pairs (run_codebook.h); a pair may extend
// over many lines. The pairs of all classes are stored in the order in which the decoder needs
// them: it reads the next pair of a class as soon as the value of the last one has been placed.
// The encoder therefore reserves the slot of a pair when the pair begins and fills it when its
// value is known. The symbols go to the Huffman stage; extra bits are stored as they are.
//
// The codebook of a class adapts at the end of a line to the values of the class so far. The end of
// a packet discards all open pairs, the statistics remain.
#pragma once

#include "wavelet/stages/band_scan.h"
#include "wavelet/stages/run_value_kernels.h"

namespace viq {

struct run_value_models {
    run_value_class classes[mask_classes];
    run_value_models();
    void discard_open_pairs(); // at the end of a packet
    void adapt();              // at the end of a line
};

// Phases are coded in segments of at most this many coefficients, which bounds the buffers below.
constexpr u32 segment_size = 8192;

// The class of each coefficient of a segment, as bit masks.
struct segment_classes {
    u32 masks[mask_classes * segment_size / kernel_block];
    u32 words = 0; // of a mask
    u32 counts[mask_classes];

    void classify(const component_scan &scan, u32 phase, const u8 *contexts, u32 count);
    const u32 *mask(u32 k) const { return masks + std::size_t{k} * words; }
};

struct run_value_encoder {
    static constexpr bool decodes = false;
    vector<symbol_slot> slots;
    u32 used = 0; // slots
    segment_classes segment;
    u32 nonzero[segment_size / kernel_block]; // a mask
    run_value_models *models = nullptr;
    bool out_of_memory = false;

    void begin();
    // Assembles the packet, with at least `min_bytes` bytes of extra bits.
    [[nodiscard]] bool finish(u64 min_bytes, vector<u8> &packet) const;

    unit_content code_unit_header(unit_content content);
    void code_phase(component_scan &scan, u32 phase, const u8 *contexts, const i16 *values,
                    u32 count);
    void end_line() { models->adapt(); }
};

struct run_value_decoder {
    static constexpr bool decodes = true;
    segment_classes segment;
    i16 sorted[segment_size + kernel_block]; // values of a segment, class by class
    run_value_models *models = nullptr;
    vector<u8> packet; // a copy with padding
    packet_position at;
    bool corrupt = false;

    [[nodiscard]] bool begin(const u8 *symbols, u32 symbol_count, u32 bytes);
    // A valid packet consumes all its symbols and no more than its extra bits.
    bool is_valid() const;

    unit_content code_unit_header(unit_content);
    void code_phase(component_scan &scan, u32 phase, const u8 *contexts, i16 *values, u32 count);
    void end_line() { models->adapt(); }
};

} // namespace viq
