// Image objects behind handles, and who owns their memory.
#pragma once

#include "core/types.h"

namespace viq {

// Which of an image's buffers is a caller's that the caller has locked. The flag alone does not
// say: it is copied from image to image with the other parameters, and locks nothing there.
struct buffer_lock {
    const u8 *locked = nullptr;     // the buffer that a caller has locked
    const u8 *not_locked = nullptr; // the buffer that was set when the flag was copied
};

// A lock takes effect when the flag meets a caller's buffer (null: none) and was not copied to it.
void note_lock(buffer_lock &lock, const tVIQ_Image &image, const u8 *callers_buffer);

// What the library remembers of an image beside the documented fields.
struct image_companion {
    u8 *buffer = nullptr; // the strip buffer that the library allocated
    u64 buffer_size = 0;
    u16 buffer_format = 0; // what the buffer was last laid out for
    u32 buffer_line = 0;
    buffer_lock lock;
    bool made_here = false;     // the library allocated the image object itself
    unsigned handler_depth = 0; // error handlers that were running when the object was entered
    tVIQ_Colour *colourmap = nullptr; // the colourmap that creation allocated
    tVIQ_Colour spare_colour = {};    // entry 256, which setters accept, never lies behind the map
    void *wavelet = nullptr;          // the record of a wavelet image, which its data points to
};

constexpr u32 handle_slots = 65537;
constexpr u32 last_handle = 65535;

// Null for 0, for handles that were never issued, and for empty slots.
tVIQ_Image *find_image(u32 handle);

// While an error handler runs, the call that reported still needs its images: an image that is
// older than the report may be read, but not changed or destroyed.
bool is_frozen(const tVIQ_Image &image);

// The image, or null where there is none or it is frozen.
tVIQ_Image *find_image_to_change(u32 handle);

template <class Visit> void for_every_image(Visit visit) {
    for (u32 handle = 1; handle < handle_slots; ++handle)
        if (tVIQ_Image *image = find_image(handle))
            visit(*image);
}

image_companion &companion(const tVIQ_Image &image);

// Puts a caller's object (null: none) into a slot; false when memory runs out.
bool replace_image(u32 handle, tVIQ_Image *image);

// From now on two images may hold the same colourmap.
void note_shared_pointers();

u32 report_bad_handle(const char *function);

// Why find_image_to_change gave nothing: no such image, or a frozen one.
u32 report_unchangeable(const char *function, u32 handle);

// The data is the library's own buffer, not one that a caller has set.
bool owns_data(const tVIQ_Image &image);

// The data is the record of a wavelet image and no pixels.
bool holds_wavelet_record(const tVIQ_Image &image);

// The image's data is the buffer that the library holds for another image.
bool uses_buffer_of(const tVIQ_Image &image, const tVIQ_Image &other);

// The image has data for so many of its lines, as far as the size of the buffer is known.
bool has_lines(const tVIQ_Image &image, u64 lines);

// Gives effect to VIQ_FLAG_LOCKED where it meets a caller's buffer, which the library then never
// frees. Callers may set the flag in the object itself, so that every user of the lock notes it.
void note_lock(tVIQ_Image &image);

// The caller sets the flag for what the image holds now, wherever the flag came from before.
void lock_by_caller(tVIQ_Image &image);

// The flag is about to be copied from another image: it locks nothing that the image holds.
void exempt_from_lock(tVIQ_Image &image);

// The data is a caller's buffer whose lock is in force: it stays in use.
bool holds_locked_buffer(tVIQ_Image &image);

// Frees what the companion says is the library's, and a caller's buffer that was never locked.
void free_strip(tVIQ_Image &image);

// The input's data and all that is known of its ownership become the output's.
void hand_over_data(tVIQ_Image &in, tVIQ_Image &out);

// Gives the image a fresh or fitting strip buffer in place of the one it has; what every strip
// worker does to its output. An image that has been checked may be given a line length other than
// the check's.
u32 renew_strip(u32 handle, u32 line = 0);

// A library image for the length of a scope.
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
