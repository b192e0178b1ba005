// The wavelet codec: PSNR at given rates, compared with JPEG and JPEG 2000; speed of compression,
// decompression and of the transform alone, compared with OpenJPEG and a copy of the same bytes.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>

#include <benchmark/benchmark.h>

#include "core/image.h"
#include "wavelet/stages/line_based_dwt.h"
#include "wavelet/stages/subbands.h"

#if defined(VIQ_HAVE_OPENJPEG)
#include <openjpeg.h>
#endif
#if defined(VIQ_HAVE_LIBJPEG)
#include <jpeglib.h>
#endif

using namespace viq;

namespace {

using bytes = std::vector<u8>;

struct grey {
    u32 width = 0, height = 0;
    bytes pixels;
};

// A chroma value that follows the luminance, so that the chroma components have content.
u8 chroma_of(u8 value) {
    return static_cast<u8>(128 + (value - 128) / 4);
}

u32 image_of(const grey &picture, u16 format) {
    const u32 handle = VIQ_image_create();
    VIQ_image_set_parameter(handle, VIQ_IMAGE_TYPE, format);
    VIQ_image_set_parameter(handle, VIQ_WIDTH, picture.width);
    VIQ_image_set_parameter(handle, VIQ_HEIGHT, picture.height);
    VIQ_image_set_parameter(handle, VIQ_LINES_PER_STRIP, picture.height);
    VIQ_image_malloc_a_strip(handle);
    const tVIQ_Image &image = *find_image(handle);
    const u32 step = format == VIQ_YUV422 ? 2 : 1;
    for (u32 y = 0; y < picture.height; ++y)
        for (u32 x = 0; x < picture.width; ++x) {
            const u8 value = picture.pixels[std::size_t{y} * picture.width + x];
            u8 *to = image.data + std::size_t{y} * image.bytes_per_line + x * step;
            to[0] = value;
            if (step == 2)
                to[1] = chroma_of(value);
        }
    return handle;
}

grey grey_of(const tVIQ_Image &image) {
    grey picture = {image.width, image.height, {}};
    for (u32 y = 0; y < image.height; ++y) {
        const u8 *line = image.data + std::size_t{y} * image.bytes_per_line;
        picture.pixels.insert(picture.pixels.end(), line, line + image.width);
    }
    return picture;
}

grey load_sample(const char *name) {
    const scoped_image file, luminance;
    VIQ_image_set_infilename(file.handle,
                             (std::string(VIQ_SAMPLES_DIR) + "/" + name + ".bmp").c_str());
    if (VIQ_image_read(file.handle, 0, VIQ_STRIP_NEXT) != 0)
        return {};
    const bool paletted = VIQ_image_get_parameter(file.handle, VIQ_IMAGE_TYPE) == u32{VIQ_PALETTED};
    const auto convert = paletted ? VIQ_paletted_to_RGB24_or_Y8 : VIQ_convert_to_Y8;
    convert(file.handle, luminance.handle, VIQ_STRIP_NEXT);
    return grey_of(*find_image(luminance.handle));
}

// An image of 1920 x 1080 pixels, tiled with mirrored copies of a photograph.
grey large_picture() {
    const grey sample = load_sample("coffee");
    grey large = {1920, 1080, bytes(std::size_t{1920} * 1080)};
    if (sample.width == 0)
        return large;
    const auto mirrored = [](u32 at, u32 size) {
        at %= 2 * size;
        return at < size ? at : 2 * size - 1 - at;
    };
    for (u32 y = 0; y < large.height; ++y)
        for (u32 x = 0; x < large.width; ++x)
            large.pixels[std::size_t{y} * large.width + x] =
                sample.pixels[std::size_t{mirrored(y, sample.height)} * sample.width +
                              mirrored(x, sample.width)];
    return large;
}

double psnr(const grey &a, const grey &b) {
    double sum = 0;
    for (std::size_t i = 0; i < a.pixels.size(); ++i)
        sum += (a.pixels[i] - b.pixels[i]) * (a.pixels[i] - b.pixels[i]);
    return 10 * std::log10(65025.0 * static_cast<double>(a.pixels.size()) / sum);
}

// Bits per pixel and PSNR.
struct point {
    double rate, psnr;
};

using codec = std::function<point(const grey &, u32 quality)>;

// PSNR at a rate, interpolated between the two qualities whose rates bracket it.
double psnr_at(const grey &picture, const codec &code, double rate, u32 lowest, u32 highest) {
    point before = {0, 0};
    for (u32 quality = lowest; quality <= highest; ++quality) {
        const point here = code(picture, quality);
        if (here.rate >= rate)
            return before.psnr +
                   (here.psnr - before.psnr) * (rate - before.rate) / (here.rate - before.rate);
        before = here;
    }
    return before.psnr;
}

double rate_of(const grey &picture, std::size_t size) {
    return 8.0 * static_cast<double>(size) / (double{1} * picture.width * picture.height);
}

constexpr u16 type_huffman = 0;
constexpr u16 type_rans = 1;

struct wavelet_image {
    u32 handle;
    explicit wavelet_image(u16 type) : handle(VIQ_WVLT_image_create(type)) {}
    wavelet_image(const wavelet_image &) = delete;
    wavelet_image &operator=(const wavelet_image &) = delete;
    ~wavelet_image() { VIQ_WVLT_image_destroy(handle); }
};

template <u16 type> point wavelet_point(const grey &picture, u32 quality) {
    const u32 source = image_of(picture, VIQ_Y8);
    const wavelet_image wavelet(type);
    const scoped_image out;
    VIQ_WVLT_set_Quality_factor(wavelet.handle, static_cast<u16>(quality));
    VIQ_WVLT_compress(source, wavelet.handle, VIQ_STRIP_NEXT);
    bytes stream(VIQ_image_get_parameter(wavelet.handle, VIQ_PARAM_16) + 4096);
    u32 size = 0;
    VIQ_WVLT_buffer_write(wavelet.handle, stream.data(), &size, VIQ_STRIP_NEXT);
    VIQ_WVLT_decompress(wavelet.handle, out.handle, VIQ_STRIP_NEXT);
    VIQ_image_destroy(source);
    return {rate_of(picture, size), psnr(picture, grey_of(*find_image(out.handle)))};
}

#if defined(VIQ_HAVE_LIBJPEG)
point jpeg_point(const grey &picture, u32 quality) {
    jpeg_compress_struct coder = {};
    jpeg_error_mgr errors = {};
    coder.err = jpeg_std_error(&errors);
    jpeg_create_compress(&coder);
    unsigned char *stream = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&coder, &stream, &size);
    coder.image_width = picture.width;
    coder.image_height = picture.height;
    coder.input_components = 1;
    coder.in_color_space = JCS_GRAYSCALE;
    jpeg_set_defaults(&coder);
    jpeg_set_quality(&coder, static_cast<int>(quality), TRUE);
    coder.optimize_coding = TRUE;
    jpeg_start_compress(&coder, TRUE);
    for (u32 y = 0; y < picture.height; ++y) {
        auto *line = const_cast<u8 *>(&picture.pixels[std::size_t{y} * picture.width]);
        jpeg_write_scanlines(&coder, &line, 1);
    }
    jpeg_finish_compress(&coder);
    jpeg_destroy_compress(&coder);

