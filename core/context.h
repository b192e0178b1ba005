// Contexts: everything that the library keeps from one call to the next, apart from the images
// themselves, belongs to a context, and every thread is bound to one. Threads that are bound to
// different contexts can work at the same time without locks.
//
// An operation declares what it keeps with VIQ_PER_CONTEXT where it would otherwise declare a
// static object. The process's own context, number 0, uses a static object for each declaration;
// every other context allocates its own objects when it is created.
#pragma once

#include <atomic>
#include <cstddef>

#include "core/types.h"

namespace viq {

// What the contexts do with objects of one type.
struct object_rules {
    void *(*make)(); // null: memory runs out
    void (*destroy)(void *object);
    // Ends the sequences in the object that the image takes part in (null: all); null: it has none.
    void (*end_sequences)(void *object, const tVIQ_Image *image);
};

// A declaration. The linker collects all of them in one section, as an array.
struct alignas(2 * sizeof(void *)) context_slot {
    void *of_process; // the object of context 0
    const object_rules *rules;
};

struct context {
    u32 number = 0;
    void *const *objects = nullptr; // by slot
};

#if defined(_WIN32)
#define VIQ_CONTEXT_SECTION "viqctx$m"
extern const context_slot first_slot[1];
extern const context_slot end_of_slots[1];
constexpr std::ptrdiff_t slots_before = 1; // that the library itself puts before the declarations
#else
#define VIQ_CONTEXT_SECTION "viq_context"
[[gnu::visibility("hidden")]] extern const context_slot first_slot[] asm("__start_viq_context");
[[gnu::visibility("hidden")]] extern const context_slot end_of_slots[] asm("__stop_viq_context");
constexpr std::ptrdiff_t slots_before = 0;
#endif

// The optimiser must not see that the declarations are more than one object: it could take the way
// from the first to the last one for impossible.
inline const context_slot *hidden_from_optimiser(const context_slot *slot) {
    asm("" : "+r"(slot));
    return slot;
}

inline const context_slot *slots_begin() {
    return hidden_from_optimiser(first_slot + slots_before);
}

inline const context_slot *slots_end() {
    return hidden_from_optimiser(end_of_slots);
}

// The context of the calling thread; null: context 0.
#if defined(__ELF__)
[[gnu::tls_model("initial-exec")]]
#endif
extern constinit thread_local context *bound_context;

inline void *object_here(const context_slot &slot) {
    const context *bound = bound_context;
    return bound == nullptr ? slot.of_process : bound->objects[&slot - first_slot - slots_before];
}

// An object of which every context has its own.
template <class T> struct per_context {
    context_slot slot;
    T &operator*() const { return *static_cast<T *>(object_here(slot)); }
    T *operator->() const { return static_cast<T *>(object_here(slot)); }
};

template <class T> void *make_object() {
    return make_owned<T>().release();
}

template <class T> void destroy_object_of(void *object) {
    destroy_owned(static_cast<T *>(object));
}

// Types with sequences in them overload end_sequences(T &, const tVIQ_Image *).
template <class T> constexpr auto sequence_end_of() -> void (*)(void *, const tVIQ_Image *) {
    if constexpr (requires(T & object, const tVIQ_Image *image) { end_sequences(object, image); })
        return [](void *object, const tVIQ_Image *image) {
            end_sequences(*static_cast<T *>(object), image);
        };
    else
        return nullptr;
}

template <class T>
inline constexpr object_rules rules_of = {make_object<T>, destroy_object_of<T>,
                                          sequence_end_of<T>()};

// Declares `name`, a per_context<type>.
#define VIQ_PER_CONTEXT(type, name)                                                                \
    constinit type name##_of_process = {};                                                         \
    [[gnu::section(VIQ_CONTEXT_SECTION), gnu::used]] constinit const ::viq::per_context<type>      \
        name = {{&name##_of_process, &::viq::rules_of<type>}}

// While the object exists, the calling thread works in a context inside its own one, so that the
// functions it calls disturb no sequence, open file or table of the caller. The inner context is
// created when it is first used and destroyed with the outer one. It has the number and the error
// records of the outer context; changes of the records are kept.
struct inner_context {
    context *outer;
    u32 status; // an error: there is no inner context
    inner_context();
    inner_context(const inner_context &) = delete;
    inner_context &operator=(const inner_context &) = delete;
    ~inner_context();
};

// Ends the sequences of the calling thread's context that the image takes part in (null: all).
void end_sequences_here(const tVIQ_Image *image);

// Contexts besides context 0 exist, so that other threads may be working.
extern constinit std::atomic<bool> contexts_exist;
inline bool has_contexts() {
    return contexts_exist.load(std::memory_order_acquire);
}

// A number that differs from context to context and is never 0.
inline u32 context_mark() {
    const context *bound = bound_context;
    return (bound == nullptr ? 0 : bound->number) + 1;
}

} // namespace viq
