// One operation on one picture in several ways: as a whole, in strips of any height, with the
// kernels of every instruction set, in threads that have a context each. All results are equal byte
// for byte. The operations are all public functions that process an image, from the headers.
#include <algorithm>
#include <iterator>
#include <thread>

#include "core/cpu.h"
#include "fuzz/call_arguments.h"

using namespace viq;

namespace {

// ---- Operations

enum class role { none, image, jpeg, wavelet };

struct operation {
    const char *name;
    const char *names[most_parameters]; // of the parameters
    u32 (*call)(caller &who);           // null: the function does not return a code
    role input = role::none, output = role::none;
    bool by_strips = false;
};

// Where the manual says that the result depends on the strips: the operation takes neighbours only
// from the strip, or accepts only a picture that is held as one strip.
constexpr std::string_view whole_pictures[] = {"VIQ_BAY_RGGB32_map_to_RGB24",
                                               "VIQ_BAY_RGGB32_map_to_Y8",
                                               "VIQ_BAY_RGGB32_to_BGRX32",
                                               "VIQ_BAY_RGGB32_to_RGB16",
                                               "VIQ_BAY_RGB24_to_RGGB32",
                                               "VIQ_BAY_apply_gains",
                                               "VIQ_IP_subsample",
                                               "VIQ_IP_extract_region",
                                               "VIQ_IP_filter_3x3",
                                               "VIQ_IP_generate_averages",
                                               "VIQ_JPEG_compress",
                                               "VIQ_JPEG_compress_strip",
                                               "VIQ_SPL_field_to_frame",
                                               "VIQ_SPL_interlace_frame",
                                               "VIQ_image_write"};

// Where lines of odd width, or with padding, are skewed within a strip.
constexpr std::string_view skewing[] = {"VIQ_convert_to_Y8", "VIQ_image_convert",
                                        "VIQ_SPL_Data32_to_Y8", "VIQ_write_raw_data_file",
                                        "VIQ_BAY_RGGB32_map_to_Y8"};

template <std::size_t count>
bool is_in(const std::string_view (&names)[count], std::string_view name) {
    return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

// Functions that do not read their first image, or whose result is not in images and files.
constexpr std::string_view excluded[] = {"VIQ_read_",
                                         "VIQ_image_read",
                                         "VIQ_image_write_BMP_buffer",
                                         "VIQ_JPEG_buffer_write",
                                         "VIQ_WVLT_buffer_write",
                                         "VIQ_JPEG_file_write",
                                         "VIQ_image_move"};

role role_of(const char *parameter) {
    const std::string_view name = parameter != nullptr ? parameter : "";
    return name == "hInImage" || name == "hImage" || name == "hOutImage" || name == "hPaddedImage"
               ? role::image
           : name == "hJpegImage" ? role::jpeg
           : name == "hWvlt"      ? role::wavelet
                                  : role::none;
}

void classify(operation &op) {
    bool commanded = false;
    for (const char *name : op.names) {
        const std::string_view text = name != nullptr ? name : "";
        commanded = commanded || text == "wMode" || text == "wStripCommand";
    }
    op.input = role_of(op.names[0]);
    op.output = role_of(op.names[1]);
    op.by_strips = commanded && op.input != role::wavelet && !is_in(whole_pictures, op.name);
    const bool writes = std::string_view(op.name).find("write") != std::string_view::npos;
    if (op.output == role::none && !commanded && !writes)
        op.input = role::none;
    for (const std::string_view start : excluded)
        if (std::string_view(op.name).substr(0, start.size()) == start)
            op.input = role::none;
}

template <class Result, class... Parameters, class... Names>
u32 call_with(caller &who, Result (*function)(Parameters...), const char *name, Names... names) {
    if constexpr (std::is_same_v<Result, u32>) {
        call_record call;
        const auto arguments = any_arguments<Parameters...>(who, call, name, names...);
        return std::apply(function, arguments);
    }
    return 0;
}

#define VIQ_PUBLIC_CALL(name, ...)                                                                 \
    {#name, {__VA_ARGS__}, [](caller &who) {                                                       \
         return call_with(who, name, #name __VA_OPT__(, ) __VA_ARGS__);                            \
     }},

const std::vector<operation> &operations() {
    static const std::vector<operation> chosen = [] {
        operation all[] = {
#include "public_calls.inc"
        };
        std::vector<operation> result;
        for (operation &op : all) {
            classify(op);
            if (op.input != role::none)
                result.push_back(op);
        }
        return result;
    }();
    return chosen;
}
#undef VIQ_PUBLIC_CALL

// ---- Pictures

struct picture {
    u16 format;
    u32 width, height, alignment, data_width, seed, style;
    bool tables; // the operation may use the conversion tables
    std::vector<u32> strips;
};

u32 make_image(const picture &p, role kind) {
    const u32 image = kind == role::jpeg      ? VIQ_JPEG_image_create()
                      : kind == role::wavelet ? VIQ_WVLT_image_create(static_cast<u16>(p.seed % 2))
                                              : VIQ_image_create();
    if (kind == role::image) {
        VIQ_image_set_parameter(image, VIQ_IMAGE_TYPE, p.format);
        VIQ_image_set_parameter(image, VIQ_WIDTH, p.width);
        VIQ_image_set_parameter(image, VIQ_HEIGHT, p.height);
        VIQ_image_set_parameter(image, VIQ_LINE_ALIGNMENT, p.alignment);
        VIQ_image_set_parameter(image, VIQ_DATA_WIDTH, p.data_width);
        VIQ_image_set_parameter(image, VIQ_PARAM_23, p.seed % 5);
        fill_pixels(reinterpret_cast<u8 *>(find_image(image)->colourmap), 256 * sizeof(tVIQ_Colour),
                    p.seed, p.style);
    }
    return image;
}

// Without padding, which the image check does not compute for lines of VIQ_RGGB32, VIQ_Y64, VIQ_Y1.
u32 line_size(const tVIQ_Image &image) {
    return image.pixel_format == VIQ_RGGB32
               ? image.width
               : std::max(image.bytes_per_line, image.skip_bytes) - image.skip_bytes;
}

// Puts so many lines of the picture into the image. Padding differs, so that none may matter.
void set_strip(const picture &p, u32 image, u32 first, u32 lines, u8 padding) {
    VIQ_image_set_parameter(image, VIQ_LINES_PER_STRIP, lines);
    if (VIQ_image_malloc_a_strip(image) != 0)
        return;
    const tVIQ_Image &object = *find_image(image);
    const u32 used = line_size(object);
    for (u32 line = 0; line < lines && object.data != nullptr; ++line) {
        u8 *start = object.data + std::size_t{line} * object.bytes_per_line;
        std::memset(start, padding, object.bytes_per_line);
        fill_pixels(start, used, p.seed + (first + line) * 7919, p.style);
        if (p.format == VIQ_HSI)
            for (u32 i = 0; i + 3 < used; i += 4)
                start[i + 1] = 0; // hues below 256
    }
}

// ---- Runs

struct manner {
    bool strips;
    bool thread; // in a context of its own
    u8 padding;  // between the lines of the input, where it may not matter
};

struct outcome {
    u32 code = 0;
    std::vector<u8> bytes;
    // The detail of a memory error is a size, which depends on the strip.
    bool operator==(const outcome &other) const {
        return code >> 16 == VIQ_ERR_MEMORY >> 16
                   ? other.code >> 16 == code >> 16
                   : code == other.code && (code != 0 || bytes == other.bytes);
    }
    void add(const void *data, std::size_t size) {
        const auto *start = static_cast<const u8 *>(data);
        bytes.insert(bytes.end(), start, start + size);
    }
};

void add_strip(outcome &result, u32 handle, role kind) {
    const tVIQ_Image &image = *find_image(handle);
    if (kind != role::image || image.data == nullptr)
        return;
    const u32 used = line_size(image);
    for (u32 line = 0; line < image.lines_per_strip; ++line)
        result.add(image.data + std::size_t{line} * image.bytes_per_line, used);
}

constexpr std::size_t written_file = 0; // of each thread; its content is part of the outcome

// What a whole operation leaves beside the strips.
void add_rest(outcome &result, caller &who, role kind) {
    const tVIQ_Image &out = *find_image(who.out_image);
    const u32 numbers[] = {out.pixel_format, out.width, out.height, out.num_colours};
    result.add(numbers, sizeof numbers);
    if (kind == role::jpeg && out.jpeg->data != nullptr)
        result.add(out.jpeg->data, out.jpeg->data_length);
    if (kind == role::wavelet) {
        std::vector<u8> stream(std::size_t{out.param_16} + 65536);
        u32 count = 0;
        demand(VIQ_WVLT_buffer_write(who.out_image, stream.data(), &count, VIQ_STRIP_NEXT) == 0);
        result.add(stream.data(), count);
    }
    if (const tVIQ_Image &in = *find_image(who.in_image); in.colourmap != nullptr)
        result.add(in.colourmap, 256 * sizeof(tVIQ_Colour));
    result.add(who.histograms[0].get(), sizeof(tVIQ_Histogram));
    result.add(who.average.get(), sizeof(tVIQ_Average));
    if (std::FILE *written = open_path(file_name(written_file).c_str(), "rb")) {
        u8 block[4096];
        while (const std::size_t count = std::fread(block, 1, sizeof block, written))
            result.add(block, count);
        std::fclose(written);
        remove_file(written_file);
    }
}

void make_lookup_tables(const picture &p) {
    const u16 sizes[] = {1, static_cast<u16>(p.format == VIQ_Y16 ? 2 : 1)};
    for (const u16 size : sizes) { // large tables take long
        const u32 table = VIQ_LUT_create(size == 1 ? 256 : 65536, size);
        VIQ_LUT_generate(table, static_cast<i16>(p.seed % 150), 110, 120, 90, 100, 110);
    }
}

// A coded picture as the input of a decoder.
u32 coded(const picture &p, role kind, u32 image) {
    const u32 result = make_image(p, kind);
    set_strip(p, image, 0, p.height, 0);
    const u32 code = kind == role::jpeg ? VIQ_JPEG_compress(image, result)
                                        : VIQ_WVLT_compress(image, result, VIQ_STRIP_NEXT);
    (void)code; // then the decoder refuses its input in all manners
    return result;
}

// The conversion tables that depend on the picture. They take long to make.
struct format_table {
    u16 format, type;
};
constexpr format_table tables_of_pictures[] = {{VIQ_RGB16, VIQ_CONV_LUT_RGB16_TO_PALETTED},
                                               {VIQ_Y8, VIQ_CONV_LUT_Y8_TO_PALETTED},
                                               {VIQ_Y16, VIQ_CONV_LUT_Y16_TO_PALETTED},
                                               {VIQ_YUV422, VIQ_CONV_LUT_YUV422_TO_PALETTED}};

bool takes_tables(const operation &op) {
    const std::string_view name = op.name;
    return name == "VIQ_image_convert" || name.ends_with("_LUT");
}

outcome run(const operation &op, const picture &p, byte_source arguments, manner how) {
    remove_file(written_file); // the library may have left one beside it, with the same bytes
    caller who;
    if (how.thread)
        enter_context(who);
    prepare(who);
    const u32 image = make_image(p, role::image), other = make_image(p, role::image);
    who.images.fill(other);
    who.in_image = op.input == role::image ? image : coded(p, op.input, image);
    who.out_image = make_image(p, op.output);
    VIQ_image_set_outfilename(who.in_image, file_name(written_file).c_str());
    who.only_file = written_file;
    VIQ_image_set_flags(who.out_image, VIQ_FLAG_USE_LUT, p.tables);
    who.command = VIQ_STRIP_NEXT;
    const std::string_view name = op.name;
    if (name == "VIQ_LUT_apply")
        make_lookup_tables(p);
    if (name.starts_with("VIQ_CK"))
        for (u32 count = 0; count < 2; ++count)
            VIQ_CK_create();
    if (p.tables && takes_tables(op))
        for (const format_table &table : tables_of_pictures)
            if (table.format == p.format)
                VIQ_image_conv_LUT_generate(image, table.type);

    outcome result;
    std::size_t strip = 0;
    for (u32 done = 0, lines = 0; done < p.height && result.code == 0; done += lines, ++strip) {
        lines = how.strips ? p.strips[strip % p.strips.size()] : p.height;
        if (op.input == role::jpeg)
            lines = (lines + 15) / 16 * 16;
        lines = std::min(lines, p.height - done);
        if (op.input == role::image)
            set_strip(p, who.in_image, done, lines, op.output == role::none ? 0 : how.padding);
        else
            VIQ_image_set_parameter(who.in_image, VIQ_LINES_PER_STRIP, lines);
        set_strip(p, other, done, lines, 0x55);
        who.input = arguments;
        result.code = op.call(who);
        if (result.code == 0 && op.output == role::image)
            add_strip(result, who.out_image, op.output);
    }
    if (result.code == 0)
        add_rest(result, who, op.output);
    who.command = VIQ_STRIP_FINISH;
    who.input = arguments;
    op.call(who);
    // The handle of a destroyed image may be that of another thread's new one.
    u32 handles[] = {image, other, who.in_image, who.out_image};
    std::sort(std::begin(handles), std::end(handles));
    std::for_each(std::begin(handles), std::unique(std::begin(handles), std::end(handles)),
                  VIQ_image_destroy);
    if (how.thread) {
        demand(VIQ_context_use(0) == 0);
        demand(VIQ_context_destroy(who.contexts[0]) == 0);
    } else {
        demand(VIQ_image_destroy(VIQ_ALL_IMAGES) == 0);
        for (const format_table &table : tables_of_pictures)
            VIQ_image_conv_LUT_destroy(table.type);
    }
    remove_file(written_file);
    return result;
}

void compare(const operation &op, const picture &p, const char *manner_name, const outcome &first,
             const outcome &second) {
    // Scaling refuses strips that are too short for a line of the output.
    if (first == second ||
        (second.code == VIQ_ERR_INTERNAL && op.name == std::string_view("VIQ_IP_scale")))
        return;
    std::fprintf(stderr, "%s, %s: format %u, %u x %u, alignment %u, codes %08x %08x, %zu %zu bytes",
                 op.name, manner_name, p.format, p.width, p.height, p.alignment, first.code,
                 second.code, first.bytes.size(), second.bytes.size());
    for (std::size_t i = 0; i < std::min(first.bytes.size(), second.bytes.size()); ++i)
        if (first.bytes[i] != second.bytes[i]) {
            std::fprintf(stderr, ", byte %zu: %u %u", i, first.bytes[i], second.bytes[i]);
            break;
        }
    std::fputs(", strips", stderr);
    for (const u32 lines : p.strips)
        std::fprintf(stderr, " %u", lines);
    std::fputs("\n", stderr);
    std::abort();
}

picture any_picture(byte_source &input) {
    picture p = {};
    p.format = input.one_of(format_codes);
    p.width = 1 + input.byte() % 100;
    p.height = 1 + input.byte() % 48;
    p.alignment = input.chance(128) ? 2 : 1 + input.byte() % 9;
    p.data_width = 8 + input.byte() % 9;
    p.seed = input.byte();
    p.style = input.byte();
    p.tables = input.byte() >= 252; // slow
    for (u32 count = 1 + input.byte() % 4; count > 0; --count)
        p.strips.push_back(1 + input.byte() % 20);
    return p;
}

// By strips with the plain kernels, or with the kernels of another instruction set.
void run_again(const operation &op, const picture &p, byte_source arguments, u32 variant,
               const outcome &whole) {
    const u32 number = variant == 0 && !op.by_strips ? 1 : variant;
    const auto set = static_cast<instruction_set>(number);
    if (!set_available(set))
        return;
    force_set(set);
    const manner how = {op.by_strips, false, static_cast<u8>(number == 0 ? 255 : 85)};
    compare(op, p, number == 0 ? "plain, strips" : "vectors", whole, run(op, p, arguments, how));
}

void run_in_threads(const operation &op, const picture &p, byte_source arguments,
                    const outcome &whole) {
    outcome results[2];
    const auto work = [&](std::size_t i) {
        results[i] = run(op, p, arguments, {op.by_strips, true, 170});
    };
    std::thread first(work, 0), second(work, 1);
    first.join();
    second.join();
    for (const outcome &result : results)
        compare(op, p, "threads", whole, result);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, std::size_t size) {
    byte_source input = {data, size};
    const operation &op = operations()[input.word() % operations().size()];
    picture p = any_picture(input);
    if (is_in(skewing, op.name)) {
        p.width += p.width % 2;
        p.alignment = 2;
    }
    // Every new context makes its own tables.
    const bool often = input.byte() >= 240 && !takes_tables(op);
    const bool in_threads = often || is_one_of(data, size, 64);
    in_variants(data, size, instruction_sets, [&](u32 variant) {
        force_set(instruction_set::plain);
        const outcome whole = run(op, p, input, {false, false, 0});
        run_again(op, p, input, variant, whole);
        if (in_threads)
            run_in_threads(op, p, input, whole);
        demand(VIQ_image_destroy(VIQ_ANY_IMAGE) == 0);
    });
    return 0;
}