    grey back = {picture.width, picture.height, bytes(picture.pixels.size())};
    jpeg_decompress_struct decoder = {};
    decoder.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&decoder);
    jpeg_mem_src(&decoder, stream, size);
    jpeg_read_header(&decoder, TRUE);
    jpeg_start_decompress(&decoder);
    for (u32 y = 0; y < picture.height; ++y) {
        u8 *line = &back.pixels[std::size_t{y} * picture.width];
        jpeg_read_scanlines(&decoder, &line, 1);
    }
    jpeg_finish_decompress(&decoder);
    jpeg_destroy_decompress(&decoder);
    std::free(stream);
    return {rate_of(picture, size), psnr(picture, back)};
}
#endif

#if defined(VIQ_HAVE_OPENJPEG)
struct memory_file {
    bytes content;
    std::size_t position = 0;
};

OPJ_SIZE_T write_memory(void *from, OPJ_SIZE_T size, void *user) {
    auto &file = *static_cast<memory_file *>(user);
    file.content.resize(std::max(file.content.size(), file.position + size));
    std::memcpy(&file.content[file.position], from, size);
    file.position += size;
    return size;
}

OPJ_SIZE_T read_memory(void *to, OPJ_SIZE_T size, void *user) {
    auto &file = *static_cast<memory_file *>(user);
    const OPJ_SIZE_T left = std::min(size, file.content.size() - file.position);
    if (left == 0)
        return static_cast<OPJ_SIZE_T>(-1);
    std::memcpy(to, &file.content[file.position], left);
    file.position += left;
    return left;
}

