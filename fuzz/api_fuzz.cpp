// Random sequences of calls of all public functions. The table of functions is made from the
// headers; an argument is chosen by the type and the name of its parameter. What the manual
// requires of a caller holds: buffers have their size, objects live as long as the library may use
// them, and allocated memory is freed or passed on once. Everything else is arbitrary.
#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>

#include "fuzz/call_arguments.h"

// A wrong size must not exhaust the machine, and the library must survive failed allocations.
extern "C" const char *__asan_default_options();
extern "C" [[gnu::visibility("default")]] const char *__asan_default_options() {
    return "max_allocation_size_mb=64:allocator_may_return_null=1";
}

using namespace viq;

namespace {

caller *current; // of the running input, for the error handler

u32 calling_handler(u32, const char *function, u32 code, const char *message);

// ---- Calls

// These process all lines of a picture, whatever its lines per strip are.
bool processes_whole_picture(std::string_view function) {
    return function.starts_with("VIQ_BAY_") || function == "VIQ_SPL_field_to_frame" ||
           function == "VIQ_SPL_interlace_frame" || function == "VIQ_IP_rotate_image";
}

// For one call the input is a caller's buffer of exactly the lines that the call reads, locked or
// not. An unlocked buffer that has been moved would be lost where the other image gets a new strip.
struct borrowed_strip {
    caller &who;
    u32 handle = 0; // 0: nothing is borrowed
    u8 *data = nullptr;
    bool locked = false;

