// What the library knows about objects that it finds by their addresses. Any thread searches the
// map without a lock; entering and removing take one. An object is removed by the thread that uses
// it, so that a value does not disappear while it is in use.
#pragma once

#include <atomic>

#include "core/shared_lock.h"
#include "core/types.h"

namespace viq {

// A hash table with linear probing.
template <class Value> struct address_table {
    struct entry {
        std::atomic<const void *> address =
            nullptr; // null: free; removed_entry: free, but probed past
        std::atomic<Value *> value = nullptr;
    };
    vector<entry> entries; // the number is a power of 2
    std::size_t mask = 0;  // the number - 1
    std::size_t used = 0;  // entries that are not null
};

template <class Value> struct address_map {
    std::atomic<address_table<Value> *> current = nullptr;
    constant_mutex lock;
    // All tables that have existed: a thread may still be searching an older one. Each has twice
    // the size of the one before it. They are never freed, so that threads that are still running
    // when the process ends can use the map.
    address_table<Value> *tables[48] = {};
    u32 table_count = 0;
};

inline const char removed_entry_mark = 0;
inline const void *const removed_entry = &removed_entry_mark;

inline std::size_t hash_of(const void *address) {
    const auto number = static_cast<u64>(reinterpret_cast<std::uintptr_t>(address));
    return static_cast<std::size_t>((number * 0x9E3779B97F4A7C15u) >> 32);
}

template <class Value>
typename address_table<Value>::entry *find_entry(address_table<Value> *table, const void *address) {
    if (table == nullptr)
        return nullptr;
    const std::size_t mask = table->mask;
    auto *entries = table->entries.data();
    for (std::size_t n = hash_of(address) & mask;; n = (n + 1) & mask) {
        const void *found = entries[n].address.load(std::memory_order_acquire);
        if (found == nullptr)
            return nullptr;
        if (found == address)
            return &entries[n];
    }
}

// Null if the address is not in the map.
template <class Value> Value *find_value(const address_map<Value> &map, const void *address) {
    const auto *entry = find_entry(map.current.load(std::memory_order_acquire), address);
    return entry != nullptr ? entry->value.load(std::memory_order_relaxed) : nullptr;
}

// The value is stored before the address, which makes it visible.
template <class Value>
void store_entry(address_table<Value> &table, const void *address, Value *value) {
    const std::size_t mask = table.mask;
    std::size_t n = hash_of(address) & mask;
    const auto occupied = [&](const void *found) {
        return found != nullptr && found != removed_entry;
    };
    while (occupied(table.entries[n].address.load(std::memory_order_relaxed)))
        n = (n + 1) & mask;
    table.used += table.entries[n].address.load(std::memory_order_relaxed) == nullptr;
    table.entries[n].value.store(value, std::memory_order_relaxed);
    table.entries[n].address.store(address, std::memory_order_release);
}

// Makes room for one more entry, a quarter of the table at most being in use; false: memory runs
// out.
template <class Value> bool make_room(address_map<Value> &map) {
    constexpr std::size_t first_size = 64;
    address_table<Value> *before = map.current.load(std::memory_order_relaxed);
    if (before != nullptr && before->used < before->entries.size() / 4)
        return true;
    auto made = make_owned<address_table<Value>>();
    if (made == nullptr)
        return false;
    try {
        made->entries = vector<typename address_table<Value>::entry>(
            before != nullptr ? before->entries.size() * 2 : first_size);
    } catch (...) {
        return false;
    }
    made->mask = made->entries.size() - 1;
    if (before != nullptr)
        for (const auto &entry : before->entries) {
            const void *address = entry.address.load(std::memory_order_relaxed);
            if (address != nullptr && address != removed_entry)
                store_entry(*made, address, entry.value.load(std::memory_order_relaxed));
        }
    map.tables[map.table_count++] = made.get();
    map.current.store(made.release(), std::memory_order_release);
    return true;
}

// The value of the address, made if it is missing; null: memory runs out.
template <class Value> Value *enter_value(address_map<Value> &map, const void *address) {
    if (Value *present = find_value(map, address))
        return present;
    const shared_lock guard(map.lock);
    if (!make_room(map))
        return nullptr;
    auto made = make_owned<Value>();
    if (made != nullptr)
        store_entry(*map.current.load(std::memory_order_relaxed), address, made.get());
    return made.release();
}

// An entry that ends a run of occupied ones becomes free, and so do the removed ones before it.
template <class Value> void remove_value(address_map<Value> &map, const void *address) {
    const shared_lock guard(map.lock);
    address_table<Value> *table = map.current.load(std::memory_order_relaxed);
    auto *entry = find_entry(table, address);
    if (entry == nullptr)
        return;
    destroy_owned(entry->value.load(std::memory_order_relaxed));
    entry->address.store(removed_entry, std::memory_order_relaxed);
    const std::size_t mask = table->mask;
    auto n = static_cast<std::size_t>(entry - table->entries.data());
    if (table->entries[(n + 1) & mask].address.load(std::memory_order_relaxed) != nullptr)
        return;
    for (; table->entries[n].address.load(std::memory_order_relaxed) == removed_entry;
         n = (n - 1) & mask, --table->used)
        table->entries[n].address.store(nullptr, std::memory_order_relaxed);
}

// Calls visit(address, value) for every entry, until it returns false. Nothing is removed
// meanwhile.
template <class Value, class Visit> void visit_values(address_map<Value> &map, Visit visit) {
    const shared_lock guard(map.lock);
    if (const address_table<Value> *table = map.current.load(std::memory_order_relaxed))
        for (const auto &entry : table->entries) {
            const void *address = entry.address.load(std::memory_order_relaxed);
            if (address != nullptr && address != removed_entry &&
                !visit(address, *entry.value.load(std::memory_order_relaxed)))
                return;
        }
}

} // namespace viq
