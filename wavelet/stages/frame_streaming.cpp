// "Frame streaming": packs into the byte stream, each with its length before it, and back. Packs of
// the fast packing pass whole between the serialiser and the Huffman codec, which codes their
// lengths itself.
#include "wavelet/stages/packing.h"

namespace viq {

namespace {

struct streaming_data {
    upstream_link up;
    u32 inverse = 0;
    u32 packing = packing_small;
    stream_source stream;
    std::vector<u8> frame;
};

u32 packing_of_upstream(const streaming_data &streaming) {
    u32 packing = packing_small;
    u32 size = sizeof packing;
    const u32 status = query_module(streaming.up.handle, id_packing, &size, &packing);
    return failed(status) ? u32{packing_small} : packing;
}

// The coding type is no part of a stream; the settings tell what the chain has to be made for.
u32 take_settings(streaming_data &streaming, u32 size, const void *value) {
    const u32 status = check_settings_head(streaming_id, settings_head, size, value);
    if (failed(status))
        return status;
    streaming.packing = packing_of_upstream(streaming);
    if (load<u16>(static_cast<const u8 *>(value) + 6, endian::little) != streaming.packing)
        return streaming_other_packing;
    return pass_settings(streaming.up.handle, settings_head, size, value);
}

u32 write_frame(streaming_data &streaming, region &wanted) {
    region pack = wanted;
    const u32 status = get_region(streaming.up.handle, 0, 0, 0, &pack);
    if (failed(status) || pack.stride == 0 || streaming.packing == packing_fast) {
        wanted = pack;
        return status;
    }
    const u32 bytes = head_of(pack.data).bytes;
    const bool room = try_resize(streaming.frame, u64{number_size(bytes)} + bytes);
    if (room)
        std::memcpy(store_number(streaming.frame.data(), bytes), pack.data + sizeof(pack_head),
                    bytes);
    release_region(streaming.up.handle, pack.data);
    return room ? deliver_pack(streaming.frame, wanted) : stage_no_memory;
}

u32 read_frame(streaming_data &streaming, region &wanted) {
    if (streaming.packing == packing_fast)
        return get_region(streaming.up.handle, 0, 0, 0, &wanted);
    const u32 status = open_stream(streaming.stream, streaming.up.handle);
    if (failed(status))
        return status;
    u32 bytes = 0;
    if (!take_number(streaming.stream, bytes) || bytes > streaming.stream.left())
        return streaming_cut;
    if (!begin_pack(streaming.frame, {0, bytes}, bytes))
        return stage_no_memory;
    std::memcpy(streaming.frame.data() + sizeof(pack_head), streaming.stream.here(), bytes);
    streaming.stream.position += bytes;
    return deliver_pack(streaming.frame, wanted);
}

u32 init(void *self, u32 size, const void *configuration, module_handle upstream) {
    auto &streaming = begin_data<streaming_data>(self);
    const u32 status = connect(streaming.up, size, configuration, upstream);
    return failed(status) ? status : read_mode(size, configuration, 1, streaming.inverse);
}

u32 destroy(void *self) {
    auto &streaming = data<streaming_data>(self);
    close_stream(streaming.stream, streaming.up.handle);
    disconnect(streaming.up);
    return end_data<streaming_data>(self);
}

u32 query(void *self, u32 id, u32 &size, void *buffer) {
    auto &streaming = data<streaming_data>(self);
    if (id == id_packing)
        return answer(streaming.packing, size, buffer, stage_short_buffer);
    if (id != id_settings || streaming.inverse != 0)
        return query_module(streaming.up.handle, id, &size, buffer);
    u8 block[settings_head];
    store_settings_head(block, streaming_id, static_cast<u16>(streaming.packing));
    return query_settings(streaming.up.handle, block, settings_head, size, buffer);
}

u32 set(void *self, u32 id, u32 size, const void *value) {
    auto &streaming = data<streaming_data>(self);
    close_stream(streaming.stream, streaming.up.handle);
    if (id == id_settings && streaming.inverse != 0)
        return take_settings(streaming, size, value);
    if (id == id_packing && size >= sizeof streaming.packing)
        streaming.packing = value_of<u32>(value);
    return set_module(streaming.up.handle, id, size, value);
}

u32 get(void *self, u32, u32, u32, region &wanted) {
    auto &streaming = data<streaming_data>(self);
    return streaming.inverse != 0 ? read_frame(streaming, wanted) : write_frame(streaming, wanted);
}

u32 release(void *self, const u8 *bytes) {
    auto &streaming = data<streaming_data>(self);
    return bytes == streaming.frame.data() ? success : release_region(streaming.up.handle, bytes);
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
