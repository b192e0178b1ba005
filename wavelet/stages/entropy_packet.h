// What the entropy stages exchange: packets, and the byte stream that contains them.
//
// A packet codes a number of coding units that encoder and decoder derive from the sizes of the
// bands. In memory it is a header in the byte order of the machine, then the symbols, one byte each
// (entropy coder type 0 only), then bytes of bits. The stages downstream of the serialiser convert
// it to the form in the stream.
#pragma once

#include "wavelet/framework/module_support.h"

namespace viq {

// The coding types of wavelet images.
enum entropy_coder : u32 {
    coder_huffman = 0, // run/value pairs in a fixed Huffman code
    coder_rans = 1,    // adaptive rANS
};

struct packet_header {
    u32 symbols, bytes;
};

inline packet_header header_of(const u8 *packet) {
    packet_header header;
    std::memcpy(&header, packet, sizeof header);
    return header;
}

// Allocates a packet of `size` bytes after the header, and stores the header; false if memory runs
// out.
[[nodiscard]] inline bool begin_packet(vector<u8> &packet, packet_header header, u64 size) {
    if (!try_resize(packet, sizeof header + size))
        return false;
    std::memcpy(packet.data(), &header, sizeof header);
    return true;
}

// The compressed stream, which the upstream provides as one region.
struct stream_source {
    const u8 *start = nullptr;
    u32 size = 0;
    u32 position = 0;

    bool at_end() const { return position >= size; }
    u32 remaining() const { return size - position; }
    const u8 *current() const { return start + position; }
};

u32 open_stream(stream_source &stream, module_handle upstream);
void close_stream(stream_source &stream, module_handle upstream);

// A stage that converts packets: its upstream, its direction, the stream that it reads and the
// packet that it delivers.
struct packet_stage {
    upstream_link up;
    u32 inverse = 0;
    stream_source stream;
    vector<u8> packet;
};

void disconnect_stage(packet_stage &stage);
u32 release_packet(const packet_stage &stage, const u8 *data);

// Integers of variable length: seven bits in each byte, the lowest first; the top bit is set if
// more follow. read_varint returns false at the end of the stream.
u32 varint_size(u32 value);
u8 *store_varint(u8 *to, u32 value);
bool read_varint(stream_source &stream, u32 &value);

// Delivers a packet as a region. The width remains as requested: the run loop ends a stream when a
// region is not narrower than its stride.
inline u32 deliver_packet(const vector<u8> &packet, region &requested) {
    requested.height = 1;
    requested.data = packet.data();
    requested.stride = static_cast<u32>(packet.size());
    return success;
}

} // namespace viq
