#include "core/allocation.h"

#include <cstdlib>
#include <cstring>

#include "core/limits.h"
#include "core/shared_lock.h"

namespace viq {

namespace {

// Of all contexts; what every allocation reads and changes, in one cache line.
struct alignas(64) gate_state {
    std::atomic<u64> bytes = 0;
    std::atomic<u64> allocations = 0;
    std::atomic<bool> watched = false; // there is a fault or a limit
};

constinit gate_state gate;
constinit std::atomic<allocation_fault> allocation_faults = nullptr;
constinit thread_local const char *last_refusal = nullptr;

// While there is one thread, a locked instruction would only cost time.
void add(u64 bytes, u64 allocations) {
    constexpr auto relaxed = std::memory_order_relaxed;
    if (has_threads()) [[unlikely]] {
        gate.bytes.fetch_add(bytes, relaxed);
        gate.allocations.fetch_add(allocations, relaxed);
    } else {
        gate.bytes.store(gate.bytes.load(relaxed) + bytes, relaxed);
        gate.allocations.store(gate.allocations.load(relaxed) + allocations, relaxed);
    }
}

bool refuse(std::size_t size) {
    last_refusal = nullptr;
    const allocation_fault fault = allocation_faults.load(std::memory_order_relaxed);
    if (fault != nullptr && fault())
        return true;
    last_refusal = memory_refusal(size, gate.bytes.load(std::memory_order_relaxed));
    return last_refusal != nullptr;
}

bool is_refused(std::size_t size) {
    return gate.watched.load(std::memory_order_relaxed) && refuse(size);
}

void *counted(void *memory, std::size_t size) {
    if (memory != nullptr)
        add(size, 1);
    return memory;
}

} // namespace

void *allocate(std::size_t size) noexcept {
    return is_refused(size) ? nullptr : counted(std::malloc(size), size);
}

// calloc() of some systems does not look among the small blocks that the thread has freed.
void *allocate_zeros(std::size_t size) noexcept {
    constexpr std::size_t largest_small = 1024;
    if (size > largest_small)
        return is_refused(size) ? nullptr : counted(std::calloc(1, size), size);
    void *memory = allocate(size);
    return memory != nullptr ? std::memset(memory, 0, size) : nullptr;
}

void release(void *memory, std::size_t size) noexcept {
    if (memory == nullptr)
        return;
    std::free(memory);
    add(u64{0} - size, ~u64{0});
}

void *allocate_for_caller(std::size_t size) noexcept {
    return is_refused(size) ? nullptr : std::malloc(size);
}

void *allocate_zeros_for_caller(std::size_t size) noexcept {
    return is_refused(size) ? nullptr : std::calloc(1, size);
}

// The address of the allocation is stored before the memory.
void *allocate_with_alignment(std::size_t size, std::size_t alignment) noexcept {
    void *allocation = size <= SIZE_MAX - alignment ? allocate(size + alignment) : nullptr;
    if (allocation == nullptr)
        return nullptr;
    const auto first = reinterpret_cast<std::uintptr_t>(allocation) + sizeof allocation;
    const std::size_t before = sizeof allocation + (~first + 1) % alignment;
    std::byte *start = static_cast<std::byte *>(allocation) + before;
    new (start - sizeof allocation) void *(allocation);
    return start;
}

void release_with_alignment(void *memory, std::size_t size, std::size_t alignment) noexcept {
    if (memory != nullptr)
        release(static_cast<void **>(memory)[-1], size + alignment);
}

memory_in_use current_memory() {
    return {gate.bytes, gate.allocations};
}

void set_allocation_fault(allocation_fault fault) {
    allocation_faults = fault;
    watch_memory_limits();
}

void watch_memory_limits() {
    gate.watched = true;
}

const char *take_refusal() {
    return std::exchange(last_refusal, nullptr);
}

} // namespace viq
