// The adaptation of the rANS coder, and the loop of its decoder over the rows of a phase. The
// sources for each instruction set include them, so that each has a copy with internal linkage.
#include <algorithm>
#include <bit>

#include "core/byte_order.h"
#include "wavelet/stages/rans_kernels.h"

namespace viq {

namespace {

// Counts are in sixteenths of a symbol. Above 1024 symbols all counts are halved.
constexpr u32 symbol_weight = 16;
constexpr u32 max_total = 1024 * symbol_weight;
// A table is normalised again when the new symbols amount to half of the total, at least to this.
constexpr u32 min_new_weight = 24 * symbol_weight;

inline u32 operation_of(u32 start, u32 frequency, u32 bits, u32 lane) {
    return start | frequency << operation_frequency_shift | bits << operation_bits_shift |
           lane << operation_lane_shift;
}

// Scales the counts to frequencies with the sum probability_scale. Every symbol of the alphabet has
// a frequency of at least 1; the rounding error goes to the most frequent symbol.
inline void normalise(symbol_table &table) {
    table.total = 0;
    for (const u32 count : table.counts)
        table.total += count;
    const u32 shared = probability_scale - static_cast<u32>(std::popcount(table.alphabet));
    const u64 factor = (u64{shared} << 32) / std::max(table.total, 1u);
    u32 frequencies[rans_symbols];
    u32 rest = shared;
    u32 most_frequent = 0;
    for (u32 i = 0; i < rans_symbols; ++i) {
        const u32 own = static_cast<u32>(table.counts[i] * factor >> 32);
        frequencies[i] = own + (table.alphabet >> i & 1);
        rest -= own;
        if (table.counts[i] > table.counts[most_frequent])
            most_frequent = i;
    }
    frequencies[most_frequent] += rest;
    u32 start = 0;
    for (u32 i = 0; i < rans_symbols; ++i) {
        const u32 frequency = frequencies[i];
        table.operations[i] = operation_of(start, frequency, probability_bits, 0);
        const u32 escape = i == escape_symbol ? entry_escape_flag : 0;
        const u32 first = i << entry_symbol_shift | escape | frequency;
        // Whole blocks: the entries after the interval are overwritten by the next symbol.
        u32 *interval = table.entries + start;
        for (u32 offset = 0; offset < frequency; offset += entry_block)
            for (u32 k = 0; k < entry_block; ++k)
                interval[offset + k] = first + ((offset + k) << entry_offset_shift);
        start += frequency;
    }
    if (table.total > max_total)
        for (u32 &count : table.counts)
            count /= 2;
}

// `add_counts` stores the sums of the counter sets and returns the sum of all counters.
template <auto add_counts> void adapt(symbol_table &table) {
    u32 sums[rans_symbols];
    const u32 sum = add_counts(table, sums);
    if (sum * symbol_weight < std::max(table.total / 2, min_new_weight))
        return;
    for (u32 i = 0; i < rans_symbols; ++i)
        table.counts[i] += sums[i] * symbol_weight;
    std::memset(table.new_counts, 0, sizeof table.new_counts);
    normalise(table);
}

template <auto add_counts> void adapt_models(rans_models &models) {
    for (symbol_table &table : models.values)
        adapt<add_counts>(table);
    adapt<add_counts>(models.row_flag);
    adapt<add_counts>(models.escape_lengths);
}

// The 16-bit units of a packet. Renormalisation is free of branches, because which lanes need a
// unit is unpredictable.
struct unit_source {
    const u8 *next, *end;
    bool overrun;

    // Keeps the read position within the packet: a corrupt packet reads its padding again and
    // again.
    void clamp() {
        if (next > end) [[unlikely]] {
            overrun = true;
            next = end;
        }
    }

    void renormalise(u32 &state) {
        const u32 unit = load<u16>(next, endian::little);
        const u32 needed = state < rans_lower_bound ? 1 : 0;
        state = state << (16 * needed) | (unit & (0 - needed));
        next += std::size_t{needed} * sizeof(u16);
    }

    u32 raw_bits(u32 &state, u32 bits) {
        const u32 found = state & ((1u << bits) - 1);
        state >>= bits;
        renormalise(state);
        return found;
    }

    u32 entry(u32 &state, symbol_table &table, u32 lane) {
        const u32 found = table.entries[state & probability_mask];
        state = (found & entry_frequency_mask) * (state >> probability_bits) +
                (found >> entry_offset_shift & probability_mask);
        renormalise(state);
        ++table.new_counts[lane % counter_sets][found >> entry_symbol_shift];
        return found;
    }

