#include "wavelet/stages/small_coder.h"

#include <bit>

#include "core/byte_order.h"
#include "core/cpu.h"
#include "wavelet/stages/packing.h"

namespace viq {

namespace {

constexpr i16 escape_value = -8;

// Chances in photographs, in 1/1024: that a value is not 0, and that a magnitude goes on.
struct class_traits {
    u32 reach, filled, longer;
};
constexpr class_traits traits[small_classes] = {
    {1, 4, 200},   {2, 38, 120},  {2, 115, 195}, {3, 205, 230}, {4, 300, 290}, {5, 380, 340},
    {6, 460, 410}, {7, 530, 470}, {7, 597, 535}, {7, 658, 590}, {7, 710, 645}, {7, 770, 705},
    {7, 818, 750}, {7, 857, 785}, {7, 906, 820}, {7, 953, 852}};

constexpr u8 floors[line_phases][small_classes - 1] = {
    {1, 3, 6, 10, 14, 19, 25, 32, 40, 50, 64, 82, 105, 140, 185},
    {1, 4, 8, 12, 17, 22, 28, 36, 46, 58, 74, 94, 120, 150, 200}};

// What is known counts in sixteenths of a symbol; a table begins with 64 symbols of it and forgets
// half of it beyond 1024.
constexpr u32 symbol_weight = 16;
constexpr u32 first_weight = 64 * symbol_weight;
constexpr u32 most_weight = 1024 * symbol_weight;

constexpr u32 first_interval = 256;
constexpr u32 last_interval = 2048;

constexpr u32 head_bits = 2;
constexpr u32 low_bits = 8; // of a length

// Words that a row takes up or looks at, at most: what tells whether it is quiet, a symbol a place,
// then a length and its bits.
constexpr u32 spare_words = 1 + row_places * 4 + row_lookahead;

// A bit for each lane that is used, and the numbers of these.
constexpr std::size_t most_head = sizeof(u16) + row_places * sizeof(u32);

void begin_table(symbol_table &table, u32 alphabet);
void classify(const component_scan &scan, u32 phase, const u8 *measures, u32 count,
              std::vector<u8> &classes);

} // namespace

// ---------------------------------------------------------------- statistics

small_models::small_models() : interval(first_interval) {
    for (u32 k = 0; k < small_classes; ++k) {
        symbol_table &table = values[k];
        const class_traits &known = traits[k];
        begin_table(table, 1u << escape);
        table.alphabet |=
            ((2u << known.reach) - 1) | (((1u << known.reach) - 1) << (16 - known.reach));
        table.known[0] = first_weight - known.filled;
        u32 left = known.filled;
        for (u32 i = 1; i <= known.reach; ++i) {
            const u32 each = left * (1024 - known.longer) / 2048;
            table.known[i] = table.known[small_symbols - i] = each;
            left -= 2 * each;
        }
        table.known[escape] = left;
        table.make_shares();
    }
    begin_table(quiet, 3);
    quiet.known[0] = first_weight;
    quiet.make_shares();
    begin_table(lengths, (1u << small_symbols) - 1);
    for (u32 i = 0; i < small_symbols; ++i)
        lengths.known[i] = first_weight >> (i + 1);
    lengths.make_shares();
}

void small_models::end_line() {
    if (places < interval)
        return;
    places = 0;
    interval = std::min(interval + interval / 4, last_interval);
    for (symbol_table &table : values)
        table.learn();
    quiet.learn();
    lengths.learn();
}

// Tables are made anew as soon as they hold half as much again.
void symbol_table::learn() {
    u32 sums[small_symbols];
    u32 sum = 0;
    for (u32 i = 0; i < small_symbols; ++i) {
        sums[i] = 0u + fresh[0][i] + fresh[1][i] + fresh[2][i] + fresh[3][i];
        sum += sums[i];
    }
    if (sum * symbol_weight < std::max(total / 2, 24 * symbol_weight))
        return;
    for (u32 i = 0; i < small_symbols; ++i)
        known[i] += sums[i] * symbol_weight;
    std::memset(fresh, 0, sizeof fresh);
    make_shares();
}

void symbol_table::make_shares() {
    total = 0;
    for (const u32 count : known)
        total += count;
    const u32 to_share = (1u << share_bits) - static_cast<u32>(std::popcount(alphabet));
    const u64 factor = (u64{to_share} << 32) / std::max(total, 1u);
    u32 rest = to_share;
    u32 most = 0;
    for (u32 i = 0; i < small_symbols; ++i) {
        const u32 own = static_cast<u32>(known[i] * factor >> 32);
        shares[i] = static_cast<u16>(own + (alphabet >> i & 1));
        rest -= own;
        if (known[i] > known[most])
            most = i;
    }
    shares[most] = static_cast<u16>(shares[most] + rest);
    u32 start = 0;
    for (u32 i = 0; i < small_symbols; ++i) {
        starts[i] = static_cast<u16>(start);
        const u32 share = shares[i];
        const u32 first = i << 28 | (i == escape ? escape_mark : 0) | share;
        u32 *own = entries + start;
        for (u32 k = 0; k < share; ++k)
            own[k] = first + (k << 16);
        start += share;
    }
    if (total > most_weight)
        for (u32 &count : known)
            count /= 2;
}

namespace {

void begin_table(symbol_table &table, u32 alphabet) {
    std::memset(&table, 0, sizeof table);
    table.alphabet = alphabet;
}

void classify(const component_scan &scan, u32 phase, const u8 *measures, u32 count,
              std::vector<u8> &classes) {
    scan.kernels->classify(measures, floors[phase], small_classes - 1, classes.data(), count);
}

} // namespace

// ---------------------------------------------------------------- writing

namespace {

// A step of a lane: where the share of what it codes begins (10 bits), the share (10), of how many
// bits (4), and the lane (4).
u32 step_of(u32 start, u32 share, u32 bits, u32 lane) {
    return start | share << 10 | bits << 20 | lane << 24;
}

u32 *add_symbol(u32 *to, symbol_table &table, u32 symbol, u32 lane) {
    ++table.fresh[lane % count_lanes][symbol];
    *to++ = step_of(table.starts[symbol], table.shares[symbol], share_bits, lane);
    return to;
}

u32 *add_escape(u32 *to, small_models &models, u32 reach, i32 value, u32 lane) {
    const u32 beyond = static_cast<u32>(value < 0 ? -value : value) - reach;
    const auto length = static_cast<u32>(std::bit_width(beyond)) - 1;
    to = add_symbol(to, models.lengths, length, lane);
    const u32 low = std::min(length, low_bits);
    const u32 below = value < 0 ? 1 : 0;
    const u32 rest = beyond - (1u << length);
    *to++ = step_of((rest & ((1u << low) - 1)) << 1 | below, 1, low + 1, lane);
    if (length > low)
        *to++ = step_of(rest >> low, 1, length - low, lane);
    return to;
}

} // namespace

bool small_writer::resize(u32 width) {
    return try_resize(classes, whole_blocks(width / 2 + 1));
}

unit_content small_writer::head(unit_content known) {
    if (used == steps.size() && !try_resize(steps, u64{used} + 1)) {
        out_of_memory = true;
        return known;
    }
    steps[used++] = step_of(static_cast<u32>(known), 1, head_bits, 0);
    return known;
}

void small_writer::places(component_scan &scan, u32 phase, const u8 *measures, const i16 *values,
                          u32 count) {
    const u64 room = u64{used} + u64{count} * 4 + count / row_places;
    if (steps.size() < room && !try_resize(steps, room)) {
        out_of_memory = true;
        return;
    }
    classify(scan, phase, measures, count, classes);
    u32 *to = steps.data() + used;
    for (u32 i = 0; i < count; ++i) {
        if (i % row_places == 0 && i + row_places <= count && is_quiet(classes.data() + i)) {
            const bool any =
                std::any_of(values + i, values + i + row_places, [](i16 v) { return v != 0; });
            to = add_symbol(to, models->quiet, any ? 1 : 0, 0);
            if (!any) {
                i += row_places - 1;
                continue;
            }
        }
        const auto symbol_of = [&](u32 k) {
            const i32 value = values[k];
            const i32 reach = static_cast<i32>(traits[classes[k]].reach);
            return -reach <= value && value <= reach ? static_cast<u32>(value) & 15 : escape;
        };
        const u32 lane = i % row_places;
        const u32 symbol = symbol_of(i);
        to = add_symbol(to, models->values[classes[i]], symbol, lane);
        // what stands beside the symbols of a row comes behind them
        if (lane == row_places - 1 || i + 1 == count)
            for (u32 k = i - lane; k <= i; ++k)
                if (symbol_of(k) == escape)
                    to = add_escape(to, *models, traits[classes[k]].reach, values[k],
                                    k % row_places);
    }
    used = static_cast<std::size_t>(to - steps.data());
    models->places += count;
}

bool small_writer::finish(u64 least_bytes, std::vector<u8> &pack) {
    const u64 most = most_head + u64{used} * sizeof(u16);
    if (out_of_memory || !try_resize(code, most))
        return false;
    u32 numbers[row_places];
    std::fill_n(numbers, row_places, first_number);
    u8 *end = code.data() + most;
    u8 *first = end;
    for (std::size_t i = used; i-- > 0;) {
        const u32 step = steps[i];
        const u32 bits = step >> 20 & 15;
        const u32 share = step >> 10 & 0x3FF;
        u32 number = numbers[step >> 24];
        if (number >= share << (32 - bits)) {
            first -= sizeof(u16);
            store<u16>(first, static_cast<u16>(number), endian::little);
            number >>= 16;
        }
        numbers[step >> 24] = ((number / share) << bits) + number % share + (step & 0x3FF);
    }
    u32 lanes = 0;
    for (u32 lane = row_places; lane-- > 0;) {
        if (numbers[lane] == first_number)
            continue;
        lanes |= 1u << lane;
        first -= sizeof(u32);
        store<u32>(first, numbers[lane], endian::little);
    }
    first -= sizeof(u16);
    store<u16>(first, static_cast<u16>(lanes), endian::little);
    const u64 size = std::max<u64>(static_cast<u64>(end - first), least_bytes);
    if (!begin_pack(pack, {0, static_cast<u32>(size)}, size))
        return false;
    std::fill(std::copy(first, end, pack.begin() + sizeof(pack_head)), pack.end(), u8{0});
    return true;
}

// ---------------------------------------------------------------- reading

namespace {

// Words in the order of their bytes in a pack. Nothing here branches, as no one could foretell
// which lane takes a word.
struct word_source {
    const u8 *next;

