#include "wavelet/framework/module.h"

namespace viq {

namespace {

constexpr const module_descriptor *registry[] = {
    &codec_module,      &level_shifter_module, &transform_module, &quantiser_module,
    &serialiser_module, &huffman_module,       &streaming_module, &null_module,
};

} // namespace

const module_descriptor *find_module(u32 id) {
    for (const module_descriptor *descriptor : registry)
        if (descriptor->id == id)
            return descriptor;
    return nullptr;
}

} // namespace viq
