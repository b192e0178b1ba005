#include "jpeg/component_decoder.h"

#include <algorithm>
#include <cstring>

#include "convert/conversion_rows.h"
#include "convert/pixel_formulas.h"
#include "core/report.h"
#include "jpeg/dct.h"
#include "jpeg/decoder.h"
#include "jpeg/jpeg_markers.h"
#include "jpeg/picture_size.h"

namespace viq {

namespace {

constexpr const char *name = "VIQ_JPEG_decompress";
constexpr u32 mcus_at_once = 16; // an even number, so that rows of pairs begin with a whole pair

u32 begin_plane(component_decoder &decoder, component_plane &plane, const scan_form &form, u32 i);
u32 decode_row(component_decoder &decoder);

u32 pairs_of(u32 blocks) {
    return (blocks + 1) / 2;
}

} // namespace

u32 begin_components(component_decoder &decoder, const tVIQ_Image &image) {
    const scan_form &form = *form_of(*image.jpeg);
    decoder = {};
    decoder.components = form.components;
    decoder.is_rgb = form.is_rgb;
    decoder.input = coded_input_of(*image.jpeg);
    decoder.restart_interval = form.restart_interval;
    const auto [h, v] = largest_factors(form);
    for (u32 i = 0; i < form.components; ++i)
        decoder.mcu_blocks += u32{form.component[i].h} * form.component[i].v;
    decoder.mcus = static_cast<u32>(rounded_up(image.width, 8 * h) / (8 * h));
    decoder.mcu_lines = 8 * v;
    decoder.mcu_rows =
        static_cast<u32>(rounded_up(image.height, decoder.mcu_lines) / decoder.mcu_lines);
    // A block has at least two bits: a code for its DC value and one for the end.
    if (u64{decoder.mcus} * decoder.mcu_rows * decoder.mcu_blocks > decoder.input.length * 4)
        return report(name, VIQ_ERR_CORRUPT, "Image too large for its data");
    for (u32 i = 0; i < form.components; ++i) {
        decoder.planes[i].h_scale = h / form.component[i].h;
        decoder.planes[i].v_scale = v / form.component[i].v;
        const u32 code = begin_plane(decoder, decoder.planes[i], form, i);
        if (is_error(code))
            return code;
    }
    const u64 wide = u64{decoder.mcus} * 8 * h;
    bool allocated = try_resize(decoder.line, 3 * wide);
    for (vector<u8> &line : decoder.wide)
        allocated = allocated && try_resize(line, wide);
    return allocated ? success : report_no_memory(name, 6 * wide);
}

namespace {

u32 begin_plane(component_decoder &decoder, component_plane &plane, const scan_form &form, u32 i) {
    const auto &component = form.component[i];
    const huffman_lists &dc = form.dc[component.dc_table];
    const huffman_lists &ac = form.ac[component.ac_table];
    plane.steps = make_quantiser(form.q_tables[component.q_table]);
    plane.dc_step = plane.steps.step[0][0];
    plane.steps.step[0][0] = plane.steps.step[0][pair_width / 2] = 1;
    plane.stride = std::size_t{16} * pairs_of(decoder.mcus * component.h);
    plane.h = component.h;
    plane.v = component.v;
    plane.pairs_in_row = pairs_of(mcus_at_once * component.h);
    const u64 samples = u64{plane.stride} * 8 * component.v;
    if (!build_dc_tables(dc.bits, dc.vals, plane.dc) ||
        !build_ac_tables(ac.bits, ac.vals, plane.ac) ||
        !try_resize(plane.pairs, u64{plane.pairs_in_row} * component.v) ||
        !try_resize(plane.samples, samples))
        return report_no_memory(name, samples);
    return success;
}

// ---- Rows of MCUs

// A restart marker carries the number of the interval before it, modulo 8.
u32 begin_next_interval(component_decoder &decoder) {
    if (decoder.intervals != 0) {
        const u8 marker = skip_to_marker(decoder.input, decoder.reader);
        if (marker == 0)
            return report(name, VIQ_ERR_CORRUPT, "JPEG data ends early");
        if (marker != marker_rst0 + (decoder.intervals - 1) % 8)
            return report(name, VIQ_ERR_CORRUPT, "JPEG restart marker out of order");
        decoder.input.next += 2;
    }
    decoder.mcus_left = decoder.restart_interval;
    ++decoder.intervals;
    return begin_interval(decoder.input, decoder.reader);
}

u32 read_mcus_at(component_decoder &decoder, u32 count) {
    scan_component scans[3];
    for (u32 i = 0; i < decoder.components; ++i) {
        component_plane &plane = decoder.planes[i];
        std::memset(plane.pairs.data(), 0, plane.pairs.size() * sizeof plane.pairs[0]);
        scans[i] = {{plane.dc.entries.data(), plane.dc.fast.data(), plane.ac.entries.data(),
                     plane.ac.fast.data()},
                    plane.h,
                    plane.v,
                    plane.pairs.data(),
                    plane.pairs_in_row};
    }
    const std::span<const scan_component> components(scans, decoder.components);
    for (u32 done = 0, part = 0; done < count; done += part) {
        part = count - done;
        const bool restarts = decoder.restart_interval != 0;
        if (decoder.intervals == 0 || (restarts && decoder.mcus_left == 0))
            if (const u32 code = begin_next_interval(decoder); is_error(code))
                return code;
        if (restarts)
            part = std::min(part, decoder.mcus_left);
        decoder.mcus_left -= restarts ? part : 0;
        u32 code = fill_window(decoder.input, decoder.reader,
                               std::size_t{part} * decoder.mcu_blocks * most_block_bytes);
        if (!is_error(code))
            code = read_any_mcus(decoder.reader, components, done, part);
        if (is_error(code))
            return code;
    }
    return success;
}

// Dequantises the DC values. The inverse transform rounds down; half a sample value is 4 in units
// of the DC value.
void prepare_dc(component_plane &plane, decoded_pair &pair) {
    constexpr i32 half = 4;
    for (u32 i = 0; i < 2; ++i) {
        pair.dc[i] =
            wrapped_sum(wrapped_product(pair.dc[i], static_cast<i32>(plane.dc_step)), half);
        pair.blocks.coefficients[i][0] = static_cast<i16>(pair.dc[i]);
    }
}

void transform_plane(component_plane &plane, u32 first, u32 count) {
    const u32 pairs = pairs_of(count * plane.h);
    const std::size_t x = std::size_t{8} * first * plane.h;
    for (u32 v = 0; v < plane.v; ++v)
        for (u32 n = 0; n < pairs; ++n) {
            decoded_pair &pair = plane.pairs[std::size_t{v} * plane.pairs_in_row + n];
            prepare_dc(plane, pair);
            u8 *to = plane.samples.data() + std::size_t{8} * v * plane.stride + x +
                     std::size_t{pair_width} * n;
            transform_pair(pair, plane.steps, to, plane.stride);
        }
}

u32 decode_row(component_decoder &decoder) {
    for (u32 first = 0; first < decoder.mcus; first += mcus_at_once) {
        const u32 count = std::min(mcus_at_once, decoder.mcus - first);
        const u32 code = read_mcus_at(decoder, count);
        if (is_error(code))
            return code;
        for (u32 i = 0; i < decoder.components; ++i)
            transform_plane(decoder.planes[i], first, count);
    }
    ++decoder.rows_done;
    return success;
}

// ---- Lines of pixels

const u8 *plane_line(const component_plane &plane, u32 line) {
    return plane.samples.data() + line / plane.v_scale * plane.stride;
}

// One sample a pixel, if a sample is shared by `scale` pixels.
const u8 *widened(const u8 *samples, u32 scale, u32 pixels, vector<u8> &line) {
    if (scale == 1)
        return samples;
    for (std::size_t x = 0; x < pixels; ++x)
        line[x] = samples[x / scale];
    return line.data();
}

void join_rgb(const u8 *const (&from)[3], u32 pixels, u8 *rgb) {
    for (std::size_t x = 0; x < pixels; ++x)
        for (std::size_t i = 0; i < 3; ++i)
            rgb[3 * x + i] = from[i][x];
}

void convert_to_rgb(const u8 *const (&from)[3], u32 pixels, u8 *to) {
    for (std::size_t x = 0; x < pixels; ++x) {
        const rgb colour = yuv_to_rgb({from[0][x], from[1][x], from[2][x]});
        to[3 * x] = colour.red;
        to[3 * x + 1] = colour.green;
        to[3 * x + 2] = colour.blue;
    }
}

// Chroma of one sample a pixel is averaged over two pixels, half up.
void join_pairs(const u8 *const (&from)[3], bool chroma_of_pairs, u32 pixels, u8 *to) {
    for (std::size_t x = 0; x < pixels; x += 2, to += 4) {
        const std::size_t right = x + 1 < pixels ? x + 1 : x;
        to[0] = from[0][x];
        to[2] = from[0][right];
        for (std::size_t i = 1; i < 3; ++i)
            to[2 * i - 1] = chroma_of_pairs
                                ? from[i][x / 2]
                                : static_cast<u8>((u32{from[i][x]} + from[i][right] + 1) / 2);
    }
}

} // namespace

// Where two pixels share their chroma, the pixels are made as YUV 4:2:2.
u32 decode_line(component_decoder &decoder, u32 line, const tVIQ_Image &out, u8 *pixels) {
    while (decoder.rows_done <= line / decoder.mcu_lines)
        if (const u32 code = decode_row(decoder); is_error(code))
            return code;
    const u32 y = line % decoder.mcu_lines;
    const u32 width = out.width;
    component_plane(&planes)[3] = decoder.planes;
    if (decoder.components == 1) {
        std::memcpy(pixels, plane_line(planes[0], y), width);
        return success;
    }
    const bool to_pairs = out.pixel_format == VIQ_YUV422;
    const bool pairs = !decoder.is_rgb && planes[0].h_scale == 1 && planes[1].h_scale % 2 == 0 &&
                       planes[2].h_scale % 2 == 0;
    const u8 *lines[3];
    for (u32 i = 0; i < 3; ++i) {
        const u32 shared = pairs && i != 0 ? 2 : 1;
        lines[i] = widened(plane_line(planes[i], y), planes[i].h_scale / shared,
                           (width + shared - 1) / shared, decoder.wide[i]);
    }
    if (decoder.is_rgb) {
        join_rgb(lines, width, to_pairs ? decoder.line.data() : pixels);
        if (to_pairs)
            find_row(VIQ_RGB24, VIQ_YUV422)(decoder.line.data(), pixels, width, {});
    } else if (to_pairs) {
        join_pairs(lines, pairs, width, pixels);
    } else if (!pairs) {
        convert_to_rgb(lines, width, pixels);
    } else {
        const u32 even = width - width % 2;
        join_pairs(lines, true, width, decoder.line.data());
        const row_kernel convert = find_row(VIQ_YUV422, VIQ_RGB24);
        convert(decoder.line.data(), pixels, even, {});
        if (even != width) {
            u8 last[6];
            convert(decoder.line.data() + std::size_t{2} * even, last, 2, {});
            std::memcpy(pixels + std::size_t{3} * even, last, 3);
        }
    }
    return success;
}

} // namespace viq
