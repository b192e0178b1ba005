#include "wavelet/stages/rans_coder.h"

#include <array>
#include <bit>

#include "core/byte_order.h"
#include "core/cpu.h"
#include "wavelet/stages/entropy_packet.h"
#include "wavelet/stages/rans_loop.h"

namespace viq {

namespace {

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

// The initial statistics weigh as much as 64 symbols.
constexpr u32 initial_total = 64 * symbol_weight;

// Coefficients between adaptations; the interval grows by a quarter each time.
constexpr u32 first_interval = 256;
constexpr u32 max_interval = 2048;

constexpr u32 unit_header_bits = 2;

// The mask of stored states and the states.
constexpr std::size_t max_states_size = sizeof(u16) + row_lanes * sizeof(u32);

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
    table.max_magnitude = initial.max_magnitude;
    table.counts[0] = initial_total - initial.nonzero;
    u32 remaining = initial.nonzero;
    for (u32 magnitude = 1; magnitude <= initial.max_magnitude; ++magnitude) {
        const u32 count = remaining * (1024 - initial.larger) / 2048; // for either sign
        table.counts[magnitude] = table.counts[rans_symbols - magnitude] = count;
        remaining -= 2 * count;
    }
    table.counts[escape_symbol] = remaining;
    normalise(table);
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
    normalise(row_flag);
    begin_table(escape_lengths, (1u << rans_symbols) - 1);
    for (u32 i = 0; i < rans_symbols; ++i)
        escape_lengths.counts[i] = initial_total >> (i + 1);
    normalise(escape_lengths);
}

void rans_models::end_line() {
    if (coefficients < interval)
        return;
    coefficients = 0;
    interval = std::min(interval + interval / 4, max_interval);
    current_rans_kernels().adapt(*this);
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

u32 add_counts(const symbol_table &table, u32 *sums) {
    u32 sum = 0;
    for (u32 i = 0; i < rans_symbols; ++i) {
        sums[i] = 0u + table.new_counts[0][i] + table.new_counts[1][i] + table.new_counts[2][i] +
                  table.new_counts[3][i];
        sum += sums[i];
    }
    return sum;
}

} // namespace

const rans_kernels plain_rans_kernels = {read_phase<memory_row>, adapt_models<add_counts>,
                                         write_row};

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
    if (!try_resize(code, std::max<u64>(size, max_states_size) + max_row_units * sizeof(u16)))
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
    states.end = code.data() + code.size() - max_row_units * sizeof(u16);
    states.overrun = false;
    read_phase = current_rans_kernels().read_phase;
    return true;
}

bool rans_decoder::is_valid() const {
    return !states.overrun && states.next <= states.end &&
           std::all_of(states.lanes, states.lanes + row_lanes,
                       [](u32 state) { return state == rans_lower_bound; });
}

unit_content rans_decoder::code_unit_header(unit_content) {
    unit_source source = {states.next, states.end, states.overrun};
    source.clamp();
    const u32 found = source.raw_bits(states.lanes[0], unit_header_bits);
    states.next = source.next;
    states.overrun = source.overrun;
    return static_cast<unit_content>(std::min(found, static_cast<u32>(unit_content::any)));
}

void rans_decoder::code_phase(component_scan &scan, u32 phase, const u8 *contexts, i16 *values,
                              u32 count) {
    classify(scan, phase, contexts, count, classes);
    read_phase(states, *models, classes.data(), values, count);
    models->coefficients += count;
}

} // namespace viq
