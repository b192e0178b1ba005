// "Null": the source at the upstream end of a chain, which provides the regions of a reader
// function. With an upstream of its own it is a pass-through module.
#include "wavelet/framework/module_support.h"

namespace viq {

namespace {

struct null_data {
    module_handle upstream = nullptr;
    source_description source = {type_unspecified, 0, 0, nullptr, nullptr};
};

u32 init(void *self, u32 size, const void *configuration, module_handle upstream) {
    auto &null = construct_data<null_data>(self);
    if (upstream != nullptr && !is_instance(upstream))
        return null_bad_upstream;
    null.upstream = upstream;
    if (upstream == nullptr && size == source_description_size && configuration != nullptr)
        null.source = value_of<source_description>(configuration);
    return success;
}

u32 query(void *self, u32 id, u32 &size, void *buffer) {
    const auto &null = data<null_data>(self);
    if (null.upstream != nullptr)
        return query_module(null.upstream, id, &size, buffer);
    const output_description output = {null.source.type, null.source.width, null.source.height};
    switch (id) {
    case id_subbands:
        return answer(u32{1}, size, buffer, null_short_answer);
    case id_output:
        return answer(output, size, buffer, null_short_description);
    case id_settings:
        size = 0;
        return success;
    default:
        return null_unknown_query;
    }
}

u32 set_source(null_data &null, u32 size, const void *value) {
    if (value == nullptr)
        return success;
    if (size != source_description_size)
        return null_bad_description;
    const auto source = value_of<source_description>(value);
    if (source.reader == nullptr)
        return null_no_reader;
    null.source = source;
    return success;
}

u32 set(void *self, u32 id, u32 size, const void *value) {
    auto &null = data<null_data>(self);
    if (null.upstream != nullptr)
        return set_module(null.upstream, id, size, value);
    switch (id) {
    case id_source:
        return set_source(null, size, value);
    case id_settings:
    case id_next_component:
        return success;
    default:
        return null_unknown_set;
    }
}

u32 get(void *self, u32 plane, u32 x, u32 y, region &requested) {
    const auto &null = data<null_data>(self);
    if (null.upstream != nullptr)
        return get_region(null.upstream, plane, x, y, &requested);
    if (null.source.reader == nullptr)
        return null_nothing_to_read;
    return null.source.reader(null.source.context, x, y, requested);
}

u32 release(void *self, const u8 *bytes) {
    const auto &null = data<null_data>(self);
    return null.upstream != nullptr ? release_region(null.upstream, bytes) : success;
}

} // namespace

const module_descriptor null_module = {
    null_id,
    sizeof(null_data),
    module_version,
    "Null",
    {init, destroy_data<null_data>, query, set, get, release},
};

} // namespace viq
