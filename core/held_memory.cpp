#include "core/held_memory.h"

#include "core/address_map.h"

namespace viq {

namespace {

struct no_value {};

constinit address_map<no_value> held_memory;

} // namespace

bool hold_memory(const void *start) {
    const shared_lock guard(held_memory.lock);
    if (!make_room(held_memory))
        return false;
    store_entry<no_value>(*held_memory.current.load(std::memory_order_relaxed), start, nullptr);
    return true;
}

void let_go_of_memory(const void *start) {
    if (start != nullptr)
        remove_value(held_memory, start);
}

bool is_held_memory(const void *start) {
    return find_entry(held_memory.current.load(std::memory_order_acquire), start) != nullptr;
}

} // namespace viq