    u32 symbol(u32 &state, symbol_table &table, u32 lane) {
        return entry(state, table, lane) >> entry_symbol_shift;
    }
};

// Decodes an escaped value, which follows the symbols of its row.
inline i16 read_escape(unit_source &source, u32 &state, rans_models &models, u32 max_magnitude,
                       u32 lane) {
    const u32 length = source.symbol(state, models.escape_lengths, lane);
    const u32 low_bits = std::min(length, max_low_bits);
    const u32 bits = source.raw_bits(state, low_bits + 1);
    u32 rest = bits >> 1;
    if (length > low_bits)
        rest |= source.raw_bits(state, length - low_bits) << low_bits;
    const auto magnitude = static_cast<i32>(max_magnitude + (1u << length) + rest);
    return static_cast<i16>((bits & 1) != 0 ? -magnitude : magnitude);
}

constexpr i16 escape_value = -8; // the value of the escape symbol

// The states of the lanes in memory. An instruction set may have another record with the same
// functions, whose states are in registers.
struct memory_row {
    u32 lanes[row_lanes];

    void load(const u32 *from, const symbol_table *) { std::copy_n(from, row_lanes, lanes); }
    // Returns the states, perhaps in the buffer.
    const u32 *store(u32 *) const { return lanes; }
    u32 first() const { return lanes[0]; }
    void set(u32 lane, u32 state) { lanes[lane] = state; }

    // Decodes the symbols of a row; returns a mask of the escapes.
    u32 read(unit_source &source, symbol_table *tables, const u8 *classes, i16 *values,
             u32 count = row_lanes) {
        u32 all = 0;
        for (u32 lane = 0; lane < count; ++lane) {
            const u32 entry = source.entry(lanes[lane], tables[classes[lane]], lane);
            values[lane] = static_cast<i16>(static_cast<i32>(entry) >> entry_symbol_shift);
            all |= entry;
        }
        u32 escapes = 0;
        if ((all & entry_escape_flag) != 0)
            for (u32 lane = 0; lane < count; ++lane)
                escapes |= (values[lane] == escape_value ? 1u : 0u) << lane;
        return escapes;
    }
};

// Decodes the escaped values of a row, which follow its symbols.
template <class Row>
void read_escapes(Row &row, unit_source &source, rans_models &models, const u8 *classes,
                  i16 *values, u32 escapes) {
    alignas(64) u32 buffer[row_lanes];
    const u32 *lanes = row.store(buffer);
    for (; escapes != 0; escapes &= escapes - 1) {
        const auto lane = static_cast<u32>(std::countr_zero(escapes));
        u32 state = lanes[lane];
        values[lane] =
            read_escape(source, state, models, models.values[classes[lane]].max_magnitude, lane);
        row.set(lane, state);
    }
}

// Skips the class 0 rows without a nonzero value; returns their number. The row after them belongs
// to another class, or its flag has been decoded and its symbols follow.
template <class Row>
u32 skip_zero_rows(Row &row, unit_source &source, rans_models &models, const u8 *classes,
                   i16 *values, u32 rows) {
    u32 skipped = 0;
    u32 state = row.first();
    for (; skipped < rows && is_class_0_row(classes + std::size_t{skipped} * row_lanes);
         ++skipped) {
        source.clamp();
        if (source.symbol(state, models.row_flag, 0) != 0)
            break;
        std::fill_n(values + std::size_t{skipped} * row_lanes, row_lanes, i16{0});
    }
    row.set(0, state);
    return skipped;
}

template <class Row>
void read_phase(rans_states &states, rans_models &models, const u8 *classes, i16 *values,
                u32 count) {
    unit_source source = {states.next, states.end, states.overrun};
    Row row;
    row.load(states.lanes, models.values);
    const auto move = [&](u32 rows) {
        classes += std::size_t{rows} * row_lanes;
        values += std::size_t{rows} * row_lanes;
        return rows;
    };
    for (u32 rows = count / row_lanes; rows > 0; rows -= move(1)) {
        if (is_class_0_row(classes)) {
            rows -= move(skip_zero_rows(row, source, models, classes, values, rows));
            if (rows == 0)
                break;
        }
        source.clamp();
        const u32 escapes = row.read(source, models.values, classes, values);
        if (escapes != 0)
            read_escapes(row, source, models, classes, values, escapes);
    }
    source.clamp();
    memory_row rest;
    rest.load(row.store(states.lanes), models.values);
    const u32 escapes = rest.read(source, models.values, classes, values, count % row_lanes);
    read_escapes(rest, source, models, classes, values, escapes);
    states = {{}, source.next, source.end, source.overrun};
    std::copy_n(rest.lanes, row_lanes, states.lanes);
}

} // namespace

} // namespace viq
