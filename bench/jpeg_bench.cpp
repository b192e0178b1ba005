// JPEG compression and decompression of a photograph, compared with libjpeg-turbo on the same
// pixels, with the same quantisation tables, the integer DCT, and without smooth chroma upsampling.
#include <filesystem>
#include <string>
#include <utility>

#include "bench/bench_support.h"
#include "jpeg/jpeg_tables.h"

#if defined(VIQ_HAVE_LIBJPEG)
#include <jpeglib.h>
#endif

using namespace bench;

namespace {

using bytes = std::vector<u8>;

constexpr double seconds_per_row = 0.6; // of the output

struct photograph {
    u32 width, height;
    bytes rgb;
};

// The sample photograph, scaled bilinearly.
photograph load(u32 width, u32 height) {
    const auto path =
        std::filesystem::path(__FILE__).parent_path().parent_path() / "samples" / "coffee.bmp";
    const u32 image = VIQ_image_create();
    VIQ_image_set_infilename(image, path.string().c_str());
    need_ok(VIQ_image_read(image, 0, VIQ_STRIP_NEXT), "reading the photograph");
    const u32 from_width = VIQ_get_width(image);
    const u32 from_height = VIQ_get_height(image);
    const u8 *from = data_of(image);
    const u32 line = VIQ_get_bytes_per_line(image);
    photograph result = {width, height, bytes(std::size_t{3} * width * height)};
    for (u32 y = 0; y < height; ++y) {
        const double sy = double(y) * (from_height - 1) / height;
        for (u32 x = 0; x < width; ++x) {
            const double sx = double(x) * (from_width - 1) / width;
            const auto x0 = static_cast<u32>(sx);
            const auto y0 = static_cast<u32>(sy);
            const double fx = sx - x0;
            const double fy = sy - y0;
            const u8 *at = from + y0 * line + 3 * x0;
            for (u32 c = 0; c < 3; ++c) {
                const double top = at[c] * (1 - fx) + at[3 + c] * fx;
                const double bottom = at[line + c] * (1 - fx) + at[line + 3 + c] * fx;
                result.rgb[3 * (std::size_t{y} * width + x) + c] =
                    static_cast<u8>(top * (1 - fy) + bottom * fy + 0.5);
            }
        }
    }
    VIQ_image_destroy(image);
    return result;
}

// The shortest time of each job; both run in turn. There may be no job of the peer.
void compare(const std::string &name, const photograph &photo, const job &ours, const job &theirs) {
    double best[2] = {1e9, 1e9};
    for (double spent = 0; spent < seconds_per_row;) {
        best[0] = std::min(best[0], seconds(ours));
        if (theirs)
            best[1] = std::min(best[1], seconds(theirs));
        spent += best[0] + (theirs ? best[1] : 0);
    }
    const double pixels = double(photo.width) * photo.height / 1e6;
    std::printf("%-34s %4u x %-4u %8.1f MP/s", name.c_str(), photo.width, photo.height,
                pixels / best[0]);
    if (theirs)
        std::printf("   peer %8.1f MP/s   ratio %.2f", pixels / best[1], best[1] / best[0]);
    std::printf("\n");
}

// ---- libjpeg-turbo

#if defined(VIQ_HAVE_LIBJPEG)

enum class layout { grey, c422, c420 };

// A plane of samples with the row pointers that libjpeg requires.
struct plane {
    u32 width, height; // padded to whole MCUs
    bytes samples;
    std::vector<JSAMPROW> rows;

    void shape(u32 w, u32 h) {
        width = w;
        height = h;
        samples.assign(std::size_t{w} * h, 0);
        rows.resize(h);
        for (u32 y = 0; y < h; ++y)
            rows[y] = samples.data() + std::size_t{y} * w;
    }
};

struct planes {
    plane of[3];

    explicit planes(const photograph &photo, layout kind) {
        const u32 w = (photo.width + 15) / 16 * 16;
        const u32 h = (photo.height + 15) / 16 * 16;
        of[0].shape(w, h);
        for (u32 i = 1; i < 3 && kind != layout::grey; ++i)
            of[i].shape(w / 2, kind == layout::c420 ? h / 2 : h);
    }
};

struct peer_encoder {
    jpeg_compress_struct state;
    jpeg_error_mgr errors;
    bytes buffer;
    unsigned long size = 0;

    peer_encoder() : buffer(16u << 20) {
        state.err = jpeg_std_error(&errors);
        jpeg_create_compress(&state);
    }
    ~peer_encoder() { jpeg_destroy_compress(&state); }
    peer_encoder(const peer_encoder &) = delete;

