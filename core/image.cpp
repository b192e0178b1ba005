// Library start-up, the handle table, creation and destruction of images.
#include "core/image.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <unordered_map>
#include <utility>

#include "core/cmap_record.h"
#include "core/report.h"
#include "core/scratch.h"
#include "core/subsystem_hooks.h"

using namespace viq;

namespace {

constexpr u32 colourmap_bytes = colourmap_size * sizeof(tVIQ_Colour);

// A colourmap that the library has allocated.
struct library_colourmap {
    bool set_by_caller = false; // with VIQ_image_set_ptr, so several images may use it
};

struct image_table {
    bool errors_ready = false; // the error record has been set up
    bool started = false;      // so have the tables of the subsystems
    tVIQ_Image *slots[handle_slots] = {};
    u32 first_candidate = 1; // no slot below it is free
    u32 slots_used = 1;      // no slot from here on has ever held an image
    std::unordered_map<const tVIQ_Image *, image_companion> companions;
    std::unordered_map<const tVIQ_Colour *, library_colourmap> colourmaps;
};

image_table table;

u32 start_up();
u32 free_slot();
void set_defaults(tVIQ_Image &image);
void destroy_slot(u32 handle);
void destroy_orphans();
void release_colourmap(tVIQ_Colour *map);
bool held_elsewhere(const tVIQ_Image &image);
void destroy_wavelet(image_companion &own);
bool enter_image(u32 handle, tVIQ_Image *image);
bool in_a_slot(const tVIQ_Image *image);

} // namespace

u32 VIQ_Init(void) {
    table.errors_ready = false;
    table.started = false;
    return start_up();
}

u32 VIQ_image_create(void) {
    if (!table.started) {
        const u32 code = start_up();
        if (is_error(code))
            return code;
    }
    const u32 handle = free_slot();
    if (handle == 0)
        return report("VIQ_image_create", VIQ_ERR_NO_HANDLES, "Run out of image handles");

    auto *image = static_cast<tVIQ_Image *>(std::calloc(1, sizeof(tVIQ_Image)));
    if (image == nullptr || !enter_image(handle, image)) {
        std::free(image);
        return report("VIQ_image_create", VIQ_ERR_MEMORY | 1, "");
    }
    companion(*image).made_here = true;
    set_defaults(*image);

    image->colourmap = VIQ_image_create_cmap();
    if (image->colourmap == nullptr) {
        destroy_slot(handle);
        return report("VIQ_image_create", VIQ_ERR_MEMORY, "");
    }
    companion(*image).colourmap = image->colourmap;
    return handle;
}

tVIQ_Colour *VIQ_image_create_cmap(void) {
    auto *map = static_cast<tVIQ_Colour *>(std::malloc(colourmap_bytes));
    if (map == nullptr)
        return nullptr;
    try {
        table.colourmaps.emplace(map, library_colourmap());
    } catch (...) {
        std::free(map);
        return nullptr;
    }
    std::memset(map, 0xAA, colourmap_bytes);
    return map;
}

u32 VIQ_image_destroy(u32 hImage) {
    constexpr const char *name = "VIQ_image_destroy";
    if ((hImage == VIQ_ALL_IMAGES || hImage == VIQ_ANY_IMAGE) && called_by_handler())
        return report(name, VIQ_ERR_STATE, "Images in use by the call that reports");
    if (hImage == VIQ_ALL_IMAGES) {
        for (u32 handle = 1; handle < table.slots_used; ++handle)
            destroy_slot(handle);
        destroy_orphans();
        hooks.destroy_chroma_keys(VIQ_ALL_IMAGES);
        hooks.destroy_lookup_tables(VIQ_ALL_IMAGES);
        free_scratch();
        return success;
    }
    if (hImage == VIQ_ANY_IMAGE) {
        for (u32 handle = 1; handle < table.slots_used; ++handle)
            if (table.slots[handle] != nullptr)
                return VIQ_ERR_INTERNAL;
        free_scratch();
        return success;
    }
    const tVIQ_Image *image = find_image(hImage);
    if (image != nullptr && is_frozen(*image))
        return report_unchangeable(name, hImage);
    destroy_slot(hImage);
    return success;
}

