// Camera frames: unpacking arbitrary bytes by strips of several heights, and packing the result.
// The first bytes of the input select the layout, width, height, stride and lines per strip.
#include <algorithm>
#include <vector>

#include "camera/frame_layouts.h"
#include "core/image.h"
#include "fuzz/fuzz_support.h"

using namespace viq;

namespace {

struct frame_case {
    u32 code, width, height, stride, lines;
};

constexpr std::size_t header_size = 8;

frame_case case_of(const u8 *header) {
    const std::size_t rows = std::size(frame_layouts);
    // One index more than there are layouts: an unknown code.
    const u32 row = header[0] % (rows + 1);
    return {row < rows ? frame_layouts[row].code : header[7] * 0x01010101u,
            header[1] + header[2] % 2 * 256u, header[3], header[4] + header[5] % 4 * 256u,
            header[6]};
}

// The samples of all strips, one after another. Empty if the frame is refused.
std::vector<u8> unpack(const frame_case &c, u32 lines, const std::vector<u8> &frame, u32 image) {
    std::vector<u8> samples;
    VIQ_image_set_parameter(image, VIQ_LINES_PER_STRIP, lines);
    u32 done = 0;
    do {
        if (VIQ_frame_unpack(frame.data(), frame.size(), c.code, c.width, c.height, c.stride, image,
                             VIQ_STRIP_NEXT) != 0) {
            VIQ_frame_unpack(frame.data(), frame.size(), c.code, c.width, c.height, c.stride, image,
                             VIQ_STRIP_FINISH);
            return {};
        }
        const tVIQ_Image &strip = *find_image(image);
        const u32 count = VIQ_get_lines_this_strip(image);
        samples.insert(samples.end(), strip.data,
                       strip.data + std::size_t{strip.bytes_per_line} * count);
        done += count;
    } while (done < c.height && VIQ_get_lines_this_strip(image) != 0);
    demand(done == c.height);
    return samples;
}

// A packed frame, unpacked again, has the same samples.
void pack_again(const frame_case &c, u64 size, u32 image, const std::vector<u8> &samples) {
    std::vector<u8> frame(static_cast<std::size_t>(size));
    if (VIQ_frame_pack(frame.data(), size, c.code, c.width, c.height, c.stride, image,
                       VIQ_STRIP_NEXT) != 0)
        return;
    const scoped_image again;
    const std::vector<u8> second = unpack(c, c.height, frame, again.handle);
    demand(second.size() == samples.size());
    std::vector<u8> third(frame.size());
    demand(VIQ_frame_pack(third.data(), size, c.code, c.width, c.height, c.stride, again.handle,
                          VIQ_STRIP_NEXT) == 0);
    demand(frame == third);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, std::size_t size) {
    start_library();
    if (size < header_size)
        return 0;
    const frame_case c = case_of(data);
    const std::vector<u8> frame(data + header_size, data + size);
    u64 needed = 0;
    const bool fits = VIQ_frame_get_size(c.code, c.width, c.height, c.stride, &needed) == 0 &&
                      needed <= frame.size();
    const scoped_image whole, strips;
    const std::vector<u8> samples = unpack(c, c.height, frame, whole.handle);
    demand(samples.empty() != fits);
    if (fits) {
        demand(unpack(c, std::max(c.lines, 1u), frame, strips.handle) == samples);
        pack_again(c, needed, whole.handle, samples);
    }
    return 0;
}
