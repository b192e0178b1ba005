// Library start-up, the handle table, creation and destruction of images.
#include "core/image.h"

#include <cstdlib>
#include <cstring>
#include <utility>

#include "core/aligned_memory.h"
#include "core/cmap_record.h"
#include "core/context.h"
#include "core/geometry.h"
#include "core/report.h"
#include "core/scratch.h"
#include "core/shared_lock.h"
#include "core/start_up.h"
#include "core/subsystem_hooks.h"

using namespace viq;

namespace {

constexpr u32 colourmap_bytes = colourmap_size * sizeof(tVIQ_Colour);

// Shared by all contexts, besides the slots.
struct handle_table {
    constant_mutex lock;
    u32 first_candidate = 1;         // no slot below it is free
    std::atomic<u32> slots_used = 1; // no slot from here on has ever held an image
};

// A colourmap that the library has allocated.
struct library_colourmap {
    std::atomic<bool> set_by_caller = false; // with VIQ_image_set_ptr: several images may use it
};

struct start_state {
    bool errors_ready = false; // the error record has been set up
    bool started = false;      // so have the tables of the subsystems
};

constinit handle_table handles;
constinit address_map<library_colourmap> colourmaps;
constinit constant_mutex unused_colourmaps; // held while maps are looked for that no image uses
VIQ_PER_CONTEXT(start_state, start);

image_companion *enter_companion(tVIQ_Image &image);
void store_seen(const tVIQ_Image &image, image_companion &own);
void end_sequences_of(const tVIQ_Image &image, const image_companion &own);
void free_known_strip(tVIQ_Image &image, image_companion &own);
u32 free_slot();
void set_slot(u32 handle, tVIQ_Image *image);
bool in_a_slot(const tVIQ_Image *image);
tVIQ_Image *take_from_slots(u32 handle, bool &busy);
void set_defaults(tVIQ_Image &image);
void destroy_object(tVIQ_Image *image);
u32 destroy_all();
void release_colourmap(tVIQ_Colour *map);
void release_unused_colourmaps();
bool held_elsewhere(const tVIQ_Image &image);
void destroy_wavelet(image_companion &own);

// Calls visit(image, companion) for every object, also for those that no handle refers to, until
// it returns false. Objects of other threads must not be read: only what has been seen of them.
template <class Visit> void visit_objects(Visit visit) {
    const bool alone = !has_contexts();
    visit_values(image_companions, [&](const void *address, image_companion &own) {
        auto &image = *static_cast<tVIQ_Image *>(const_cast<void *>(address));
        if (alone)
            store_seen(image, own);
        return visit(image, own);
    });
}

} // namespace

u32 VIQ_Init(void) {
    *start = {};
    return start_up();
}

u32 VIQ_image_create(void) {
    constexpr const char *name = "VIQ_image_create";
    if (const u32 code = ensure_started(); is_error(code))
        return code;
    auto *image = static_cast<tVIQ_Image *>(allocate_zeros(sizeof(tVIQ_Image)));
    image_companion *own = image != nullptr ? enter_companion(*image) : nullptr;
    if (own == nullptr) {
        release(image, sizeof *image);
        return report(name, VIQ_ERR_MEMORY | 1, "");
    }
    own->made_here = true;
    set_defaults(*image);
    own->colourmap = image->colourmap = VIQ_image_create_cmap();
    const bool no_memory = image->colourmap == nullptr;
    u32 handle = 0;
    if (!no_memory) {
        const shared_lock guard(handles.lock);
        handle = free_slot();
        if (handle != 0)
            set_slot(handle, image);
    }
    if (handle != 0)
        return handle;
    destroy_object(image);
    return no_memory ? report(name, VIQ_ERR_MEMORY, "")
                     : report(name, VIQ_ERR_NO_HANDLES, "Run out of image handles");
}

tVIQ_Colour *VIQ_image_create_cmap(void) {
    auto *map = static_cast<tVIQ_Colour *>(allocate(colourmap_bytes));
    if (map == nullptr)
        return nullptr;
    std::memset(map, 0xAA, colourmap_bytes);
    if (enter_value(colourmaps, map) == nullptr) {
        release(map, colourmap_bytes);
        return nullptr;
    }
    return map;
}

