// The small packing: one symbol a place, in the chances of its class.
//
// The coder is an asymmetric numeral system (rANS): symbols are coded as shares of numbers, its
// states; each place of a row has its own (a lane). The numbers give off words of 16 bits as they
// grow and take them up as they shrink, so that a writer goes backwards over what it has collected
// and a reader forwards. The chances of a class follow from what it has held so far.
#pragma once

#include "wavelet/stages/band_scan.h"
#include "wavelet/stages/small_row.h"

namespace viq {

constexpr u32 small_classes = 16;

// Statistics of one kind of band.
struct small_models {
    symbol_table values[small_classes];
    symbol_table quiet;   // does a row of places of the lowest class hold anything?
    symbol_table lengths; // of values that have no symbol
    u32 places = 0;       // since the last look at the tables
    u32 interval;         // from one look to the next
    small_models();
    void end_line();
};

struct small_writer {
    static constexpr bool reads = false;
    small_models *models = nullptr;
    std::vector<u8> classes;
    std::vector<u32> steps; // of the lanes, in the order of the reader
    std::vector<u8> code;   // filled from its end
    std::size_t used = 0;
    bool out_of_memory = false;

    [[nodiscard]] bool resize(u32 width);
    void begin() { used = 0; }
    // The pack: which lanes it uses, the numbers that a reader begins with, and the words.
    [[nodiscard]] bool finish(u64 least_bytes, std::vector<u8> &pack);

    unit_content head(unit_content known);
    void places(component_scan &scan, u32 phase, const u8 *measures, const i16 *values, u32 count);
    void end_line() { models->end_line(); }
};

struct small_reader {
    static constexpr bool reads = true;
    small_models *models = nullptr;
    std::vector<u8> classes;
    std::vector<u8> words; // of the pack, with spare ones of 0
    lane_row lanes = {};
    row_reader read_rows = nullptr;
    bool cut = false;

    [[nodiscard]] bool resize(u32 width);
    [[nodiscard]] bool begin(const u8 *code, u32 bytes);
    // A pack is sound when its numbers come back to where the writer began.
    bool is_sound() const;

    unit_content head(unit_content known);
    void places(component_scan &scan, u32 phase, const u8 *measures, i16 *values, u32 count);
    void end_line() { models->end_line(); }

    // Behind the end of a damaged pack its spare words come again and again.
    void stay_inside() {
        cut |= lanes.next > lanes.end;
        lanes.next = std::min(lanes.next, lanes.end);
    }
    bool read_quiet();
    void read_escapes(const u8 *class_of, i16 *values, u32 count);
};

} // namespace viq