OPJ_OFF_T skip_memory(OPJ_OFF_T size, void *user) {
    static_cast<memory_file *>(user)->position += static_cast<std::size_t>(size);
    return size;
}

OPJ_BOOL seek_memory(OPJ_OFF_T position, void *user) {
    static_cast<memory_file *>(user)->position = static_cast<std::size_t>(position);
    return OPJ_TRUE;
}

opj_stream_t *open_memory(memory_file &file, bool reads) {
    opj_stream_t *stream = opj_stream_default_create(reads ? OPJ_TRUE : OPJ_FALSE);
    file.position = 0;
    opj_stream_set_user_data(stream, &file, nullptr);
    opj_stream_set_user_data_length(stream, file.content.size());
    opj_stream_set_write_function(stream, write_memory);
    opj_stream_set_read_function(stream, read_memory);
    opj_stream_set_skip_function(stream, skip_memory);
    opj_stream_set_seek_function(stream, seek_memory);
    return stream;
}

// Grey, or with the horizontally subsampled chroma of image_of.
memory_file encode_jpeg2000(const grey &picture, float rate, bool colour = false) {
    const u32 count = colour ? 3 : 1;
    opj_cparameters_t wanted;
    opj_set_default_encoder_parameters(&wanted);
    wanted.irreversible = 1;
    wanted.tcp_numlayers = 1;
    wanted.tcp_rates[0] = static_cast<float>(colour ? 16 : 8) / rate;
    wanted.cp_disto_alloc = 1;
    opj_image_cmptparm_t components[3] = {};
    for (u32 i = 0; i < count; ++i) {
        components[i].dx = i == 0 ? 1 : 2;
        components[i].dy = 1;
        components[i].w = picture.width / components[i].dx;
        components[i].h = picture.height;
        components[i].prec = 8;
    }
    opj_image_t *image =
        opj_image_create(count, components, colour ? OPJ_CLRSPC_SYCC : OPJ_CLRSPC_GRAY);
    image->x1 = picture.width;
    image->y1 = picture.height;
    for (u32 i = 0; i < count; ++i) {
        OPJ_INT32 *to = image->comps[i].data;
        for (std::size_t from = i / 2; from < picture.pixels.size(); from += components[i].dx)
            *to++ = i == 0 ? picture.pixels[from] : chroma_of(picture.pixels[from]);
    }
    memory_file file;
    opj_codec_t *coder = opj_create_compress(OPJ_CODEC_J2K);
    opj_setup_encoder(coder, &wanted, image);
    opj_stream_t *stream = open_memory(file, false);
    opj_start_compress(coder, image, stream);
    opj_encode(coder, stream);
    opj_end_compress(coder, stream);
    opj_stream_destroy(stream);
    opj_destroy_codec(coder);
    opj_image_destroy(image);
    return file;
}

grey decode_jpeg2000(memory_file &file, const grey &like) {
    opj_dparameters_t wanted;
    opj_set_default_decoder_parameters(&wanted);
    opj_codec_t *decoder = opj_create_decompress(OPJ_CODEC_J2K);
    opj_setup_decoder(decoder, &wanted);
    opj_stream_t *stream = open_memory(file, true);
    opj_image_t *image = nullptr;
    opj_read_header(stream, decoder, &image);
    opj_decode(decoder, stream, image);
    opj_end_decompress(decoder, stream);
    grey result = {like.width, like.height, bytes(like.pixels.size())};
    for (std::size_t i = 0; i < result.pixels.size(); ++i)
        result.pixels[i] = static_cast<u8>(std::clamp(image->comps[0].data[i], 0, 255));
    opj_stream_destroy(stream);
    opj_destroy_codec(decoder);
    opj_image_destroy(image);
    return result;
}

// Argument: whether with chroma.
void jpeg2000_encode(benchmark::State &state) {
    const grey picture = large_picture();
    for (auto _ : state)
        benchmark::DoNotOptimize(encode_jpeg2000(picture, 1, state.range(0) != 0));
}

void jpeg2000_decode(benchmark::State &state) {
    const grey picture = large_picture();
    memory_file file = encode_jpeg2000(picture, 1, state.range(0) != 0);
    for (auto _ : state)
        benchmark::DoNotOptimize(decode_jpeg2000(file, picture));
}

BENCHMARK(jpeg2000_encode)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(jpeg2000_decode)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
#endif

