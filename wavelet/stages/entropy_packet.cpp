#include "wavelet/stages/packing.h"

namespace viq {

u32 open_stream(stream_source &stream, module_handle upstream) {
    if (stream.start != nullptr)
        return success;
    region whole = {};
    const u32 status = get_region(upstream, 0, 0, 0, &whole);
    if (failed(status))
        return status;
    stream = {whole.data, whole.data != nullptr ? whole.stride : 0, 0};
    return success;
}

void close_stream(stream_source &stream, module_handle upstream) {
    if (stream.start != nullptr)
        release_region(upstream, stream.start);
    stream = {};
}

u32 number_size(u32 number) {
    u32 size = 1;
    for (; number >= 0x80; number >>= 7)
        ++size;
    return size;
}

u8 *store_number(u8 *to, u32 number) {
    for (; number >= 0x80; number >>= 7)
        *to++ = static_cast<u8>(number | 0x80);
    *to++ = static_cast<u8>(number);
    return to;
}

bool take_number(stream_source &stream, u32 &number) {
    number = 0;
    for (u32 shift = 0; shift < 32 && !stream.at_end(); shift += 7) {
        const u8 byte = stream.start[stream.position++];
        number |= u32{byte & 0x7Fu} << shift;
        if ((byte & 0x80) == 0)
            return true;
    }
    return false;
}

} // namespace viq
