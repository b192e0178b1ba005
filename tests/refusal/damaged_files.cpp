// Reads 10,000 damaged files of every format in both reading modes and measures the memory that is
// allocated at the same time: at most 3 MiB and twice the memory that the intact file needs. Files
// are cut at every byte, and every field of 1, 2 and 4 bytes is set to 0, to 1 and to its largest
// value. Prints a line for each format; the exit status is the number of formats that need more.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <new>
#include <string>
#include <vector>

#include <malloc.h>
#include <unistd.h>

#include "core/image.h"

using namespace viq;

// ---- Allocations of the library, which the linker directs here

namespace {

std::size_t allocated, most_allocated;

void *count(void *memory) {
    allocated += memory != nullptr ? malloc_usable_size(memory) : 0;
    most_allocated = std::max(most_allocated, allocated);
    return memory;
}

void uncount(void *memory) {
    allocated -= memory != nullptr ? malloc_usable_size(memory) : 0;
}

} // namespace

extern "C" {
void *__real_malloc(std::size_t size);
void *__real_calloc(std::size_t items, std::size_t size);
void *__real_realloc(void *memory, std::size_t size);
void *__real_aligned_alloc(std::size_t alignment, std::size_t size);
void __real_free(void *memory);
void *__wrap_malloc(std::size_t size) {
    return count(__real_malloc(size));
}
void *__wrap_calloc(std::size_t items, std::size_t size) {
    return count(__real_calloc(items, size));
}
void *__wrap_realloc(void *memory, std::size_t size) {
    uncount(memory);
    void *moved = __real_realloc(memory, size);
    count(moved != nullptr ? moved : memory);
    return moved;
}
void *__wrap_aligned_alloc(std::size_t alignment, std::size_t size) {
    return count(__real_aligned_alloc(alignment, size));
}
void __wrap_free(void *memory) {
    uncount(memory);
    __real_free(memory);
}
}

[[gnu::noinline]] void *operator new(std::size_t size) {
    void *memory = std::malloc(std::max<std::size_t>(size, 1));
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}
[[gnu::noinline]] void operator delete(void *memory) noexcept {
    std::free(memory);
}
[[gnu::noinline]] void operator delete(void *memory, std::size_t) noexcept {
    std::free(memory);
}