u32 VIQ_image_destroy(u32 hImage) {
    constexpr const char *name = "VIQ_image_destroy";
    if ((hImage == VIQ_ALL_IMAGES || hImage == VIQ_ANY_IMAGE) && called_by_handler())
        return report(name, VIQ_ERR_STATE, "Images in use by the call that reports");
    if (hImage == VIQ_ALL_IMAGES)
        return destroy_all();
    if (hImage == VIQ_ANY_IMAGE) {
        for (u32 handle = 1; handle < handles_in_use(); ++handle)
            if (find_image(handle) != nullptr)
                return VIQ_ERR_INTERNAL;
        free_scratch();
        return success;
    }
    const tVIQ_Image *image = find_image(hImage);
    if (image != nullptr && is_frozen(*image))
        return report_unchangeable(name, hImage);
    bool busy = false;
    if (tVIQ_Image *taken = take_from_slots(hImage, busy))
        destroy_object(taken);
    return busy ? report_used_elsewhere(name) : success;
}

namespace viq {

constinit std::atomic<tVIQ_Image *> image_slots[handle_slots] = {};
constinit address_map<image_companion> image_companions;

void update_seen(const tVIQ_Image &image) {
    store_seen(image, companion(image));
}

// Images of other contexts are left alone: a record is used by one thread.
void remove_jpeg_record(tVIQ_Image &image) {
    const Tjpeg *record = image.jpeg;
    const bool shared = companion(image).exposed;
    image.jpeg = nullptr;
    update_seen(image);
    if (shared)
        visit_objects([record](tVIQ_Image &other, image_companion &own) {
            if (own.seen.jpeg == record && (!has_contexts() || own.maker == context_mark()))
                other.jpeg = nullptr;
            return true;
        });
}

bool some_image_has(const Tjpeg &record, bool (*condition)(const image_companion &own)) {
    bool found = false;
    visit_objects([&](const tVIQ_Image &, const image_companion &own) {
        found = own.seen.jpeg == &record && condition(own);
        return !found;
    });
    return found;
}

void image_use::take(const tVIQ_Image *one, const tVIQ_Image *other) {
    const u32 mine = context_mark();
    const tVIQ_Image *used[] = {one, other != one ? other : nullptr};
    for (unsigned n = 0; n < 2 && !busy; ++n) {
        if (used[n] == nullptr)
            continue;
        std::atomic<u32> &user = companion(*used[n]).user;
        u32 before = 0;
        if (user.compare_exchange_strong(before, mine, std::memory_order_acquire))
            marks[n] = &user;
        else
            busy = before != mine;
    }
}

u32 report_used_elsewhere(const char *function) {
    return report(function, VIQ_ERR_STATE, "Image in use by another thread");
}

u32 report_bad_handle(const char *function) {
    return report(function, VIQ_ERR_HANDLE, "");
}

u32 report_unchangeable(const char *function, u32 handle) {
    if (find_image(handle) == nullptr)
        return report_bad_handle(function);
    return report(function, VIQ_ERR_STATE, "Image in use by the call that reports");
}

bool replace_image(u32 handle, tVIQ_Image *image) {
    if (image != nullptr) {
        image_companion *own = enter_companion(*image);
        if (own == nullptr)
            return false;
        own->set_by_caller = own->exposed = true;
        note_borrowed(*image);
        set_colourmap(*image, image->colourmap); // that of another object may have been copied
    }
    tVIQ_Image *old = nullptr;
    bool still_set = false;
    {
        const shared_lock guard(handles.lock);
        old = find_image(handle);
        set_slot(handle, image);
        still_set = in_a_slot(old);
        if (old != nullptr)
            companion(*old).orphaned = !still_set;
        if (image != nullptr)
            companion(*image).orphaned = false;
    }
    // The caller may free its object once no handle refers to it. An object of the library may be
    // set again and is kept.
    if (old != nullptr && !companion(*old).made_here && !still_set) {
        image_companion &own = companion(*old);
        end_sequences_of(*old, own);
        if (owns_data(*old, own) || holds_wavelet_record(*old, own))
            free_strip(*old);
        free_buffer(own);
        destroy_wavelet(own);
        if (old->cmap_info == own.cmap_info)
            destroy_cmap_info(*old);
        remove_value(image_companions, old);
    }
    return true;
}

void set_colourmap(tVIQ_Image &image, tVIQ_Colour *map) {
    const shared_lock guard(unused_colourmaps); // the map is not freed before it is seen in use
    // Both the present and the new map may be in use by another image from now on.
    for (const tVIQ_Colour *used : {image.colourmap, map})
        if (library_colourmap *ours = find_value(colourmaps, used))
            ours->set_by_caller = true;
    image.colourmap = map;
    update_seen(image);
}

u32 handles_in_use() {
    return handles.slots_used.load(std::memory_order_acquire);
}

bool has_pixels(const tVIQ_Image &image, u64 lines) {
    if (!has_lines(image, lines))
        return false;
    return image.pixel_format != VIQ_Y1 || !owns_data(image) ||
           lines * bit_line_bytes(image.width) <= companion(image).buffer_size;
}

void note_borrowed(tVIQ_Image &image) {
    image_companion &own = companion(image);
    own.lock.borrowed = data_of_library(image.data);
    own.borrowed_info = nullptr;
    if (image.cmap_info != nullptr && image.cmap_info != own.cmap_info)
        visit_objects([&](const tVIQ_Image &, const image_companion &other) {
            if (other.seen.cmap_info == image.cmap_info)
                own.borrowed_info = image.cmap_info;
            return own.borrowed_info == nullptr;
        });
    if (image.jpeg != nullptr)
        hooks.jpeg_note_borrowed(image);
}

void note_lock(tVIQ_Image &image, image_companion &own) {
    const bool callers = image.data != own.buffer && image.data != own.wavelet;
    note_lock(own.lock, image, callers ? image.data : nullptr);
    store_seen(image, own);
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

bool holds_locked_buffer(tVIQ_Image &image, image_companion &own) {
    note_lock(image, own);
    return (image.flags & VIQ_FLAG_LOCKED) != 0 && image.data != nullptr &&
           image.data == own.lock.locked;
}

void free_buffer(image_companion &own) {
    let_go_of_memory(own.buffer);
    release_aligned(own.buffer_allocation, static_cast<std::size_t>(own.buffer_size));
    own.buffer_allocation = nullptr;
    own.buffer = nullptr;
    own.buffer_size = 0;
}

void free_strip(tVIQ_Image &image) {
    free_known_strip(image, companion(image));
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
    update_seen(in);
    update_seen(out);
}

u32 start_up() {
    u32 code = success;
    if (!start->errors_ready)
        code = reset_error_record();
    return is_error(code) ? code : start_up_tables();
}

u32 ensure_started() {
    return start->started ? success : start_up();
}

u32 start_up_tables() {
    start->errors_ready = true;
    start->started = true; // making the tables takes an image
    const u32 code = hooks.jpeg_start_up();
    start->started = !is_error(code);
    return code;
}

} // namespace viq

namespace {

// ---- Handles

void store_seen(const tVIQ_Image &image, image_companion &own) {
    const auto see = [](std::atomic<const void *> &seen, const void *pointer) {
        seen.store(pointer, std::memory_order_relaxed);
    };
    see(own.seen.data, image.data);
    see(own.seen.jpeg, image.jpeg);
    see(own.seen.colourmap, image.colourmap);
    see(own.seen.own_colourmap, own.colourmap);
    see(own.seen.cmap_info, own.cmap_info);
}

// Null: memory runs out.
image_companion *enter_companion(tVIQ_Image &image) {
    image_companion *own = enter_value(image_companions, &image);
    if (own == nullptr)
        return nullptr;
    if (own->maker == 0) { // made for this call
        own->entered_in_report = running_report();
        own->maker = context_mark();
    }
    note_lock(image, *own);
    return own;
}

// The functions below require the lock of the table.

u32 free_slot() {
    for (u32 handle = handles.first_candidate; handle <= last_handle; ++handle)
        if (find_image(handle) == nullptr) {
            handles.first_candidate = handle;
            return handle;
        }
    handles.first_candidate = last_handle + 1;
    return 0;
}

void set_slot(u32 handle, tVIQ_Image *image) {
    image_slots[handle].store(image, std::memory_order_release);
    if (handle >= handles_in_use())
        handles.slots_used.store(handle + 1, std::memory_order_release);
    if (image == nullptr && handle < handles.first_candidate)
        handles.first_candidate = handle;
}

bool in_a_slot(const tVIQ_Image *image) {
    for (u32 handle = 0; handle < handles_in_use(); ++handle)
        if (find_image(handle) == image)
            return true;
    return false;
}

// Removes the image from all handles that refer to it, so that no other thread can destroy it too.
// Null if there is no image or, `busy`, a call of another context is using it.
tVIQ_Image *take_from_slots(u32 handle, bool &busy) {
    const shared_lock guard(handles.lock);
    tVIQ_Image *image = find_image(handle);
    if (image == nullptr)
        return nullptr;
    const image_companion &own = companion(*image);
    const u32 user = own.user.load(std::memory_order_acquire);
    if (user != 0 && user != context_mark()) {
        busy = true;
        return nullptr;
    }
    set_slot(handle, nullptr);
    if (own.set_by_caller)
        for (u32 other = 1; other < handles_in_use(); ++other)
            if (find_image(other) == image)
                set_slot(other, nullptr);
    return image;
}

// ---- Objects

void end_sequences_of(const tVIQ_Image &image, const image_companion &own) {
    if (own.in_sequence)
        end_sequences_here(&image);
}

void free_known_strip(tVIQ_Image &image, image_companion &own) {
    if (owns_data(image, own)) {
        free_buffer(own);
    } else if (holds_wavelet_record(image, own)) {
        destroy_wavelet(own);
    } else if (image.data != nullptr && image.data != own.lock.locked &&
               image.data != own.lock.borrowed && !held_elsewhere(image)) {
        std::free(image.data);
    }
    image.data = nullptr;
    own.lock = {};
    store_seen(image, own);
}

void set_defaults(tVIQ_Image &image) {
    image.height = VIQ_HEIGHT_UNKNOWN;
    image.line_alignment = 2;
    image.param_19 = 1;
    image.lines_per_strip = 8;
}

void destroy_object(tVIQ_Image *image) {
    image_companion &own = companion(*image);
    end_sequences_of(*image, own);
    note_lock(*image, own);
    image->flags &= ~static_cast<u32>(VIQ_FLAG_LOCKED);
    free_known_strip(*image, own);
    if (image->jpeg != nullptr)
        hooks.jpeg_destroy_record(*image);
    destroy_wavelet(own);
    destroy_cmap_info(*image);
    free_buffer(own);
    tVIQ_Colour *map = image->colourmap;
    tVIQ_Colour *own_map = own.colourmap;
    const bool made_here = own.made_here;
    remove_value(image_companions, image);
    release_colourmap(map);
    if (own_map != map) // once it is freed, another thread may get its address for a map
        release_colourmap(own_map);
    if (made_here)
        release(image, sizeof *image);
}

// An object that no handle refers to because a caller has replaced it, or null.
tVIQ_Image *find_orphan() {
    const shared_lock guard(handles.lock);
    tVIQ_Image *orphan = nullptr;
    visit_objects([&](tVIQ_Image &image, const image_companion &own) {
        if (own.orphaned)
            orphan = &image;
        return orphan == nullptr;
    });
    return orphan;
}

// All images, and the other objects of the calling thread's context.
u32 destroy_all() {
    bool busy = false;
    for (u32 handle = 1; handle < handles_in_use(); ++handle)
        if (tVIQ_Image *image = take_from_slots(handle, busy))
            destroy_object(image);
    while (tVIQ_Image *orphan = find_orphan())
        destroy_object(orphan);
    release_unused_colourmaps();
    hooks.jpeg_destroy_replaced();
    end_sequences_here(nullptr);
    hooks.destroy_chroma_keys(VIQ_ALL_IMAGES);
    hooks.destroy_lookup_tables(VIQ_ALL_IMAGES);
    hooks.destroy_displays(VIQ_ALL_IMAGES);
    free_scratch();
    return busy ? report_used_elsewhere("VIQ_image_destroy") : success;
}

bool is_used_colourmap(const void *map) {
    bool used = false;
    visit_objects([&](const tVIQ_Image &, const image_companion &own) {
        used = own.seen.colourmap == map || own.seen.own_colourmap == map;
        return !used;
    });
    return used;
}

void free_colourmap(tVIQ_Colour *map) {
    remove_value(colourmaps, map);
    release(map, colourmap_bytes);
}

// Frees a colourmap of the library once no image uses it.
void release_colourmap(tVIQ_Colour *map) {
    const shared_lock guard(unused_colourmaps);
    const library_colourmap *ours = find_value(colourmaps, map);
    if (ours != nullptr && (!ours->set_by_caller || !is_used_colourmap(map)))
        free_colourmap(map);
}

// Frees the maps that callers have set and replaced again.
void release_unused_colourmaps() {
    constexpr std::size_t at_once = 256;
    const shared_lock guard(unused_colourmaps);
    const void *unused[at_once];
    std::size_t count = 0;
    do {
        count = 0;
        visit_values(colourmaps, [&](const void *map, const library_colourmap &own) {
            if (own.set_by_caller && !is_used_colourmap(map))
                unused[count++] = map;
            return count < at_once;
        });
        for (std::size_t n = 0; n < count; ++n)
            free_colourmap(static_cast<tVIQ_Colour *>(const_cast<void *>(unused[n])));
    } while (count == at_once);
}

// True if another image uses the same buffer, which must then not be freed.
bool held_elsewhere(const tVIQ_Image &image) {
    bool held = is_held_memory(image.data);
    if (!held)
        visit_objects([&](const tVIQ_Image &other, const image_companion &own) {
            held = &other != &image && own.seen.data == image.data;
            return !held;
        });
    return held;
}

// The record is freed with its image even if a caller has replaced the data pointer.
void destroy_wavelet(image_companion &own) {
    if (own.wavelet != nullptr)
        hooks.wavelet_destroy_record(own.wavelet);
    own.wavelet = nullptr;
}

} // namespace
