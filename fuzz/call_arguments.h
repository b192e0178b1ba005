// What a caller passes to a public function: an argument is chosen by the type and the name of its
// parameter. What the manual requires of a caller holds: buffers have their size, objects live as
// long as the library may use them, and allocated memory is freed or passed on once. Everything
// else is arbitrary.
#pragma once

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "camera/frame_layouts.h"
#include "core/image.h"
#include "fuzz/byte_source.h"
#include "fuzz/fuzz_support.h"
#include "tests/memory_windows.h"

namespace viq {

inline u64 calls_made; // of public functions, by this process

constexpr std::size_t slots = 6;

// What a caller of the library holds while an input runs.
struct caller {
    byte_source input;
    bool extreme = false; // also sizes and numbers that no picture has
    std::array<u32, slots> images = {};
    std::vector<u32> contexts;
    std::vector<tVIQ_Colour *> colourmaps; // made by the library, in no image yet
    std::vector<void *> memory;            // allocated by the library, to be freed by the caller
    std::deque<std::vector<u8>> kept;      // what images refer to without owning it
    std::deque<tVIQ_Image> objects;
    std::deque<Tjpeg> records;
    // What functions update in several calls, or compare with the first of several.
    std::unique_ptr<tVIQ_Histogram> histograms[2];
    std::unique_ptr<tVIQ_Average> average;
    std::unique_ptr<i32[]> kernel;
    bool in_handler = false;
    std::size_t only_file = files; // that calls write by name; files: any
    VIQ_ErrHandler handlers[3] = {};
    // Arguments that the target chooses itself; 0: arbitrary.
    u32 in_image = 0, out_image = 0;
    u16 command = 0;
};

// ---- The call that is being made

constexpr std::size_t most_parameters = 10;

struct call_record {
    const char *function = nullptr;
    const char *names[most_parameters] = {};
    std::size_t at = 0;          // index of the parameter that is being chosen
    u32 first_handle = 0;        // of the call; 0: it has none
    u32 output = 0;              // hOutImage
    u32 last_number = 0;         // the parameter before, if it is a number
    std::size_t buffer_size = 0; // of the buffer before its length
    bool finish = false;         // the strip command is not VIQ_STRIP_NEXT
    bool possible = true;        // false: the arguments cannot be what the manual requires
    // Memory of the arguments, each with its exact size, until the call has returned.
    std::vector<std::unique_ptr<u8[]>> buffers;
    std::deque<std::string> texts; // which keep their addresses
    std::FILE *file = nullptr;
    u8 *allocated = nullptr; // memory that the call has returned and the caller frees

