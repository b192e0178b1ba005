#include "core/scratch.h"

namespace viq {

namespace {

std::vector<u8> buffers[scratch_buffers];

} // namespace

u8 *scratch_bytes(scratch use, u64 size) {
    std::vector<u8> &buffer = buffers[static_cast<unsigned>(use)];
    if (buffer.size() < size && !try_resize(buffer, size))
        return nullptr;
    return buffer.data();
}

void free_scratch() {
    for (std::vector<u8> &buffer : buffers)
        std::vector<u8>().swap(buffer);
}

} // namespace viq
