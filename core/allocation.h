// The gate through which all memory of the library is allocated and freed: here allocations are
// counted, limits are enforced, and tests make allocations fail.
//
// The memory comes from malloc(), because callers and the library free some of it for each other.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace viq {

// Null if memory runs out, or if a limit of the calling thread's context refuses the allocation;
// then the next report of a memory error names the limit.
void *allocate(std::size_t size) noexcept;
void *allocate_zeros(std::size_t size) noexcept;

// The size is that of the allocation. Null is permitted.
void release(void *memory, std::size_t size) noexcept;

// Memory that callers free with free(). It is not counted.
void *allocate_for_caller(std::size_t size) noexcept;
void *allocate_zeros_for_caller(std::size_t size) noexcept;

// What the library holds at the moment, in all contexts.
struct memory_in_use {
    std::uint64_t bytes;
    std::uint64_t allocations;
    bool operator==(const memory_in_use &) const = default;
};
memory_in_use current_memory();

// Tests set a function that is called before every allocation and fails it by returning true; null:
// none.
using allocation_fault = bool (*)();
void set_allocation_fault(allocation_fault fault);

// A context has set a limit for memory: from now on every allocation looks at the limits.
void watch_memory_limits();

// The message of the limit that refused the last allocation of this thread, or null. It is
// returned once.
const char *take_refusal();

// ---- Containers and objects

// malloc() aligns to twice the size of a pointer. Types that are aligned to more use these.
constexpr std::size_t allocation_alignment = 2 * sizeof(void *);
void *allocate_with_alignment(std::size_t size, std::size_t alignment) noexcept;
void release_with_alignment(void *memory, std::size_t size, std::size_t alignment) noexcept;

template <class T> struct gate_allocator {
    using value_type = T;

    gate_allocator() = default;
    template <class Other> constexpr gate_allocator(const gate_allocator<Other> &) noexcept {}

    T *allocate(std::size_t count) {
        if (T *memory = allocate_or_null(count))
            return memory;
        throw std::bad_alloc();
    }
    static T *allocate_or_null(std::size_t count) noexcept {
        if (count > PTRDIFF_MAX / sizeof(T))
            return nullptr;
        if constexpr (alignof(T) <= allocation_alignment)
            return static_cast<T *>(viq::allocate(count * sizeof(T)));
        else
            return static_cast<T *>(allocate_with_alignment(count * sizeof(T), alignof(T)));
    }
    static void deallocate(T *memory, std::size_t count) noexcept {
        if constexpr (alignof(T) <= allocation_alignment)
            release(memory, count * sizeof(T));
        else
            release_with_alignment(memory, count * sizeof(T), alignof(T));
    }
    bool operator==(const gate_allocator &) const = default;
};

template <class T> using vector = std::vector<T, gate_allocator<T>>;

// Resizes a vector; false if the allocation fails. No exception crosses the public interface.
template <class T> [[nodiscard]] bool try_resize(vector<T> &items, std::uint64_t count) noexcept {
    if (count > SIZE_MAX / sizeof(T))
        return false;
    try {
        items.resize(static_cast<std::size_t>(count));
    } catch (...) {
        return false;
    }
    return true;
}

template <class T> void destroy_owned(T *object) noexcept {
    if (object == nullptr)
        return;
    std::destroy_at(object);
    gate_allocator<T>::deallocate(object, 1);
}

template <class T> struct owned_destroyer {
    void operator()(T *object) const noexcept { destroy_owned(object); }
};

// An object on the heap.
template <class T> using owned = std::unique_ptr<T, owned_destroyer<T>>;

// Bytes that are not initialised.
struct byte_releaser {
    std::size_t size = 0;
    void operator()(unsigned char *bytes) const noexcept { release(bytes, size); }
};
using owned_bytes = std::unique_ptr<unsigned char[], byte_releaser>;

// Null: memory runs out.
inline owned_bytes make_bytes(std::size_t size) {
    return owned_bytes(static_cast<unsigned char *>(allocate(size)), {size});
}

// Null: memory runs out.
template <class T, class... Parts> owned<T> make_owned(Parts &&...parts) {
    T *memory = gate_allocator<T>::allocate_or_null(1);
    return owned<T>(memory != nullptr ? new (memory) T{std::forward<Parts>(parts)...} : nullptr);
}

} // namespace viq
