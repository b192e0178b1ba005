#include "wavelet/framework/module.h"

#include <algorithm>
#include <cstring>

#include "core/address_map.h"

namespace viq {

// First word of an instance.
constexpr u32 live_mark = 0x696D6770; // "pgmi"
constexpr u32 released_mark = 0x9692988F;

struct alignas(8) module_instance {
    u32 mark;
    const module_descriptor *descriptor;
};

namespace {

// Identifies released instances without reading their memory. Images, and with them the instances
// of their records, can pass from one thread to another.
struct live_instance {};
constinit address_map<live_instance> live_instances;

void *data_of(module_handle handle) {
    return handle + 1;
}

u32 answer_identity(const module_descriptor &descriptor, u32 &size, void *buffer);
void release(module_handle handle);
u32 run_blocks(module_handle handle, const run_request &request, const output_description &output);

} // namespace

bool is_instance(module_handle handle) {
    return handle != nullptr && find_value(live_instances, handle) != nullptr &&
           handle->mark == live_mark && handle->descriptor != nullptr;
}

u32 create_module(module_handle *handle, u32 id, u32 size, const void *configuration,
                  module_handle upstream) {
    if (handle == nullptr)
        return create_no_handle;
    *handle = nullptr;
    if (upstream != nullptr && !is_instance(upstream))
        return create_bad_upstream;
    const module_descriptor *descriptor = find_module(id);
    if (descriptor == nullptr)
        return create_unknown_id;
    auto *instance = static_cast<module_handle>(
        allocate_zeros(sizeof(module_instance) + descriptor->instance_size));
    if (instance == nullptr || enter_value(live_instances, instance) == nullptr) {
        release(instance, sizeof *instance + descriptor->instance_size);
        return create_no_memory;
    }
    *instance = {live_mark, descriptor};
    const u32 status =
        descriptor->operations.init(data_of(instance), size, configuration, upstream);
    if (failed(status)) {
        descriptor->operations.destroy(data_of(instance));
        release(instance);
        return status;
    }
    *handle = instance;
    return success;
}

u32 destroy_module(module_handle handle) {
    if (!is_instance(handle))
        return destroy_invalid;
    const u32 status = handle->descriptor->operations.destroy(data_of(handle));
    release(handle);
    return status;
}

u32 query_module(module_handle handle, u32 id, u32 *size, void *buffer) {
    if (!is_instance(handle))
        return query_invalid;
    if (size == nullptr)
        return query_no_size;
    if (buffer == nullptr && id != id_settings)
        return query_no_buffer;
    if (id == id_identity)
        return answer_identity(*handle->descriptor, *size, buffer);
    return handle->descriptor->operations.query(data_of(handle), id, *size, buffer);
}

u32 set_module(module_handle handle, u32 id, u32 size, const void *value) {
    if (!is_instance(handle))
        return set_invalid;
    if (size != 0 && value == nullptr)
        return set_no_value;
    if (id == id_identity)
        return set_identity;
    return handle->descriptor->operations.set(data_of(handle), id, size, value);
}

u32 get_region(module_handle handle, u32 plane, u32 x, u32 y, region *requested) {
    if (!is_instance(handle))
        return region_invalid;
    if (requested == nullptr)
        return region_no_output;
    return handle->descriptor->operations.get_region(data_of(handle), plane, x, y, *requested);
}

u32 release_region(module_handle handle, const u8 *data) {
    if (!is_instance(handle))
        return release_invalid;
    return handle->descriptor->operations.release_region(data_of(handle), data);
}

u32 describe_output(module_handle handle, output_description &description) {
    if (!is_instance(handle))
        return describe_invalid;
    u32 size = sizeof description;
    return query_module(handle, id_output, &size, &description);
}

u32 run_module(module_handle handle, const run_request *request, output_description *info) {
    if (!is_instance(handle))
        return run_invalid;
    if (request == nullptr)
        return run_no_request;
    if (request->sink == nullptr)
        return run_no_sink;
    output_description output = {};
    u32 status = describe_output(handle, output);
    if (failed(status))
        return status;
    status = run_blocks(handle, *request, output);
    set_module(handle, id_source, 0, nullptr);
    if (!failed(status) && info != nullptr)
        *info = output;
    return status;
}

namespace {

u32 answer_identity(const module_descriptor &descriptor, u32 &size, void *buffer) {
    constexpr u32 answer_size = sizeof descriptor.version + module_name_size;
    if (size < answer_size)
        return query_short_identity;
    std::memcpy(buffer, &descriptor.version, sizeof descriptor.version);
    std::memcpy(static_cast<u8 *>(buffer) + sizeof descriptor.version, descriptor.name,
                module_name_size);
    size = answer_size;
    return success;
}

void release(module_handle handle) {
    remove_value(live_instances, handle);
    handle->mark = released_mark;
    viq::release(handle, sizeof *handle + handle->descriptor->instance_size);
}

// Result of a block: the size by which the loop advances, or the status with which it ends.
struct block_result {
    bool ended;
    u32 status;
    u32 width, height, stride;
};

block_result deliver_block(module_handle handle, const run_request &request, u32 x, u32 y,
                           region block, bool is_stream) {
    u32 status = get_region(handle, 0, x, y, &block);
    if (failed(status))
        return {true, status, 0, 0, 0};
    if (is_stream && (block.data == nullptr || block.stride == 0))
        return {true, success, 0, 0, 0};
    const u32 sink_status = request.sink(request.context, x, y, block);
    status = release_region(handle, block.data);
    // An empty block of an image would not advance the loop.
    const bool empty = !is_stream && (block.width == 0 || block.height == 0);
    if (failed(sink_status))
        return {true, sink_status, 0, 0, 0};
    if (failed(status) || empty)
        return {true, failed(status) ? status : adapter_outside, 0, 0, 0};
    return {false, success, block.width, block.height, block.stride};
}

u32 run_blocks(module_handle handle, const run_request &request, const output_description &output) {
    constexpr u32 default_block_width = 384;
    constexpr u32 default_block_height = 32;
    const bool is_stream = output.height == 0;
    const u32 block_width = std::min(
        request.block_width != 0 ? request.block_width : default_block_width, output.width);
    const u32 block_height = std::min(
        request.block_height != 0 ? request.block_height : default_block_height, output.height);
    u32 x = 0;
    u32 y = 0;
    while (is_stream || y < output.height) {
        const region requested = {std::min(block_width, output.width - x),
                                  std::min(block_height, output.height - y), nullptr, 0};
        const block_result done = deliver_block(handle, request, x, y, requested, is_stream);
        if (done.ended)
            return done.status;
        x += done.width;
        if (x < output.width)
            continue;
        x = 0;
        if (!is_stream)
            y += done.height;
        else if (done.width >= done.stride)
            break;
    }
    return success;
}

} // namespace

} // namespace viq
