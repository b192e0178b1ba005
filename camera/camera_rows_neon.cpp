// NEON row kernels: 16 pixels of a mosaic, or 8 pairs of YUV 4:2:2 at a time. The loops process
// what remains after the last whole block.
#include "camera/camera_row_loops.h"
#include "convert/planes_neon.h"

namespace viq {

namespace {

// 0xFF at the columns of green samples.
VIQ_FORMULA bytes16 green_columns(mosaic_line line) {
    return vreinterpretq_u8_u16(vdupq_n_u16(line.green_first ? 0x00FF : 0xFF00));
}

void mosaic_blocks(const u8 *rgb24, u8 *target, u32 pixels, mosaic_line line) {
    const bytes16 green = green_columns(line);
    u32 x = 0;
    for (; x + block <= pixels; x += block) {
        const planes p = load_bytes<VIQ_RGB24>(rgb24 + std::size_t{3} * x);
        vst1q_u8(target + x, vbslq_u8(green, p.green, line.red ? p.red : p.blue));
    }
    // The loop continues at an even column.
    mosaic_loop(rgb24 + std::size_t{3} * x, target + x, pixels - x, line);
}

void show_blocks(const u8 *samples, u8 *rgb24, u32 pixels, mosaic_line line) {
    const bytes16 green = green_columns(line);
    const bytes16 zero = vdupq_n_u8(0);
    u32 x = 0;
    for (; x + block <= pixels; x += block) {
        const bytes16 v = vld1q_u8(samples + x);
        const bytes16 own = vbicq_u8(v, green);
        store_bytes<VIQ_RGB24>(rgb24 + std::size_t{3} * x,
                               {line.red ? own : zero, vandq_u8(v, green), line.red ? zero : own},
                               false);
    }
    show_loop(samples + x, rgb24 + std::size_t{3} * x, pixels - x, line);
}

// ---- Demosaicing

VIQ_FORMULA bytes16 mean4(bytes16 a, bytes16 b, bytes16 c, bytes16 d) {
    const uint16x8_t low = vaddq_u16(vaddl_u8(vget_low_u8(a), vget_low_u8(b)),
                                     vaddl_u8(vget_low_u8(c), vget_low_u8(d)));
    const uint16x8_t high = vaddq_u16(vaddl_high_u8(a, b), vaddl_high_u8(c, d));
    return vshrn_high_n_u16(vshrn_n_u16(low, 2), high, 2);
}

VIQ_FORMULA bytes16 gradient(bytes16 a, bytes16 b, bytes16 centre, bytes16 beyond_a,
                             bytes16 beyond_b) {
    const bytes16 deviation = vabdq_u8(centre, vrhaddq_u8(beyond_a, beyond_b));
    return vqaddq_u8(vabdq_u8(a, b), vqaddq_u8(deviation, deviation));
}

// The colours of 16 pixels, as in `site` (camera_row_loops.h): `own` is red or blue, whichever the
// line contains, also at the green pixels.
struct sites {
    bytes16 own, green, other;
};

template <demosaic_scheme scheme>
VIQ_FORMULA sites demosaic_sites(const mosaic_lines &lines, u32 x, bytes16 green) {
    const u8 *above = lines.at[1] + x;
    const u8 *here = lines.at[2] + x;
    const u8 *below = lines.at[3] + x;
    const bytes16 centre = vld1q_u8(here);
    const bytes16 right = vld1q_u8(here + 1);
    const bytes16 south = vld1q_u8(below);
    const bytes16 south_east = vld1q_u8(below + 1);
    if constexpr (scheme == demosaic_scheme::replicate) {
        return {vbslq_u8(green, right, centre), vbslq_u8(green, centre, right),
                vbslq_u8(green, south, south_east)};
    }
    const bytes16 left = vld1q_u8(here - 1);
    const bytes16 north = vld1q_u8(above);
    const bytes16 north_west = vld1q_u8(above - 1);
    const bytes16 north_east = vld1q_u8(above + 1);
    const bytes16 south_west = vld1q_u8(below - 1);
    const bytes16 across = vhaddq_u8(left, right);
    const bytes16 down = vhaddq_u8(north, south);
    bytes16 cross = across;
    bytes16 corners;
    if constexpr (scheme == demosaic_scheme::adaptive) {
        const u8 *two_above = lines.at[0] + x;
        const u8 *two_below = lines.at[4] + x;
        const bytes16 vertical =
            vcltq_u8(gradient(north, south, centre, vld1q_u8(two_above), vld1q_u8(two_below)),
                     gradient(left, right, centre, vld1q_u8(here - 2), vld1q_u8(here + 2)));
        const bytes16 rising = vcltq_u8(gradient(north_east, south_west, centre,
                                                 vld1q_u8(two_above + 2), vld1q_u8(two_below - 2)),
                                        gradient(north_west, south_east, centre,
                                                 vld1q_u8(two_above - 2), vld1q_u8(two_below + 2)));
        cross = vbslq_u8(vertical, down, across);
        corners = vhaddq_u8(vbslq_u8(rising, north_east, north_west),
                            vbslq_u8(rising, south_west, south_east));
    } else {
        if constexpr (scheme == demosaic_scheme::bilinear)
            cross = mean4(left, right, north, south);
        corners = mean4(north_west, north_east, south_west, south_east);
    }
    return {vbslq_u8(green, across, centre), vbslq_u8(green, centre, cross),
            vbslq_u8(green, down, corners)};
}

template <demosaic_scheme scheme, u16 format>
void demosaic_blocks(const mosaic_lines &lines, u8 *target, u32 pixels, mosaic_line line) {
    const bytes16 green = green_columns(line);
    u32 x = 0;
    for (; x + block <= pixels; x += block) {
        const sites s = demosaic_sites<scheme>(lines, x, green);
        const planes p =
            line.red ? planes{s.own, s.green, s.other} : planes{s.other, s.green, s.own};
        store<format>(target + std::size_t{x} * pixel_bytes(format), p, {});
    }
    demosaic_from<scheme, format>(lines, target, pixels, line, x);
}

template <demosaic_scheme scheme, u16 format> struct neon_demosaic {
    static constexpr demosaic_row row = demosaic_blocks<scheme, format>;
};

// ---- Chroma keying

// The hues are looked up one by one.
constexpr camera_kernels make_kernels() {
    camera_kernels kernels = {mosaic_blocks, show_blocks, {}, {}, key_loop, soften_loop};
    fill_schemes<VIQ_BGRX32, neon_demosaic>(kernels.to_bgrx32);
    fill_schemes<VIQ_RGB16, neon_demosaic>(kernels.to_rgb16);
    return kernels;
}

} // namespace

constexpr camera_kernels neon_camera = make_kernels();

} // namespace viq
