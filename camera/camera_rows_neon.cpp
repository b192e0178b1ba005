// NEON row kernels: 16 pixels of a mosaic at a time.
#include "camera/mosaic_blocks.h"
#include "convert/planes_neon.h"

namespace viq {

namespace {

struct neon_vectors {
    using bytes = bytes16;
    using planes = viq::planes;
    static constexpr u32 block = viq::block;

    VIQ_FORMULA bytes load(const u8 *from) { return vld1q_u8(from); }
    VIQ_FORMULA void store(u8 *to, bytes v) { vst1q_u8(to, v); }
    VIQ_FORMULA planes load_rgb24(const u8 *from) { return load_bytes<VIQ_RGB24>(from); }
    VIQ_FORMULA void store_rgb24(u8 *to, const planes &p) { store_bytes<VIQ_RGB24>(to, p, false); }
    template <u16 format> VIQ_FORMULA void store_pixels(u8 *to, const planes &p) {
        viq::store<format>(to, p, {});
    }
    VIQ_FORMULA bytes words(i32 value) {
        return vreinterpretq_u8_u16(vdupq_n_u16(static_cast<u16>(value)));
    }
    VIQ_FORMULA bytes both(bytes a, bytes b) { return vandq_u8(a, b); }
    VIQ_FORMULA bytes without(bytes v, bytes mask) { return vbicq_u8(v, mask); }
    VIQ_FORMULA bytes select(bytes mask, bytes yes, bytes no) { return vbslq_u8(mask, yes, no); }
    VIQ_FORMULA bytes less(bytes a, bytes b) { return vcltq_u8(a, b); }
    VIQ_FORMULA bytes mean2(bytes a, bytes b) { return vhaddq_u8(a, b); }
    VIQ_FORMULA bytes mean4(bytes a, bytes b, bytes c, bytes d) {
        const uint16x8_t low = vaddq_u16(vaddl_u8(vget_low_u8(a), vget_low_u8(b)),
                                         vaddl_u8(vget_low_u8(c), vget_low_u8(d)));
        const uint16x8_t high = vaddq_u16(vaddl_high_u8(a, b), vaddl_high_u8(c, d));
        return vshrn_high_n_u16(vshrn_n_u16(low, 2), high, 2);
    }
    VIQ_FORMULA bytes mean_up(bytes a, bytes b) { return vrhaddq_u8(a, b); }
    VIQ_FORMULA bytes difference(bytes a, bytes b) { return vabdq_u8(a, b); }
    VIQ_FORMULA bytes add(bytes a, bytes b) { return vqaddq_u8(a, b); }
};

} // namespace

// The hues of chroma keying are looked up one by one.
constexpr camera_kernels neon_camera = with_demosaic<demosaic_blocks<neon_vectors>>(
    {mosaic_blocks<neon_vectors>, show_blocks<neon_vectors>, {}, {}, key_loop, soften_loop});

} // namespace viq
