// Parser of JPEG streams in files and in memory.
#include <algorithm>
#include <cstring>

#include "core/byte_order.h"
#include "core/file_io.h"
#include "core/file_reading.h"
#include "core/limits.h"
#include "core/report.h"
#include "jpeg/jpeg_markers.h"
#include "jpeg/jpeg_record.h"
#include "jpeg/jpeg_tables.h"

using namespace viq;

namespace {

// A file or a buffer in memory.
struct byte_source {
    std::FILE *file; // null: memory
    const u8 *bytes;
    u64 length;
    u64 position;
};

struct parse;

// The differences between the three readers.
struct reader_rules {
    const char *name;
    u32 unrecognised;      // error class of an unknown marker
    const char *cut_short; // message for a stream that ends within a segment
    bool keeps_comment;
    u32 (*take_scan)(parse &state); // called at the first byte of coded data
    bool stops_at_scan;
};

struct parse {
    const reader_rules &rules;
    u32 handle;
    tVIQ_Image &image;
    Tjpeg &record;
    byte_source source;
    bool has_frame = false;
    bool has_scan = false;
    u32 q_tables_seen = 0; // one bit for each table
    u32 h_tables_seen = 0;
    scan_form *form = nullptr; // of the conforming mode
};

// The part of a segment that has not been parsed.
struct segment {
    const u8 *at;
    std::size_t left;
    u16 length; // including its own two bytes
    vector<u8> bytes;
};

u32 parse_stream(parse &state);
u32 read_opened_file(const reader_rules &rules, u32 hJpegImage);
u32 leave_in_file(parse &state);
u32 read_from_file(parse &state);
u32 read_from_memory(parse &state);

constexpr u32 huffman_head = 17; // bytes of the table id and the counts of each code length
constexpr u32 most_q_tables = 4;
constexpr u32 scan_end = block_size - 1; // last coefficient of a baseline scan

constexpr reader_rules open_rules = {.name = "VIQ_JPEG_file_open",
                                     .unrecognised = VIQ_ERR_CORRUPT,
                                     .cut_short = "Unexpected end of file",
                                     .keeps_comment = false,
                                     .take_scan = leave_in_file,
                                     .stops_at_scan = true};

constexpr reader_rules file_rules = {.name = "VIQ_JPEG_file_read",
                                     .unrecognised = VIQ_ERR_CORRUPT,
                                     .cut_short = "Unexpected end of file",
                                     .keeps_comment = true,
                                     .take_scan = read_from_file,
                                     .stops_at_scan = false};

constexpr reader_rules buffer_rules = {.name = "VIQ_JPEG_buffer_read",
                                       .unrecognised = VIQ_ERR_UNSUPPORTED,
                                       .cut_short = "Unexpected end of JPEG stream",
                                       .keeps_comment = true,
                                       .take_scan = read_from_memory,
                                       .stops_at_scan = false};

} // namespace

u32 VIQ_JPEG_file_open(u32 hJpegImage) {
    return read_opened_file(open_rules, hJpegImage);
}

u32 VIQ_JPEG_file_read(u32 hJpegImage) {
    u32 code = read_opened_file(file_rules, hJpegImage);
    if (!is_error(code))
        code = VIQ_JPEG_file_close(hJpegImage);
    return code;
}

u32 VIQ_JPEG_file_close(u32 hJpegImage) {
    constexpr const char *name = "VIQ_JPEG_file_close";
    Tjpeg *record = nullptr;
    if (const u32 code = need_record(name, hJpegImage, record); is_error(code))
        return code;
    unique_stream file(release_file(*record));
    return close_file(name, file);
}

u32 VIQ_JPEG_buffer_read(u32 hJpegImage, const u8 *pBuffer, u32 dwLength) {
    const char *name = buffer_rules.name;
    Tjpeg *record = nullptr;
    if (const u32 code = need_record(name, hJpegImage, record); is_error(code))
        return code;
    if (pBuffer == nullptr || dwLength == 0)
        return report(name, VIQ_ERR_OPEN, "Not JPEG stream/data");
    drop_file(*record);
    parse state = {buffer_rules,
                   hJpegImage,
                   *find_image(hJpegImage),
                   *record,
                   {nullptr, pBuffer, dwLength, 0}};
    return parse_stream(state);
}

