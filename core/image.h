// Image objects behind handles, and who owns their memory.
#pragma once

#include "core/types.h"

namespace viq {

// What the library remembers of an image beside the documented fields.
struct image_companion {
    u8 *buffer = nullptr; // the strip buffer that the library allocated
    u64 buffer_size = 0;
    u16 buffer_format = 0; // what the buffer was last laid out for
    u32 buffer_line = 0;
    bool callers_locked_data = false; // the data is a caller's buffer that has been locked
    bool made_here = false;           // the library allocated the image object itself
    tVIQ_Colour *colourmap = nullptr; // the colourmap that creation allocated
    tVIQ_Colour spare_colour = {};    // entry 256, which setters accept, never lies behind the map
    u32 dib_option = 0;
};

constexpr u32 handle_slots = 65537;
constexpr u32 last_handle = 65535;

// Null for 0, for handles that were never issued, and for empty slots.
tVIQ_Image *find_image(u32 handle);

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

// The data is the library's own buffer, not one that a caller has set.
bool owns_data(const tVIQ_Image &image);

// The image has data for so many of its lines, as far as the size of the buffer is known.
bool has_lines(const tVIQ_Image &image, u64 lines);

// The image's buffer belongs to a caller who has locked it: the library never frees it.
void note_lock(tVIQ_Image &image);

// Frees what the companion says is the library's, and a caller's buffer that was never locked.
void free_strip(tVIQ_Image &image);

// The input's data and all that is known of its ownership become the output's.
void hand_over_data(tVIQ_Image &in, tVIQ_Image &out);

// Gives the image a fresh or fitting strip buffer in place of the one it has; what every strip
// worker does to its output.
u32 renew_strip(u32 handle);

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
