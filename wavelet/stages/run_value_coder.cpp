#include "wavelet/stages/fast_coder.h"

#include <bit>
#include <span>

#include "wavelet/stages/packing.h"

namespace viq {

namespace {

constexpr u8 floors[line_phases][part_floors] = {{3, 13, 49}, {4, 21, 86}};

} // namespace

// What photographs make of the classes on the average, so that little has to be learnt.
fast_models::fast_models() {
    constexpr u32 values[fast_classes] = {2, 34, 112, 188};
    constexpr u32 above[fast_classes] = {0, 12, 118, 790};
    for (u32 k = 0; k < fast_classes; ++k) {
        classes[k] = {240, outcome_of(values[k], above[k])};
        classes[k].book = &choose_book(classes[k].places, classes[k].outcome);
    }
}

void fast_models::finish() {
    for (fast_class &item : classes)
        item.open = false;
}

void class_parts::part(const component_scan &scan, u32 phase, const u8 *measures, u32 count) {
    words = whole_blocks(count) / scan_block;
    scan.kernels->part(measures, floors[phase], masks, places, count);
}

u32 class_parts::list_places(const component_scan &scan, u32 k) {
    return scan.kernels->list_places(mask(k), words, list);
}

namespace {

// Counts that have grown are halved, so that what is near counts more.
void adapt_all(fast_models &models) {
    constexpr u32 enough_values = 64;
    constexpr u32 enough_places = 1 << 13;
    for (fast_class &item : models.classes) {
        if (values_of(item.outcome) < enough_values && item.places < enough_places)
            continue;
        item.book = &choose_book(item.places, item.outcome);
        item.places /= 2;
        item.outcome = outcome_of((values_of(item.outcome) + 1) / 2,
                                  static_cast<u32>(above_of(item.outcome) / 2));
    }
}

// ---------------------------------------------------------------- writing

// There is room for a slot for each place and two for each class.
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

void write_value(fast_writer &writer, fast_class &item, i32 value) {
    const auto magnitude = static_cast<u32>(value < 0 ? -value : value);
    for (u32 symbol = symbol_near;;) {
        const phrase &found = item.open_book->of[symbol];
        const u32 run = item.run - found.run;
        const u32 more = magnitude - found.magnitude;
        if (run <= found.run_mask && more <= found.more_mask) {
            const u32 sign = value < 0 ? 1 : 0;
            writer.slots[item.slot] = {run | (sign | more << 1) << found.run_bits, found.bits,
                                       static_cast<u8>(symbol)};
            item.outcome += found.outcome;
            return;
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
            write_value(writer, item, values[std::countr_zero(ends)]);
            open_phrase(writer, item);
            run = 0;
        }
        run += count_bits(zeros);
    }
    cut_run(writer, item, run, 1);
}

void write_part(fast_writer &writer, const component_scan &scan, u32 phase, const u8 *measures,
                const i16 *values, u32 count) {
    class_parts &parts = writer.parts;
    parts.part(scan, phase, measures, count);
    scan.kernels->find_values(values, writer.with_value, count);
    if (!make_room(writer, count + 2 * fast_classes))
        return;
    for (u32 k = 0; k < fast_classes; ++k) {
        if (parts.places[k] == 0)
            continue;
        fast_class &item = writer.models->classes[k];
        item.places += parts.places[k];
        write_class(writer, item, parts.mask(k), parts.words, values);
    }
}

} // namespace

void fast_writer::begin() {
    used = 0;
    out_of_memory = false;
}

bool fast_writer::finish(u64 least_bytes, std::vector<u8> &pack) const {
    const std::span<const fast_slot> written(slots.data(), used);
    u64 bits = 0;
    for (const fast_slot &slot : written)
        bits += slot.count;
    const u64 size = std::max((bits + 7) / 8, least_bytes);
    if (out_of_memory || !begin_pack(pack, {used, static_cast<u32>(size)}, used + size))
        return false;
    u8 *symbol = pack.data() + sizeof(pack_head);
    u8 *byte = symbol + used;
    std::fill_n(byte, size, u8{0});
    u64 window = 0;
    u32 held = 0;
    for (const fast_slot &slot : written) {
        *symbol++ = slot.symbol;
        window |= u64{slot.bits} << held;
        held += slot.count;
        for (; held >= 8; held -= 8, window >>= 8)
            *byte++ = static_cast<u8>(window);
    }
    if (held > 0)
        *byte = static_cast<u8>(window);
    return true;
}

unit_content fast_writer::head(unit_content known) {
    if (make_room(*this, 1))
        slots[used++] = {0, 0, static_cast<u8>(symbol_empty + static_cast<u32>(known))};
    return known;
}

void fast_writer::places(component_scan &scan, u32 phase, const u8 *measures, const i16 *values,
                         u32 count) {
    for (u32 i = 0; i < count; i += part_places)
        write_part(*this, scan, phase, measures + i, values + i, std::min(count - i, part_places));
}

void fast_writer::end_line() {
    adapt_all(*models);
}

// ---------------------------------------------------------------- reading

namespace {

constexpr u32 spare_symbols = 2;
constexpr u32 spare_bytes = 8;

// A symbol that is none leads beyond the end of any list; so one of them is read at most.
void stay_inside(fast_reader &reader) {
    reader.damaged |= reader.at.symbol > reader.at.symbols_end;
    reader.at.symbol = std::min(reader.at.symbol, reader.at.symbols_end);
}

void read_part(fast_reader &reader, const component_scan &scan, u32 phase, const u8 *measures,
               i16 *values, u32 count) {
    static constexpr phrase nothing = {};
    const class_reader read = current_class_reader();
    class_parts &parts = reader.parts;
    parts.part(scan, phase, measures, count);
    for (u32 k = 0; k < fast_classes; ++k) {
        const u32 places = parts.places[k];
        if (places == 0)
            continue;
        fast_class &item = reader.models->classes[k];
        item.places += places;
        if (!item.open) {
            item.run = 0;
            item.ending = &nothing;
            item.value = 0;
            item.open = true;
        }
        if (item.run >= places) {
            item.run -= places;
            continue;
        }
        read(reader.at, item, parts.list, parts.list_places(scan, k), values);
        stay_inside(reader);
    }
}

} // namespace

bool fast_reader::open(const u8 *symbols, u32 count, u32 bytes) {
    pack.clear();
    if (!try_resize(pack, u64{count} + spare_symbols + bytes + spare_bytes))
        return false;
    u8 *own = pack.data();
    for (u32 i = 0; i < count; ++i)
        own[i] = symbols[i] % fast_symbols;
    std::fill_n(own + count, spare_symbols, symbol_none);
    u8 *plain = own + count + spare_symbols;
    std::memcpy(plain, symbols + count, bytes);
    at = {own, own + count, plain, 0, u64{bytes} * 8};
    damaged = false;
    return true;
}

// Whoever writes a pack leaves no symbol over.
bool fast_reader::is_sound() const {
    return !damaged && at.symbol == at.symbols_end && at.bit <= at.end;
}

unit_content fast_reader::head(unit_content) {
    const u32 symbol = *at.symbol++;
    stay_inside(*this);
    damaged |= symbol > symbol_full;
    return symbol > symbol_full ? unit_content::empty : static_cast<unit_content>(symbol);
}

void fast_reader::places(component_scan &scan, u32 phase, const u8 *measures, i16 *values,
                         u32 count) {
    for (u32 i = 0; i < count; i += part_places)
        read_part(*this, scan, phase, measures + i, values + i, std::min(count - i, part_places));
}

void fast_reader::end_line() {
    adapt_all(*models);
}

} // namespace viq