namespace {

u32 read_opened_file(const reader_rules &rules, u32 hJpegImage) {
    tVIQ_Image *image = find_image(hJpegImage);
    if (image == nullptr)
        return report_bad_handle(rules.name);
    if (image->jpeg == nullptr)
        return report(rules.name, VIQ_ERR_OPEN, "The VIQ image handle refers to a non-JPEG image");
    if (is_frozen(*image))
        return report_unchangeable(rules.name, hJpegImage);
    Tjpeg &record = *image->jpeg;
    drop_file(record);
    unique_stream file(open_to_read(image->infilename));
    if (file == nullptr)
        return report(rules.name, VIQ_ERR_OPEN, "Failed to open JPEG file");
    if (!take_file(record, std::move(file)))
        return report(rules.name, VIQ_ERR_MEMORY, "");
    if (const u32 code = check_file_limit(rules.name, record.file); is_error(code)) {
        drop_file(record);
        return code;
    }
    parse state = {
        rules, hJpegImage, *image, record, {record.file, nullptr, file_size(record.file), 0}};
    const u32 code = parse_stream(state);
    if (is_error(code))
        drop_file(record);
    return code;
}

// ---- Reading bytes

bool at_end(const byte_source &source) {
    return source.position >= source.length;
}

bool read_bytes(byte_source &source, u8 *bytes, std::size_t count) {
    if (count > source.length - source.position)
        return false;
    if (source.file != nullptr) {
        if (std::fread(bytes, 1, count, source.file) != count)
            return false;
    } else if (count != 0) {
        std::memcpy(bytes, source.bytes + source.position, count);
    }
    source.position += count;
    return true;
}

bool skip_bytes(byte_source &source, u64 count) {
    source.position = std::min(source.length, source.position + count);
    return source.file == nullptr || seek_to(source.file, source.position);
}

// ---- Segments

u32 fail(const parse &state, u32 code, const char *message) {
    return report(state.rules.name, code, message);
}

u32 fail_corrupt(const parse &state, const char *message = "Corrupt segment") {
    return fail(state, VIQ_ERR_CORRUPT, message);
}

u32 read_segment(parse &state, segment &part) {
    u8 length[2];
    if (!read_bytes(state.source, length, 2))
        return fail_corrupt(state, state.rules.cut_short);
    part.length = load<u16>(length, endian::big);
    if (part.length < 2)
        return fail_corrupt(state);
    part.left = part.length - 2u;
    if (!try_resize(part.bytes, part.left))
        return fail(state, VIQ_ERR_MEMORY, "");
    if (!read_bytes(state.source, part.bytes.data(), part.left))
        return fail_corrupt(state, state.rules.cut_short);
    part.at = part.bytes.data();
    return success;
}

// Null if the segment is shorter.
const u8 *take(segment &part, std::size_t count) {
    if (part.left < count)
        return nullptr;
    const u8 *taken = part.at;
    part.at += count;
    part.left -= count;
    return taken;
}

// The pixel format of three components; 0 if the sampling factors are not supported.
u16 colour_format(const Tjpeg &record) {
    const auto sampled = [&record](u32 component, u32 h, u32 v) {
        return record.h_factor[component] == h && record.v_factor[component] == v;
    };
    const bool chroma_once = sampled(1, 1, 1) && sampled(2, 1, 1);
    if (sampled(0, 2, 1) && chroma_once)
        return VIQ_YUV422;
    if (sampled(0, 2, 2) && chroma_once)
        return VIQ_YUV411;
    const bool no_h =
        std::all_of(record.h_factor, record.h_factor + 3, [](u16 factor) { return factor == 1; });
    return no_h ? VIQ_RGB24 : 0;
}

// The sampling factors of the components divide the largest ones.
bool can_be_sampled(const scan_form &form) {
    const auto [h, v] = largest_factors(form);
    for (u32 i = 0; i < form.components; ++i) {
        const auto &c = form.component[i];
        if (c.h == 0 || c.v == 0 || h > 4 || v > 4 || h % c.h != 0 || v % c.v != 0)
            return false;
    }
    return true;
}

// The pixel format of the coded image in the conforming mode.
u32 take_components(parse &state, const u8 *ids, u16 &format) {
    scan_form &form = *state.form;
    const Tjpeg &record = state.record;
    form.components = record.components;
    for (u32 i = 0; i < form.components; ++i)
        form.component[i] = {ids[3 * i],
                             static_cast<u8>(record.h_factor[i]),
                             static_cast<u8>(record.v_factor[i]),
                             static_cast<u8>(record.q_table_id[i]),
                             0,
                             0};
    // A scan of one component is not interleaved, whatever its sampling factors are.
    if (form.components == 1)
        form.component[0].h = form.component[0].v = 1;
    if (!can_be_sampled(form))
        return fail(state, VIQ_ERR_UNSUPPORTED, "JPEG sampling factors are not supported");
    if (format == 0)
        format = VIQ_RGB24;
    return success;
}

u32 parse_frame(parse &state, segment &part) {
    if (state.has_frame)
        return fail_corrupt(state, "More than one frame");
    const u8 *head = take(part, 6);
    if (head == nullptr)
        return fail_corrupt(state);
    tVIQ_Image &image = state.image;
    Tjpeg &record = state.record;
    record.sof_length = part.length;
    record.precision = head[0];
    image.height = load<u16>(head + 1, endian::big);
    image.lines_per_strip = image.height;
    image.width = load<u16>(head + 3, endian::big);
    image.bits_per_pixel = static_cast<u16>(head[5] * 8);
    image.param_18 = 1;
    if (state.form != nullptr && head[5] == 4)
        return fail(state, VIQ_ERR_UNSUPPORTED, "JPEG of four components (CMYK) is not supported");
    if (head[5] != 1 && head[5] != 3)
        return fail(state, VIQ_ERR_UNSUPPORTED, "Unsupported image depth");
    record.components = head[5];
    if (record.precision != 8)
        return fail(state, VIQ_ERR_UNSUPPORTED, "Only 8 bit samples are supported");
    if (image.width == 0 || image.height == 0)
        return fail_corrupt(state, "Image has no size");
    const u8 *ids = part.at;
    for (u32 i = 0; i < record.components; ++i) {
        const u8 *component = take(part, 3);
        if (component == nullptr)
            return fail_corrupt(state);
        record.h_factor[i] = component[1] >> 4;
        record.v_factor[i] = component[1] & 15;
        record.q_table_id[i] = component[2];
    }
    if (part.left != 0)
        return fail_corrupt(state);
    u16 format = record.components == 1 ? u16{VIQ_Y8} : colour_format(record);
    if (state.form != nullptr)
        if (const u32 code = take_components(state, ids, format); is_error(code))
            return code;
    if (format == 0)
        return fail(state, VIQ_ERR_UNSUPPORTED, "Unknown colour image format");
    state.has_frame = true;
    return VIQ_image_set_parameter(state.handle, VIQ_IMAGE_TYPE, format);
}

// Tables may be spread over several segments; the record describes them as one segment.
void add_table_id(parse &state, u8 id, u32 consumed) {
    Tjpeg &record = state.record;
    const u32 slot = slot_of_table_id(id);
    u16 *entry = record.h_table_ids;
    while (*entry != no_table && slot_of_table_id(*entry) != slot)
        ++entry;
    if (*entry == no_table)
        entry[1] = no_table;
    *entry = id;
    state.h_tables_seen |= 1u << slot;
    record.dht_length = static_cast<u16>(record.dht_length + consumed);
}

u32 parse_huffman(parse &state, segment &part) {
    Tjpeg &record = state.record;
    if (state.h_tables_seen == 0) {
        record.h_table_ids[0] = no_table;
        record.dht_length = 0;
    }
    while (part.left != 0) {
        const u8 *head = take(part, huffman_head);
        if (head == nullptr)
            return fail_corrupt(state, state.rules.cut_short);
        const u32 slot = slot_of_table_id(head[0]);
        if (state.form != nullptr && (head[0] & ~0x13) != 0)
            return fail_corrupt(state, "Corrupt Huffman table");
        u8 bits[16];
        std::memcpy(bits, head + 1, sizeof bits);
        if (!is_valid_table(bits))
            return fail_corrupt(state, "Corrupt Huffman table");
        const u32 symbols = symbol_count(bits);
        const u8 *values = take(part, symbols);
        if (values == nullptr)
            return fail_corrupt(state, state.rules.cut_short);
        std::memcpy(record.h_bits[slot], bits, sizeof bits);
        std::memset(record.h_vals[slot], 0, sizeof record.h_vals[slot]);
        std::copy(values, values + symbols, record.h_vals[slot]);
        if (state.form != nullptr) {
            constexpr u8 number = 3; // bits of the number; the others are the class
            scan_form &form = *state.form;
            huffman_lists &table = (head[0] > number ? form.ac : form.dc)[head[0] & number];
            table = {};
            table.present = true;
            std::memcpy(table.bits, bits, sizeof bits);
            std::copy(values, values + symbols, table.vals);
        }
        add_table_id(state, head[0], huffman_head + symbols);
    }
    return success;
}

u32 parse_quantisation(parse &state, segment &part) {
    Tjpeg &record = state.record;
    while (part.left != 0) {
        const u8 *table = take(part, 1);
        const u32 precision = *table >> 4; // 0: 8 bits, 1: 16 bits
        if (precision > (state.form != nullptr ? 1 : 0))
            return fail(state, VIQ_ERR_UNSUPPORTED, "16 bit integer precision not supported");
        const u32 number = *table & 15;
        if (number >= most_q_tables)
            return fail_corrupt(state, "Quantisation table number above 3");
        const u8 *steps = take(part, block_size * std::size_t{precision + 1});
        if (steps == nullptr)
            return fail_corrupt(state, state.rules.cut_short);
        for (u32 k = 0; k < block_size; ++k) {
            const u32 step = precision == 0 ? steps[k] : load<u16>(steps + 2 * k, endian::big);
            record.q_tables[number][k] = static_cast<u8>(std::min(step, 255u));
            if (state.form != nullptr)
                state.form->q_tables[number][k] = static_cast<u16>(step);
        }
        if (state.form != nullptr)
            state.form->q_tables_present |= 1u << number;
        state.q_tables_seen |= 1u << number;
    }
    u16 count = 0;
    for (u32 seen = state.q_tables_seen; seen != 0; seen >>= 1)
        ++count;
    record.q_table_count = count;
    record.dqt_length = static_cast<u16>(2 + (1 + block_size) * count);
    return success;
}

// Without a JFIF header, three components are red, green and blue if the Adobe header or their
// names say so.
bool is_rgb_stream(const scan_form &form) {
    if (form.components != 3 || form.has_jfif)
        return false;
    if (form.has_adobe)
        return form.adobe_transform == 0;
    return form.component[0].id == 'R' && form.component[1].id == 'G' &&
           form.component[2].id == 'B';
}

// The tables of each component, as the scan assigns them.
u32 take_tables(parse &state, const u8 *selectors) {
    scan_form &form = *state.form;
    for (u32 i = 0; i < form.components; ++i, selectors += 2) {
        auto &component = form.component[i];
        if (selectors[0] != component.id)
            return fail_corrupt(state, "Scan of unknown components");
        component.dc_table = selectors[1] >> 4;
        component.ac_table = selectors[1] & 15;
        const bool valid =
            component.dc_table < 4 && component.ac_table < 4 && component.q_table < most_q_tables;
        if (!valid || !form.dc[component.dc_table].present ||
            !form.ac[component.ac_table].present ||
            (form.q_tables_present >> component.q_table & 1) == 0)
            return fail_corrupt(state, "JPEG table is missing");
    }
    form.is_rgb = is_rgb_stream(form);
    return success;
}

u32 parse_scan(parse &state, segment &part) {
    Tjpeg &record = state.record;
    if (!state.has_frame)
        return fail_corrupt(state, "Scan before frame");
    const u8 *components = take(part, 1);
    if (components == nullptr)
        return fail_corrupt(state);
    if (*components != record.components || state.has_scan)
        return fail(state, VIQ_ERR_UNSUPPORTED,
                    state.form != nullptr ? "JPEG of several scans is not supported"
                                          : "Only one scan of all components is supported");
    const u8 *selectors = take(part, std::size_t{2} * *components);
    const u8 *selection = selectors != nullptr ? take(part, 3) : nullptr;
    if (selection == nullptr || part.left != 0)
        return fail_corrupt(state);
    record.sos_length = part.length;
    record.scan_ss = selection[0];
    record.scan_se = selection[1];
    record.scan_ahal = selection[2];
    if (record.scan_ss != 0 || record.scan_se != scan_end || record.scan_ahal != 0)
        return fail_corrupt(state);
    if (state.form != nullptr)
        if (const u32 code = take_tables(state, selectors); is_error(code))
            return code;
    state.has_scan = true;
    record.data_start = static_cast<u32>(state.source.position);
    return state.rules.take_scan(state);
}

u32 skip_segment(parse &state, bool is_comment) {
    u8 length[2];
    if (!read_bytes(state.source, length, 2))
        return fail_corrupt(state, state.rules.cut_short);
    const u16 whole = load<u16>(length, endian::big);
    if (whole < 2)
        return fail_corrupt(state);
    u64 left = whole - 2u;
    if (is_comment && state.rules.keeps_comment) {
        const u64 there = state.source.length - state.source.position;
        const auto kept =
            static_cast<std::size_t>(std::min({left, there, u64{sizeof state.record.comment}}));
        read_bytes(state.source, reinterpret_cast<u8 *>(state.record.comment), kept);
        left -= kept;
    }
    skip_bytes(state.source, left);
    return success;
}

u32 parse_restart(parse &state, segment &part) {
    const u8 *interval = take(part, 2);
    if (interval == nullptr || part.left != 0)
        return fail_corrupt(state);
    state.form->restart_interval = load<u16>(interval, endian::big);
    return success;
}

// The Adobe header names the colour transform.
u32 parse_application(parse &state, segment &part, u8 marker) {
    constexpr std::size_t adobe_size = 12, transform_at = 11;
    scan_form &form = *state.form;
    const std::size_t size = part.left;
    const u8 *data = part.at;
    if (marker == marker_app0 && size >= 5 && std::memcmp(data, "JFIF", 5) == 0)
        form.has_jfif = true;
    if (marker == marker_app14 && size >= adobe_size && std::memcmp(data, "Adobe", 5) == 0) {
        form.has_adobe = true;
        form.adobe_transform = data[transform_at];
    }
    return success;
}

struct refused_marker {
    u8 first, last;
    const char *message;
};

// In the conforming mode; the first row that matches.
constexpr refused_marker refused_markers[] = {
    {0xC2, 0xC2, "Progressive JPEG is not supported"},
    {0xC3, 0xC3, "Lossless JPEG is not supported"},
    {0xC5, 0xC7, "Hierarchical JPEG is not supported"},
    {0xC9, 0xCF, "Arithmetic-coded JPEG is not supported"},
    {marker_dnl, marker_dnl, "JPEG with the number of lines after the scan is not supported"},
    {0xDE, 0xDF, "Hierarchical JPEG is not supported"},
};

// True if the conforming mode treats the marker in its own way.
bool parse_conforming_segment(parse &state, u8 marker, u32 &code) {
    for (const refused_marker &refused : refused_markers)
        if (marker >= refused.first && marker <= refused.last) {
            code = fail(state, VIQ_ERR_UNSUPPORTED, refused.message);
            return true;
        }
    const bool application = marker >= marker_app0 && marker <= marker_app15;
    if (!application && marker != marker_sof1 && marker != marker_dri)
        return false;
    segment part = {};
    code = read_segment(state, part);
    if (is_error(code))
        return true;
    code = application            ? parse_application(state, part, marker)
           : marker == marker_dri ? parse_restart(state, part)
                                  : parse_frame(state, part);
    return true;
}

u32 parse_segment(parse &state, u8 marker) {
    if (u32 code = success; state.form != nullptr && parse_conforming_segment(state, marker, code))
        return code;
    u32 (*parse_content)(parse &, segment &) = nullptr;
    switch (marker) {
    case marker_sof0:
        parse_content = parse_frame;
        break;
    case marker_dht:
        parse_content = parse_huffman;
        break;
    case marker_dqt:
        parse_content = parse_quantisation;
        break;
    case marker_sos:
        parse_content = parse_scan;
        break;
    case marker_app0:
    case marker_com:
        return skip_segment(state, marker == marker_com);
    case marker_dri:
        return fail(state, VIQ_ERR_UNSUPPORTED, "Define Restart Interval not supported");
    default:
        return fail(state, state.rules.unrecognised | marker, "Unrecognised marker detected");
    }
    segment part = {};
    const u32 code = read_segment(state, part);
    return is_error(code) ? code : parse_content(state, part);
}

// ---- The stream

u32 parse_start(parse &state) {
    u8 byte = 0;
    if (!read_bytes(state.source, &byte, 1) || byte != 0xFF)
        return fail_corrupt(state, "Expecting PREFIX marker");
    // A buffer of one byte is accepted without further checks.
    if (state.source.file == nullptr && at_end(state.source))
        return success;
    if (!read_bytes(state.source, &byte, 1) || byte != marker_soi)
        return fail_corrupt(state, "Expecting SOI marker");
    return success;
}

// No further marker can follow. In memory, a single last byte and any buffer below 4 bytes are
// ignored.
bool is_over(const byte_source &source) {
    return at_end(source) || (source.file == nullptr && source.position + 1 >= source.length);
}

u32 prepare_form(parse &state) {
    companion(state.image).facts = {};
    drop_form(state.record);
    if (!reads_conforming())
        return success;
    state.form = renew_form(state.record);
    if (state.form == nullptr)
        return report_no_memory(state.rules.name, sizeof *state.form);
    companion(state.image).facts = {.orientation = 0, .sample_bits = 8, .dropped_samples = 0};
    return success;
}

u32 parse_stream(parse &state) {
    u32 code = parse_start(state);
    // The data of the previous picture does not match the new header.
    if (!is_error(code)) {
        drop_data(state.image);
        code = prepare_form(state);
    }
    while (!is_error(code) && !is_over(state.source)) {
        u8 byte = 0;
        read_bytes(state.source, &byte, 1);
        if (byte != 0xFF)
            return fail(state, VIQ_ERR_CORRUPT | byte, "Expecting 0xFF marker code");
        // Any number of 0xFF fill bytes may precede a marker code.
        while (byte == 0xFF && read_bytes(state.source, &byte, 1)) {
        }
        if (byte == 0xFF || byte == marker_eoi)
            break;
        code = parse_segment(state, byte);
        if (byte == marker_sos && state.rules.stops_at_scan)
            break;
    }
    if (!is_error(code))
        state.image.flags |= VIQ_FLAG_2;
    return code;
}

// ---- Coded data

u32 leave_in_file(parse &state) {
    state.record.data_length = 1;
    return success;
}

// Length of the coded data: it ends before the 0xFF of the next marker, or with the bytes. Counts
// the frame separators. In data with restart intervals they separate intervals.
std::size_t end_of_data(const parse &state, const u8 *bytes, std::size_t length, u32 &frames) {
    const bool restarts = state.form != nullptr && state.form->restart_interval != 0;
    const u8 *at = bytes;
    const u8 *const end = bytes + length;
    while (at != end) {
        at = static_cast<const u8 *>(std::memchr(at, 0xFF, static_cast<std::size_t>(end - at)));
        if (at == nullptr)
            return length;
        const bool continues =
            at + 1 != end &&
            (at[1] == 0 || (state.form == nullptr ? separates_frames(at[1]) : is_restart(at[1])));
        if (!continues)
            return static_cast<std::size_t>(at - bytes);
        if (at[1] != 0 && !restarts)
            ++frames;
        at += 2;
    }
    return length;
}

void set_scan(parse &state, std::size_t length, u32 frames, u64 start) {
    state.record.data_length = static_cast<u32>(length);
    state.record.data_ptr = state.record.data;
    state.image.param_18 = frames;
    state.source.position = start + length;
}

u32 read_from_file(parse &state) {
    byte_source &source = state.source;
    const u64 start = source.position;
    const u64 left = source.length - start;
    const u32 code = VIQ_JPEG_malloc_data(state.handle);
    if (is_error(code))
        return code;
    if (left > data_room(state.image))
        return report_no_memory(state.rules.name, left);
    const std::size_t read =
        std::fread(state.record.data, 1, static_cast<std::size_t>(left), source.file);
    if (read != left)
        return fail_corrupt(state, state.rules.cut_short);
    u32 frames = 1;
    const std::size_t length = end_of_data(state, state.record.data, read, frames);
    set_scan(state, length, frames, start);
    return skip_bytes(source, 0) ? success : fail_corrupt(state, state.rules.cut_short);
}

u32 read_from_memory(parse &state) {
    byte_source &source = state.source;
    const u64 start = source.position;
    const u8 *bytes = source.bytes + start;
    u32 frames = 1;
    const std::size_t length =
        end_of_data(state, bytes, static_cast<std::size_t>(source.length - start), frames);
    const u32 code = VIQ_JPEG_malloc_N_bytes_data(state.handle, static_cast<u32>(source.length));
    if (is_error(code))
        return code;
    if (length != 0)
        std::memcpy(state.record.data, bytes, length);
    set_scan(state, length, frames, start);
    return success;
}

} // namespace