    bool is(std::string_view name) const { return name == names[at]; }
    bool in(std::string_view name) const { return name == function; }
    bool is_display() const { return std::string_view(function).starts_with("VIQ_display_"); }
    u8 *buffer(std::size_t size) {
        buffer_size = size;
        buffers.push_back(std::make_unique<u8[]>(size));
        return buffers.back().get();
    }
    ~call_record() {
        if (file != nullptr)
            std::fclose(file);
        std::free(allocated);
    }
};

// ---- Numbers

inline u32 any_number(caller &who) {
    constexpr u32 limits[] = {0xFFFFFFFF, 0x80000000, 0x7FFFFFFF, 0xFFFF,     0x10000,
                              0x8000,     0x40000000, 32767,      0x20000000, 0xAAAAAAAB};
    const u32 kind = who.input.byte();
    if (kind < 160 || !who.extreme)
        return who.input.byte() % (kind < 128 ? 20 : 70);
    if (kind < 200)
        return who.input.word();
    return kind < 250 ? who.input.one_of(limits) : who.input.dword();
}

inline u32 any_image(caller &who) {
    constexpr u32 others[] = {0, 1, 7, 65535, 65536, VIQ_ALL_IMAGES, VIQ_ANY_IMAGE, 0xFFFFFFFF};
    const u32 kind = who.input.byte();
    return kind < 250 || who.command != 0 ? who.images[kind % slots] : who.input.one_of(others);
}

inline u32 any_context(caller &who) {
    // Never context 0: what the input leaves there would remain for the next one.
    return who.contexts.empty() || who.input.chance(16)
               ? 60000 + who.input.byte()
               : who.contexts[who.input.byte() % who.contexts.size()];
}

inline u16 any_command(caller &who, call_record &call) {
    if (who.command != 0)
        return who.command;
    const u32 kind = who.input.byte();
    const u32 command = kind < 190   ? u32{VIQ_STRIP_NEXT}
                        : kind < 235 ? u32{VIQ_STRIP_FINISH}
                        : kind < 252 ? kind % 14
                                     : who.input.word();
    call.finish = call.finish || command != VIQ_STRIP_NEXT;
    return static_cast<u16>(command);
}

inline u16 any_format(caller &who) {
    return who.input.chance(250) ? who.input.one_of(format_codes)
                                 : static_cast<u16>(who.input.word());
}

// The numbers that a parameter of 16 bits is likely to mean: first, count.
struct usual_range {
    std::string_view name;
    u32 first, count;
};
constexpr usual_range usual_words[] = {
    {"wId", 9, 19},          {"wLUTType", 199, 8},   {"wParameter", 299, 6}, {"wFormat", 0, 14},
    {"wColour", 0, 18},      {"wScheme", 0, 6},      {"wPixelColour", 0, 6}, {"wFactor", 0, 40},
    {"wKeyColour", 0, 17},   {"wElementSize", 0, 4}, {"wQuality", 0, 420},   {"wSubbands", 0, 36},
    {"wComponent", 0, 5},    {"wPlane", 0, 5},       {"wBackground", 0, 3},  {"wRadius", 0, 30},
    {"wNumColours", 0, 260}, {"wBlackLevel", 0, 20}, {"wIndex", 0, 258},     {"wShape", 0, 2},
    {"wLevel", 0, 4},
};

inline u16 any_u16(caller &who, call_record &call) {
    constexpr u16 types[] = {0,
                             1,
                             2,
                             3,
                             4,
                             VIQ_PTR_DATA,
                             VIQ_PTR_CMAP,
                             VIQ_PTR_JPEG_DATA,
                             VIQ_PTR_JPEG_DATA2,
                             VIQ_PTR_IMAGE,
                             VIQ_PTR_JPEG,
                             VIQ_PTR_JPEG_ID,
                             107};
    constexpr u16 orders[] = {0x4949, 0x4D4D, 900, 901, 902, 0};
    constexpr u16 queries[] = {
        VIQ_JPEG_COMPONENTS, VIQ_JPEG_DATA_START, VIQ_JPEG_Q_TABLES, 1, 2, 3};
    if (call.is("wStripCommand") || call.is("wMode") || call.is("wInMode") || call.is("wOutMode"))
        return any_command(who, call);
    if (who.input.chance(8))
        return static_cast<u16>(who.input.word());
    if (call.is("wOutFormat"))
        return any_format(who);
    if (call.is("wType"))
        return who.input.one_of(types);
    if (call.is("wAngle"))
        return static_cast<u16>(who.input.byte() % 6 * 90);
    if (call.is("wOrder"))
        return who.input.one_of(orders);
    if (call.is("wMask"))
        return static_cast<u16>(1u << who.input.byte() % 5);
    if (call.in("VIQ_JPEG_get_parameter") || call.in("VIQ_image_get_file_info"))
        return who.input.one_of(queries);
    if (call.is("wParameter") && call.is_display())
        return static_cast<u16>(first_parameter + who.input.byte() % (parameter_count + 1));
    for (const usual_range &usual : usual_words)
        if (call.is(usual.name))
            return static_cast<u16>(usual.first + who.input.word() % usual.count);
    return static_cast<u16>(any_number(who));
}

inline u32 any_handle(caller &who, call_record &call) {
    if (call.is("hContext"))
        return any_context(who);
    if (call.is("hLut") || call.is("hCK") || call.is("hDisplay"))
        return who.input.chance(248) ? who.input.byte() % 3 : who.input.byte() % 17;
    const bool output = call.is("hOutImage") || call.is("hJpegImage") || call.is("hPaddedImage") ||
                        call.is("hWvlt");
    const u32 chosen = call.at == 0 ? who.in_image : output ? who.out_image : 0;
    const u32 handle = chosen != 0 ? chosen : any_image(who);
    if (call.first_handle == 0)
        call.first_handle = handle;
    if (call.is("hOutImage"))
        call.output = handle;
    return handle;
}

inline u32 any_u32(caller &who, call_record &call) {
    constexpr u32 flags[] = {VIQ_FLAG_2,  VIQ_FLAG_DIB,    VIQ_FLAG_USE_LUT,
                             VIQ_FLAG_20, VIQ_FLAG_DITHER, VIQ_FLAG_DIB | VIQ_FLAG_USE_LUT};
    if (call.names[call.at][0] == 'h' && std::string_view(call.names[call.at]) != "height")
        return any_handle(who, call);
    if (call.is("dwMode") && who.command != 0)
        return who.command;
    if (call.is("dwLength") || (call.is("dwSize") && !call.buffers.empty()))
        return static_cast<u32>(call.buffer_size);
    if (call.is("dwPixelFormat"))
        return who.input.chance(250)
                   ? frame_layouts[who.input.byte() % std::size(frame_layouts)].code
                   : who.input.dword();
    if (call.is("dwMilliseconds"))
        return 0;
    if (call.is("dwOption"))
        return who.input.byte() % 5 * 8;
    if (call.is("dwPrinters"))
        return static_cast<u32>(call.buffer_size / sizeof(tVIQ_Printer));
    // A caller's buffer with this flag is trusted; see borrow_strip.
    if (call.is("dwBits"))
        return who.input.chance(240) ? who.input.one_of(flags)
                                     : who.input.dword() & ~u32{VIQ_FLAG_LOCKED};
    if (call.is("dwElements"))
        return who.input.chance(128) ? 256 : any_number(who);
    if (call.is("dwValue") && call.last_number == VIQ_IMAGE_TYPE)
        return any_format(who);
    return any_number(who);
}

// ---- Pointers

// The most bytes that a function writes to the buffer of its image; 0: unknown.
inline std::size_t output_size(const call_record &call) {
    constexpr std::size_t most = std::size_t{4} << 20;
    const tVIQ_Image *image = find_image(call.first_handle);
    if (image == nullptr)
        return 16;
    std::size_t size = 0;
    if (call.in("VIQ_image_write_BMP_buffer"))
        size =
            std::size_t{image->height} * ((std::size_t{image->width} * 3 + 3) & ~std::size_t{3}) +
            1078;
    else if (call.in("VIQ_JPEG_buffer_write"))
        size = (image->jpeg != nullptr ? image->jpeg->data_length : 0) + std::size_t{1500};
    else if (call.in("VIQ_WVLT_buffer_write"))
        size = std::size_t{image->param_16} + 65536;
    return size <= most ? size : 0;
}

inline void *pointer_to_set(caller &who, call_record &call) {
    const tVIQ_Image *image = find_image(call.first_handle);
    // Records and objects of other images may be shared; the library keeps them while they are
    // used.
    const auto of_other_image = [&](u16 type) {
        return VIQ_image_get_ptr(who.images[who.input.byte() % slots], type);
    };
    switch (call.last_number) {
    case VIQ_PTR_CMAP:
        if (!who.colourmaps.empty() && who.input.chance(128)) {
            tVIQ_Colour *map = who.colourmaps.back();
            if (image != nullptr)
                who.colourmaps.pop_back();
            return map;
        }
        return who.kept.emplace_back(256 * sizeof(tVIQ_Colour)).data();
    case VIQ_PTR_IMAGE:
        if (who.input.chance(128))
            return nullptr;
        if (who.input.chance(64))
            return of_other_image(VIQ_PTR_IMAGE);
        who.objects.emplace_back().line_alignment = 2;
        return &who.objects.back();
    case VIQ_PTR_JPEG:
        if (who.input.chance(64))
            return of_other_image(VIQ_PTR_JPEG);
        return who.input.chance(128) ? nullptr : &who.records.emplace_back();
    case VIQ_PTR_JPEG_ID:
        return call.buffer(32);
    case VIQ_PTR_JPEG_DATA2:
        return image != nullptr && image->jpeg != nullptr && who.input.chance(128)
                   ? image->jpeg->data
                   : nullptr;
    default: // the size of other buffers would have to follow the parameters; see borrow_strip
        return nullptr;
    }
}

inline const char *any_text(caller &who, call_record &call) {
    std::string text(who.input.byte() % 40, ' ');
    for (char &letter : text)
        letter = static_cast<char>(who.input.chance(250) ? 32 + who.input.byte() % 95
                                                         : who.input.byte());
    if (call.in("VIQ_frame_find_layout") && who.input.chance(128))
        text = frame_layouts[who.input.byte() % std::size(frame_layouts)].name;
    else if (call.is("pszFileName") || call.is("pszName")) {
        constexpr const char *others[] = {"/dev/full", "/nonexistent/x", "/tmp", ""};
        text =
            who.input.chance(240) ? file_name(who.input.byte() % files) : who.input.one_of(others);
    }
    call.texts.push_back(text);
    return call.texts.back().c_str();
}

inline std::FILE *any_file(caller &who, call_record &call) {
    if (call.file == nullptr && who.input.chance(250)) {
        call.file = open_path(file_name(who.input.byte() % files).c_str(), "r+b");
        if (call.file == nullptr)
            call.file = std::tmpfile();
    }
    return call.file;
}

inline char **any_command_line(caller &who, call_record &call) {
    const std::size_t count = call.last_number;
    auto *line = reinterpret_cast<char **>(call.buffer((count + 1) * sizeof(char *)));
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t size =
            who.input.chance(250) ? who.input.byte() % 20 : 120 + who.input.byte() % 20;
        u8 *text = call.buffer(size + 1);
        std::memset(text, who.input.chance(128) ? '-' : 'a', size);
        line[i] = reinterpret_cast<char *>(text);
    }
    return line;
}

