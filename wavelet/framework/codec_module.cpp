// "DWT codec": the composite that makes the chains of the compressor and of the decompressor, and
// maps the quality factor to the control of the quantiser.
#include <array>

#include "wavelet/framework/link.h"

namespace viq {

namespace {

enum codec_mode : u32 { compress_huffman, compress_small, decompress_huffman, decompress_small };

constexpr u32 most_stages = 6;

struct codec_data {
    module_handle head = nullptr;
    std::array<module_handle, most_stages> stages = {};
    u32 mode = 0;
    u32 quality = 0;
    module_handle quantiser = nullptr;
};

struct chain_stage {
    u32 id;
    u32 configuration;
};

struct chain {
    u32 count;
    chain_stage stages[most_stages];
};

// From the upstream end on.
constexpr chain chains[] = {
    {6,
     {{level_shifter_id, type_wavelet},
      {transform_id, 0},
      {quantiser_id, 0},
      {serialiser_id, 0},
      {streaming_id, 0},
      {huffman_id, 0}}},
    {5,
     {{level_shifter_id, type_wavelet},
      {transform_id, 0},
      {quantiser_id, 0},
      {serialiser_id, 0},
      {streaming_id, 0}}},
    {6,
     {{huffman_id, 1},
      {streaming_id, 1},
      {serialiser_id, 1},
      {quantiser_id, 1},
      {transform_id, 1},
      {level_shifter_id, type_bytes}}},
    {5,
     {{streaming_id, 1},
      {serialiser_id, 1},
      {quantiser_id, 1},
      {transform_id, 1},
      {level_shifter_id, type_bytes}}},
};

constexpr u32 first_quality = 50;

bool compresses(const codec_data &codec) {
    return codec.mode == compress_huffman || codec.mode == compress_small;
}

u32 set_quality(codec_data &codec, u32 quality) {
    constexpr u32 highest_quality = 400;
    if (quality > highest_quality)
        return codec_bad_quality;
    const double x = quality <= 100 ? quality * 0.06 - 6.0 : quality * 0.01 - 1.0;
    const auto control = static_cast<i16>(x >= 0 ? x * 64 + 0.5 : x * 64 - 0.5);
    const u32 status = set_module(codec.quantiser, id_quantiser_control, sizeof control, &control);
    if (!failed(status))
        codec.quality = quality;
    return status;
}

u32 make_chain(codec_data &codec, module_handle upstream) {
    const chain &plan = chains[codec.mode];
    for (u32 i = 0; i < plan.count; ++i) {
        const chain_stage &stage = plan.stages[i];
        const u32 status = create_module(&codec.stages[i], stage.id, sizeof stage.configuration,
                                         &stage.configuration, upstream);
        if (failed(status))
            return status;
        upstream = codec.stages[i];
        if (stage.id == quantiser_id && compresses(codec)) {
            codec.quantiser = upstream;
            const u32 mapped = set_quality(codec, first_quality);
            if (failed(mapped))
                return mapped;
        }
    }
    codec.head = upstream;
    return success;
}

u32 init(void *self, u32 size, const void *configuration, module_handle upstream) {
    auto &codec = begin_data<codec_data>(self);
    if (size != 0 && configuration == nullptr)
        return codec_no_configuration;
    if (size != 0 && size != sizeof codec.mode)
        return codec_bad_configuration;
    codec.mode = size != 0 ? value_of<u32>(configuration) : compress_huffman;
    if (codec.mode > decompress_small)
        return codec_bad_mode;
    return make_chain(codec, upstream);
}

u32 destroy(void *self) {
    auto &codec = data<codec_data>(self);
    for (u32 i = most_stages; i-- > 0;)
        if (codec.stages[i] != nullptr)
            destroy_module(codec.stages[i]);
    return end_data<codec_data>(self);
}

u32 query(void *self, u32 id, u32 &size, void *buffer) {
    const auto &codec = data<codec_data>(self);
    if (id != id_quality)
        return query_module(codec.head, id, &size, buffer);
    if (!compresses(codec))
        return codec_no_quality;
    return answer(codec.quality, size, buffer, codec_short_quality);
}

u32 set(void *self, u32 id, u32 size, const void *value) {
    auto &codec = data<codec_data>(self);
    if (id != id_quality)
        return set_module(codec.head, id, size, value);
    if (!compresses(codec))
        return codec_sets_no_quality;
    if (size < sizeof(u32))
        return codec_short_new_quality;
    return set_quality(codec, value_of<u32>(value));
}

u32 get(void *self, u32 plane, u32 x, u32 y, region &wanted) {
    return get_region(data<codec_data>(self).head, plane, x, y, &wanted);
}

u32 release(void *self, const u8 *bytes) {
    return release_region(data<codec_data>(self).head, bytes);
}

} // namespace

const module_descriptor codec_module = {
    codec_id,
    sizeof(codec_data),
    module_version,
    "DWT codec",
    {init, destroy, query, set, get, release},
};

} // namespace viq
