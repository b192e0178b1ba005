#include "tools/wavelet.h"

#include <array>
#include <fstream>

namespace tool {

namespace {

constexpr u16 fast_coding = 0;
constexpr u16 small_coding = 1;

u32 decode(const std::string &file, u16 coding, const image &out);

} // namespace

bool is_wavelet(const std::string &file) {
    const bool found = VIQ_image_find_file_format(file.c_str()) == u32{VIQ_FILE_WAVELET};
    forget_report();
    return found;
}

image read_wavelet(const std::string &file) {
    image out;
    if (VIQ_IS_ERROR(decode(file, fast_coding, out))) {
        forget_report();
        check(decode(file, small_coding, out), file);
    }
    return out;
}

wavelet_facts wavelet_facts_of(const std::string &file) {
    std::array<char, 28> head = {};
    std::ifstream(file, std::ios::binary).read(head.data(), head.size());
    const auto number = [&head](std::size_t at, std::size_t bytes) {
        u32 value = 0;
        while (bytes-- > 0)
            value = value << 8 | static_cast<unsigned char>(head[at + bytes]);
        return value;
    };
    const bool small = VIQ_IS_ERROR(decode(file, fast_coding, image()));
    forget_report();
    wavelet_facts facts = {small, {}, number(26, 2)};
    for (u32 i = 0; i < number(8, 2); ++i)
        facts.component_bytes.push_back(number(10 + std::size_t{4} * i, 4));
    return facts;
}

void write_wavelet(u32 picture, const wavelet_options &options, const std::string &path,
                   const std::string &name) {
    const image wavelet(VIQ_WVLT_image_create(options.small ? small_coding : fast_coding));
    check(VIQ_WVLT_set_Quality_factor(wavelet.handle, options.quality), name);
    check(VIQ_WVLT_set_subbands(wavelet.handle, options.subbands), name);
    check(VIQ_WVLT_compress(picture, wavelet.handle, VIQ_STRIP_NEXT), name);
    check(VIQ_image_set_outfilename(wavelet.handle, path.c_str()), name);
    check(VIQ_image_write(wavelet.handle, 0, VIQ_FILE_WAVELET, VIQ_STRIP_NEXT), name);
}

namespace {

u32 decode(const std::string &file, u16 coding, const image &out) {
    const image wavelet(VIQ_WVLT_image_create(coding));
    u32 code = VIQ_image_set_infilename(wavelet.handle, file.c_str());
    if (!VIQ_IS_ERROR(code))
        code = VIQ_WVLT_file_read(wavelet.handle);
    return VIQ_IS_ERROR(code) ? code
                              : VIQ_WVLT_decompress(wavelet.handle, out.handle, VIQ_STRIP_NEXT);
}

} // namespace

} // namespace tool
