// What passes between the entropy stages: packs, and the stream that they lie in.
//
// A pack codes a number of lines of bands that both sides work out alike. It has a head of two
// numbers in the byte order of this machine, then symbols of a byte each (the fast packing alone
// has them), then bytes of bits.
#pragma once

#include "wavelet/framework/link.h"

namespace viq {

enum packing : u32 { packing_fast = 0, packing_small = 1 };

struct pack_head {
    u32 symbols, bytes;
};

inline pack_head head_of(const u8 *pack) {
    pack_head head;
    std::memcpy(&head, pack, sizeof head);
    return head;
}

// Starts a pack with its head; false when memory runs out.
[[nodiscard]] inline bool begin_pack(std::vector<u8> &pack, pack_head head, u64 room) {
    if (!try_resize(pack, sizeof head + room))
        return false;
    std::memcpy(pack.data(), &head, sizeof head);
    return true;
}

// A stream that the upstream holds as one region.
struct stream_source {
    const u8 *start = nullptr;
    u32 size = 0;
    u32 position = 0;

    bool at_end() const { return position >= size; }
    u32 left() const { return size - position; }
    const u8 *here() const { return start + position; }
};

u32 open_stream(stream_source &stream, module_handle upstream);
void close_stream(stream_source &stream, module_handle upstream);

// Numbers in the stream: seven bits a byte, the lowest first, the top bit set where more follow.
u32 number_size(u32 number);
u8 *store_number(u8 *to, u32 number);
bool take_number(stream_source &stream, u32 &number);

// The width stays as it was asked for: a stream goes on as long as a region is narrower than its
// stride.
inline u32 deliver_pack(const std::vector<u8> &pack, region &wanted) {
    wanted.height = 1;
    wanted.data = pack.data();
    wanted.stride = static_cast<u32>(pack.size());
    return success;
}

} // namespace viq