namespace viq {

tVIQ_Image *find_image(u32 handle) {
    return handle < handle_slots ? table.slots[handle] : nullptr;
}

image_companion &companion(const tVIQ_Image &image) {
    return table.companions.at(&image);
}

void remove_jpeg_record(const Tjpeg &record) {
    for (const auto &[image, own] : table.companions)
        if (image->jpeg == &record)
            const_cast<tVIQ_Image *>(image)->jpeg = nullptr;
}

u32 report_bad_handle(const char *function) {
    return report(function, VIQ_ERR_HANDLE, "");
}

bool is_frozen(const tVIQ_Image &image) {
    return called_by_handler() && companion(image).entered_in_report != running_report();
}

tVIQ_Image *find_image_to_change(u32 handle) {
    tVIQ_Image *image = find_image(handle);
    return image != nullptr && is_frozen(*image) ? nullptr : image;
}

u32 report_unchangeable(const char *function, u32 handle) {
    if (find_image(handle) == nullptr)
        return report_bad_handle(function);
    return report(function, VIQ_ERR_STATE, "Image in use by the call that reports");
}

bool replace_image(u32 handle, tVIQ_Image *image) {
    tVIQ_Image *old = find_image(handle);
    if (!enter_image(handle, image))
        return false;
    if (image != nullptr)
        companion(*image).set_by_caller = true;
    // The caller may free its object once no handle refers to it. An object of the library may be
    // set again and is kept.
    if (old != nullptr && !companion(*old).made_here && !in_a_slot(old)) {
        if (owns_data(*old))
            free_strip(*old);
        free_buffer(companion(*old));
        table.companions.erase(old);
    }
    return true;
}

void set_colourmap(tVIQ_Image &image, tVIQ_Colour *map) {
    // Both the present and the new map may be in use by another image from now on.
    for (const tVIQ_Colour *used : {image.colourmap, map}) {
        const auto ours = table.colourmaps.find(used);
        if (ours != table.colourmaps.end())
            ours->second.set_by_caller = true;
    }
    image.colourmap = map;
}

u32 handles_in_use() {
    return table.slots_used;
}

bool owns_data(const tVIQ_Image &image) {
    return image.data != nullptr && image.data == companion(image).buffer;
}

bool holds_wavelet_record(const tVIQ_Image &image) {
    return image.data != nullptr && image.data == companion(image).wavelet;
}

bool uses_buffer_of(const tVIQ_Image &image, const tVIQ_Image &other) {
    return image.data != nullptr && image.data == companion(other).buffer;
}

bool has_lines(const tVIQ_Image &image, u64 lines) {
    const u64 size = lines * image.bytes_per_line;
    if (image.data == nullptr || holds_wavelet_record(image) || size > PTRDIFF_MAX)
        return false;
    return !owns_data(image) || size <= companion(image).buffer_size;
}

void note_lock(buffer_lock &lock, const tVIQ_Image &image, const u8 *callers_buffer) {
    if ((image.flags & VIQ_FLAG_LOCKED) != 0 && callers_buffer != nullptr &&
        callers_buffer != lock.not_locked)
        lock.locked = callers_buffer;
}

void note_lock(tVIQ_Image &image) {
    const bool callers = !owns_data(image) && !holds_wavelet_record(image);
    note_lock(companion(image).lock, image, callers ? image.data : nullptr);
    if (image.jpeg != nullptr)
        hooks.jpeg_note_lock(image);
}

void lock_by_caller(tVIQ_Image &image) {
    companion(image).lock.not_locked = nullptr;
    if (image.jpeg != nullptr)
        hooks.jpeg_lock_by_caller(image);
    note_lock(image);
}

void exempt_from_lock(tVIQ_Image &image) {
    buffer_lock &lock = companion(image).lock;
    if (image.data != lock.locked)
        lock.not_locked = image.data;
    if (image.jpeg != nullptr)
        hooks.jpeg_exempt_from_lock(image);
}

bool holds_locked_buffer(tVIQ_Image &image) {
    note_lock(image);
    return (image.flags & VIQ_FLAG_LOCKED) != 0 && image.data != nullptr &&
           image.data == companion(image).lock.locked;
}

void free_buffer(image_companion &own) {
    std::free(own.buffer_allocation);
    own.buffer_allocation = nullptr;
    own.buffer = nullptr;
    own.buffer_size = 0;
}

void free_strip(tVIQ_Image &image) {
    image_companion &own = companion(image);
    if (owns_data(image)) {
        free_buffer(own);
    } else if (holds_wavelet_record(image)) {
        destroy_wavelet(own);
    } else if (image.data != nullptr && image.data != own.lock.locked && !held_elsewhere(image)) {
        std::free(image.data);
    }
    image.data = nullptr;
    own.lock = {};
}

void hand_over_data(tVIQ_Image &in, tVIQ_Image &out) {
    image_companion &from = companion(in);
    image_companion &to = companion(out);
    out.data = in.data;
    out.data_companion = in.data_companion;
    to.lock = from.lock;
    if (owns_data(in)) {
        free_buffer(to);
        to.buffer_allocation = std::exchange(from.buffer_allocation, nullptr);
        to.buffer = std::exchange(from.buffer, nullptr);
        to.buffer_size = std::exchange(from.buffer_size, 0);
        to.buffer_format = from.buffer_format;
        to.buffer_line = from.buffer_line;
    }
    if (holds_wavelet_record(in)) {
        destroy_wavelet(to);
        std::swap(to.wavelet, from.wavelet);
    }
    in.data = nullptr;
    in.data_companion = 0;
    from.lock = {};
}

} // namespace viq

