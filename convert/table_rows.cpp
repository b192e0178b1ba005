// The plain row kernels that read tables, and the selection of the instruction set.
#include "convert/table_row_loops.h"
#include "core/cpu.h"

namespace viq {

constexpr table_kernels plain_tables = {map_bytes_loop, map_colours_loop, map_words_loop,
                                        words_to_bytes_loop};

const table_kernels &table_rows() {
    constexpr kernel_sets<table_kernels> sets = {&plain_tables, VIQ_AVX2_TABLE(avx2_tables),
                                                 VIQ_NEON_TABLE(neon_tables),
                                                 VIQ_AVX512_TABLE(avx512_tables)};
    return current_kernels(sets);
}

} // namespace viq
