#include "wavelet/stages/fast_coder.h"

#include <array>
#include <bit>

#include "wavelet/stages/packing.h"

namespace viq {

namespace {

constexpr u8 floors[line_phases][fast_classes - 1] = {{1, 6, 16, 38, 100}, {2, 10, 24, 58, 144}};

// Classes differ in how often a place has a value: seldom, every other place, nearly always. The
// fewer the zeros, the more of the short symbols tell magnitudes.
enum book_kind : u32 { seldom, often, mostly, book_kinds };

struct short_symbol {
    u8 run_part, parts_bits; // which part of the longest run
    u8 level, level_bits;    // magnitudes less 1, before they are made coarser
};

struct book_plan {
    short_symbol near[near_symbols];
    u8 next_level, next_bits; // of the symbol after them; each further one has a bit more
    u8 coarse_from;           // halves of a mean magnitude less 1 that make it coarser
};

constexpr book_plan plans[book_kinds] = {
    {{{0, 2, 0, 0}, {1, 2, 0, 0}, {2, 2, 0, 0}, {3, 2, 0, 0}, {0, 0, 1, 0}}, 2, 1, 3},
    {{{0, 1, 0, 0}, {1, 1, 0, 0}, {0, 1, 1, 0}, {1, 1, 1, 0}, {0, 0, 2, 1}}, 4, 2, 5},
    {{{0, 0, 0, 0}, {0, 0, 1, 0}, {0, 0, 2, 0}, {0, 0, 3, 1}, {0, 0, 5, 2}}, 9, 3, 10},
};

constexpr u32 longest_run_bits = 12;
constexpr u32 shortest_seldom_bits = 2;
constexpr u32 most_coarse = 12;
constexpr u32 most_above_bits = 15;
constexpr u32 spans = longest_run_bits + 1;

constexpr u16 mask_of(u32 bits) {
    return static_cast<u16>((1u << bits) - 1);
}

constexpr phrase phrase_of(u32 run_bits, u32 run, u32 above_bits, u32 above) {
    return {run,
            mask_of(run_bits),
            static_cast<u16>(above),
            mask_of(above_bits),
            static_cast<u8>(run_bits),
            static_cast<u8>(run_bits + above_bits),
            static_cast<u8>(run_bits + above_bits + 1),
            1};
}

constexpr phrase phrase_without_end(u32 run, u8 ends) {
    return {run, 0, 0, 0, 0, 0, 0, ends};
}

constexpr phrase_book make_book(u32 kind, u32 span_bits, u32 coarse) {
    phrase_book book = {};
    for (phrase &item : book.of)
        item = phrase_without_end(0x7FFFFFFF, 2);
    book.of[symbol_run] = phrase_without_end(1u << span_bits, 0);
    const book_plan &plan = plans[kind];
    for (u32 i = 0; i < near_symbols; ++i) {
        const short_symbol &near = plan.near[i];
        const u32 run_bits = span_bits - near.parts_bits;
        book.of[symbol_near + i] = phrase_of(run_bits, u32{near.run_part} << run_bits,
                                             near.level_bits + coarse, u32{near.level} << coarse);
    }
    u32 above = u32{plan.next_level} << coarse;
    u32 bits = plan.next_bits + coarse;
    for (u32 symbol = symbol_large; symbol < fast_symbols && above < 0x8000;
         symbol = std::max<u32>(symbol + 1, symbol_far)) {
        bits = std::min(bits, most_above_bits);
        book.of[symbol] = phrase_of(span_bits, 0, bits, above);
        above += 1u << bits++;
    }
    return book;
}

// One book for each span of a class with few values, and one each for the other kinds.
constexpr u32 book_rows = spans;

using book_shelf = std::array<std::array<phrase_book, most_coarse + 1>, book_rows>;

constexpr book_kind kind_of(u32 span_bits) {
    return span_bits == 0 ? mostly : span_bits == 1 ? often : seldom;
}

constexpr book_shelf make_shelf() {
    book_shelf shelf = {};
    for (u32 span_bits = 0; span_bits < spans; ++span_bits)
        for (u32 coarse = 0; coarse <= most_coarse; ++coarse)
            shelf[span_bits][coarse] = make_book(kind_of(span_bits), span_bits, coarse);
    return shelf;
}

constexpr book_shelf shelf = make_shelf();

} // namespace

// ---------------------------------------------------------------- classes

void fast_class::adapt() {
    const u64 others = outcome >> 32;
    const u64 above = outcome & 0xFFFFFFFF;
    u32 span_bits = 0;
    if (others * 3 < u64{places} * 2) {
        span_bits = 1;
        if (others * 2 < places)
            for (span_bits = shortest_seldom_bits;
                 span_bits < longest_run_bits &&
                 others * 10 << span_bits < u64{places} * 11;)
                ++span_bits;
    }
    const u64 coarse_from = others * plans[kind_of(span_bits)].coarse_from;
    u32 coarse = 0;
    while (coarse < most_coarse && above * 2 > coarse_from << coarse)
        ++coarse;
    book = &shelf[span_bits][coarse];
}

// What photographs make of the classes on the average, so that little has to be learnt.
fast_models::fast_models() {
    constexpr u32 others[fast_classes] = {1, 10, 45, 100, 160, 200};
    constexpr u32 above[fast_classes] = {0, 2, 15, 80, 350, 1400};
    for (auto &phase : classes)
        for (u32 k = 0; k < fast_classes; ++k) {
            phase[k] = {240, outcome_of(others[k], above[k])};
            phase[k].adapt();
        }
}

void fast_models::finish() {
    for (auto &phase : classes)
        for (fast_class &item : phase)
            item.open = false;
}

bool class_parts::resize(u32 width) {
    const u32 most = whole_blocks((width + 1) / 2);
    return try_resize(masks, u64{most} / scan_block * fast_classes) &&
           try_resize(list, u64{most} + 8);
}

void class_parts::part(const component_scan &scan, u32 phase, const u8 *measures, u32 count) {
    words = whole_blocks(count) / scan_block;
    scan.kernels->part(measures, floors[phase], masks.data(), places, count);
}

u32 class_parts::list_places(const component_scan &scan, u32 k) {
    return scan.kernels->list_places(mask(k), words, list.data());
}

namespace {

// Counts that have grown are halved, so that what is near counts more.
void adapt_all(fast_models &models) {
    constexpr u32 enough_others = 64;
    constexpr u32 enough_places = 1 << 13;
    for (auto &phase : models.classes)
        for (fast_class &item : phase) {
            if (item.outcome >> 32 < enough_others && item.places < enough_places)
                continue;
            item.adapt();
            item.places /= 2;
            item.outcome = outcome_of(static_cast<u32>((item.outcome >> 32) + 1) / 2,
                                      static_cast<u32>(item.outcome) / 2);
        }
}

// ---------------------------------------------------------------- writing

// There is room for a slot for each place and each class.
void open_phrase(fast_writer &writer, fast_class &item) {
    item.slot = writer.used;
    writer.slots[writer.used++] = {0, 0, symbol_run};
    item.run = 0;
    item.open = true;
    item.open_book = item.book;
}

bool make_room(fast_writer &writer, u32 more) {
    writer.out_of_memory |= !try_resize(writer.slots, u64{writer.used} + more);
    return !writer.out_of_memory;
}

fast_slot slot_of(const fast_class &item, i32 value) {
    const u32 above = static_cast<u32>(value < 0 ? -value : value) - 1;
    for (u32 symbol = symbol_near;;) {
        const phrase &item_phrase = item.open_book->of[symbol];
        const u32 run = item.run - item_phrase.run;
        const u32 rest = above - item_phrase.above;
        if (run <= item_phrase.run_mask && rest <= item_phrase.above_mask) {
            const u32 sign = value < 0 ? 1 : 0;
            return {run | rest << item_phrase.run_bits | sign << item_phrase.sign_bit,
                    item_phrase.bits, static_cast<u8>(symbol)};
        }
        symbol = symbol == symbol_large     ? u32{symbol_far}
                 : symbol == symbol_far - 1 ? u32{symbol_large}
                                            : symbol + 1;
    }
}

u32 count_bits(u32 word) {
    word -= word >> 1 & 0x55555555;
    word = (word & 0x33333333) + (word >> 2 & 0x33333333);
    return ((word + (word >> 4)) & 0x0F0F0F0F) * 0x01010101 >> 24;
}

// Runs longer than a phrase can tell; the last zero stays with the open phrase.
void cut_run(fast_writer &writer, fast_class &item, u32 run, u32 with_it) {
    for (;;) {
        const u32 longest = item.open_book->of[symbol_run].run;
        if (run < longest + with_it)
            break;
        run -= longest;
        open_phrase(writer, item);
    }
    item.run = run;
}

void write_class(fast_writer &writer, fast_class &item, const u32 *mask, u32 words,
                 const i16 *values) {
    if (!item.open)
        open_phrase(writer, item);
    u32 run = item.run;
    for (u32 i = 0; i < words; ++i, values += scan_block) {
        u32 zeros = mask[i];
        for (u32 ends = zeros & writer.with_value[i]; ends != 0; ends &= ends - 1) {
            const u32 before = (ends & (0 - ends)) - 1;
            cut_run(writer, item, run + count_bits(zeros & before), 0);
            zeros &= ~before & ~(before + 1);
            const i32 value = values[std::countr_zero(ends)];
            writer.slots[item.slot] = slot_of(item, value);
            item.outcome += outcome_of(1, static_cast<u32>(value < 0 ? -value : value) - 1);
            open_phrase(writer, item);
            run = 0;
        }
        run += count_bits(zeros);
    }
    cut_run(writer, item, run, 1);
}

} // namespace

bool fast_writer::resize(u32 width) {
    return parts.resize(width) && try_resize(with_value, whole_blocks((width + 1) / 2) / scan_block);
}

void fast_writer::begin_pack() {
    used = 0;
    out_of_memory = false;
}

unit_content fast_writer::head(unit_content known) {
    if (make_room(*this, 1))
        slots[used++] = {0, 0, static_cast<u8>(symbol_empty + static_cast<u32>(known))};
    return known;
}

void fast_writer::places(component_scan &scan, u32 phase, const u8 *measures, const i16 *values,
                         u32 count) {
    parts.part(scan, phase, measures, count);
    scan.kernels->find_values(values, with_value.data(), count);
    for (u32 k = 0; k < fast_classes && make_room(*this, parts.places[k] + 2); ++k) {
        if (parts.places[k] == 0)
            continue;
        fast_class &item = models->classes[phase][k];
        item.places += parts.places[k];
        write_class(*this, item, parts.mask(k), parts.words, values);
    }
}

void fast_writer::end_line() {
    adapt_all(*models);
}

// ---------------------------------------------------------------- reading

namespace {

constexpr u32 spare_bytes = 16;

constexpr u32 spare_symbols = 2;

// No branch depends on what is read, and of what is read only the lengths are waited for.
inline void read_phrase(pack_place &at, fast_class &item) {
    const phrase &found = item.book->of[*at.symbol++];
    const u64 window = load_64(at.bytes + std::min(at.bit, at.end) / 8) >> (at.bit % 8);
    at.bit += found.bits;
    at.found |= found.ends;
    item.run = found.run + (static_cast<u32>(window) & found.run_mask);
    const u32 ends = found.ends & 1;
    const u32 above = found.above + (static_cast<u32>(window >> found.run_bits) & found.above_mask);
    const u32 sign = 0 - static_cast<u32>(window >> found.sign_bit & 1);
    item.ending = outcome_of(ends, above);
    item.value = static_cast<i32>(((above + ends) ^ sign) - sign);
}

// A symbol that is none ends all reading of a line's class; so one such symbol is read at most.
void stay_inside(pack_place &at) {
    at.symbol = std::min(at.symbol, at.symbols_end);
}

// Up to the last place of the list; the phrase that leads beyond it stays open.
void read_class(pack_place &place, fast_class &kept, const u32 *list, u32 count, i16 *values) {
    pack_place at = place;
    fast_class item = kept;
    u32 i = item.run;
    while (i < count) {
        values[list[i]] = static_cast<i16>(item.value);
        i += static_cast<u32>(item.ending >> 32);
        item.outcome += item.ending;
        read_phrase(at, item);
        i += item.run;
    }
    item.run = i - count;
    kept = item;
    place = at;
}

} // namespace

bool fast_reader::open(const u8 *symbols, u32 count, u32 bytes) {
    pack.clear();
    if (!try_resize(pack, u64{count} + spare_symbols + bytes + spare_bytes))
        return false;
    u8 *own = pack.data();
    std::memcpy(own, symbols, count);
    std::fill_n(own + count, spare_symbols, symbol_none);
    std::memcpy(own + count + spare_symbols, symbols + count, bytes);
    for (u32 i = 0; i < count; ++i)
        own[i] %= fast_symbols;
    at = {own, own + count, own + count + spare_symbols, 0, u64{bytes} * 8, 0};
    damaged = false;
    return true;
}

bool fast_reader::is_sound() const {
    return !damaged && at.found < 2 && at.bit <= at.end + 7;
}

unit_content fast_reader::head(unit_content) {
    const u32 symbol = *at.symbol++;
    stay_inside(at);
    damaged |= symbol > symbol_full;
    return symbol > symbol_full ? unit_content::empty : static_cast<unit_content>(symbol);
}

void fast_reader::places(component_scan &scan, u32 phase, const u8 *measures, i16 *values,
                         u32 count) {
    parts.part(scan, phase, measures, count);
    for (u32 k = 0; k < fast_classes; ++k) {
        const u32 n = parts.places[k];
        if (n == 0)
            continue;
        fast_class &item = models->classes[phase][k];
        item.places += n;
        if (!item.open)
            read_phrase(at, item);
        item.open = true;
        if (item.run >= n)
            item.run -= n;
        else
            read_class(at, item, parts.list.data(), parts.list_places(scan, k), values);
        stay_inside(at);
    }
}

void fast_reader::end_line() {
    adapt_all(*models);
}

} // namespace viq
