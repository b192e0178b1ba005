// Creating, binding and destroying contexts.
#include "core/context.h"

#include <algorithm>
#include <atomic>
#include <mutex>

#include "core/image.h"
#include "core/limits.h"
#include "core/report.h"
#include "core/shared_lock.h"
#include "core/start_up.h"
#include "core/thread_end.h"

namespace viq {

#if defined(_WIN32)
[[gnu::section("viqctx$a"), gnu::used]] constinit const context_slot first_slot[1] = {};
[[gnu::section("viqctx$z"), gnu::used]] constinit const context_slot end_of_slots[1] = {};
#endif

constinit thread_local context *bound_context = nullptr;
constinit std::atomic<bool> contexts_exist = false;

namespace {

constexpr u32 last_context = 65535;

// A context with its objects.
struct owned_context {
    context record;
    vector<void *> objects;     // by slot
    thread_identity owner = {}; // the thread that is bound to the context, if there is one

    owned_context() = default;
    owned_context(const owned_context &) = delete;
    owned_context &operator=(const owned_context &) = delete;
    ~owned_context();
};

struct context_table {
    constant_mutex creation; // one context is created at a time
    constant_mutex lock;
    vector<owned<owned_context>> slots; // index: number - 1
    u32 created = 0;                    // contexts that exist
};

constinit context_table contexts;

std::size_t slot_count() {
    return static_cast<std::size_t>(slots_end() - slots_begin());
}

owned_context::~owned_context() {
    for (std::size_t n = objects.size(); n-- > 0;)
        if (objects[n] != nullptr)
            slots_begin()[n].rules->destroy(objects[n]);
}

// Null: memory runs out.
owned<owned_context> make_context() {
    owned<owned_context> made = make_owned<owned_context>();
    if (made == nullptr || !try_resize(made->objects, slot_count()))
        return nullptr;
    made->record.objects = made->objects.data();
    for (std::size_t n = 0; n < made->objects.size(); ++n) {
        const object_rules *rules = slots_begin()[n].rules;
        made->objects[n] = rules->make();
        if (made->objects[n] == nullptr)
            return nullptr;
    }
    return made;
}

// The thread is bound to the context while the object exists.
struct scoped_binding {
    context *before = bound_context;
    explicit scoped_binding(context *bound) { bound_context = bound; }
    scoped_binding(const scoped_binding &) = delete;
    scoped_binding &operator=(const scoped_binding &) = delete;
    ~scoped_binding() { bound_context = before; }
};

// The first free number, or an error code.
u32 free_number() {
    const auto free = std::find(contexts.slots.begin(), contexts.slots.end(), nullptr);
    const auto index = static_cast<std::size_t>(free - contexts.slots.begin());
    if (index == last_context)
        return VIQ_ERR_NO_HANDLES;
    if (index == contexts.slots.size() && !try_resize(contexts.slots, index + 1))
        return VIQ_ERR_MEMORY;
    return static_cast<u32>(index) + 1;
}

// A new context has the error handlers and the limits of the calling thread's.
u32 start(owned_context &made) {
    const error_records handlers = copy_error_handlers();
    const limit_values limits = current_limits();
    const scoped_binding binding(&made.record);
    take_error_handlers(handlers);
    take_limits(limits);
    return start_up_tables();
}

// Returns the number of the context, or an error code.
u32 enter_context(owned<owned_context> made) {
    const std::lock_guard guard(contexts.lock);
    const u32 number = free_number();
    if (is_error(number))
        return number;
    made->record.number = number;
    contexts.slots[number - 1] = std::move(made);
    ++contexts.created;
    contexts_exist.store(true, std::memory_order_release);
    return number;
}

owned_context *find_context(u32 number) {
    return number >= 1 && number <= contexts.slots.size() ? contexts.slots[number - 1].get()
                                                          : nullptr;
}

bool has_owner(const owned_context &one) {
    return one.owner != thread_identity();
}

void bind_thread(owned_context *to) {
    if (owned_context *before = find_context(VIQ_context_current()); before != nullptr)
        before->owner = {};
    bound_context = to != nullptr ? &to->record : nullptr;
    if (to != nullptr)
        to->owner = this_thread();
}

// Another thread may be bound to the context from then on, so that what still runs in this one
// works in context 0. The context is found by its owner, because bound_context need not exist.
void release_context_of_thread() {
    const std::lock_guard guard(contexts.lock);
    if (thread_objects_exist_at_end)
        bound_context = nullptr;
    for (const owned<owned_context> &slot : contexts.slots)
        if (slot != nullptr && slot->owner == this_thread())
            slot->owner = {};
}

} // namespace

namespace {

VIQ_PER_CONTEXT(owned<owned_context>, inner);

u32 make_inner_context() {
    if (const u32 code = ensure_started(); is_error(code))
        return code;
    owned<owned_context> made = make_context();
    if (made == nullptr)
        return report("VIQ_context_create", VIQ_ERR_MEMORY, "");
    made->record.number = VIQ_context_current();
    if (const u32 code = start(*made); is_error(code))
        return code;
    *inner = std::move(made);
    return success;
}

} // namespace

inner_context::inner_context() : outer(bound_context), status(success) {
    if (called_by_handler())
        status = VIQ_ERR_STATE;
    else if (*inner == nullptr)
        status = make_inner_context();
    if (is_error(status))
        return;
    const error_records records = copy_error_records();
    const limit_values limits = current_limits();
    bound_context = &(*inner)->record;
    set_error_records(records);
    take_limits(limits);
}

inner_context::~inner_context() {
    if (is_error(status))
        return;
    end_sequences_here(nullptr);
    const error_records records = copy_error_records();
    bound_context = outer;
    set_error_records(records);
}

void end_sequences_here(const tVIQ_Image *image) {
    for (const context_slot *slot = slots_begin(), *end = slots_end(); slot != end; ++slot)
        if (slot->rules->end_sequences != nullptr)
            slot->rules->end_sequences(object_here(*slot), image);
}

} // namespace viq