inline u32 quiet_handler(u32, const char *function, u32 code, const char *message) {
    demand(function != nullptr && message != nullptr && code != 0);
    return 1;
}

inline const tVIQ_Font *any_font(caller &who, call_record &call) {
    const tVIQ_Font *font = nullptr;
    if (who.input.chance(180)) {
        VIQ_draw_get_ptr(who.input.byte() % 3 + 1, &font);
        return font;
    }
    auto *own = reinterpret_cast<tVIQ_Font *>(call.buffer(sizeof(tVIQ_Font)));
    own->width = 1 + who.input.byte() % 32;
    own->height = 1 + who.input.byte() % 32;
    own->bytes_per_glyph = own->height * ((own->width + 7) / 8);
    own->glyphs = call.buffer(std::size_t{128} * own->bytes_per_glyph);
    return own;
}

// The document is written to a file, so that no printer of the machine is used.
inline const tVIQ_PrintOptions *any_print_options(caller &who, call_record &call) {
    constexpr const char *papers[] = {nullptr, "A4", "letter", "50x60.5", "0x1", "x", "1e9x2"};
    auto *options = reinterpret_cast<tVIQ_PrintOptions *>(call.buffer(sizeof(tVIQ_PrintOptions)));
    VIQ_display_print_defaults(options);
    const std::size_t file = who.input.byte() % files;
    call.texts.push_back(file_name(who.only_file < files ? who.only_file : file));
    options->file_name = call.texts.back().c_str();
    options->paper = who.input.one_of(papers);
    for (u32 *length :
         {&options->width, &options->height, &options->margin_left, &options->margin_bottom})
        if (who.input.chance(64))
            *length = who.input.chance(250) ? who.input.word() : who.input.dword();
    for (u16 *choice :
         {&options->orientation, &options->position, &options->grey, &options->more_pages})
        *choice = static_cast<u16>(who.input.byte() % 4 * (who.input.byte() % 2));
    return options;
}