// PSNR at 0.5 and 1.0 bits per pixel, including all headers.
void table(benchmark::State &state, const char *name) {
    const grey picture = load_sample(name);
    if (picture.width == 0) {
        state.SkipWithError("no such sample");
        return;
    }
    for (auto _ : state)
        for (const double rate : {0.5, 1.0}) {
            const std::string at = rate < 1 ? "@0.5" : "@1.0";
            const auto enter = [&](const char *what, double value) {
                state.counters[what + at] = value;
            };
            enter("rans", psnr_at(picture, wavelet_point<type_rans>, rate, 30, 130));
            enter("huffman", psnr_at(picture, wavelet_point<type_huffman>, rate, 30, 130));
#if defined(VIQ_HAVE_LIBJPEG)
            enter("jpeg", psnr_at(picture, jpeg_point, rate, 5, 98));
#endif
#if defined(VIQ_HAVE_OPENJPEG)
            memory_file file = encode_jpeg2000(picture, static_cast<float>(rate));
            enter("jpeg2000", psnr(picture, decode_jpeg2000(file, picture)));
#endif
        }
}

BENCHMARK_CAPTURE(table, camera, "camera")->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(table, astronaut, "astronaut")->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(table, coffee, "coffee")->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(table, chelsea, "chelsea")->Iterations(1)->Unit(benchmark::kMillisecond);

// The same for YUV 4:2:2, compared with JPEG 4:2:2, over all three components.
double psnr_of_bytes(u32 a, u32 b) {
    const tVIQ_Image &one = *find_image(a);
    const tVIQ_Image &other = *find_image(b);
    double sum = 0;
    const std::size_t line = std::size_t{2} * one.width;
    for (u32 y = 0; y < one.height; ++y)
        for (std::size_t x = 0; x < line; ++x) {
            const int apart = one.data[std::size_t{y} * one.bytes_per_line + x] -
                              other.data[std::size_t{y} * other.bytes_per_line + x];
            sum += apart * apart;
        }
    return 10 * std::log10(65025.0 * static_cast<double>(line * one.height) / sum);
}

void colour_table(benchmark::State &state, const char *name) {
    const scoped_image file;
    const scoped_image yuv;
    const std::string path = std::string(VIQ_SAMPLES_DIR) + "/" + name + ".bmp";
    VIQ_image_set_infilename(file.handle, path.c_str());
    if (VIQ_image_read(file.handle, 0, VIQ_STRIP_NEXT) != 0 ||
        VIQ_convert_to_YUV422(file.handle, yuv.handle, VIQ_STRIP_NEXT) != 0) {
        state.SkipWithError("no such sample");
        return;
    }
    const grey size = {VIQ_get_width(yuv.handle), VIQ_get_height(yuv.handle), {}};
    const auto wavelet_code = [&yuv](u16 type) {
        return [&yuv, type](const grey &picture, u32 quality) {
            const wavelet_image wavelet(type);
            const scoped_image out;
            VIQ_WVLT_set_Quality_factor(wavelet.handle, static_cast<u16>(quality));
            VIQ_WVLT_compress(yuv.handle, wavelet.handle, VIQ_STRIP_NEXT);
            bytes stream(VIQ_image_get_parameter(wavelet.handle, VIQ_PARAM_16) + 4096);
            u32 length = 0;
            VIQ_WVLT_buffer_write(wavelet.handle, stream.data(), &length, VIQ_STRIP_NEXT);
            VIQ_WVLT_decompress(wavelet.handle, out.handle, VIQ_STRIP_NEXT);
            return point{rate_of(picture, length), psnr_of_bytes(yuv.handle, out.handle)};
        };
    };
    const auto jpeg_code = [&](const grey &picture, u32 quality) {
        const u32 jpeg = VIQ_JPEG_image_create();
        const scoped_image out;
        VIQ_JPEG_set_Quality_factor(jpeg, static_cast<u16>(quality));
        VIQ_JPEG_compress(file.handle, jpeg);
        const Tjpeg &record = *static_cast<Tjpeg *>(VIQ_image_get_ptr(jpeg, VIQ_PTR_JPEG));
        constexpr u32 header = 640; // size of a stream's header with all tables
        const double rate = rate_of(picture, record.data_length + header);
        VIQ_image_set_parameter(out.handle, VIQ_IMAGE_TYPE, VIQ_YUV422);
        VIQ_JPEG_decompress(jpeg, out.handle, VIQ_STRIP_NEXT);
        VIQ_image_destroy(jpeg);
        return point{rate, psnr_of_bytes(yuv.handle, out.handle)};
    };
    for (auto _ : state)
        for (const double rate : {1.0, 2.0}) {
            const std::string at = rate < 2 ? "@1.0" : "@2.0";
            state.counters["rans" + at] = psnr_at(size, wavelet_code(type_rans), rate, 20, 130);
            state.counters["huffman" + at] =
                psnr_at(size, wavelet_code(type_huffman), rate, 20, 130);
            state.counters["jpeg" + at] = psnr_at(size, jpeg_code, rate, 2, 250);
        }
}

