// "Frame streaming": converts packets to the byte stream, in which the length of each packet
// precedes its bytes, and back. Packets of entropy coder type 0 are passed unchanged between the
// serialiser and the Huffman codec, which codes their lengths itself.
#include "wavelet/stages/entropy_packet.h"

namespace viq {

namespace {

struct streaming_data {
    upstream_link up;
    u32 inverse = 0;
    u32 coder = coder_rans;
    stream_source stream;
    std::vector<u8> packet_buffer;
};

u32 upstream_coder(const streaming_data &streaming) {
    u32 coder = coder_rans;
    u32 size = sizeof coder;
    const u32 status = query_module(streaming.up.handle, id_entropy_coder, &size, &coder);
    return failed(status) ? u32{coder_rans} : coder;
}

// The stream does not contain its coding type; the settings do. They must match the chain.
u32 apply_settings(streaming_data &streaming, u32 size, const void *value) {
    const u32 status = check_settings_header(streaming_id, settings_header_size, size, value);
    if (failed(status))
        return status;
    streaming.coder = upstream_coder(streaming);
    if (settings_word(value) != streaming.coder)
        return streaming_wrong_coder;
    return pass_settings(streaming.up.handle, settings_header_size, size, value);
}

u32 write_frame(streaming_data &streaming, region &wanted) {
    region packet = wanted;
    const u32 status = get_region(streaming.up.handle, 0, 0, 0, &packet);
    if (failed(status) || packet.stride == 0 || streaming.coder == coder_huffman) {
        wanted = packet;
        return status;
    }
    const u32 bytes = header_of(packet.data).bytes;
    const bool allocated = try_resize(streaming.packet_buffer, u64{varint_size(bytes)} + bytes);
    if (allocated)
        std::memcpy(store_varint(streaming.packet_buffer.data(), bytes),
                    packet.data + sizeof(packet_header), bytes);
    release_region(streaming.up.handle, packet.data);
    return allocated ? deliver_packet(streaming.packet_buffer, wanted) : stage_no_memory;
}

u32 read_frame(streaming_data &streaming, region &wanted) {
    if (streaming.coder == coder_huffman)
        return get_region(streaming.up.handle, 0, 0, 0, &wanted);
    const u32 status = open_stream(streaming.stream, streaming.up.handle);
    if (failed(status))
        return status;
    u32 bytes = 0;
    if (!read_varint(streaming.stream, bytes) || bytes > streaming.stream.remaining())
        return streaming_truncated;
    if (!begin_packet(streaming.packet_buffer, {0, bytes}, bytes))
        return stage_no_memory;
    std::memcpy(streaming.packet_buffer.data() + sizeof(packet_header), streaming.stream.current(),
                bytes);
    streaming.stream.position += bytes;
    return deliver_packet(streaming.packet_buffer, wanted);
}

u32 init(void *self, u32 size, const void *configuration, module_handle upstream) {
    auto &streaming = construct_data<streaming_data>(self);
    const u32 status = connect(streaming.up, size, configuration, upstream);
    return failed(status) ? status : read_mode(size, configuration, 1, streaming.inverse);
}

u32 destroy(void *self) {
    auto &streaming = data<streaming_data>(self);
    close_stream(streaming.stream, streaming.up.handle);
    disconnect(streaming.up);
    return destroy_data<streaming_data>(self);
}

u32 query(void *self, u32 id, u32 &size, void *buffer) {
    auto &streaming = data<streaming_data>(self);
    if (id == id_entropy_coder)
        return answer(streaming.coder, size, buffer, stage_short_buffer);
    if (id != id_settings || streaming.inverse != 0)
        return query_module(streaming.up.handle, id, &size, buffer);
    u8 block[settings_header_size];
    store_settings_header(block, streaming_id, static_cast<u16>(streaming.coder));
    return query_settings(streaming.up.handle, block, settings_header_size, size, buffer);
}

u32 set(void *self, u32 id, u32 size, const void *value) {
    auto &streaming = data<streaming_data>(self);
    close_stream(streaming.stream, streaming.up.handle);
    if (id == id_settings && streaming.inverse != 0)
        return apply_settings(streaming, size, value);
    if (id == id_entropy_coder && size >= sizeof streaming.coder)
        streaming.coder = value_of<u32>(value);
    return set_module(streaming.up.handle, id, size, value);
}

u32 get(void *self, u32, u32, u32, region &wanted) {
    auto &streaming = data<streaming_data>(self);
    return streaming.inverse != 0 ? read_frame(streaming, wanted) : write_frame(streaming, wanted);
}

u32 release(void *self, const u8 *bytes) {
    auto &streaming = data<streaming_data>(self);
    return bytes == streaming.packet_buffer.data() ? success
                                                   : release_region(streaming.up.handle, bytes);
}

} // namespace

const module_descriptor streaming_module = {
    streaming_id,
    sizeof(streaming_data),
    module_version,
    "Frame streaming",
    {init, destroy, query, set, get, release},
};

} // namespace viq
