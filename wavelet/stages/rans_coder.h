// Entropy coder type 1: adaptive rANS (range variant of asymmetric numeral systems), one symbol for
// each coefficient.
//
// The coefficients of a phase are classified by their contexts into sixteen classes, each with an
// adaptive table of symbol frequencies that sum to 1024. Sixteen interleaved states (lanes) code
// rows of sixteen coefficients. A state is renormalised in 16-bit units; the units of all lanes
// form one sequence in the order in which the decoder consumes them. As rANS decodes in the reverse
// order of encoding, the encoder collects the operations of a whole packet and executes them from
// the last to the first.
//
// Order of the operations of a phase, row by row:
//   - if all coefficients of a full row are in class 0: a flag in lane 0 whether the row contains a
//     nonzero value; a row without one has no symbols
//   - a symbol for each coefficient
//   - for each escaped value, in the order of the lanes: the bit length of its magnitude beyond the
//     range of the class (a symbol of its own table), the sign with the low bits, the high bits
//
// Frequencies adapt at line ends, after a number of coefficients. They are kept across packets;
// only the states restart.
#pragma once

#include "wavelet/stages/band_scan.h"
#include "wavelet/stages/rans_kernels.h"

namespace viq {

struct rans_encoder {
    static constexpr bool decodes = false;
    rans_models *models = nullptr;
    vector<u8> classes;
    vector<u32> operations; // in decoding order
    vector<u8> code;        // filled from its end
    std::size_t used = 0;   // operations
    bool out_of_memory = false;

    [[nodiscard]] bool resize(u32 width);
    void begin() {
        used = 0;
        out_of_memory = false;
    }
    // Assembles the packet, of at least `min_bytes` bytes: a bit for each lane whose state is
    // stored, these states, then the units.
    [[nodiscard]] bool finish(u64 min_bytes, vector<u8> &packet);

    unit_content code_unit_header(unit_content content);
    void code_phase(component_scan &scan, u32 phase, const u8 *contexts, const i16 *values,
                    u32 count);
    void end_line() { models->end_line(); }
};

struct rans_decoder {
    static constexpr bool decodes = true;
    rans_models *models = nullptr;
    vector<u8> classes;
    vector<u8> code; // of the packet, with max_row_units zero units
    rans_states states = {};
    phase_reader read_phase = nullptr;

    [[nodiscard]] bool resize(u32 width);
    [[nodiscard]] bool begin(const u8 *bytes, u32 size);
    // In a valid packet all states end where the encoder started.
    bool is_valid() const;

    unit_content code_unit_header(unit_content);
    void code_phase(component_scan &scan, u32 phase, const u8 *contexts, i16 *values, u32 count);
    void end_line() { models->end_line(); }
};

} // namespace viq
