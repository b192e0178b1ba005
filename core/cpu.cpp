#include "core/cpu.h"

#include <atomic>

namespace viq {

namespace {

bool machine_has_avx2() {
#if defined(VIQ_HAVE_AVX2)
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("bmi2") != 0;
#else
    return false;
#endif
}

// Every 64-bit ARM processor has NEON.
constexpr bool machine_has_neon() {
#if defined(VIQ_HAVE_NEON)
    return true;
#else
    return false;
#endif
}

instruction_set best_set() {
    if (machine_has_neon())
        return instruction_set::neon;
    return machine_has_avx2() ? instruction_set::avx2 : instruction_set::plain;
}

constinit std::atomic<int> selected = -1; // -1: not selected yet

} // namespace

instruction_set current_set() {
    const int set = selected.load(std::memory_order_relaxed);
    if (set >= 0) [[likely]]
        return static_cast<instruction_set>(set);
    const instruction_set best = best_set();
    selected.store(static_cast<int>(best), std::memory_order_relaxed);
    return best;
}

bool set_available(instruction_set set) {
    switch (set) {
    case instruction_set::avx2:
        return machine_has_avx2();
    case instruction_set::neon:
        return machine_has_neon();
    default:
        return set == instruction_set::plain;
    }
}

void force_set(instruction_set set) {
    if (set_available(set))
        selected.store(static_cast<int>(set), std::memory_order_relaxed);
}

} // namespace viq
