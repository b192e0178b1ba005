// "DWT codec": the composite module that creates the stages of the compressor or decompressor
// chain, and maps the quality factor to the step control of the quantiser. Data flows from the
// upstream end to the head:
//
//   compressor:    level shifter, transform, quantiser, serialiser, frame streaming, Huffman codec
//   decompressor:  Huffman codec, frame streaming, serialiser, quantiser, transform, level shifter
//
// The chains of entropy coder type 1 (rANS) have no Huffman codec. Queries, settings and regions
// are passed to the head.
#include <array>

#include "wavelet/framework/module_support.h"

namespace viq {

namespace {

constexpr u32 max_stages = 6;

struct codec_data {
    module_handle head = nullptr;
    std::array<module_handle, max_stages> stages = {};
    u32 mode = 0;
    u32 quality = 0;
    module_handle quantiser = nullptr;
};

// The stages except the level shifters are configured with a direction.
constexpr u32 forward = 0;
constexpr u32 inverse = 1;

struct chain_stage {
    u32 id;
    u32 configuration;
};

struct chain {
    u32 count;
    chain_stage stages[max_stages];
};

// Indexed by codec_mode; the stages from the upstream end to the head.
constexpr chain chains[] = {
    {6,
     {{level_shifter_id, type_wavelet},
      {transform_id, forward},
      {quantiser_id, forward},
      {serialiser_id, forward},
      {streaming_id, forward},
      {huffman_id, forward}}},
    {5,
     {{level_shifter_id, type_wavelet},
      {transform_id, forward},
      {quantiser_id, forward},
      {serialiser_id, forward},
      {streaming_id, forward}}},
    {6,
     {{huffman_id, inverse},
      {streaming_id, inverse},
      {serialiser_id, inverse},
      {quantiser_id, inverse},
      {transform_id, inverse},
      {level_shifter_id, type_bytes}}},
    {5,
     {{streaming_id, inverse},
      {serialiser_id, inverse},
      {quantiser_id, inverse},
      {transform_id, inverse},
      {level_shifter_id, type_bytes}}},
};

constexpr u32 initial_quality = 50;
constexpr u32 max_quality = 400;

bool compresses(const codec_data &codec) {
    return codec.mode == compress_huffman || codec.mode == compress_rans;
}

// The control is in 1/64 units: -384 at quality 0, 0 at 100, 192 at 400; linear below and above
// 100. Rounds half away from zero.
u32 set_quality(codec_data &codec, u32 quality) {
    if (quality > max_quality)
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
            const u32 mapped = set_quality(codec, initial_quality);
            if (failed(mapped))
                return mapped;
        }
    }
    codec.head = upstream;
    return success;
}

u32 init(void *self, u32 size, const void *configuration, module_handle upstream) {
    auto &codec = construct_data<codec_data>(self);
    if (size != 0 && configuration == nullptr)
        return codec_no_configuration;
    if (size != 0 && size != sizeof codec.mode)
        return codec_bad_configuration;
    codec.mode = size != 0 ? value_of<u32>(configuration) : compress_huffman;
    if (codec.mode > decompress_rans)
        return codec_bad_mode;
    return make_chain(codec, upstream);
}

u32 destroy(void *self) {
    auto &codec = data<codec_data>(self);
    for (u32 i = max_stages; i-- > 0;)
        if (codec.stages[i] != nullptr)
            destroy_module(codec.stages[i]);
    return destroy_data<codec_data>(self);
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

u32 get(void *self, u32 plane, u32 x, u32 y, region &requested) {
    return get_region(data<codec_data>(self).head, plane, x, y, &requested);
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
