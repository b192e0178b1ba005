// The stream of a wavelet image, in files and in buffers: a header of 28 bytes, the settings of all
// components, their compressed data. All integers are little-endian.
#include <cerrno>
#include <cstring>

#include "core/byte_order.h"
#include "core/context.h"
#include "core/file_io.h"
#include "core/image.h"
#include "core/limits.h"
#include "core/report.h"
#include "wavelet/codec/wavelet_record.h"

using namespace viq;

namespace {

// Offsets in the header. The magic number is followed by a version, the length of the compressed
// data is not stored.
constexpr u32 version_offset = 4;
constexpr u32 source_format_offset = 6;
constexpr u32 components_offset = 8;
constexpr u32 component_bytes_offset = 10;
constexpr u32 settings_lengths_offset = 22;
constexpr u32 settings_size_offset = 26;
constexpr u32 header_size = 28;
constexpr u8 stream_magic[4] = {'D', 'W', 'T', 0};
constexpr u16 stream_version = 1;

// State of buffer writing, shared by all images of a context: whether the header of a stream has
// been written.
enum class write_step { header, data };
VIQ_PER_CONTEXT(write_step, writing);

struct stream_header {
    u16 source_format, components;
    u32 component_bytes[max_components];
    u16 settings_lengths[2];
    u16 settings_size;
};

void store_header(const wavelet_record &record, u8 *to);
stream_header load_header(const u8 *from);
bool has_magic(const u8 *from);
bool has_version(const u8 *from);
u32 apply_header(const char *function, wavelet_record &record, const stream_header &header);
u32 read_open_file(wavelet_record &record, std::FILE *file);

u32 report_no_stream(const char *function) {
    return report(function, VIQ_ERR_CORRUPT, "No image data");
}

u32 report_version(const char *function) {
    return report(function, VIQ_ERR_UNSUPPORTED, "File version mismatch");
}

// As stored in the header, which has 16 bits for it.
std::size_t settings_size(const wavelet_record &record) {
    return low_word(record.settings.size());
}

} // namespace

u32 VIQ_WVLT_file_write(u32 hWvlt, u16 wMode) {
    constexpr const char *name = "VIQ_WVLT_file_write";
    if (called_by_handler())
        return VIQ_ERR_STATE;
    wavelet_record *record = nullptr;
    u32 code = open_wavelet_record(name, hWvlt, record);
    if (is_error(code))
        return code;
    if (record->stream_length == 0)
        return report_no_stream(name);
    if (wMode != VIQ_STRIP_NEXT)
        return success;
    if (record->settings.empty())
        code = gather_settings(*record);
    if (is_error(code))
        return code;
    unique_stream file(open_file(find_image(hWvlt)->outfilename, "wb"));
    if (file == nullptr)
        return report(name, VIQ_ERR_OPEN, "Failed to create file");
    u8 header[header_size];
    store_header(*record, header);
    const auto put = [&](const u8 *bytes, std::size_t size) {
        return std::fwrite(bytes, size, 1, file.get()) == 1;
    };
    if (!put(header, header_size) || !put(record->settings.data(), settings_size(*record)) ||
        !put(record->stream.data(), record->stream_length))
        return report(name, VIQ_ERR_SYSTEM, "Disk full");
    return close_file(name, file);
}

u32 VIQ_WVLT_file_read(u32 hWvlt) {
    constexpr const char *name = "VIQ_WVLT_file_read";
    wavelet_record *record = nullptr;
    const u32 code = open_wavelet_record(name, hWvlt, record);
    if (is_error(code))
        return code;
    tVIQ_Image &image = *find_image(hWvlt);
    const unique_stream file(open_to_read(image.infilename));
    if (file == nullptr)
        return report(name, low_word(static_cast<u32>(errno)) | VIQ_ERR_OPEN,
                      "Failed to open file");
    u32 read = check_file_limit(name, file.get());
    if (!is_error(read))
        read = read_open_file(*record, file.get());
    if (is_error(read))
        return read;
    describe_stream_of(image, *record);
    return success;
}

u32 VIQ_WVLT_buffer_write(u32 hWvlt, u8 *pBuffer, u32 *pdwCount, u16 wMode) {
    constexpr const char *name = "VIQ_WVLT_buffer_write";
    if (called_by_handler())
        return VIQ_ERR_STATE;
    wavelet_record *record = nullptr;
    u32 code = open_wavelet_record(name, hWvlt, record);
    if (is_error(code))
        return code;
    if (pBuffer == nullptr)
        return report(name, VIQ_ERR_PARAMETER, "Null buffer ptr");
    if (pdwCount == nullptr)
        return report(name, VIQ_ERR_PARAMETER, "Null count ptr");
    if (record->stream_length == 0)
        return report_no_stream(name);
    u8 *position = pBuffer;
    if (*writing == write_step::header) {
        if (record->settings.empty())
            code = gather_settings(*record);
        if (is_error(code))
            return code;
        *writing = write_step::data;
        store_header(*record, pBuffer);
        std::memcpy(pBuffer + header_size, record->settings.data(), settings_size(*record));
        *pdwCount = header_size + static_cast<u32>(settings_size(*record));
        position += *pdwCount;
    }
    if (wMode == VIQ_STRIP_NEXT) {
        std::memcpy(position, record->stream.data(), record->stream_length);
        *pdwCount += record->stream_length;
    }
    if (wMode == VIQ_STRIP_NEXT || wMode == VIQ_STRIP_FINISH)
        *writing = write_step::header;
    return success;
}

