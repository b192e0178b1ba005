// The innermost loop of the fast packing: one class of a phase of a line is read.
#pragma once

#include "wavelet/stages/fast_book.h"

namespace viq {

// How a class has come out so far, and its open phrase.
struct fast_class {
    u32 places; // with and without a value
    u64 outcome;
    const phrase_book *book = nullptr;
    bool open = false;
    u32 run = 0; // zeros still to come, or seen so far by the writer

    // Of the reader: the phrase and the value behind the run.
    const phrase *ending = nullptr;
    i32 value = 0;

    // Of the writer: where the phrase goes, and the book it was opened with.
    u32 slot = 0;
    const phrase_book *open_book = nullptr;
};

// Symbols and plain bits of a pack, the lowest bit of a byte first. Behind the last symbol stand
// some that are none, behind the bits zeros.
struct pack_place {
    const u8 *symbol = nullptr, *symbols_end = nullptr;
    const u8 *bytes = nullptr;
    u64 bit = 0, end = 0;
};

// Reads values to the places of a list; the phrase that leads beyond the last place stays open.
using class_reader = void (*)(pack_place &at, fast_class &item, const u16 *list, u32 count,
                              i16 *values);

class_reader current_class_reader();

extern const class_reader plain_class_reader;
extern const class_reader avx2_class_reader;

} // namespace viq