using namespace viq;

u32 VIQ_context_create(void) {
    constexpr const char *name = "VIQ_context_create";
    if (handler_runs_here())
        return VIQ_ERR_STATE;
    const std::lock_guard creating(contexts.creation);
    if (const u32 code = ensure_started(); is_error(code))
        return code;
    owned<owned_context> made = make_context();
    if (made == nullptr)
        return report(name, VIQ_ERR_MEMORY, "");
    if (const u32 code = start(*made); is_error(code)) // reported by what failed
        return code;
    const u32 result = enter_context(std::move(made));
    if (is_error(result))
        return report(name, result, result == VIQ_ERR_NO_HANDLES ? "Run out of contexts" : "");
    return result;
}

u32 VIQ_context_use(u32 hContext) {
    constexpr const char *name = "VIQ_context_use";
    u32 code = success;
    if (handler_runs_here())
        return VIQ_ERR_STATE;
    {
        const std::lock_guard guard(contexts.lock);
        owned_context *found = find_context(hContext);
        if (hContext != 0 && found == nullptr)
            code = VIQ_ERR_HANDLE;
        else if (found != nullptr && &found->record != bound_context && has_owner(*found))
            code = VIQ_ERR_STATE;
        else
            bind_thread(found);
    }
    if (code == VIQ_ERR_HANDLE)
        return report_bad_handle(name);
    if (code == VIQ_ERR_STATE)
        return report(name, code, "Context in use");
    if (hContext != 0)
        call_at_thread_end(release_context_of_thread);
    return success;
}

u32 VIQ_context_current(void) {
    return bound_context != nullptr ? bound_context->number : 0;
}

u32 VIQ_context_destroy(u32 hContext) {
    constexpr const char *name = "VIQ_context_destroy";
    if (handler_runs_here())
        return VIQ_ERR_STATE;
    owned<owned_context> ended;
    bool busy = false;
    {
        const std::lock_guard guard(contexts.lock);
        owned_context *found = find_context(hContext);
        busy = found != nullptr && has_owner(*found) && &found->record != bound_context;
        if (found != nullptr && !busy) {
            if (&found->record == bound_context)
                bind_thread(nullptr);
            ended = std::move(contexts.slots[hContext - 1]);
        }
    }
    if (busy)
        return report(name, VIQ_ERR_STATE, "Context in use");
    if (ended == nullptr)
        return report_bad_handle(name);
    {
        const scoped_binding binding(&ended->record);
        end_sequences_here(nullptr);
    }
    ended.reset();
    const std::lock_guard guard(contexts.lock);
    contexts_exist.store(--contexts.created != 0, std::memory_order_release);
    return success;
}
