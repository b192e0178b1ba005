#include "wavelet/framework/link.h"

namespace viq {

namespace {

constexpr u16 settings_version = 1;

} // namespace

u32 connect(upstream_link &link, u32 size, const void *configuration, module_handle upstream) {
    if (upstream != nullptr) {
        link = {upstream, false};
        return success;
    }
    link.own = true;
    return create_module(&link.handle, null_id, size, configuration, nullptr);
}

void disconnect(upstream_link &link) {
    if (link.own && link.handle != nullptr)
        destroy_module(link.handle);
    link = {};
}

u32 read_mode(u32 size, const void *configuration, u32 highest, u32 &mode) {
    mode = 0;
    if (size == 0)
        return success;
    if (size != sizeof mode || configuration == nullptr)
        return stage_bad_configuration;
    mode = value_of<u32>(configuration);
    return mode <= highest ? success : stage_bad_configuration;
}

u32 query_settings(module_handle upstream, const u8 *block, u32 block_size, u32 &size,
                   void *buffer) {
    u32 above = size;
    const u32 status = query_module(upstream, id_settings, &above, buffer);
    if (failed(status))
        return status;
    if (buffer != nullptr) {
        if (size < above || size - above < block_size)
            return stage_short_buffer;
        std::memcpy(static_cast<u8 *>(buffer) + above, block, block_size);
    }
    size = above + block_size;
    return success;
}

void store_settings_head(u8 *block, u32 id, u16 word) {
    store<u32>(block, id, endian::little);
    store<u16>(block + 4, settings_version, endian::little);
    store<u16>(block + 6, word, endian::little);
}

u32 check_settings_head(u32 id, u32 wanted, u32 size, const void *value) {
    const auto *block = static_cast<const u8 *>(value);
    if (size < wanted)
        return settings_short;
    if (load<u32>(block, endian::little) != id)
        return settings_foreign;
    return load<u16>(block + 4, endian::little) <= settings_version ? success : settings_later;
}

u32 pass_settings(module_handle upstream, u32 used, u32 size, const void *value) {
    const u32 rest = size - used;
    const u8 *behind = static_cast<const u8 *>(value) + used;
    return set_module(upstream, id_settings, rest, rest != 0 ? behind : nullptr);
}

} // namespace viq
