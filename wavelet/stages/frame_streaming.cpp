// "Frame streaming": converts packets to the byte stream, in which the length of each packet
// precedes its bytes, and back. Packets of entropy coder type 0 are passed unchanged between the
// serialiser and the Huffman codec, which codes their lengths itself.
#include "wavelet/stages/entropy_packet.h"

namespace viq {

namespace {

struct streaming_data {
    packet_stage stage;
    u32 coder = coder_rans;
};

u32 upstream_coder(const streaming_data &streaming) {
    u32 coder = coder_rans;
    u32 size = sizeof coder;
    const u32 status = query_module(streaming.stage.up.handle, id_entropy_coder, &size, &coder);
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
    return pass_settings(streaming.stage.up.handle, settings_header_size, size, value);
}

u32 write_frame(streaming_data &streaming, region &requested) {
    region packet = requested;
    const u32 status = get_region(streaming.stage.up.handle, 0, 0, 0, &packet);
    if (failed(status) || packet.stride == 0 || streaming.coder == coder_huffman) {
        requested = packet;
        return status;
    }
    const u32 bytes = header_of(packet.data).bytes;
    const bool allocated = try_resize(streaming.stage.packet, u64{varint_size(bytes)} + bytes);
    if (allocated)
        std::memcpy(store_varint(streaming.stage.packet.data(), bytes),
                    packet.data + sizeof(packet_header), bytes);
    release_region(streaming.stage.up.handle, packet.data);
    return allocated ? deliver_packet(streaming.stage.packet, requested) : stage_no_memory;
}

u32 read_frame(streaming_data &streaming, region &requested) {
    if (streaming.coder == coder_huffman)
        return get_region(streaming.stage.up.handle, 0, 0, 0, &requested);
    const u32 status = open_stream(streaming.stage.stream, streaming.stage.up.handle);
    if (failed(status))
        return status;
    u32 bytes = 0;
    if (!read_varint(streaming.stage.stream, bytes) || bytes > streaming.stage.stream.remaining())
        return streaming_truncated;
    if (!begin_packet(streaming.stage.packet, {0, bytes}, bytes))
        return stage_no_memory;
    std::memcpy(streaming.stage.packet.data() + sizeof(packet_header),
                streaming.stage.stream.current(), bytes);
    streaming.stage.stream.position += bytes;
    return deliver_packet(streaming.stage.packet, requested);
}

u32 init(void *self, u32 size, const void *configuration, module_handle upstream) {
    auto &streaming = construct_data<streaming_data>(self);
    return connect_directed(streaming.stage.up, streaming.stage.inverse, size, configuration,
                            upstream);
}

u32 destroy(void *self) {
    disconnect_stage(data<streaming_data>(self).stage);
    return destroy_data<streaming_data>(self);
}

u32 query(void *self, u32 id, u32 &size, void *buffer) {
    auto &streaming = data<streaming_data>(self);
    if (id == id_entropy_coder)
        return answer(streaming.coder, size, buffer, stage_short_buffer);
    if (id != id_settings || streaming.stage.inverse != 0)
        return query_module(streaming.stage.up.handle, id, &size, buffer);
    u8 block[settings_header_size];
    store_settings_header(block, streaming_id, static_cast<u16>(streaming.coder));
    return query_settings(streaming.stage.up.handle, block, settings_header_size, size, buffer);
}

u32 set(void *self, u32 id, u32 size, const void *value) {
    auto &streaming = data<streaming_data>(self);
    close_stream(streaming.stage.stream, streaming.stage.up.handle);
    if (id == id_settings && streaming.stage.inverse != 0)
        return apply_settings(streaming, size, value);
    if (id == id_entropy_coder && size >= sizeof streaming.coder)
        streaming.coder = value_of<u32>(value);
    return set_module(streaming.stage.up.handle, id, size, value);
}

u32 get(void *self, u32, u32, u32, region &requested) {
    auto &streaming = data<streaming_data>(self);
    return streaming.stage.inverse != 0 ? read_frame(streaming, requested)
                                        : write_frame(streaming, requested);
}

u32 release(void *self, const u8 *bytes) {
    return release_packet(data<streaming_data>(self).stage, bytes);
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
