#include "jpeg/coded_input.h"

#include <algorithm>
#include <cstring>

#include "core/file_io.h"
#include "core/report.h"
#include "jpeg/jpeg_markers.h"

namespace viq {

namespace {

constexpr const char *name = "VIQ_JPEG_decompress";
constexpr std::size_t window_step = 65536; // bytes that are added to the window at a time

bool is_in_file(const Tjpeg &record) {
    return record.data == nullptr && record.file != nullptr && form_of(record) != nullptr;
}

struct byte_span {
    const u8 *at;
    std::size_t count;
};

// The bytes from `next` on: all that there are, or at least two of them. Empty at the end of the
// data, or if the file cannot be read.
byte_span bytes_ahead(coded_input &input) {
    const u64 left = input.length - input.next;
    if (input.file == nullptr)
        return {input.data + input.next, static_cast<std::size_t>(left)};
    u64 held = input.block_start + input.block.size() - input.next;
    if (held < std::min<u64>(left, 2)) {
        input.block_start = input.next;
        const auto wanted = static_cast<std::size_t>(std::min<u64>(left, window_step));
        if (!try_resize(input.block, wanted) ||
            !seek_to(input.file, input.start + input.block_start))
            input.block.clear();
        input.block.resize(std::fread(input.block.data(), 1, input.block.size(), input.file));
        held = input.block.size();
    }
    return {input.block.data() + (input.next - input.block_start), static_cast<std::size_t>(held)};
}

// In a file, every marker ends the data. Markers may follow fill bytes of 0xFF.
bool ends_interval(const coded_input &input, u8 code) {
    return code != 0 && code != 0xFF &&
           (input.file != nullptr || is_restart(code) || code == marker_eoi);
}

// Appends bytes to the window, without the stuffed ones; false if the interval has ended.
bool append_bytes(coded_input &input, scan_reader &reader, std::size_t end) {
    const byte_span ahead = bytes_ahead(input);
    if (ahead.count == 0)
        return false;
    const u8 *at = ahead.at;
    const u8 *const last = at + std::min(ahead.count, end - reader.plain_size);
    u8 *to = reader.plain_bits.get() + reader.plain_size;
    bool continues = true;
    while (at < last) {
        const auto *ones =
            static_cast<const u8 *>(std::memchr(at, 0xFF, static_cast<std::size_t>(last - at)));
        const auto count = static_cast<std::size_t>((ones != nullptr ? ones : last) - at);
        std::memcpy(to, at, count);
        to += count;
        at += count;
        if (ones == nullptr)
            break;
        const u8 *const following = ones + 1;
        // The byte after the last one of a block is in the next block.
        if (following == ahead.at + ahead.count && at != ahead.at)
            break;
        const bool is_known = following != ahead.at + ahead.count;
        continues = !is_known || !ends_interval(input, *following);
        if (!continues)
            break;
        *to++ = 0xFF;
        at = is_known && *following == 0 ? following + 1 : following;
    }
    reader.plain_size = static_cast<std::size_t>(to - reader.plain_bits.get());
    input.next += static_cast<u64>(at - ahead.at);
    return continues;
}

} // namespace

coded_input coded_input_of(const Tjpeg &record) {
    coded_input input;
    if (is_in_file(record)) {
        input.file = record.file;
        input.start = record.data_start;
        input.length = std::max(file_size(record.file), input.start) - input.start;
    } else {
        input.data = record.data;
        input.length = record.data_length;
    }
    return input;
}

bool has_coded_input(const tVIQ_Image &image) {
    return has_data(image) || is_in_file(*image.jpeg);
}

bool is_input_of(const coded_input &input, const Tjpeg &record) {
    return input.file != nullptr
               ? is_in_file(record) && record.file == input.file && record.data_start == input.start
               : record.data == input.data && record.data_length == input.length;
}

u32 begin_interval(coded_input &input, scan_reader &reader) {
    owned_bytes window = std::move(reader.plain_bits);
    const std::size_t capacity = reader.plain_capacity;
    reader = {};
    reader.plain_bits = std::move(window);
    reader.plain_capacity = capacity;
    return fill_window(input, reader, 0);
}

u32 fill_window(coded_input &input, scan_reader &reader, std::size_t bytes) {
    const std::size_t held = reader.plain_size - reader.plain_next;
    if (reader.is_complete || (held >= bytes && held != 0))
        return success;
    const std::size_t filled = bytes + window_step;
    const std::size_t size = filled + plain_padding;
    owned_bytes window;
    if (reader.plain_capacity < size) {
        window = make_bytes(size);
        if (window == nullptr)
            return report_no_memory(name, size);
        std::copy_n(reader.plain_bits.get() + reader.plain_next, held, window.get());
        reader.plain_bits = std::move(window);
        reader.plain_capacity = size;
    } else {
        std::memmove(reader.plain_bits.get(), reader.plain_bits.get() + reader.plain_next, held);
    }
    reader.plain_next = 0;
    reader.plain_size = held;
    while (reader.plain_size < filled)
        if (!append_bytes(input, reader, filled)) {
            std::memset(reader.plain_bits.get() + reader.plain_size, 0xFF, plain_padding);
            reader.plain_size += plain_padding;
            reader.is_complete = true;
            break;
        }
    return success;
}

u8 skip_to_marker(coded_input &input, scan_reader &reader) {
    while (!reader.is_complete) {
        reader.plain_next = reader.plain_size;
        if (is_error(fill_window(input, reader, 1)))
            return 0;
    }
    const byte_span ahead = bytes_ahead(input);
    const u8 code = ahead.count < 2 ? u8{0} : ahead.at[1];
    return input.file == nullptr || is_restart(code) ? code : u8{0};
}

} // namespace viq
