#include "tools/wavelet_file.h"

#include <algorithm>
#include <array>
#include <fstream>

namespace tool {

namespace {

// Entropy coder types of VIQ_WVLT_image_create.
constexpr uint16_t fast_coder = 0;
constexpr uint16_t small_coder = 1;

// The file header; numbers are little-endian.
constexpr std::size_t header_size = 28;
constexpr std::size_t component_count_offset = 8;  // 16 bits
constexpr std::size_t component_bytes_offset = 10; // 32 bits each
constexpr std::size_t most_components = 4;
constexpr std::size_t settings_bytes_offset = 26; // 16 bits

uint32_t decode(const std::string &file, uint16_t coder, const image &picture);

} // namespace

decoded_wavelet read_wavelet(const std::string &file) {
    decoded_wavelet decoded = {image(), false};
    if (VIQ_IS_ERROR(decode(file, fast_coder, decoded.picture))) {
        discard_error_message();
        decoded.small = true;
        check(decode(file, small_coder, decoded.picture), file);
    }
    return decoded;
}

wavelet_sizes read_wavelet_sizes(const std::string &file) {
    std::array<char, header_size> header = {};
    std::ifstream(file, std::ios::binary).read(header.data(), header.size());
    const auto number = [&header](std::size_t offset, std::size_t bytes) {
        uint32_t value = 0;
        while (bytes-- > 0)
            value = value << 8 | static_cast<unsigned char>(header[offset + bytes]);
        return value;
    };
    wavelet_sizes sizes = {{}, number(settings_bytes_offset, 2)};
    const std::size_t count =
        std::min<std::size_t>(number(component_count_offset, 2), most_components);
    for (std::size_t i = 0; i < count; ++i)
        sizes.component_bytes.push_back(number(component_bytes_offset + 4 * i, 4));
    return sizes;
}

void write_wavelet(uint32_t picture, const wavelet_options &options, const std::string &path,
                   const std::string &name) {
    const image wavelet(VIQ_WVLT_image_create(options.small ? small_coder : fast_coder));
    check(VIQ_WVLT_set_Quality_factor(wavelet.handle, options.quality), name);
    check(VIQ_WVLT_set_subbands(wavelet.handle, options.decompositions), name);
    check(VIQ_WVLT_compress(picture, wavelet.handle, VIQ_STRIP_NEXT), name);
    check(VIQ_image_set_outfilename(wavelet.handle, path.c_str()), name);
    check(VIQ_image_write(wavelet.handle, 0, VIQ_FILE_WAVELET, VIQ_STRIP_NEXT), name);
}

namespace {

uint32_t decode(const std::string &file, uint16_t coder, const image &picture) {
    const image wavelet(VIQ_WVLT_image_create(coder));
    uint32_t code = VIQ_image_set_infilename(wavelet.handle, file.c_str());
    if (!VIQ_IS_ERROR(code))
        code = VIQ_WVLT_file_read(wavelet.handle);
    return VIQ_IS_ERROR(code) ? code
                              : VIQ_WVLT_decompress(wavelet.handle, picture.handle, VIQ_STRIP_NEXT);
}

} // namespace

} // namespace tool
