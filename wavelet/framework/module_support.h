// What every module does alike: instance data that lives in the instance's block, the link to the
// upstream, configurations and settings blocks.
#pragma once

#include <cstring>
#include <memory>

#include "core/byte_order.h"
#include "wavelet/framework/module.h"

namespace viq {

// Instance data begins its life at the start of init and ends it at the end of destroy.
template <class Data> Data &begin_data(void *self) {
    return *new (self) Data{};
}

template <class Data> Data &data(void *self) {
    return *static_cast<Data *>(self);
}

template <class Data> u32 end_data(void *self) {
    std::destroy_at(static_cast<Data *>(self));
    return success;
}

struct upstream_link {
    module_handle handle = nullptr;
    bool own = false; // a "Null" module that the instance has made itself
};

// A stage without an upstream makes a "Null" module of its own configuration.
u32 connect(upstream_link &link, u32 size, const void *configuration, module_handle upstream);
void disconnect(upstream_link &link);

// A u32 by reference; size 0 stands for 0.
u32 read_mode(u32 size, const void *configuration, u32 highest, u32 &mode);

template <class Value> u32 answer(const Value &value, u32 &size, void *buffer, u32 too_short) {
    if (size < sizeof value)
        return too_short;
    std::memcpy(buffer, &value, sizeof value);
    size = sizeof value;
    return success;
}

template <class Value> Value value_of(const void *value) {
    Value result;
    std::memcpy(&result, value, sizeof result);
    return result;
}

// Settings of a chain: the blocks of the modules, the one nearest to the coefficients first.

// Appends a module's block to what its upstream answers.
u32 query_settings(module_handle upstream, const u8 *block, u32 block_size, u32 &size,
                   void *buffer);

constexpr u32 settings_head = 8; // module id, version, and a word of the module's own

void store_settings_head(u8 *block, u32 id, u16 word);

// The block of a module at the front, of at least `size` bytes.
u32 check_settings_head(u32 id, u32 wanted, u32 size, const void *value);

// Hands on what follows a block.
u32 pass_settings(module_handle upstream, u32 used, u32 size, const void *value);

} // namespace viq