    void begin(const photograph &photo, layout kind, bool raw, u32 jpeg) {
        unsigned char *at = buffer.data();
        size = static_cast<unsigned long>(buffer.size());
        target = at;
        jpeg_mem_dest(&state, &target, &size);
        state.image_width = photo.width;
        state.image_height = photo.height;
        state.input_components = kind == layout::grey ? 1 : 3;
        state.in_color_space = kind == layout::grey ? JCS_GRAYSCALE : raw ? JCS_YCbCr : JCS_RGB;
        jpeg_set_defaults(&state);
        state.dct_method = JDCT_ISLOW;
        state.raw_data_in = raw ? TRUE : FALSE;
        if (kind != layout::grey) {
            state.comp_info[0].h_samp_factor = 2;
            state.comp_info[0].v_samp_factor = kind == layout::c420 ? 2 : 1;
        }
        // The record holds its tables in zigzag order.
        const auto *record = static_cast<const Tjpeg *>(VIQ_image_get_ptr(jpeg, VIQ_PTR_JPEG));
        for (int i = 0; i < 2; ++i) {
            unsigned table[viq::block_size];
            for (u32 k = 0; k < viq::block_size; ++k)
                table[viq::natural_of[k]] = record->q_tables[i][k];
            jpeg_add_quant_table(&state, i, table, 100, TRUE);
        }
        jpeg_start_compress(&state, TRUE);
    }
    void encode_lines(const u8 *pixels, u32 line) {
        while (state.next_scanline < state.image_height) {
            JSAMPROW rows[8];
            JDIMENSION count = 0;
            for (; count < 8 && state.next_scanline + count < state.image_height; ++count)
                rows[count] =
                    const_cast<u8 *>(pixels) + std::size_t{state.next_scanline + count} * line;
            jpeg_write_scanlines(&state, rows, count);
        }
        jpeg_finish_compress(&state);
    }
    void encode_planes(planes &from, u32 mcu_height) {
        while (state.next_scanline < state.image_height) {
            const u32 y = state.next_scanline;
            const u32 chroma = mcu_height == 16 ? y / 2 : y;
            JSAMPARRAY rows[3] = {from.of[0].rows.data() + y, from.of[1].rows.data() + chroma,
                                  from.of[2].rows.data() + chroma};
            jpeg_write_raw_data(&state, rows, mcu_height);
        }
        jpeg_finish_compress(&state);
    }
    bytes result() const { return bytes(target, target + size); }

private:
    unsigned char *target = nullptr;
};

struct peer_decoder {
    jpeg_decompress_struct state;
    jpeg_error_mgr errors;

    peer_decoder() {
        state.err = jpeg_std_error(&errors);
        jpeg_create_decompress(&state);
    }
    ~peer_decoder() { jpeg_destroy_decompress(&state); }
    peer_decoder(const peer_decoder &) = delete;