template <class T> T *array_of(caller &who, call_record &call, std::size_t count) {
    u8 *memory = call.buffer(count * sizeof(T));
    if constexpr (std::is_integral_v<T>)
        for (std::size_t i = 0; i < count; ++i)
            reinterpret_cast<T *>(memory)[i] = static_cast<T>(
                who.input.chance(200) ? i32(who.input.byte() % 9) - 4 : i32(who.input.dword()));
    return reinterpret_cast<T *>(memory);
}

inline const i32 *any_kernel(caller &who) {
    if (who.input.chance(64) || who.command != 0)
        for (i32 *weight = who.kernel.get(); weight != who.kernel.get() + 9; ++weight)
            *weight =
                who.input.chance(250) ? i32(who.input.byte() % 9) - 4 : i32(who.input.dword());
    return who.kernel.get();
}

// Chooses the next argument. A parameter of a new type does not compile until it has a line here.
template <class T> T any_argument(caller &who, call_record &call) {
    using pointed = std::remove_cv_t<std::remove_pointer_t<T>>;
    if constexpr (std::is_same_v<T, u32>)
        return call.last_number = any_u32(who, call);
    else if constexpr (std::is_same_v<T, u16>)
        return static_cast<u16>(call.last_number = any_u16(who, call));
    else if constexpr (std::is_same_v<T, u8>)
        return static_cast<u8>(who.input.byte());
    else if constexpr (std::is_same_v<T, i16>)
        return static_cast<i16>(who.extreme && who.input.chance(16) ? who.input.word()
                                                                    : who.input.byte() % 80 - 20);
    else if constexpr (std::is_same_v<T, int>)
        return static_cast<int>(call.last_number = who.input.byte() % 24);
    else if constexpr (std::is_same_v<T, u64>)
        return call.is("qwBytes") || call.is("qwSize") ? call.buffer_size : any_number(who);
    else if constexpr (std::is_same_v<T, VIQ_ErrHandler>)
        return who.input.one_of(who.handlers);
    else if constexpr (std::is_same_v<T, std::FILE *>)
        return any_file(who, call);
    else if constexpr (std::is_same_v<T, char **>)
        return any_command_line(who, call);
    else if constexpr (std::is_same_v<T, const tVIQ_Font **>)
        return array_of<const tVIQ_Font *>(who, call, 1);
    else if constexpr (std::is_same_v<T, const tVIQ_PrintOptions *>)
        return any_print_options(who, call);
    else if (who.input.chance(4) && !call.in("VIQ_DebugFree"))
        return nullptr;
    else if constexpr (std::is_same_v<pointed, char>)
        return any_text(who, call);
    else if constexpr (std::is_same_v<T, const u8 *>) {
        u8 *data = call.buffer(call.is("p") ? 4 : who.input.word() % 4096);
        who.input.copy(data, call.buffer_size);
        return data;
    } else if constexpr (std::is_same_v<T, u8 *>) {
        const std::size_t size = call.is("p") ? 4 : output_size(call);
        call.possible = call.possible && size > 0;
        return call.buffer(size);
    } else if constexpr (std::is_same_v<T, u8 **>) {
        return &call.allocated;
    } else if constexpr (std::is_same_v<pointed, void>) {
        if (call.in("VIQ_DebugFree")) {
            void *memory = who.memory.empty() ? nullptr : who.memory.back();
            if (memory != nullptr)
                who.memory.pop_back();
            return memory;
        }
        if (call.in("VIQ_image_set_ptr"))
            return pointer_to_set(who, call);
        return call.buffer(who.input.word());
    } else if constexpr (std::is_same_v<pointed, tVIQ_Histogram>)
        return who.histograms[who.input.byte() % 2].get();
    else if constexpr (std::is_same_v<pointed, tVIQ_Average>)
        return who.average.get();
    else if constexpr (std::is_same_v<pointed, tVIQ_Font>)
        return any_font(who, call);
    else if constexpr (std::is_same_v<pointed, i32>)
        return any_kernel(who);
    else if constexpr (std::is_same_v<pointed, u16>)
        return array_of<u16>(who, call, call.is("pGains") ? 3 : 1);
    else if constexpr (std::is_same_v<pointed, u32> || std::is_same_v<pointed, u64> ||
                       std::is_same_v<pointed, tVIQ_Command> ||
                       std::is_same_v<pointed, tVIQ_FrameLayout> ||
                       std::is_same_v<pointed, tVIQ_DisplayEvent> ||
                       std::is_same_v<pointed, tVIQ_DisplayPixel> ||
                       std::is_same_v<pointed, tVIQ_PrintOptions> ||
                       std::is_same_v<pointed, tVIQ_Printer>)
        return array_of<pointed>(who, call, 1);
    else
        static_assert(sizeof(T) == 0, "what does a caller pass here?");
}