    borrowed_strip(caller &caller_state, const call_record &call, bool wanted) : who(caller_state) {
        tVIQ_Image *image = find_image(call.first_handle);
        if (!wanted || who.in_handler || call.output == call.first_handle || image == nullptr ||
            image->jpeg != nullptr || holds_wavelet_record(*image) ||
            (image->flags & VIQ_FLAG_LOCKED) != 0 || VIQ_image_check(call.first_handle) != 0)
            return;
        const std::size_t line =
            std::max<std::size_t>(image->bytes_per_line, (std::size_t{image->width} + 7) / 8);
        const std::size_t lines = processes_whole_picture(call.function)
                                      ? std::max(image->lines_per_strip, image->height)
                                      : image->lines_per_strip;
        if (line == 0 || lines > (1u << 20) / line)
            return;
        const std::size_t size = line * lines;
        VIQ_image_free_data(call.first_handle);
        data = static_cast<u8 *>(std::malloc(std::max<std::size_t>(size, 1)));
        fill_pixels(data, size, who.input.byte(), 0);
        handle = call.first_handle;
        locked = who.input.chance(192) || call.in("VIQ_image_move");
        demand(VIQ_image_set_ptr(handle, VIQ_PTR_DATA, data) == 0);
        if (locked)
            VIQ_image_set_flags(handle, VIQ_FLAG_LOCKED, 1);
    }
    borrowed_strip(const borrowed_strip &) = delete;
    borrowed_strip &operator=(const borrowed_strip &) = delete;
    ~borrowed_strip() {
        const tVIQ_Image *image = handle != 0 ? find_image(handle) : nullptr;
        if (locked) {
            demand(image == nullptr || image->data == data);
            if (image != nullptr) {
                VIQ_image_set_ptr(handle, VIQ_PTR_DATA, nullptr);
                VIQ_image_set_flags(handle, VIQ_FLAG_LOCKED, 0);
            }
            std::free(data);
        } else if (image != nullptr && image->data == data)
            VIQ_image_free_data(handle);
    }
};

// Every byte of the strip that an operation has delivered can be read.
void read_strip(u32 handle) {
    const tVIQ_Image *image = find_image(handle);
    if (image == nullptr || image->data == nullptr || image->jpeg != nullptr ||
        holds_wavelet_record(*image))
        return;
    const u64 size = u64{image->bytes_per_line} * image->lines_per_strip;
    u32 sum = 0;
    for (u64 i = 0; i < size; ++i)
        sum += image->data[i];
    asm volatile("" : : "r"(sum)); // the reads are not optimised away
}

// The output has its buffer of before, for which the new parameters need not hold, or that of the
// input, for which a caller may have set any stride.
bool copies_parameters_alone(const call_record &call) {
    return std::string_view(call.function).starts_with("VIQ_image_copy_parameters") ||
           call.in("VIQ_cmap_copy") || call.in("VIQ_image_move");
}

template <class Result> void take_result(caller &who, const call_record &call, Result result) {
    if constexpr (std::is_same_v<Result, tVIQ_Colour *>) {
        if (result != nullptr)
            who.colourmaps.push_back(result);
    } else if constexpr (std::is_same_v<Result, tVIQ_CmapInfo *> ||
                         std::is_same_v<Result, void *>) {
        if (result != nullptr && (call.in("VIQ_DebugMalloc") || call.in("VIQ_malloc_N_lines") ||
                                  call.in("VIQ_cmap_create_info")))
            who.memory.push_back(result);
    } else if constexpr (std::is_same_v<Result, u32>) {
        if (is_error(result))
            return;
        if (call.in("VIQ_image_create") || call.in("VIQ_JPEG_image_create") ||
            call.in("VIQ_WVLT_image_create")) {
            u32 &slot = who.images[who.input.byte() % slots];
            if (find_image(slot) != nullptr)
                VIQ_image_destroy(slot);
            slot = result;
        } else if (call.in("VIQ_context_create"))
            who.contexts.push_back(result);
        else if (!call.finish && call.output != 0 && call.output != call.first_handle &&
                 !copies_parameters_alone(call))
            read_strip(call.output);
    }
}

// Discards the standard error stream, to which the default handler prints.
struct silence {
    int saved = -1;
    explicit silence(bool wanted) {
        if (!wanted)
            return;
        saved = dup(2);
        const int nowhere = open("/dev/null", O_WRONLY);
        dup2(nowhere, 2);
        close(nowhere);
    }
    silence(const silence &) = delete;
    silence &operator=(const silence &) = delete;
    ~silence() {
        if (saved < 0)
            return;
        dup2(saved, 2);
        close(saved);
    }
};

// Tables of 65536 entries and more, which conversions by tables make where they are missing.
bool makes_large_table(std::string_view function) {
    return function == "VIQ_image_conv_LUT_generate" || function == "VIQ_LUT_generate" ||
           function.ends_with("_LUT");
}

template <class Result, class... Parameters, class... Names>
void make_call(caller &who, Result (*function)(Parameters...), const char *name, Names... names) {
    call_record call;
    const auto arguments = any_arguments<Parameters...>(who, call, name, names...);
    if (!call.possible || (call.in("VIQ_context_create") && who.contexts.size() > 3) ||
        (makes_large_table(name) && !who.input.chance(16)))
        return;
    const bool borrow = call.names[0] != nullptr && call.names[0] == std::string_view("hInImage") &&
                        who.input.chance(96);
    const borrowed_strip strip(who, call, borrow);
    ++calls_made;
    const silence quiet(call.in("VIQ_ErrHandlerDefault"));
    if constexpr (std::is_void_v<Result>)
        std::apply(function, arguments);
    else
        take_result(who, call, std::apply(function, arguments));
    if (call.in("VIQ_Init"))
        VIQ_ErrHandlerInstall(quiet_handler);
    else if (call.in("VIQ_JPEG_set_file_ptr")) { // the call record closes the file
        VIQ_JPEG_file_read(call.first_handle);
        VIQ_JPEG_set_file_ptr(call.first_handle, nullptr);
    }
}

using maker = void (*)(caller &);

#define VIQ_PUBLIC_CALL(name, ...)                                                                 \
    [](caller &who) { make_call(who, name, #name __VA_OPT__(, ) __VA_ARGS__); },

constexpr maker makers[] = {
#include "public_calls.inc"
};
#undef VIQ_PUBLIC_CALL

constexpr u32 maker_count = std::size(makers);

void call_something(caller &who) {
    makers[who.input.word() % maker_count](who);
    if (VIQ_context_current() == 0) { // the input has destroyed the context that it was in
        who.contexts.push_back(VIQ_context_create());
        demand(VIQ_context_use(who.contexts.back()) == 0);
    }
}

u32 calling_handler(u32, const char *, u32, const char *) {
    caller &who = *current;
    if (who.in_handler)
        return 0;
    who.in_handler = true;
    makers[who.input.word() % maker_count](who);
    who.in_handler = false;
    return 1;
}

// Gives an image a format, a size and pixels, so that operations have something to do.
void set_picture(caller &who) {
    const u32 image = who.images[who.input.byte() % slots];
    VIQ_image_set_parameter(image, VIQ_IMAGE_TYPE, any_format(who));
    VIQ_image_set_parameter(image, VIQ_WIDTH, who.input.byte() % 70);
    const u32 height = who.input.byte() % 40, lines = who.input.byte();
    VIQ_image_set_parameter(image, VIQ_HEIGHT, height);
    VIQ_image_set_parameter(image, VIQ_LINES_PER_STRIP, lines < 128 ? height : lines % 40);
    VIQ_image_set_parameter(image, VIQ_LINE_ALIGNMENT, lines % 2 ? 2 : 1 + who.input.byte() % 8);
    const u32 file = who.input.byte() % files;
    VIQ_image_set_infilename(image, file_name(file).c_str());
    VIQ_image_set_outfilename(image, file_name((file + lines) % files).c_str());
    if (VIQ_image_malloc_a_strip(image) != 0)
        return;
    const tVIQ_Image *object = find_image(image);
    if (object->data == nullptr || holds_wavelet_record(*object))
        return;
    fill_pixels(object->data, std::size_t{object->bytes_per_line} * object->lines_per_strip,
                who.input.byte(), who.input.byte());
}

void write_file(caller &who) {
    const std::size_t file = who.input.byte() % files;
    std::vector<u8> data(who.input.word() % 8192);
    data.resize(who.input.copy(data.data(), data.size()));
    store_file(file, data.data(), data.size());
}

// Of the thread's context, from which a new one takes them.
void remove_limits() {
    for (u32 limit = VIQ_LIMIT_PIXELS; limit <= VIQ_LIMIT_RATIO; ++limit)
        VIQ_set_limit(limit, 0);
}

void begin(caller &who) {
    remove_limits();
    enter_context(who);
    prepare(who);
    who.handlers[2] = calling_handler;
    const u32 kind = who.input.byte();
    who.extreme = kind % 4 == 0;
    for (std::size_t i = 0; i < slots; ++i)
        who.images[i] = i < 4 || kind % 16 >= 8
                            ? VIQ_image_create() // the first JPEG image takes long
                        : (kind + i) % 3 ? VIQ_JPEG_image_create()
                                         : VIQ_WVLT_image_create(static_cast<u16>(kind / 16 % 2));
}

void end(caller &who) {
    VIQ_ErrHandlerInstall(nullptr);
    remove_limits();
    for (tVIQ_Colour *map : who.colourmaps) { // an image that has a map of the library frees it
        const scoped_image image;
        demand(VIQ_image_set_ptr(image.handle, VIQ_PTR_CMAP, map) == 0);
    }
    demand(VIQ_image_destroy(VIQ_ALL_IMAGES) == 0);
    demand(VIQ_image_destroy(VIQ_ANY_IMAGE) == 0);
    for (void *memory : who.memory)
        VIQ_DebugFree(memory);
    demand(VIQ_context_use(0) == 0);
    for (const u32 context : who.contexts)
        VIQ_context_destroy(context);
    demand(VIQ_image_destroy(VIQ_ALL_IMAGES) == 0);
    for (std::size_t i = 0; i < files; ++i)
        remove_file(i);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, std::size_t size) {
    start_library();
    caller who;
    who.input = {data, size};
    current = &who;
    begin(who);
    constexpr u64 small_allocation = 1 << 22;
    if (!is_one_of(data, size, 64)) // large pictures take long
        VIQ_set_limit(VIQ_LIMIT_ALLOCATION, small_allocation);
    for (u32 step = 0; who.input.left > 0 && step < 300; ++step) {
        const u32 kind = who.input.byte() % 16;
        if (kind < 3)
            set_picture(who);
        else if (kind == 3)
            write_file(who);
        else
            call_something(who);
    }
    end(who);
    return 0;
}
