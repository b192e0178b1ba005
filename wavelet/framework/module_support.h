// Shared parts of the modules: instance data, the link to the upstream module, configurations,
// answers to queries, settings blocks.
#pragma once

#include <cstring>
#include <memory>

#include "core/byte_order.h"
#include "wavelet/framework/module.h"

namespace viq {

// Instance data is constructed in the block that the framework allocates, at the start of init, and
// destroyed at the end of destroy.
template <class Data> Data &construct_data(void *self) {
    return *new (self) Data{};
}

template <class Data> Data &data(void *self) {
    return *static_cast<Data *>(self);
}

template <class Data> u32 destroy_data(void *self) {
    std::destroy_at(static_cast<Data *>(self));
    return success;
}

struct upstream_link {
    module_handle handle = nullptr;
    bool owned = false; // a "Null" module that the instance created itself
};

// Without an upstream, creates a "Null" module with the configuration of the stage.
u32 connect(upstream_link &link, u32 size, const void *configuration, module_handle upstream);
void disconnect(upstream_link &link);

// The same for a stage with two directions, whose configuration is 0 (forward) or 1 (inverse).
u32 connect_directed(upstream_link &link, u32 &inverse, u32 size, const void *configuration,
                     module_handle upstream);

// Reads a configuration of type u32, at most max_mode; size 0 means mode 0.
u32 read_mode(u32 size, const void *configuration, u32 max_mode, u32 &mode);

// Answers a query; `too_short` is the status for a buffer that is too small.
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

// The settings of a chain are the concatenated blocks of its modules. The order is from the source
// to the head in a compressor and from the head to the source in a decompressor: the quantiser
// first, then the serialiser, the frame streaming and the Huffman codec.

// Appends the block of a module to the answer of its upstream. If `buffer` is null, only the size
// is returned.
u32 query_settings(module_handle upstream, const u8 *block, u32 block_size, u32 &size,
                   void *buffer);

// Header of a block: module id (u32), version (u16), a module-specific value (u16).
constexpr u32 settings_header_size = 8;

void store_settings_header(u8 *block, u32 id, u16 word);

// Checks that the settings start with a block of the module, of at least min_size bytes.
u32 check_settings_header(u32 id, u32 min_size, u32 size, const void *value);

// The module-specific value of the first block.
u16 settings_word(const void *value);

// Passes the settings after the first `used` bytes to the upstream.
u32 pass_settings(module_handle upstream, u32 used, u32 size, const void *value);

} // namespace viq
