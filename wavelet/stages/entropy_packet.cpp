#include "wavelet/stages/entropy_packet.h"

namespace viq {

namespace {

constexpr u32 varint_bits = 7;
constexpr u32 varint_bits_mask = (1u << varint_bits) - 1;
constexpr u32 varint_more = 1u << varint_bits;

} // namespace

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

void disconnect_stage(packet_stage &stage) {
    close_stream(stage.stream, stage.up.handle);
    disconnect(stage.up);
}

u32 release_packet(const packet_stage &stage, const u8 *data) {
    return data == stage.packet.data() ? success : release_region(stage.up.handle, data);
}

u32 varint_size(u32 value) {
    u32 size = 1;
    for (; value > varint_bits_mask; value >>= varint_bits)
        ++size;
    return size;
}

u8 *store_varint(u8 *to, u32 value) {
    for (; value > varint_bits_mask; value >>= varint_bits)
        *to++ = static_cast<u8>(value | varint_more);
    *to++ = static_cast<u8>(value);
    return to;
}

bool read_varint(stream_source &stream, u32 &value) {
    value = 0;
    for (u32 shift = 0; shift < 32 && !stream.at_end(); shift += varint_bits) {
        const u8 byte = stream.start[stream.position++];
        value |= u32{byte & varint_bits_mask} << shift;
        if ((byte & varint_more) == 0)
            return true;
    }
    return false;
}

} // namespace viq
