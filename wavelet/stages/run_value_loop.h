// Each instruction set includes this text into an unnamed namespace of its own source.
#include <algorithm>

#include "core/byte_order.h"
#include "wavelet/stages/fast_reading.h"

namespace viq {

namespace {

// No branch depends on what is read but the one that ends the list, and of what is read only the
// symbols decide where the next bits lie.
void read_class(pack_place &place, fast_class &item, const u16 *list, u32 count, i16 *values) {
    pack_place at = place;
    const phrase *found = item.ending;
    const phrase *book = item.book->of;
    u64 outcome = item.outcome;
    i32 value = item.value;
    u32 i = item.run;
    while (i < count) {
        values[list[i]] = static_cast<i16>(value);
        outcome += found->outcome;
        i += found->ends;
        found = book + *at.symbol++;
        const u64 window =
            load<u64>(at.bytes + std::min(at.bit, at.end) / 8, endian::little) >> (at.bit % 8);
        at.bit += found->bits;
        i += found->run + (static_cast<u32>(window) & found->run_mask);
        const auto rest = static_cast<u32>(window >> found->run_bits);
        const u32 sign = 0 - (rest & 1);
        const u32 magnitude = found->magnitude + (rest >> 1 & found->more_mask);
        value = static_cast<i32>((magnitude ^ sign) - sign);
    }
    item.outcome = outcome;
    item.ending = found;
    item.value = value;
    item.run = i - count;
    place = at;
}

} // namespace

} // namespace viq
