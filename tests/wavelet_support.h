// Shared by the tests of codec modules: scoped modules and sources of bytes.
#pragma once

#include "wavelet/framework/module.h"

#include "tests/support.h"

namespace viq {

// A module that is destroyed at the end of its scope.
struct scoped_module {
    module_handle handle = nullptr;
    u32 status;

    explicit scoped_module(u32 id, module_handle upstream = nullptr)
        : status(create_module(&handle, id, 0, nullptr, upstream)) {}
    scoped_module(u32 id, u32 mode, module_handle upstream = nullptr)
        : status(create_module(&handle, id, sizeof mode, &mode, upstream)) {}
    scoped_module(const scoped_module &) = delete;
    scoped_module &operator=(const scoped_module &) = delete;
    ~scoped_module() {
        if (handle != nullptr)
            destroy_module(handle);
    }
};

template <class Value> u32 set_value(module_handle handle, u32 id, Value value) {
    return set_module(handle, id, sizeof value, &value);
}

// A source of bytes for a module; lines have no padding.
struct byte_source {
    bytes content;
    u32 type, width, height;

    source_description description() { return {type, width, height, read, this}; }
    static u32 read(void *context, u32 x, u32 y, region &requested) {
        const auto &source = *static_cast<byte_source *>(context);
        const u32 pixel = source.type == type_bytes || source.type == type_signed_8 ? 1 : 2;
        requested.stride = source.width * pixel;
        requested.data = source.content.data() + std::size_t{y} * requested.stride + x * pixel;
        return success;
    }
};

inline u32 set_source(module_handle handle, const source_description &source) {
    return set_module(handle, id_source, source_description_size, &source);
}

} // namespace viq
