// NEON row kernels that read tables. The loops process what remains after the last whole block.
#include <arm_neon.h>

#include "convert/table_row_loops.h"

namespace viq {

namespace {

// The 256 entries in four groups of four registers.
void map_bytes_blocks(const u8 *source, u8 *target, u32 bytes, const u8 *table) {
    uint8x16x4_t parts[4];
    for (u32 n = 0; n < 4; ++n)
        parts[n] = vld1q_u8_x4(table + 64 * n);
    u32 x = 0;
    for (; x + 16 <= bytes; x += 16) {
        uint8x16_t index = vld1q_u8(source + x);
        uint8x16_t found = vqtbl4q_u8(parts[0], index);
        for (u32 n = 1; n < 4; ++n) {
            index = vsubq_u8(index, vdupq_n_u8(64));
            found = vqtbx4q_u8(found, parts[n], index);
        }
        vst1q_u8(target + x, found);
    }
    map_bytes_loop(source + x, target + x, bytes - x, table);
}

} // namespace

constexpr table_kernels neon_tables = {map_bytes_blocks, map_colours_loop, map_words_loop,
                                       words_to_bytes_loop};

} // namespace viq