// The arguments of a call, in the order of the parameters.
template <class... Parameters, class... Names>
std::tuple<Parameters...> any_arguments(caller &who, call_record &call, const char *function,
                                        Names... names) {
    static_assert(sizeof...(Parameters) == sizeof...(Names));
    call.function = function;
    std::size_t count = 0;
    ((call.names[count++] = names), ...);
    [[maybe_unused]] const auto next = [&](auto type) {
        auto value = any_argument<typename decltype(type)::type>(who, call);
        ++call.at;
        return value;
    };
    return {next(std::type_identity<Parameters>{})...};
}

// A context for what an input leaves, which is destroyed after it.
inline void enter_context(caller &who) {
    who.contexts.push_back(VIQ_context_create());
    demand(VIQ_context_use(who.contexts.back()) == 0);
}

inline void prepare(caller &who) {
    static const bool has_windows = (set_window_system(&memory_windows), true);
    (void)has_windows;
    who.handlers[1] = quiet_handler;
    VIQ_ErrHandlerInstall(quiet_handler);
    for (auto &histogram : who.histograms)
        histogram = std::make_unique<tVIQ_Histogram>();
    who.average = std::make_unique<tVIQ_Average>();
    who.kernel = std::make_unique<i32[]>(9);
}

} // namespace viq
