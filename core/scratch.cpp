#include "core/scratch.h"

#include "core/context.h"

namespace viq {

namespace {

struct scratch_memory {
    vector<u8> of_use[scratch_buffers];
};

VIQ_PER_CONTEXT(scratch_memory, buffers);

} // namespace

u8 *scratch_bytes(scratch use, u64 size) {
    vector<u8> &buffer = buffers->of_use[static_cast<unsigned>(use)];
    if (buffer.size() < size && !try_resize(buffer, size))
        return nullptr;
    return buffer.data();
}

void free_scratch() {
    for (vector<u8> &buffer : buffers->of_use)
        vector<u8>().swap(buffer);
}

} // namespace viq
