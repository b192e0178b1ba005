#include "core/allocation.h"

#include <cstdlib>

#include "core/context.h"
#include "core/limits.h"

namespace viq {

namespace {

// Of all contexts.
struct allocation_sums {
    std::atomic<u64> bytes = 0;
    std::atomic<u64> allocations = 0;
};

constinit allocation_sums held;
constinit std::atomic<bool> watched = false; // there is a fault or a limit
constinit std::atomic<allocation_fault> allocation_faults = nullptr;
constinit thread_local const char *last_refusal = nullptr;

// While there is one thread, a locked instruction would only cost time.
void add(std::atomic<u64> &sum, u64 number) {
    if (has_contexts())
        sum.fetch_add(number, std::memory_order_relaxed);
    else
        sum.store(sum.load(std::memory_order_relaxed) + number, std::memory_order_relaxed);
}

bool refuse(std::size_t size) {
    last_refusal = nullptr;
    const allocation_fault fault = allocation_faults.load(std::memory_order_relaxed);
    if (fault != nullptr && fault())
        return true;
    last_refusal = memory_refusal(size, held.bytes.load(std::memory_order_relaxed));
    return last_refusal != nullptr;
}

bool is_refused(std::size_t size) {
    return watched.load(std::memory_order_relaxed) && refuse(size);
}

void *counted(void *memory, std::size_t size) {
    if (memory != nullptr) {
        add(held.bytes, size);
        add(held.allocations, 1);
    }
    return memory;
}

} // namespace

void *allocate(std::size_t size) noexcept {
    return is_refused(size) ? nullptr : counted(std::malloc(size), size);
}

void *allocate_zeros(std::size_t size) noexcept {
    return is_refused(size) ? nullptr : counted(std::calloc(1, size), size);
}

void release(void *memory, std::size_t size) noexcept {
    if (memory == nullptr)
        return;
    std::free(memory);
    add(held.bytes, u64{0} - size);
    add(held.allocations, ~u64{0});
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
    return {held.bytes, held.allocations};
}

void set_allocation_fault(allocation_fault fault) {
    allocation_faults = fault;
    watch_memory_limits();
}

void watch_memory_limits() {
    watched = true;
}

const char *take_refusal() {
    return std::exchange(last_refusal, nullptr);
}

} // namespace viq