namespace {

bool enter_image(u32 handle, tVIQ_Image *image) {
    if (image != nullptr) {
        try {
            const auto [entry, entered] = table.companions.try_emplace(image);
            if (entered)
                entry->second.entered_in_report = running_report();
        } catch (...) {
            return false;
        }
        note_lock(*image);
    }
    table.slots[handle] = image;
    table.slots_used = std::max(table.slots_used, handle + 1);
    if (image == nullptr && handle < table.first_candidate)
        table.first_candidate = handle;
    return true;
}

bool in_a_slot(const tVIQ_Image *image) {
    const auto end = std::begin(table.slots) + table.slots_used;
    return std::find(std::begin(table.slots), end, image) != end;
}

// A failure leaves the tables for the next call to make; the handler that the caller has installed
// in the meantime stays.
u32 start_up() {
    u32 code = success;
    if (!table.errors_ready) {
        code = reset_error_record();
        table.errors_ready = !is_error(code);
    }
    if (is_error(code))
        return code;
    table.started = true; // making the tables takes an image
    code = hooks.jpeg_start_up();
    table.started = !is_error(code);
    return code;
}

u32 free_slot() {
    for (u32 handle = table.first_candidate; handle <= last_handle; ++handle)
        if (table.slots[handle] == nullptr) {
            table.first_candidate = handle;
            return handle;
        }
    table.first_candidate = last_handle + 1;
    return 0;
}

void set_defaults(tVIQ_Image &image) {
    image.height = VIQ_HEIGHT_UNKNOWN;
    image.line_alignment = 2;
    image.param_19 = 1;
    image.lines_per_strip = 8;
}

void destroy_object(tVIQ_Image *image) {
    note_lock(*image);
    image_companion &own = companion(*image);
    free_strip(*image);
    destroy_wavelet(own);
    destroy_cmap_info(*image);
    free_buffer(own);
    tVIQ_Colour *maps[] = {image->colourmap, own.colourmap};
    const bool made_here = own.made_here;
    table.companions.erase(image);
    for (tVIQ_Colour *map : maps)
        release_colourmap(map);
    if (made_here)
        std::free(image);
}

void destroy_slot(u32 handle) {
    tVIQ_Image *image = find_image(handle);
    if (image == nullptr)
        return;
    note_lock(*image);
    image->flags &= ~static_cast<u32>(VIQ_FLAG_LOCKED);
    VIQ_image_free_data(handle);
    hooks.jpeg_destroy_record(handle);
    enter_image(handle, nullptr);
    if (companion(*image).set_by_caller)
        for (u32 other = 1; other < table.slots_used; ++other)
            if (table.slots[other] == image)
                enter_image(other, nullptr);
    destroy_object(image);
}

// Destroys the objects that no handle refers to any more because a caller has replaced them. All
// slots are free: each object gets a handle once more and is destroyed with what it refers to.
void destroy_orphans() {
    while (!table.companions.empty()) {
        enter_image(1, const_cast<tVIQ_Image *>(table.companions.begin()->first));
        destroy_slot(1);
    }
}

// Frees a colourmap of the library once no image uses it. Maps that a caller has set are kept.
void release_colourmap(tVIQ_Colour *map) {
    const auto ours = table.colourmaps.find(map);
    if (ours == table.colourmaps.end())
        return;
    if (ours->second.set_by_caller)
        for (const auto &[image, own] : table.companions)
            if (image->colourmap == map || own.colourmap == map)
                return;
    table.colourmaps.erase(ours);
    std::free(map);
}

// True if another image uses the same buffer, which must then not be freed.
bool held_elsewhere(const tVIQ_Image &image) {
    for (const auto &[other, own] : table.companions)
        if (other != &image &&
            (other->data == image.data || own.buffer == image.data || own.wavelet == image.data))
            return true;
    return false;
}

// The record is freed with its image even if a caller has replaced the data pointer.
void destroy_wavelet(image_companion &own) {
    if (own.wavelet != nullptr)
        hooks.wavelet_destroy_record(own.wavelet);
    own.wavelet = nullptr;
}

} // namespace
