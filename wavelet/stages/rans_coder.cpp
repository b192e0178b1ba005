#include "wavelet/stages/rans_coder.h"

#include <array>
#include <bit>

#include "core/byte_order.h"
#include "core/cpu.h"
#include "wavelet/stages/entropy_packet.h"

namespace viq {

namespace {

constexpr i16 escape_value = -8;

// Range of magnitudes that a class codes without escape, and its initial statistics, averages over
// photographs in 1/1024: the probability of a nonzero value, and that a magnitude exceeds another
// one given that it reaches it.
struct class_parameters {
    u32 max_magnitude, nonzero, larger;
};
constexpr class_parameters parameters[rans_classes] = {
    {1, 4, 200},   {2, 38, 120},  {2, 115, 195}, {3, 205, 230}, {4, 300, 290}, {5, 380, 340},
    {6, 460, 410}, {7, 530, 470}, {7, 597, 535}, {7, 658, 590}, {7, 710, 645}, {7, 770, 705},
    {7, 818, 750}, {7, 857, 785}, {7, 906, 820}, {7, 953, 852}};

constexpr context_classes with_thresholds(context_classes classes) {
    for (u32 context = 0; context < std::size(classes.of_context); ++context)
        for (const u8 threshold : classes.thresholds)
            classes.of_context[context] =
                static_cast<u8>(classes.of_context[context] + (context >= threshold ? 1 : 0));
    return classes;
}

constexpr context_classes phase_classes[line_phases] = {
    with_thresholds({{1, 3, 6, 10, 14, 19, 25, 32, 40, 50, 64, 82, 105, 140, 185}, {}}),
    with_thresholds({{1, 4, 8, 12, 17, 22, 28, 36, 46, 58, 74, 94, 120, 150, 200}, {}})};

// Counts are in sixteenths of a symbol. The initial statistics weigh as much as 64 symbols; above
// 1024 symbols all counts are halved.
constexpr u32 symbol_weight = 16;
constexpr u32 initial_total = 64 * symbol_weight;
constexpr u32 max_total = 1024 * symbol_weight;
// A table is normalised again when the new symbols amount to half of the total, at least to this.
constexpr u32 min_new_weight = 24 * symbol_weight;

// Coefficients between adaptations; the interval grows by a quarter each time.
constexpr u32 first_interval = 256;
constexpr u32 max_interval = 2048;

constexpr u32 unit_header_bits = 2;
constexpr u32 max_low_bits = 8; // of an escaped value; with the sign they form one operation

// A row consumes at most its flag, a symbol for each lane, and for each escape a length and two
// groups of raw bits.
constexpr u32 padding_units = 1 + row_lanes * 4 + unit_lookahead;

// The mask of stored states and the states.
constexpr std::size_t max_states_size = sizeof(u16) + row_lanes * sizeof(u32);

u32 operation_of(u32 start, u32 frequency, u32 bits, u32 lane) {
    return start | frequency << operation_frequency_shift | bits << operation_bits_shift |
           lane << operation_lane_shift;
}

void begin_table(symbol_table &table, u32 alphabet) {
    std::memset(&table, 0, sizeof table);
    table.alphabet = alphabet;
    for (u32 i = 0; i < rans_symbols; ++i)
        table.coded[i] = static_cast<u8>((alphabet >> i & 1) != 0 ? i : escape_symbol);
}

// Symbols 0 to max_magnitude, the corresponding negative ones and the escape.
constexpr u32 value_alphabet(u32 max_magnitude) {
    return ((2u << max_magnitude) - 1) |
           (((1u << max_magnitude) - 1) << (rans_symbols - max_magnitude)) | 1u << escape_symbol;
}

void begin_value_table(symbol_table &table, const class_parameters &initial) {
    begin_table(table, value_alphabet(initial.max_magnitude));
    table.counts[0] = initial_total - initial.nonzero;
    u32 remaining = initial.nonzero;
    for (u32 magnitude = 1; magnitude <= initial.max_magnitude; ++magnitude) {
        const u32 count = remaining * (1024 - initial.larger) / 2048; // for either sign
        table.counts[magnitude] = table.counts[rans_symbols - magnitude] = count;
        remaining -= 2 * count;
    }
    table.counts[escape_symbol] = remaining;
    table.normalise();
}

void classify(const component_scan &scan, u32 phase, const u8 *contexts, u32 count,
              vector<u8> &classes) {
    scan.classes->classify(contexts, phase_classes[phase], classes.data(), count);
}

bool resize_classes(vector<u8> &classes, u32 width) {
    return try_resize(classes, round_up_to_block(width / 2 + 1));
}

} // namespace

// ---------------------------------------------------------------- statistics

rans_models::rans_models() : interval(first_interval) {
    for (u32 k = 0; k < rans_classes; ++k)
        begin_value_table(values[k], parameters[k]);
    begin_table(row_flag, 3);
    row_flag.counts[0] = initial_total;
    row_flag.normalise();
    begin_table(escape_lengths, (1u << rans_symbols) - 1);
    for (u32 i = 0; i < rans_symbols; ++i)
        escape_lengths.counts[i] = initial_total >> (i + 1);
    escape_lengths.normalise();
}

void rans_models::end_line() {
    if (coefficients < interval)
        return;
    coefficients = 0;
    interval = std::min(interval + interval / 4, max_interval);
    for (symbol_table &table : values)
        table.adapt();
    row_flag.adapt();
    escape_lengths.adapt();
}

void symbol_table::adapt() {
    u32 sums[rans_symbols];
    u32 sum = 0;
    for (u32 i = 0; i < rans_symbols; ++i) {
        sums[i] = 0u + new_counts[0][i] + new_counts[1][i] + new_counts[2][i] + new_counts[3][i];
        sum += sums[i];
    }
    if (sum * symbol_weight < std::max(total / 2, min_new_weight))
        return;
    for (u32 i = 0; i < rans_symbols; ++i)
        counts[i] += sums[i] * symbol_weight;
    std::memset(new_counts, 0, sizeof new_counts);
    normalise();
}

// Scales the counts to frequencies with the sum probability_scale. Every symbol of the alphabet has
// a frequency of at least 1; the rounding error goes to the most frequent symbol.
void symbol_table::normalise() {
    total = 0;
    for (const u32 count : counts)
        total += count;
    const u32 shared = probability_scale - static_cast<u32>(std::popcount(alphabet));
    const u64 factor = (u64{shared} << 32) / std::max(total, 1u);
    u32 frequencies[rans_symbols];
    u32 rest = shared;
    u32 most_frequent = 0;
    for (u32 i = 0; i < rans_symbols; ++i) {
        const u32 own = static_cast<u32>(counts[i] * factor >> 32);
        frequencies[i] = own + (alphabet >> i & 1);
        rest -= own;
        if (counts[i] > counts[most_frequent])
            most_frequent = i;
    }
    frequencies[most_frequent] += rest;
    u32 start = 0;
    for (u32 i = 0; i < rans_symbols; ++i) {
        const u32 frequency = frequencies[i];
        operations[i] = operation_of(start, frequency, probability_bits, 0);
        const u32 escape = i == escape_symbol ? entry_escape_flag : 0;
        const u32 first = i << entry_symbol_shift | escape | frequency;
        // Whole blocks: the entries after the interval are overwritten by the next symbol.
        u32 *interval = entries + start;
        for (u32 offset = 0; offset < frequency; offset += entry_block)
            for (u32 k = 0; k < entry_block; ++k)
                interval[offset + k] = first + ((offset + k) << entry_offset_shift);
        start += frequency;
    }
    if (total > max_total)
        for (u32 &count : counts)
            count /= 2;
}

// ---------------------------------------------------------------- encoder

namespace {

u32 *add_symbol(u32 *to, symbol_table &table, u32 symbol, u32 lane) {
    ++table.new_counts[lane % counter_sets][symbol];
    *to++ = table.operations[symbol] | lane << operation_lane_shift;
    return to;
}

u32 *add_raw_bits(u32 *to, u32 value, u32 bits, u32 lane) {
    *to++ = operation_of(value, 1, bits, lane);
    return to;
}

u32 *add_escape(u32 *to, rans_models &models, u32 max_magnitude, i32 value, u32 lane) {
    const u32 beyond = static_cast<u32>(value < 0 ? -value : value) - max_magnitude;
    const auto length = static_cast<u32>(std::bit_width(beyond)) - 1;
    to = add_symbol(to, models.escape_lengths, length, lane);
    const u32 low_bits = std::min(length, max_low_bits);
    const u32 sign = value < 0 ? 1 : 0;
    const u32 rest = beyond - (1u << length);
    to = add_raw_bits(to, (rest & ((1u << low_bits) - 1)) << 1 | sign, low_bits + 1, lane);
    return length > low_bits ? add_raw_bits(to, rest >> low_bits, length - low_bits, lane) : to;
}

// The symbols of a row and, after them, its escaped values.
u32 *add_row(u32 *to, rans_models &models, const u8 *classes, const i16 *values, u32 lanes) {
    constexpr i32 most = escape_symbol - 1;
    u8 symbols[row_lanes];
    for (u32 lane = 0; lane < lanes; ++lane)
        symbols[lane] = static_cast<u8>(-most <= values[lane] && values[lane] <= most
                                            ? static_cast<u32>(values[lane]) & (rans_symbols - 1)
                                            : escape_symbol);
    u32 escapes = 0;
    for (u32 lane = 0; lane < lanes; ++lane) {
        symbol_table &table = models.values[classes[lane]];
        const u32 symbol = table.coded[symbols[lane]];
        escapes |= u32{symbol == escape_symbol} << lane;
        to = add_symbol(to, table, symbol, lane);
    }
    if (lanes == row_lanes)
        to[-1] |= operation_ends_row;
    for (; escapes != 0; escapes &= escapes - 1) {
        const auto lane = static_cast<u32>(std::countr_zero(escapes));
        to = add_escape(to, models, parameters[classes[lane]].max_magnitude, values[lane], lane);
    }
    return to;
}

// Multipliers for the division by a frequency: a state of at most 32 bits that is less than the
// frequency << (32 - probability_bits), times the multiplier, is less than 1 << 64, and the error
// of the multiplier is less than 1 << probability_bits.
constexpr u32 multiplier_bits = 32 + probability_bits;
constexpr auto multipliers = [] {
    std::array<u64, probability_scale> result = {};
    for (u32 frequency = 1; frequency < result.size(); ++frequency)
        result[frequency] = ((u64{1} << multiplier_bits) + frequency - 1) / frequency;
    return result;
}();

// The state divided by the frequency. Raw bits have a frequency of 1 and states of up to 31 bits.
u32 divide(u32 state, u32 frequency) {
    return frequency == 1 ? state
                          : static_cast<u32>(state * multipliers[frequency] >> multiplier_bits);
}

// Executes an operation on the state of its lane. Units are stored downwards from `first`; returns
// the address of the last one.
u8 *execute(u32 *states, u32 operation, u8 *first) {
    const u32 bits = operation >> operation_bits_shift & operation_bits_mask;
    const u32 frequency = operation >> operation_frequency_shift & operation_field_mask;
    u32 &lane = states[operation >> operation_lane_shift & operation_lane_mask];
    // The decoder renormalises after a symbol to at least the lower bound. Whether a unit is stored
    // is unpredictable, so that there is no branch.
    store<u16>(first - sizeof(u16), static_cast<u16>(lane), endian::little);
    const u32 full = lane >= frequency << (32 - bits) ? 1 : 0;
    const u32 state = lane >> (16 * full);
    const u32 quotient = divide(state, frequency);
    lane = (quotient << bits) + state - quotient * frequency + (operation & operation_field_mask);
    return first - full * sizeof(u16);
}

u8 *write_row(u32 *states, const u32 *operations, u8 *first) {
    for (u32 i = row_lanes; i-- > 0;)
        first = execute(states, operations[i], first);
    return first;
}

} // namespace

bool rans_encoder::resize(u32 width) {
    return resize_classes(classes, width);
}

unit_content rans_encoder::code_unit_header(unit_content content) {
    if (used == operations.size() && !try_resize(operations, u64{used} + 1)) {
        out_of_memory = true;
        return content;
    }
    operations[used++] = operation_of(static_cast<u32>(content), 1, unit_header_bits, 0);
    return content;
}

void rans_encoder::code_phase(component_scan &scan, u32 phase, const u8 *contexts,
                              const i16 *values, u32 count) {
    const u64 room = u64{used} + u64{count} * 4 + count / row_lanes;
    if (operations.size() < room && !try_resize(operations, room)) {
        out_of_memory = true;
        return;
    }
    classify(scan, phase, contexts, count, classes);
    u32 *to = operations.data() + used;
    for (u32 i = 0; i < count; i += row_lanes) {
        const u32 lanes = std::min(count - i, row_lanes);
        const i16 *row = values + i;
        if (lanes == row_lanes && is_class_0_row(classes.data() + i)) {
            const bool any = std::any_of(row, row + row_lanes, [](i16 v) { return v != 0; });
            to = add_symbol(to, models->row_flag, any ? 1 : 0, 0);
            if (!any)
                continue;
        }
        to = add_row(to, *models, classes.data() + i, row, lanes);
    }
    used = static_cast<std::size_t>(to - operations.data());
    models->coefficients += count;
}

bool rans_encoder::finish(u64 min_bytes, vector<u8> &packet) {
    const u64 max_size = write_padding + max_states_size + u64{used} * sizeof(u16);
    if (out_of_memory || !try_resize(code, max_size))
        return false;
    u32 states[row_lanes];
    std::fill_n(states, row_lanes, rans_lower_bound);
    u8 *end = code.data() + max_size;
    u8 *first = end;
    const row_writer write_row = current_rans_kernels().write_row;
    for (std::size_t i = used; i > 0;) {
        const bool is_row = (operations[i - 1] & operation_ends_row) != 0;
        i -= is_row ? row_lanes : 1;
        if (is_row)
            first = write_row(states, operations.data() + i, first);
        else
            first = execute(states, operations[i], first);
    }
    u32 stored = 0;
    for (u32 lane = row_lanes; lane-- > 0;) {
        if (states[lane] == rans_lower_bound)
            continue;
        stored |= 1u << lane;
        first -= sizeof(u32);
        store<u32>(first, states[lane], endian::little);
    }
    first -= sizeof(u16);
    store<u16>(first, static_cast<u16>(stored), endian::little);
    const u64 size = std::max<u64>(static_cast<u64>(end - first), min_bytes);
    if (!begin_packet(packet, {0, static_cast<u32>(size)}, size))
        return false;
    std::fill(std::copy(first, end, packet.begin() + sizeof(packet_header)), packet.end(), u8{0});
    return true;
}

// ---------------------------------------------------------------- decoder

namespace {

// The 16-bit units of a packet. Renormalisation is free of branches, because which lanes need a
// unit is unpredictable.
struct unit_source {
    const u8 *next;

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

void read_row(rans_states &states, symbol_table *tables, const u8 *classes, i16 *values,
              u32 count) {
    unit_source source = {states.next};
    u32 all = 0;
    for (u32 lane = 0; lane < count; ++lane) {
        const u32 entry = source.entry(states.lanes[lane], tables[classes[lane]], lane);
        values[lane] = static_cast<i16>(static_cast<i32>(entry) >> entry_symbol_shift);
        all |= entry;
    }
    states.next = source.next;
    states.has_escapes = (all & entry_escape_flag) != 0;
}

u32 read_rows(rans_states &states, symbol_table *tables, const u8 *classes, i16 *values, u32 rows) {
    u32 read = 0;
    do {
        read_row(states, tables, classes, values, row_lanes);
        classes += row_lanes;
        values += row_lanes;
    } while (++read < rows && !states.has_escapes && states.next <= states.end &&
             !is_class_0_row(classes));
    return read;
}

// Keeps the read position within the packet: a corrupt packet reads its padding again and again.
void clamp_position(rans_decoder &decoder) {
    rans_states &states = decoder.states;
    decoder.overrun |= states.next > states.end;
    states.next = std::min(states.next, states.end);
}

// Skips the class 0 rows without a nonzero value. Stops before any other row, after whose flag
// `has_flag` is true if it has one, and at the end of the units. Returns the number of rows.
u32 skip_zero_rows(rans_decoder &decoder, const u8 *classes, u32 rows, bool &has_flag) {
    unit_source source = {decoder.states.next};
    u32 state = decoder.states.lanes[0];
    u32 skipped = 0;
    has_flag = false;
    while (skipped < rows && source.next <= decoder.states.end &&
           is_class_0_row(classes + std::size_t{skipped} * row_lanes)) {
        has_flag = source.symbol(state, decoder.models->row_flag, 0) != 0;
        if (has_flag)
            break;
        ++skipped;
    }
    decoder.states.lanes[0] = state;
    decoder.states.next = source.next;
    return skipped;
}

// Replaces the escape values of a row by the values that follow its symbols.
void read_escapes(rans_decoder &decoder, const u8 *classes, i16 *values, u32 count) {
    unit_source source = {decoder.states.next};
    for (u32 lane = 0; lane < count; ++lane) {
        if (values[lane] != escape_value)
            continue;
        u32 &state = decoder.states.lanes[lane];
        const u32 length = source.symbol(state, decoder.models->escape_lengths, lane);
        const u32 low_bits = std::min(length, max_low_bits);
        const u32 bits = source.raw_bits(state, low_bits + 1);
        u32 rest = bits >> 1;
        if (length > low_bits)
            rest |= source.raw_bits(state, length - low_bits) << low_bits;
        const auto magnitude =
            static_cast<i32>(parameters[classes[lane]].max_magnitude + (1u << length) + rest);
        values[lane] = static_cast<i16>((bits & 1) != 0 ? -magnitude : magnitude);
    }
    decoder.states.next = source.next;
}

} // namespace

const rans_kernels plain_rans_kernels = {read_rows, write_row};

const rans_kernels &current_rans_kernels() {
    constexpr kernel_sets<rans_kernels> sets = {.plain = &plain_rans_kernels,
                                                .avx2 = VIQ_AVX2_TABLE(avx2_rans_kernels),
                                                .avx512 = VIQ_AVX512_TABLE(avx512_rans_kernels)};
    return current_kernels(sets);
}

bool rans_decoder::resize(u32 width) {
    return resize_classes(classes, width);
}

bool rans_decoder::begin(const u8 *bytes, u32 size) {
    code.clear();
    if (!try_resize(code, std::max<u64>(size, max_states_size) + padding_units * sizeof(u16)))
        return false;
    std::copy_n(bytes, size, code.begin());
    const u32 stored = load<u16>(code.data(), endian::little);
    states.next = code.data() + sizeof(u16);
    for (u32 lane = 0; lane < row_lanes; ++lane) {
        states.lanes[lane] = rans_lower_bound;
        if ((stored >> lane & 1) == 0)
            continue;
        states.lanes[lane] = load<u32>(states.next, endian::little);
        states.next += sizeof(u32);
    }
    states.end = code.data() + code.size() - padding_units * sizeof(u16);
    overrun = false;
    read_rows = current_rans_kernels().read_rows;
    return true;
}

bool rans_decoder::is_valid() const {
    return !overrun && states.next <= states.end &&
           std::all_of(states.lanes, states.lanes + row_lanes,
                       [](u32 state) { return state == rans_lower_bound; });
}

unit_content rans_decoder::code_unit_header(unit_content) {
    clamp_position(*this);
    unit_source source = {states.next};
    const u32 found = source.raw_bits(states.lanes[0], unit_header_bits);
    states.next = source.next;
    return static_cast<unit_content>(std::min(found, static_cast<u32>(unit_content::any)));
}

void rans_decoder::code_phase(component_scan &scan, u32 phase, const u8 *contexts, i16 *values,
                              u32 count) {
    classify(scan, phase, contexts, count, classes);
    const u8 *row_classes = classes.data();
    const auto move = [&](u32 rows) {
        row_classes += std::size_t{rows} * row_lanes;
        values += std::size_t{rows} * row_lanes;
        return rows;
    };
    for (u32 rows = count / row_lanes; rows > 0;) {
        clamp_position(*this);
        bool has_flag = false;
        rows -= move(skip_zero_rows(*this, row_classes, rows, has_flag));
        if (rows == 0 || (!has_flag && is_class_0_row(row_classes)))
            continue;
        clamp_position(*this);
        const u32 read = read_rows(states, models->values, row_classes, values, rows);
        if (states.has_escapes) {
            const std::size_t last = std::size_t{read - 1} * row_lanes;
            read_escapes(*this, row_classes + last, values + last, row_lanes);
        }
        rows -= move(read);
    }
    clamp_position(*this);
    read_row(states, models->values, row_classes, values, count % row_lanes);
    if (states.has_escapes)
        read_escapes(*this, row_classes, values, count % row_lanes);
    models->coefficients += count;
}

} // namespace viq
