// Selection of the instruction set that the row and block kernels use.
//
// A kernel family defines one table of functions for each instruction set that it supports and
// lists them in a `kernel_sets` record. Adding an instruction set means: an enumerator, its
// detection in core/cpu.cpp, its VIQ_..._TABLE macro, its field in `kernel_sets` with a line in
// `current_kernels`, and the tables of the families that gain from it. Tests force every set that
// the machine supports in turn.
#pragma once

namespace viq {

// avx512 means the parts F, BW, VL, DQ, VBMI and VBMI2. Processors that have AVX-512 without them
// use AVX2, because they lower their clock for registers of 64 bytes.
enum class instruction_set : unsigned { plain, avx2, neon, avx512 };
constexpr unsigned instruction_sets = 4;

// Such as "AVX2".
const char *set_name(instruction_set set);

// The best set of this machine, or the forced one. A set is available if the processor has it and
// the operating system saves its registers.
instruction_set current_set();

bool set_available(instruction_set set);

// For tests: an available set remains in force until the next call.
void force_set(instruction_set set);

// The address of a table, or null in builds without the instruction set, where the table is not
// defined.
#if defined(VIQ_HAVE_AVX2)
#define VIQ_AVX2_TABLE(table) (&(table))
#else
#define VIQ_AVX2_TABLE(table) nullptr
#endif
#if defined(VIQ_HAVE_AVX512)
#define VIQ_AVX512_TABLE(table) (&(table))
#else
#define VIQ_AVX512_TABLE(table) nullptr
#endif
#if defined(VIQ_HAVE_NEON)
#define VIQ_NEON_TABLE(table) (&(table))
#else
#define VIQ_NEON_TABLE(table) nullptr
#endif

// The tables of one kernel family. The plain one is required; a null table means that the family
// has no kernels for this set.
template <class Table> struct kernel_sets {
    const Table *plain;
    const Table *avx2 = nullptr;
    const Table *neon = nullptr;
    const Table *avx512 = nullptr;
};

// The family's table for the current instruction set, or the next simpler one that it has.
template <class Table> inline const Table &current_kernels(const kernel_sets<Table> &sets) {
    const instruction_set set = current_set();
    if (sets.avx512 != nullptr && set == instruction_set::avx512)
        return *sets.avx512;
    if (sets.avx2 != nullptr && (set == instruction_set::avx2 || set == instruction_set::avx512))
        return *sets.avx2;
    if (sets.neon != nullptr && set == instruction_set::neon)
        return *sets.neon;
    return *sets.plain;
}

} // namespace viq