BENCHMARK_CAPTURE(colour_table, astronaut, "astronaut")
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(colour_table, coffee, "coffee")->Iterations(1)->Unit(benchmark::kMillisecond);

// Arguments: coding type, pixel format. The qualities result in about 1 bit per pixel of Y8.
struct prepared {
    u32 source;
    wavelet_image wavelet;

    explicit prepared(const benchmark::State &state)
        : source(image_of(large_picture(), static_cast<u16>(state.range(1)))),
          wavelet(static_cast<u16>(state.range(0))) {
        VIQ_WVLT_set_Quality_factor(wavelet.handle, state.range(0) == type_huffman ? 53 : 56);
        VIQ_WVLT_compress(source, wavelet.handle, VIQ_STRIP_NEXT);
    }
    prepared(const prepared &) = delete;
    prepared &operator=(const prepared &) = delete;
    ~prepared() { VIQ_image_destroy(source); }
};

void compress(benchmark::State &state) {
    const prepared ready(state);
    for (auto _ : state)
        VIQ_WVLT_compress(ready.source, ready.wavelet.handle, VIQ_STRIP_NEXT);
    state.counters["bits/pixel"] =
        VIQ_image_get_parameter(ready.wavelet.handle, VIQ_PARAM_16) * 8.0 / (1920 * 1080);
}

void decompress(benchmark::State &state) {
    const prepared ready(state);
    const scoped_image out;
    for (auto _ : state)
        VIQ_WVLT_decompress(ready.wavelet.handle, out.handle, VIQ_STRIP_NEXT);
}

BENCHMARK(compress)
    ->ArgsProduct({{type_huffman, type_rans}, {VIQ_Y8, VIQ_YUV422}})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(decompress)
    ->ArgsProduct({{type_huffman, type_rans}, {VIQ_Y8, VIQ_YUV422}})
    ->Unit(benchmark::kMillisecond);

// Six levels of the transform alone.
struct transformed {
    static constexpr u32 levels = 6;
    grey picture = large_picture();
    std::vector<i16> samples, coefficients;
    line_part<i16> whole = {};
    coefficient_lines buffer = {};
    line_based_dwt dwt = {};

    transformed() {
        samples.resize(picture.pixels.size());
        coefficients.resize(samples.size() + coefficient_padding);
        whole = {coefficients.data(), picture.width};
        buffer = {{&whole, 32}, picture.width, picture.height};
        current_wavelet_kernels().widen(picture.pixels.data(), 1, samples.data(),
                                        static_cast<u32>(samples.size()));
    }
    void forward() {
        begin_forward(dwt, buffer, levels);
        for (u32 y = 0; y < picture.height; y += 2) {
            const i16 *line = &samples[std::size_t{y} * picture.width];
            const i16 *const lines[2] = {line, line + picture.width};
            push_lines(dwt, lines, 2);
        }
    }
    void inverse() {
        begin_inverse(dwt, buffer, levels);
        for (u32 y = 0; y < picture.height;) {
            const line_strip strip = pull_lines(dwt, y);
            benchmark::DoNotOptimize(strip.first);
            y += strip.lines;
        }
    }
};

void forward_transform(benchmark::State &state) {
    transformed component;
    for (auto _ : state)
        component.forward();
}

void inverse_transform(benchmark::State &state) {
    transformed component;
    component.forward();
    for (auto _ : state)
        component.inverse();
}

void copy_of_the_same_bytes(benchmark::State &state) {
    const bytes from(std::size_t{1920} * 1080 * 2, 1);
    bytes to(from.size());
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), from.size());
        benchmark::ClobberMemory();
    }
}

BENCHMARK(forward_transform)->Unit(benchmark::kMillisecond);
BENCHMARK(inverse_transform)->Unit(benchmark::kMillisecond);
BENCHMARK(copy_of_the_same_bytes)->Unit(benchmark::kMillisecond);

} // namespace
