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

// The compiler's functions also read XCR0, in which the operating system enables the registers that
// it saves.
bool machine_has_avx512() {
#if defined(VIQ_HAVE_AVX512)
    __builtin_cpu_init();
    return machine_has_avx2() && __builtin_cpu_supports("avx512f") != 0 &&
           __builtin_cpu_supports("avx512bw") != 0 && __builtin_cpu_supports("avx512vl") != 0 &&
           __builtin_cpu_supports("avx512dq") != 0 && __builtin_cpu_supports("avx512vbmi") != 0 &&
           __builtin_cpu_supports("avx512vbmi2") != 0;
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
    if (machine_has_avx512())
        return instruction_set::avx512;
    return machine_has_avx2() ? instruction_set::avx2 : instruction_set::plain;
}

constinit std::atomic<int> selected = -1; // -1: not selected yet

} // namespace

const char *set_name(instruction_set set) {
    constexpr const char *names[instruction_sets] = {"plain", "AVX2", "NEON", "AVX-512"};
    return names[static_cast<unsigned>(set)];
}

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
    case instruction_set::avx512:
        return machine_has_avx512();
    default:
        return set == instruction_set::plain;
    }
}

void force_set(instruction_set set) {
    if (set_available(set))
        selected.store(static_cast<int>(set), std::memory_order_relaxed);
}

} // namespace viq
