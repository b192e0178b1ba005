// Makes random calls with the target of call sequences, in one process, until the given number of
// calls has been made. Prints the memory that the process occupies after a tenth of them, after
// half of them and at the end. Fails if it grows after the first tenth, or if the library then
// holds more memory than before after any sequence of calls.
#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>

#include <sys/resource.h>
#include <unistd.h>

#include "core/allocation.h"
#include "fuzz/call_arguments.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace {

std::size_t resident_kib() {
    unsigned long total = 0, resident = 0;
    if (std::FILE *file = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(file, "%lu %lu", &total, &resident) != 2)
            resident = 0;
        std::fclose(file);
    }
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) / 1024;
}

// A call may ask for as much as the machine has; a larger allocation fails instead.
void limit_address_space() {
    constexpr rlim_t most = rlim_t{4} << 30;
    const rlimit limit = {most, most};
    setrlimit(RLIMIT_AS, &limit);
}

} // namespace

int main(int argc, char **argv) {
    const unsigned long long wanted = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 1000000;
    constexpr std::size_t allowed_kib = 16 << 10; // freed blocks that the allocator keeps
    constexpr viq::u64 allowed_bytes = 4096;      // tables that are made at their first use
    std::minstd_rand random(1);
    std::vector<viq::u8> input(400);
    std::size_t start = 0, middle = 0;
    viq::memory_in_use held_at_start = {};
    limit_address_space();
    while (viq::calls_made < wanted) {
        for (viq::u8 &byte : input)
            byte = static_cast<viq::u8>(random() >> 8);
        input[0] |= 1; // no extreme sizes, which take most of the time
        LLVMFuzzerTestOneInput(input.data(), input.size());
        const viq::memory_in_use held = viq::current_memory();
        if (start == 0 && viq::calls_made >= wanted / 10) {
            start = resident_kib();
            held_at_start = held;
        }
        if (start != 0 && held.bytes > held_at_start.bytes + allowed_bytes) {
            std::printf("soak: the library holds %llu bytes, after a tenth of the calls %llu\n",
                        static_cast<unsigned long long>(held.bytes),
                        static_cast<unsigned long long>(held_at_start.bytes));
            return 1;
        }
        if (middle == 0 && viq::calls_made >= wanted / 2)
            middle = resident_kib();
    }
    const std::size_t end = resident_kib();
    std::printf(
        "soak: %llu calls, %zu KiB after a tenth of them, %zu KiB after half, %zu KiB at the "
        "end\n",
        static_cast<unsigned long long>(viq::calls_made), start, middle, end);
    return end <= start + allowed_kib ? 0 : 1;
}
