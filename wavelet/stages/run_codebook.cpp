#include "wavelet/stages/run_codebook.h"

#include <array>

namespace viq {

namespace {

// Share of nonzero values: few, about every other one, most. The denser the values, the more short
// symbols represent magnitudes.
enum value_density : u32 { sparse, medium, dense, density_count };

// A short symbol covers part `run_part` of the 1 << run_part_bits equal parts of the run span, and
// 1 << excess_bits magnitudes from `excess` on. The excess is the magnitude less 1, before it is
// scaled by the magnitude shift.
struct short_symbol_layout {
    u8 run_part, run_part_bits;
    u8 excess, excess_bits;
};

struct codebook_layout {
    short_symbol_layout short_layouts[short_symbols];
    u8 next_excess, next_excess_bits; // of the symbol after the short ones; then one bit more each
    u8 shift_limit;                   // mean excess in halves above which the shift is increased
};

constexpr codebook_layout layouts[density_count] = {
    {{{0, 2, 0, 0}, {1, 2, 0, 0}, {2, 2, 0, 0}, {3, 2, 0, 0}, {0, 0, 1, 0}}, 2, 1, 3},
    {{{0, 1, 0, 0}, {1, 1, 0, 0}, {0, 1, 1, 0}, {1, 1, 1, 0}, {0, 0, 2, 1}}, 4, 2, 5},
    {{{0, 0, 0, 0}, {0, 0, 1, 0}, {0, 0, 2, 0}, {0, 0, 3, 1}, {0, 0, 5, 2}}, 9, 3, 10},
};

// There is one codebook for each span of runs (1 << span bits zeros) and each magnitude shift (bits
// of a magnitude that are always extra bits). Span 0 is dense, span 1 medium, all others sparse.
constexpr u32 dense_span_bits = 0;
constexpr u32 medium_span_bits = 1;
constexpr u32 min_sparse_span_bits = 2;
constexpr u32 max_span_bits = 12;
constexpr u32 max_magnitude_shift = 12;
constexpr u32 max_excess_bits = 15;
static_assert(max_span_bits + max_excess_bits + 1 <= max_extra_bits);
constexpr u32 excess_range = 0x8000; // magnitudes are 1 to 32768
constexpr u32 invalid_run = 0xFFFF;  // longer than any list: an invalid symbol ends the list

constexpr codebook_entry pair_entry(u32 run_bits, u32 run, u32 excess_bits, u32 excess) {
    const u32 excess_mask = (1u << excess_bits) - 1;
    const u64 statistics = value_statistics(1, std::min(excess + excess_mask / 2, 0x7FFFu));
    return {run, run_bits, excess + 1, excess_mask, statistics, run_bits + excess_bits + 1, 1};
}

constexpr codebook_entry zero_run_entry(u32 run) {
    return {run, 0, 0, 0, 0, 0, 0};
}

constexpr value_density density_of(u32 span_bits) {
    return span_bits == dense_span_bits ? dense : span_bits == medium_span_bits ? medium : sparse;
}

// The first short symbol that represents the excess and the part of the run span.
constexpr u32 find_short_symbol(const codebook_layout &layout, u32 excess, u32 part) {
    u32 i = 0;
    const auto represents = [&](const short_symbol_layout &item) {
        return excess - item.excess < 1u << item.excess_bits &&
               part >> (run_parts_bits - item.run_part_bits) == item.run_part;
    };
    while (!represents(layout.short_layouts[i]))
        ++i;
    return symbol_first_short + i;
}

constexpr run_codebook make_codebook(u32 span_bits, u32 shift) {
    run_codebook codebook = {};
    for (codebook_entry &entry : codebook.entries)
        entry = zero_run_entry(invalid_run);
    codebook.entries[symbol_zero_run] = zero_run_entry(1u << span_bits);
    const codebook_layout &layout = layouts[density_of(span_bits)];
    for (u32 i = 0; i < short_symbols; ++i) {
        const short_symbol_layout &item = layout.short_layouts[i];
        const u32 run_bits = span_bits - item.run_part_bits;
        codebook.entries[symbol_first_short + i] =
            pair_entry(run_bits, u32{item.run_part} << run_bits, item.excess_bits + shift,
                       u32{item.excess} << shift);
    }
    codebook.span_bits = static_cast<u8>(span_bits);
    codebook.shift = static_cast<u8>(shift);
    codebook.short_excesses = layout.next_excess;
    codebook.next_bits = layout.next_excess_bits;
    for (u32 excess = 0; excess < layout.next_excess; ++excess)
        for (u32 part = 0; part < 1u << run_parts_bits; ++part)
            codebook.short_symbol[excess][part] =
                static_cast<u8>(find_short_symbol(layout, excess, part));
    // The other symbols cover the full run span and ranges of magnitudes that double in size.
    u32 excess = u32{layout.next_excess} << shift;
    u32 bits = layout.next_excess_bits + shift;
    for (u32 symbol = symbol_large_value; symbol < run_value_symbols && excess < excess_range;
         symbol = std::max<u32>(symbol + 1, symbol_first_long)) {
        bits = std::min(bits, max_excess_bits);
        codebook.entries[symbol] = pair_entry(span_bits, 0, bits, excess);
        excess += 1u << bits++;
    }
    return codebook;
}

using codebook_set =
    std::array<std::array<run_codebook, max_magnitude_shift + 1>, max_span_bits + 1>;

constexpr codebook_set make_codebooks() {
    codebook_set set = {};
    for (u32 span_bits = 0; span_bits <= max_span_bits; ++span_bits)
        for (u32 shift = 0; shift <= max_magnitude_shift; ++shift)
            set[span_bits][shift] = make_codebook(span_bits, shift);
    return set;
}

constexpr codebook_set codebooks = make_codebooks();

// Dense from two thirds nonzero values on, medium from one half on; below that the span grows with
// the mean distance between nonzero values.
u32 choose_span_bits(u64 coefficients, u64 values) {
    if (values * 3 >= coefficients * 2)
        return dense_span_bits;
    if (values * 2 >= coefficients)
        return medium_span_bits;
    u32 span_bits = min_sparse_span_bits;
    while (span_bits < max_span_bits && values * 10 << span_bits < coefficients * 11)
        ++span_bits;
    return span_bits;
}

} // namespace

const run_codebook &choose_codebook(u32 coefficients, u64 statistics) {
    const u64 values = value_count(statistics);
    const u32 span_bits = choose_span_bits(coefficients, values);
    const u64 limit = values * layouts[density_of(span_bits)].shift_limit;
    u32 shift = 0;
    while (shift < max_magnitude_shift && magnitude_excess(statistics) * 2 > limit << shift)
        ++shift;
    return codebooks[span_bits][shift];
}

} // namespace viq