    void begin(const bytes &stream, bool raw) {
        jpeg_mem_src(&state, stream.data(), static_cast<unsigned long>(stream.size()));
        jpeg_read_header(&state, TRUE);
        state.dct_method = JDCT_ISLOW;
        state.do_fancy_upsampling = FALSE;
        state.raw_data_out = raw ? TRUE : FALSE;
        jpeg_start_decompress(&state);
    }
    void decode_lines(bytes &pixels, u32 line) {
        while (state.output_scanline < state.output_height) {
            JSAMPROW row = pixels.data() + std::size_t{state.output_scanline} * line;
            jpeg_read_scanlines(&state, &row, 1);
        }
        jpeg_finish_decompress(&state);
    }
    void decode_planes(planes &to, u32 mcu_height) {
        while (state.output_scanline < state.output_height) {
            const u32 y = state.output_scanline;
            const u32 chroma = mcu_height == 16 ? y / 2 : y;
            JSAMPARRAY rows[3] = {to.of[0].rows.data() + y, to.of[1].rows.data() + chroma,
                                  to.of[2].rows.data() + chroma};
            jpeg_read_raw_data(&state, rows, mcu_height);
        }
        jpeg_finish_decompress(&state);
    }
};

// The planes of a picture in the interleaved YUV 4:2:2 format.
planes planes_of(const photograph &photo, u32 yuv) {
    planes result(photo, layout::c422);
    const u8 *data = data_of(yuv);
    const u32 line = VIQ_get_bytes_per_line(yuv);
    for (u32 y = 0; y < photo.height; ++y)
        for (u32 x = 0; x < photo.width / 2; ++x) {
            const u8 *pair = data + std::size_t{y} * line + 4 * x;
            result.of[0].rows[y][2 * x] = pair[0];
            result.of[0].rows[y][2 * x + 1] = pair[2];
            result.of[1].rows[y][x] = pair[1];
            result.of[2].rows[y][x] = pair[3];
        }
    return result;
}

#endif

// ---- Comparisons

struct pictures {
    u32 rgb, yuv, grey;
};

pictures make_pictures(const photograph &photo) {
    pictures made = {make_image(VIQ_RGB24, photo.width, photo.height), VIQ_image_create(),
                     VIQ_image_create()};
    std::copy(photo.rgb.begin(), photo.rgb.end(), data_of(made.rgb));
    need_ok(VIQ_convert_to_YUV422(made.rgb, made.yuv, VIQ_STRIP_NEXT), "conversion");
    need_ok(VIQ_convert_to_Y8(made.rgb, made.grey, VIQ_STRIP_NEXT), "conversion");
    return made;
}

void bench_compress(const photograph &photo, const pictures &from, u16 quality) {
    const u32 jpeg = VIQ_JPEG_image_create();
    VIQ_JPEG_set_Quality_factor(jpeg, quality);
    const auto ours = [jpeg](u32 image) {
        return [=] { need_ok(VIQ_JPEG_compress(image, jpeg), "compression"); };
    };
    ours(from.rgb)();
    job lines, raw, grey;
#if defined(VIQ_HAVE_LIBJPEG)
    peer_encoder peer;
    planes split = planes_of(photo, from.yuv);
    lines = [&] {
        peer.begin(photo, layout::c422, false, jpeg);
        peer.encode_lines(data_of(from.rgb), VIQ_get_bytes_per_line(from.rgb));
    };
    raw = [&] {
        peer.begin(photo, layout::c422, true, jpeg);
        peer.encode_planes(split, 8);
    };
    grey = [&] {
        peer.begin(photo, layout::grey, false, jpeg);
        peer.encode_lines(data_of(from.grey), VIQ_get_bytes_per_line(from.grey));
    };
#endif
    const std::string factor = ", factor " + std::to_string(quality);
    compare("compress YUV422" + factor, photo, ours(from.yuv), raw);
    compare("compress RGB24" + factor, photo, ours(from.rgb), lines);
    compare("compress Y8" + factor, photo, ours(from.grey), grey);
    VIQ_image_destroy(jpeg);
}

#if defined(VIQ_HAVE_LIBJPEG)

void bench_decompress(const photograph &photo, const pictures &from, layout kind, u16 format,
                      const std::string &name) {
    const u32 jpeg = VIQ_JPEG_image_create();
    VIQ_JPEG_set_Quality_factor(jpeg, 16);
    need_ok(VIQ_JPEG_compress(from.rgb, jpeg), "compression");
    peer_encoder encoder;
    encoder.begin(photo, kind, false, jpeg);
    const u32 source = kind == layout::grey ? from.grey : from.rgb;
    encoder.encode_lines(data_of(source), VIQ_get_bytes_per_line(source));
    const bytes stream = encoder.result();
    need_ok(VIQ_JPEG_buffer_read(jpeg, stream.data(), u32(stream.size())), "reading");
    const u32 out = VIQ_image_create();
    VIQ_image_set_parameter(out, VIQ_IMAGE_TYPE, format);

    peer_decoder decoder;
    planes split(photo, kind);
    const u32 line = photo.width * (kind == layout::grey ? 1 : 3);
    bytes pixels(std::size_t{line} * photo.height);
    const bool raw = format == VIQ_YUV422;
    compare(
        "decompress " + name, photo,
        [=] { need_ok(VIQ_JPEG_decompress(jpeg, out, VIQ_STRIP_NEXT), "decoding"); },
        [&] {
            decoder.begin(stream, raw);
            if (raw)
                decoder.decode_planes(split, kind == layout::c420 ? 16 : 8);
            else
                decoder.decode_lines(pixels, line);
        });
    VIQ_image_destroy(jpeg);
    VIQ_image_destroy(out);
}

#endif

} // namespace

int main() {
    for (const auto &[width, height] : {std::pair<u32, u32>{1920, 1080}, {640, 480}}) {
        const photograph photo = load(width, height);
        const pictures from = make_pictures(photo);
        for (const u16 quality : {u16{16}, u16{32}})
            bench_compress(photo, from, quality);
#if defined(VIQ_HAVE_LIBJPEG)
        bench_decompress(photo, from, layout::c422, VIQ_YUV422, "4:2:2 to YUV422");
        bench_decompress(photo, from, layout::c422, VIQ_RGB24, "4:2:2 to RGB24");
        bench_decompress(photo, from, layout::c420, VIQ_YUV422, "4:2:0 to YUV422");
        bench_decompress(photo, from, layout::c420, VIQ_RGB24, "4:2:0 to RGB24");
        bench_decompress(photo, from, layout::grey, VIQ_Y8, "grey");
#endif
        for (const u32 image : {from.rgb, from.yuv, from.grey})
            VIQ_image_destroy(image);
    }
    return 0;
}
