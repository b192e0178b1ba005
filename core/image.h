// Image objects, their handles, and the ownership of their memory.
#pragma once

#include <atomic>
#include <cstdlib>

#include "core/address_map.h"
#include "core/context.h"
#include "core/file_reading.h"
#include "core/held_memory.h"
#include "core/report.h"
#include "core/types.h"

namespace viq {

// The lock of a caller's buffer. VIQ_FLAG_LOCKED alone is not enough: operations copy it to their
// output together with the other parameters, and a copied flag locks nothing.
struct buffer_lock {
    const u8 *locked = nullptr;     // the buffer that a caller has locked
    const u8 *not_locked = nullptr; // the buffer that was set when the flag was copied
    const u8 *borrowed = nullptr;   // memory that the library holds for another image and frees
                                    // with that one
};

// Locks the caller's buffer (null: the image has none) if the flag is set and was not copied.
inline void note_lock(buffer_lock &lock, const tVIQ_Image &image, const u8 *callers_buffer) {
    if ((image.flags & VIQ_FLAG_LOCKED) != 0 && callers_buffer != nullptr &&
        callers_buffer != lock.not_locked)
        lock.locked = callers_buffer;
}

// The data if the library holds them for any image, otherwise null.
inline const u8 *data_of_library(const u8 *data) {
    return is_held_memory(data) ? data : nullptr;
}

// What an image refers to, as far as the library has seen it. The search for images that refer to
// the same memory reads these copies, because other threads may be changing the images.
struct seen_pointers {
    std::atomic<const void *> data, jpeg, colourmap, own_colourmap, cmap_info;
};

// Private state of an image object.
struct image_companion {
    u8 *buffer = nullptr;              // the strip buffer that the library allocated
    void *buffer_allocation = nullptr; // the memory that contains it
    u64 buffer_size = 0;
    u16 buffer_format = 0; // pixel format and stride that the buffer was last used with
    u32 buffer_line = 0;
    buffer_lock lock;
    bool set_by_caller = false;       // with VIQ_image_set_ptr, so several handles may refer to it
    bool made_here = false;           // the library allocated the image object itself
    u64 entered_in_report = 0;        // whose handler entered the object; 0: no handler did
    tVIQ_Colour *colourmap = nullptr; // the colourmap that creation allocated
    tVIQ_Colour spare_colour = {};    // entry 256, which the setters accept, is not in the map
    void *wavelet = nullptr;          // the record of a wavelet image, which its data points to
    tVIQ_CmapInfo *cmap_info = nullptr;           // made by the library for this image
    const tVIQ_CmapInfo *borrowed_info = nullptr; // held for another image, as in buffer_lock
    bool exposed = false;      // callers know the object or its JPEG record by address
    bool orphaned = false;     // no handle refers to the object; changed under the table's lock
    bool in_sequence = false;  // a sequence that the image takes part in may be under way
    u32 maker = 0;             // mark of the context that entered the object
    std::atomic<u32> user = 0; // mark of the context whose call is using it; 0: none
    seen_pointers seen = {};
    file_facts facts; // of the file whose header was read last
};

constexpr u32 handle_slots = 65537;
constexpr u32 last_handle = 65535;

// The images by handle and their companions, which all contexts share. They are looked up without a
// lock and changed under one.
extern constinit std::atomic<tVIQ_Image *> image_slots[handle_slots];
extern constinit address_map<image_companion> image_companions;

// Null if the handle is 0, was never issued or names a destroyed image.
inline tVIQ_Image *find_image(u32 handle) {
    return handle < handle_slots ? image_slots[handle].load(std::memory_order_acquire) : nullptr;
}

inline image_companion &companion(const tVIQ_Image &image) {
    image_companion *own = find_value(image_companions, &image);
    if (own == nullptr) [[unlikely]] // images without one are never entered
        std::abort();
    return *own;
}

// The call that reports an error still needs its images while the error handler runs. An image that
// the handler has not created itself, during this report, can then be read, but not changed or
// destroyed.
inline bool is_frozen(const tVIQ_Image &image) {
    return called_by_handler() && companion(image).entered_in_report != running_report();
}

// Null if there is no such image or it is frozen.
inline tVIQ_Image *find_image_to_change(u32 handle) {
    tVIQ_Image *image = find_image(handle);
    return image != nullptr && is_frozen(*image) ? nullptr : image;
}

// One more than the highest handle that has been issued.
u32 handles_in_use();

template <class Visit> void for_every_image(Visit visit) {
    for (u32 handle = 1; handle < handles_in_use(); ++handle)
        if (tVIQ_Image *image = find_image(handle))
            visit(*image);
}

// Updates what the search for shared memory sees of the image.
void update_seen(const tVIQ_Image &image);

// The image's JPEG record is about to be destroyed: no image refers to it any more, nor does one
// that a caller has replaced and may set again.
void remove_jpeg_record(tVIQ_Image &image);

// An image, without regard to handles, has this JPEG record and satisfies the condition.
bool some_image_has(const Tjpeg &record, bool (*condition)(const image_companion &own));

// Makes a handle refer to a caller's object (null: to none). False if memory runs out.
bool replace_image(u32 handle, tVIQ_Image *image);

// Sets the colourmap (null: none) for a caller.
void set_colourmap(tVIQ_Image &image, tVIQ_Colour *map);

u32 report_bad_handle(const char *function);

// The images of a call belong to the calling thread's context until it returns. `busy` if a call of
// another context is using one of them; then the call must not continue.
struct image_use {
    std::atomic<u32> *marks[2] = {}; // that this call has set
    bool busy = false;
    explicit image_use(const tVIQ_Image *one, const tVIQ_Image *other = nullptr) {
        if (has_contexts())
            take(one, other);
    }
    image_use(const image_use &) = delete;
    image_use &operator=(const image_use &) = delete;
    void take(const tVIQ_Image *one, const tVIQ_Image *other);
    ~image_use() {
        for (std::atomic<u32> *mark : marks)
            if (mark != nullptr)
                mark->store(0, std::memory_order_release);
    }
};

u32 report_used_elsewhere(const char *function);

// Reports why find_image_to_change returned null.
u32 report_unchangeable(const char *function, u32 handle);

// The functions below that take the companion as well save the search for it.

// The data is a buffer that the library allocated, not one that a caller has set.
inline bool owns_data(const tVIQ_Image &image, const image_companion &own) {
    return image.data != nullptr && image.data == own.buffer;
}
inline bool owns_data(const tVIQ_Image &image) {
    return owns_data(image, companion(image));
}

// The data is the record of a wavelet image, not pixels.
inline bool holds_wavelet_record(const tVIQ_Image &image, const image_companion &own) {
    return image.data != nullptr && image.data == own.wavelet;
}
inline bool holds_wavelet_record(const tVIQ_Image &image) {
    return holds_wavelet_record(image, companion(image));
}

// The image's data is the buffer that the library holds for another image.
inline bool uses_buffer_of(const tVIQ_Image &image, const image_companion &other) {
    return image.data != nullptr && image.data == other.buffer;
}
inline bool uses_buffer_of(const tVIQ_Image &image, const tVIQ_Image &other) {
    return uses_buffer_of(image, companion(other));
}

// The image has data for this number of lines. The size of a caller's buffer is unknown and is
// trusted.
inline bool has_lines(const tVIQ_Image &image, u64 lines) {
    const u64 size = lines * image.bytes_per_line;
    if (image.data == nullptr)
        return false;
    const image_companion &own = companion(image);
    if (holds_wavelet_record(image, own) || size > PTRDIFF_MAX)
        return false;
    return !owns_data(image, own) || size <= own.buffer_size;
}

// The same for functions that read the pixels of 1-bit lines: a buffer that was allocated without
// their length does not hold them.
bool has_pixels(const tVIQ_Image &image, u64 lines);

// Records the lock of a caller's buffer, which the library then never frees. Callers may set the
// flag in the image object directly, so this is called wherever a lock matters.
void note_lock(tVIQ_Image &image, image_companion &own);
inline void note_lock(tVIQ_Image &image) {
    note_lock(image, companion(image));
}

// A caller has set pointers of the image. What the library holds for another image is not freed
// with this one, also after the other one is destroyed.
void note_borrowed(tVIQ_Image &image);

// The caller has set VIQ_FLAG_LOCKED: it applies to the image's buffers even if it was copied
// before.
void lock_by_caller(tVIQ_Image &image);

// The flag is about to be copied from another image and must not lock the image's buffers.
void exempt_from_lock(tVIQ_Image &image);

// The data is a caller's locked buffer and the flag is still set: the buffer stays in use.
bool holds_locked_buffer(tVIQ_Image &image, image_companion &own);
inline bool holds_locked_buffer(tVIQ_Image &image) {
    return holds_locked_buffer(image, companion(image));
}

// Frees the strip buffer that the library allocated.
void free_buffer(image_companion &own);

// Frees the library's own buffer, or a caller's buffer that was never locked.
void free_strip(tVIQ_Image &image);

// Moves the data and its ownership from one image to another.
void hand_over_data(tVIQ_Image &in, tVIQ_Image &out);

// Provides the output of a strip worker with a buffer for its current strip. `line` overrides the
// stride that the image check has computed; 0: the check's.
u32 renew_strip(u32 handle, u32 line = 0);
// The same for an image that has passed the image check in this call, and of which only the lines
// per strip have changed since. Of the check only the limit of pixels depends on them.
u32 renew_checked_strip(u32 handle, tVIQ_Image &image, image_companion &own);

// An image that is destroyed at the end of the scope.
struct scoped_image {
    u32 handle;
    explicit scoped_image() : handle(VIQ_image_create()) {}
    scoped_image(const scoped_image &) = delete;
    scoped_image &operator=(const scoped_image &) = delete;
    ~scoped_image() {
        if (!is_error(handle))
            VIQ_image_destroy(handle);
    }
};

} // namespace viq