namespace {

// ---- Formats

using file_bytes = std::vector<u8>;

// The file is the output file of the picture.
u32 write_jpeg(u32 picture, u16) {
    const u32 jpeg = VIQ_JPEG_image_create();
    u32 code = VIQ_JPEG_compress(picture, jpeg);
    code = is_error(code) ? code : VIQ_JPEG_file_write(jpeg, VIQ_STRIP_NEXT);
    VIQ_image_destroy(jpeg);
    return code;
}

template <u16 type> u32 write_wavelet(u32 picture, u16) {
    const u32 wavelet = VIQ_WVLT_image_create(type);
    u32 code = VIQ_WVLT_compress(picture, wavelet, VIQ_STRIP_NEXT);
    code = is_error(code) ? code : VIQ_WVLT_file_write(wavelet, VIQ_STRIP_NEXT);
    VIQ_image_destroy(wavelet);
    return code;
}

u32 write_table(u32 picture, u16) {
    const u32 code = VIQ_image_conv_LUT_generate(picture, VIQ_CONV_LUT_Y8_TO_PALETTED);
    return is_error(code) ? code
                          : VIQ_image_conv_LUT_save(picture, VIQ_CONV_LUT_Y8_TO_PALETTED,
                                                    VIQ_image_get_outfilename(picture));
}

u32 read_jpeg(u32 picture, u16) {
    const u32 jpeg = VIQ_JPEG_image_create();
    VIQ_image_set_infilename(jpeg, VIQ_image_get_infilename(picture));
    u32 code = VIQ_JPEG_file_read(jpeg);
    code = is_error(code) ? code : VIQ_JPEG_decompress(jpeg, picture, VIQ_STRIP_NEXT);
    VIQ_image_destroy(jpeg);
    return code;
}

template <u16 type> u32 read_wavelet(u32 picture, u16) {
    const u32 wavelet = VIQ_WVLT_image_create(type);
    VIQ_image_set_infilename(wavelet, VIQ_image_get_infilename(picture));
    u32 code = VIQ_WVLT_file_read(wavelet);
    code = is_error(code) ? code : VIQ_WVLT_decompress(wavelet, picture, VIQ_STRIP_NEXT);
    VIQ_image_destroy(wavelet);
    return code;
}

u32 read_table(u32 picture, u16) {
    const u32 code = VIQ_image_conv_LUT_load(picture, VIQ_CONV_LUT_Y8_TO_PALETTED,
                                             VIQ_image_get_infilename(picture));
    VIQ_image_conv_LUT_destroy(VIQ_CONV_LUT_Y8_TO_PALETTED);
    return code;
}

// Two frames, of which the second one is decoded.
u32 write_sequence(u32 picture, u16) {
    const u32 frame = VIQ_JPEG_image_create(), sequence = VIQ_JPEG_image_create();
    u32 code = VIQ_JPEG_compress(picture, frame);
    VIQ_image_set_outfilename(frame, VIQ_image_get_outfilename(picture));
    code = is_error(code) ? code : VIQ_image_copy(frame, sequence);
    code = is_error(code) ? code : VIQ_JPEG_sequence_build(frame, sequence);
    code = is_error(code) ? code : VIQ_JPEG_file_write(sequence, VIQ_STRIP_NEXT);
    VIQ_image_destroy(frame);
    VIQ_image_destroy(sequence);
    return code;
}

u32 read_sequence(u32 picture, u16) {
    const u32 sequence = VIQ_JPEG_image_create(), frame = VIQ_JPEG_image_create();
    VIQ_image_set_infilename(sequence, VIQ_image_get_infilename(picture));
    u32 code = VIQ_JPEG_file_open(sequence);
    code = is_error(code) ? code : VIQ_JPEG_sequence_calc_length(sequence);
    VIQ_JPEG_file_close(sequence);
    code = is_error(code) ? code : VIQ_JPEG_file_read(sequence);
    code = is_error(code) ? code : VIQ_JPEG_sequence_extract_frame(sequence, frame, 2);
    code = is_error(code) ? code : VIQ_JPEG_decompress(frame, picture, VIQ_STRIP_NEXT);
    VIQ_image_destroy(frame);
    VIQ_image_destroy(sequence);
    return code;
}

// A raw frame has no header. The file begins with what a caller states: layout, width, height,
// stride.
struct frame_header {
    u32 layout, width, height, stride;
};

u32 write_frame(u32 picture, u16) {
    constexpr u32 mono_8 = 0x01080001;
    const frame_header header = {mono_8, VIQ_get_width(picture), VIQ_get_height(picture), 0};
    file_bytes frame(std::size_t{header.width} * header.height);
    const u32 code = VIQ_frame_pack(frame.data(), frame.size(), header.layout, header.width,
                                    header.height, header.stride, picture, VIQ_STRIP_NEXT);
    std::ofstream file(VIQ_image_get_outfilename(picture), std::ios::binary);
    file.write(reinterpret_cast<const char *>(&header), sizeof header);
    file.write(reinterpret_cast<const char *>(frame.data()),
               static_cast<std::streamsize>(frame.size()));
    return code;
}

u32 read_frame(u32 picture, u16 mode) {
    std::ifstream file(VIQ_image_get_infilename(picture), std::ios::binary);
    frame_header header = {};
    file.read(reinterpret_cast<char *>(&header), sizeof header);
    const file_bytes frame{std::istreambuf_iterator<char>(file), {}};
    VIQ_image_set_parameter(picture, VIQ_LINES_PER_STRIP, header.height);
    return VIQ_frame_unpack(frame.data(), frame.size(), header.layout, header.width, header.height,
                            header.stride, picture, mode);
}

using file_function = u32 (*)(u32 picture, u16 mode);

struct file_kind {
    const char *name;
    u16 pixel_format;
    file_function write, read;
};

constexpr file_kind kinds[] = {
    {"BMP", VIQ_RGB24, VIQ_write_BMP_file, VIQ_read_BMP_file},
    {"BMP, palette", VIQ_PALETTED, VIQ_write_BMP_file, VIQ_read_BMP_file},
    {"TIFF", VIQ_RGB24, VIQ_write_TIFF_file, VIQ_read_TIFF_file},
    {"TIFF, 16 bits", VIQ_Y16, VIQ_write_TIFF_file, VIQ_read_TIFF_file},
    {"TGA", VIQ_RGB24, VIQ_write_TGA_file, VIQ_read_TGA_file},
    {"EPS", VIQ_RGB24, VIQ_write_EPS_file, VIQ_read_EPS_file},
    {"raw frame", VIQ_Y8, write_frame, read_frame},
    {"JPEG sequence", VIQ_RGB24, write_sequence, read_sequence},
    {"JPEG", VIQ_RGB24, write_jpeg, read_jpeg},
    {"wavelet type 0", VIQ_Y8, write_wavelet<0>, read_wavelet<0>},
    {"wavelet type 1", VIQ_Y8, write_wavelet<1>, read_wavelet<1>},
    {"table", VIQ_PALETTED, write_table, read_table},
};

// ---- Damage

constexpr std::size_t damaged_files = 10000;
constexpr std::size_t most_bytes = 3 << 20; // beside twice the memory of the intact file

template <class Visit> void for_every_damage(const file_bytes &intact, Visit visit) {
    // 0; 1 in both byte orders (3: in the last byte); all bits; the largest signed number; 2.
    constexpr u8 fills[] = {0, 1, 255, 3, 127, 2};
    std::size_t made = 0;
    for (std::size_t size = 0; size < intact.size() && made < damaged_files / 4; ++size, ++made)
        visit(file_bytes(intact.begin(), intact.begin() + static_cast<std::ptrdiff_t>(size)));
    for (std::size_t at = 0; at < intact.size(); ++at)
        for (const std::size_t width : {1u, 2u, 4u})
            for (const u8 fill : fills) {
                if (made++ == damaged_files)
                    return;
                file_bytes damaged = intact;
                const std::size_t end = std::min(at + width, damaged.size());
                for (std::size_t i = at; i < end; ++i) {
                    const bool first = i == at, last = i + 1 == end;
                    damaged[i] = fill == 255   ? u8{255}
                                 : fill == 127 ? static_cast<u8>(last ? 127 : 255)
                                 : fill == 3   ? static_cast<u8>(last)
                                 : first       ? fill
                                               : u8{0};
                }
                visit(damaged);
            }
}

std::string file_name() {
    const char *folder = std::getenv("TMPDIR");
    return std::string(folder != nullptr ? folder : "/tmp") + "/viq_damaged" +
           std::to_string(getpid());
}

// A file that is truncated and written again is sent to the disk when it is closed (ext4).
void write_file(const std::string &name, const file_bytes &content) {
    std::remove(name.c_str());
    std::ofstream file(name, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char *>(content.data()),
               static_cast<std::streamsize>(content.size()));
}

file_bytes intact_file(const file_kind &kind, const std::string &name) {
    const scoped_image picture;
    VIQ_image_set_parameter(picture.handle, VIQ_IMAGE_TYPE, kind.pixel_format);
    VIQ_image_set_parameter(picture.handle, VIQ_WIDTH, 48);
    VIQ_image_set_parameter(picture.handle, VIQ_HEIGHT, 32);
    VIQ_image_set_parameter(picture.handle, VIQ_LINES_PER_STRIP, 32);
    VIQ_image_set_outfilename(picture.handle, name.c_str());
    VIQ_cmap_set_type(picture.handle, VIQ_CMAP_GREY);
    VIQ_image_malloc_a_strip(picture.handle);
    const tVIQ_Image &image = *find_image(picture.handle);
    for (u32 i = 0; i < image.bytes_per_line * image.height; ++i)
        image.data[i] = static_cast<u8>(i * 7 + i / 90);
    if (is_error(kind.write(picture.handle, VIQ_STRIP_NEXT)))
        return {};
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// The memory that reading needs at the same time: the header, then all lines in one strip.
std::size_t memory_to_read(const file_kind &kind, const std::string &name, bool &refused) {
    VIQ_image_destroy(VIQ_ALL_IMAGES);
    const std::size_t before = allocated;
    most_allocated = allocated;
    const scoped_image picture;
    VIQ_image_set_infilename(picture.handle, name.c_str());
    VIQ_image_set_parameter(picture.handle, VIQ_HEIGHT, 0);
    VIQ_image_set_parameter(picture.handle, VIQ_LINES_PER_STRIP, 0);
    u32 code = kind.read(picture.handle, VIQ_STRIP_NEXT);
    const u32 height = VIQ_get_height(picture.handle);
    if (!is_error(code) && find_image(picture.handle)->data == nullptr && height > 0) {
        VIQ_image_set_parameter(picture.handle, VIQ_LINES_PER_STRIP, height);
        code = kind.read(picture.handle, VIQ_STRIP_NEXT);
    }
    kind.read(picture.handle, VIQ_STRIP_FINISH);
    refused = is_error(code);
    return most_allocated - before;
}

int measure(const file_kind &kind, u32 mode) {
    const std::string name = file_name();
    VIQ_Init(); // a damaged JPEG stream leaves its code tables
    VIQ_ErrHandlerInstall(nullptr);
    VIQ_set_file_reading(mode);
    const file_bytes intact = intact_file(kind, name);
    bool refused = intact.empty();
    const std::size_t honest = refused ? 0 : memory_to_read(kind, name, refused);
    if (refused) {
        std::printf("%-16s %4u: the intact file is refused\n", kind.name, mode);
        return 1;
    }
    const std::size_t limit = most_bytes + 2 * honest;
    std::size_t files = 0, refusals = 0, most = 0, above = 0;
    file_bytes worst;
    for_every_damage(intact, [&](const file_bytes &damaged) {
        write_file(name, damaged);
        const std::size_t needed = memory_to_read(kind, name, refused);
        ++files;
        refusals += refused;
        above += needed > limit;
        if (needed > most) {
            most = needed;
            worst = damaged;
        }
    });
    std::remove(name.c_str());
    std::fflush(stdout);
    std::printf("%-16s %4u %7zu %8zu %10zu %10zu %10zu\n", kind.name, mode, files, refusals,
                honest / 1024, most / 1024, above);
    if (const char *kept = std::getenv("VIQ_KEEP_WORST"); kept != nullptr && above > 0)
        write_file(kept + std::string(kind.name) + std::to_string(mode), worst);
    return above > 0;
}

} // namespace

int main() {
    std::printf("%-16s %4s %7s %8s %10s %10s %10s\n", "format", "mode", "files", "refused",
                "intact KiB", "most KiB", "above");
    int failed = 0;
    for (const file_kind &kind : kinds)
        for (const u32 mode : {u32{VIQ_READING_ORIGINAL}, u32{VIQ_READING_CONFORMING}})
            failed += measure(kind, mode);
    return failed;
}