    void refill(u32 &number) {
        const u32 word = load<u16>(next, endian::little);
        const u32 shrunk = number < first_number ? 1 : 0;
        number = number << (16 * shrunk) | (word & (0 - shrunk));
        next += std::size_t{shrunk} * sizeof(u16);
    }

    u32 plain_bits(u32 &number, u32 bits) {
        const u32 found = number & ((1u << bits) - 1);
        number >>= bits;
        refill(number);
        return found;
    }

    u32 entry(u32 &number, symbol_table &table, u32 lane) {
        const u32 found = table.entries[number & share_mask];
        number = (found & 0xFFFF) * (number >> share_bits) + (found >> 16 & share_mask);
        refill(number);
        ++table.fresh[lane % count_lanes][found >> 28];
        return found;
    }
};

void read_places(lane_row &row, symbol_table *tables, const u8 *classes, i16 *values, u32 count) {
    word_source source = {row.next};
    u32 all = 0;
    for (u32 lane = 0; lane < count; ++lane) {
        const u32 entry = source.entry(row.numbers[lane], tables[classes[lane]], lane);
        values[lane] = static_cast<i16>(static_cast<i32>(entry) >> 28);
        all |= entry;
    }
    row.next = source.next;
    row.escapes = (all & escape_mark) != 0;
}

u32 read_rows(lane_row &row, symbol_table *tables, const u8 *classes, i16 *values, u32 rows) {
    u32 read = 0;
    do {
        read_places(row, tables, classes, values, row_places);
        classes += row_places;
        values += row_places;
    } while (++read < rows && !row.escapes && row.next <= row.end && !is_quiet(classes));
    return read;
}

} // namespace

const row_reader plain_row_reader = read_rows;

row_reader current_row_reader() {
    constexpr kernel_sets<row_reader> sets = {&plain_row_reader, VIQ_AVX2_TABLE(avx2_row_reader)};
    return current_kernels(sets);
}

bool small_reader::resize(u32 width) {
    return try_resize(classes, whole_blocks(width / 2 + 1));
}

bool small_reader::begin(const u8 *code, u32 bytes) {
    words.clear();
    if (!try_resize(words, std::max<u64>(bytes, most_head) + spare_words * sizeof(u16)))
        return false;
    std::copy_n(code, bytes, words.begin());
    const u32 used = load<u16>(words.data(), endian::little);
    lanes.next = words.data() + sizeof(u16);
    for (u32 lane = 0; lane < row_places; ++lane) {
        lanes.numbers[lane] = first_number;
        if ((used >> lane & 1) == 0)
            continue;
        lanes.numbers[lane] = load<u32>(lanes.next, endian::little);
        lanes.next += sizeof(u32);
    }
    lanes.end = words.data() + words.size() - spare_words * sizeof(u16);
    cut = false;
    read_rows = current_row_reader();
    return true;
}

bool small_reader::is_sound() const {
    return !cut && lanes.next <= lanes.end &&
           std::all_of(lanes.numbers, lanes.numbers + row_places,
                       [](u32 number) { return number == first_number; });
}

unit_content small_reader::head(unit_content) {
    stay_inside();
    word_source source = {lanes.next};
    const u32 found = source.plain_bits(lanes.numbers[0], head_bits);
    lanes.next = source.next;
    return static_cast<unit_content>(std::min(found, static_cast<u32>(unit_content::full)));
}

void small_reader::places(component_scan &scan, u32 phase, const u8 *measures, i16 *values,
                          u32 count) {
    classify(scan, phase, measures, count, classes);
    const u8 *class_of = classes.data();
    for (u32 rows = count / row_places; rows > 0;) {
        stay_inside();
        u32 read = 1;
        if (!is_quiet(class_of) || read_quiet()) {
            read = read_rows(lanes, models->values, class_of, values, rows);
            if (lanes.escapes) {
                const u32 last = (read - 1) * row_places;
                read_escapes(class_of + last, values + last, row_places);
            }
        }
        rows -= read;
        class_of += read * row_places;
        values += read * row_places;
    }
    stay_inside();
    read_places(lanes, models->values, class_of, values, count % row_places);
    if (lanes.escapes)
        read_escapes(class_of, values, count % row_places);
    models->places += count;
}

bool small_reader::read_quiet() {
    word_source source = {lanes.next};
    const u32 any = source.entry(lanes.numbers[0], models->quiet, 0) >> 28;
    lanes.next = source.next;
    return any != 0;
}

void small_reader::read_escapes(const u8 *class_of, i16 *values, u32 count) {
    word_source source = {lanes.next};
    for (u32 lane = 0; lane < count; ++lane) {
        if (values[lane] != escape_value)
            continue;
        u32 &number = lanes.numbers[lane];
        const u32 length = source.entry(number, models->lengths, lane) >> 28;
        const u32 low = std::min(length, low_bits);
        const u32 bits = source.plain_bits(number, low + 1);
        u32 rest = bits >> 1;
        if (length > low)
            rest |= source.plain_bits(number, length - low) << low;
        const auto magnitude =
            static_cast<i32>(traits[class_of[lane]].reach + (1u << length) + rest);
        values[lane] = static_cast<i16>((bits & 1) != 0 ? -magnitude : magnitude);
    }
    lanes.next = source.next;
}

} // namespace viq
