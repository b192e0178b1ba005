#include "wavelet/framework/module_support.h"

namespace viq {

namespace {

constexpr u16 settings_version = 1;

// Offsets in the header of a settings block.
constexpr u32 version_offset = 4;
constexpr u32 word_offset = 6;

} // namespace

u32 connect(upstream_link &link, u32 size, const void *configuration, module_handle upstream) {
    if (upstream != nullptr) {
        link = {upstream, false};
        return success;
    }
    link.owned = true;
    return create_module(&link.handle, null_id, size, configuration, nullptr);
}

u32 connect_directed(upstream_link &link, u32 &inverse, u32 size, const void *configuration,
                     module_handle upstream) {
    const u32 status = connect(link, size, configuration, upstream);
    return failed(status) ? status : read_mode(size, configuration, 1, inverse);
}

void disconnect(upstream_link &link) {
    if (link.owned && link.handle != nullptr)
        destroy_module(link.handle);
    link = {};
}

u32 read_mode(u32 size, const void *configuration, u32 max_mode, u32 &mode) {
    mode = 0;
    if (size == 0)
        return success;
    if (size != sizeof mode || configuration == nullptr)
        return stage_bad_configuration;
    mode = value_of<u32>(configuration);
    return mode <= max_mode ? success : stage_bad_configuration;
}

u32 query_settings(module_handle upstream, const u8 *block, u32 block_size, u32 &size,
                   void *buffer) {
    u32 upstream_size = size;
    const u32 status = query_module(upstream, id_settings, &upstream_size, buffer);
    if (failed(status))
        return status;
    if (buffer != nullptr) {
        if (size < upstream_size || size - upstream_size < block_size)
            return stage_short_buffer;
        std::memcpy(static_cast<u8 *>(buffer) + upstream_size, block, block_size);
    }
    size = upstream_size + block_size;
    return success;
}

void store_settings_header(u8 *block, u32 id, u16 word) {
    store<u32>(block, id, endian::little);
    store<u16>(block + version_offset, settings_version, endian::little);
    store<u16>(block + word_offset, word, endian::little);
}

u32 check_settings_header(u32 id, u32 min_size, u32 size, const void *value) {
    const auto *block = static_cast<const u8 *>(value);
    if (size < min_size)
        return settings_short;
    if (load<u32>(block, endian::little) != id)
        return settings_wrong_module;
    return load<u16>(block + version_offset, endian::little) <= settings_version
               ? success
               : settings_unknown_version;
}

u16 settings_word(const void *value) {
    return load<u16>(static_cast<const u8 *>(value) + word_offset, endian::little);
}

u32 pass_settings(module_handle upstream, u32 used, u32 size, const void *value) {
    const u32 rest = size - used;
    const u8 *following = static_cast<const u8 *>(value) + used;
    return set_module(upstream, id_settings, rest, rest != 0 ? following : nullptr);
}

} // namespace viq