u32 VIQ_WVLT_buffer_read(u32 hWvlt, const u8 *pBuffer, u32 dwSize) {
    constexpr const char *name = "VIQ_WVLT_buffer_read";
    wavelet_record *record = nullptr;
    u32 code = open_wavelet_record(name, hWvlt, record);
    if (is_error(code))
        return code;
    if (pBuffer == nullptr)
        return report(name, VIQ_ERR_PARAMETER, "Null buffer ptr");
    if (dwSize < header_size)
        return report(name, VIQ_ERR_PARAMETER, "Buffer too small");
    if (!has_magic(pBuffer))
        return report(name, VIQ_ERR_HANDLE, "Not a WVLT image");
    if (!has_version(pBuffer))
        return report_version(name);
    const stream_header header = load_header(pBuffer);
    const u32 after_header = dwSize - header_size;
    if (after_header < header.settings_size)
        return report(name, VIQ_ERR_PARAMETER, "Buffer too small");
    const u32 length = after_header - header.settings_size;
    code = apply_header(name, *record, header);
    if (is_error(code))
        return code;
    if (!resize_stream(*record, length))
        return report(name, VIQ_ERR_MEMORY, "");
    if (header.settings_size != 0)
        std::memcpy(record->settings.data(), pBuffer + header_size, header.settings_size);
    if (length != 0)
        std::memcpy(record->stream.data(), pBuffer + header_size + header.settings_size, length);
    record->stream_length = length;
    describe_stream_of(*find_image(hWvlt), *record);
    return success;
}

namespace {

void store_header(const wavelet_record &record, u8 *to) {
    std::memcpy(to, stream_magic, sizeof stream_magic);
    store<u16>(to + version_offset, stream_version, endian::little);
    store<u16>(to + source_format_offset, record.source_format, endian::little);
    store<u16>(to + components_offset, record.components, endian::little);
    for (u32 i = 0; i < max_components; ++i)
        store<u32>(to + component_bytes_offset + 4 * std::size_t{i}, record.component_bytes[i],
                   endian::little);
    for (u32 i = 0; i < 2; ++i)
        store<u16>(to + settings_lengths_offset + 2 * std::size_t{i}, record.settings_lengths[i],
                   endian::little);
    store<u16>(to + settings_size_offset, static_cast<u16>(settings_size(record)), endian::little);
}

stream_header load_header(const u8 *from) {
    stream_header header = {};
    header.source_format = load<u16>(from + source_format_offset, endian::little);
    header.components = load<u16>(from + components_offset, endian::little);
    for (u32 i = 0; i < max_components; ++i)
        header.component_bytes[i] =
            load<u32>(from + component_bytes_offset + 4 * std::size_t{i}, endian::little);
    for (u32 i = 0; i < 2; ++i)
        header.settings_lengths[i] =
            load<u16>(from + settings_lengths_offset + 2 * std::size_t{i}, endian::little);
    header.settings_size = load<u16>(from + settings_size_offset, endian::little);
    return header;
}

bool has_magic(const u8 *from) {
    return std::memcmp(from, stream_magic, sizeof stream_magic) == 0;
}

bool has_version(const u8 *from) {
    return load<u16>(from + version_offset, endian::little) == stream_version;
}

// Validates a header, copies its fields to the record and resizes the settings. The stream of the
// record is empty until its data has been read.
u32 apply_header(const char *function, wavelet_record &record, const stream_header &header) {
    const bool colour = header.components == 3;
    const u32 chroma_settings =
        colour ? u32{header.settings_lengths[0]} + header.settings_lengths[1] : 0;
    if ((header.components != 1 && !colour) || chroma_settings > header.settings_size)
        return report(function, VIQ_ERR_CORRUPT, "Corrupt WVLT stream");
    record.settings_loaded = 0;
    clear_stream(record);
    // The next compression gathers its own settings.
    record.settings_changed = 1;
    record.source_format = header.source_format;
    record.components = header.components;
    for (u32 i = 0; i < max_components; ++i)
        record.component_bytes[i] = header.component_bytes[i];
    for (u32 i = 0; i < 2; ++i)
        record.settings_lengths[i] = colour ? header.settings_lengths[i] : u16{0};
    return resize_settings(record, header.settings_size) ? success
                                                         : report(function, VIQ_ERR_MEMORY, "");
}

u32 read_open_file(wavelet_record &record, std::FILE *file) {
    constexpr const char *name = "VIQ_WVLT_file_read";
    const auto report_truncated = [] {
        return report(name, VIQ_ERR_SYSTEM, "Unexpected end of file");
    };
    const auto get = [&](u8 *bytes, std::size_t size) {
        return std::fread(bytes, size, 1, file) == 1;
    };
    u8 bytes[header_size];
    if (!get(bytes, header_size))
        return report_truncated();
    if (!has_magic(bytes))
        return report(name, VIQ_ERR_UNSUPPORTED, "Not a WVLT file");
    if (!has_version(bytes))
        return report_version(name);
    const stream_header header = load_header(bytes);
    const u64 size = file_size(file);
    if (size <= u64{header_size} + header.settings_size)
        return report_truncated();
    const u64 length = size - header_size - header.settings_size;
    const u32 code = apply_header(name, record, header);
    if (is_error(code))
        return code;
    if (length > UINT32_MAX || !resize_stream(record, length))
        return report(name, VIQ_ERR_MEMORY, "");
    if (!get(record.settings.data(), header.settings_size) ||
        !get(record.stream.data(), static_cast<std::size_t>(length))) {
        clear_stream(record);
        return report_truncated();
    }
    record.stream_length = static_cast<u32>(length);
    return success;
}

} // namespace
