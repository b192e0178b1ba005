// Conversion of whole pictures in as many steps as it takes.
#pragma once

#include "convert/conversion_rows.h"
#include "core/image.h"

namespace viq {

// An image of which this object is the only owner.
struct owned_image {
    u32 handle; // or an error code

    explicit owned_image(u32 made = VIQ_image_create()) : handle(made) {}
    owned_image(owned_image &&other) noexcept : handle(other.release()) {}
    owned_image &operator=(owned_image &&other) noexcept {
        destroy();
        handle = other.release();
        return *this;
    }
    ~owned_image() { destroy(); }

    operator u32() const { return handle; }
    u32 release() {
        const u32 released = handle;
        handle = 0;
        return released;
    }

private:
    void destroy() const {
        if (handle != 0 && !is_error(handle))
            VIQ_image_destroy(handle);
    }
};

// Checks that an image holds a whole picture.
u32 check_whole_picture(const char *function, u32 hImage);

// A new image in this format, or an error code. `in` holds a whole picture.
owned_image convert_whole(const char *function, u32 in, u16 format);

// The row kernel of a pair of formats that no converter has: from VIQ_Y1, between VIQ_RGB24 and
// VIQ_CMYK32, from VIQ_XRGB32; null for others.
row_kernel find_other_row(u16 from, u16 to);

// A copy without its columns from `width` on and with lines of this alignment.
owned_image copy_columns(u32 in, u32 width, u32 alignment);

} // namespace viq
