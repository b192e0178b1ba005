// The loop of class_reader. The sources for each instruction set include it, so that each has a
// copy with internal linkage.
#include <algorithm>

#include "core/byte_order.h"
#include "wavelet/stages/run_value_kernels.h"

namespace viq {

namespace {

// The end of the list is the only branch that depends on the data, and the position of the next
// extra bits depends on the symbols alone; so consecutive pairs overlap in the pipeline.
void read_class(packet_position &position, run_value_class &model, const u16 *positions, u32 count,
                i16 *values) {
    packet_position at = position;
    const codebook_entry *entry = model.entry;
    const codebook_entry *entries = model.codebook->entries;
    u64 statistics = model.statistics;
    i32 value = model.value;
    u32 i = model.run;
    while (i < count) {
        values[positions[i]] = static_cast<i16>(value);
        statistics += entry->statistics;
        i += entry->has_value;
        entry = entries + *at.symbol++;
        const u64 window =
            load<u64>(at.bytes + std::min(at.bit, at.end) / 8, endian::little) >> (at.bit % 8);
        at.bit += entry->extra_bits;
        i += entry->run + (static_cast<u32>(window) & entry->run_mask);
        const auto rest = static_cast<u32>(window >> entry->run_bits);
        const u32 sign = 0 - (rest & 1);
        const u32 magnitude = entry->magnitude + (rest >> 1 & entry->magnitude_mask);
        value = static_cast<i32>((magnitude ^ sign) - sign);
    }
    model.statistics = statistics;
    model.entry = entry;
    model.value = value;
    model.run = i - count;
    position = at;
}

} // namespace

} // namespace viq
