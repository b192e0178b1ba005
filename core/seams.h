// What the image core asks of the subsystems above it. A reference is null while the library has no
// such subsystem.
#pragma once

#include "core/types.h"

namespace viq {

struct upper_seams {
    // JPEG images
    u32 (*jpeg_start_up)() = nullptr;
    u32 (*jpeg_free_data)(u32 image) = nullptr;
    u32 (*jpeg_destroy_record)(u32 image) = nullptr;
    u32 (*jpeg_copy_parameters)(u32 from, u32 to) = nullptr;
    u32 (*jpeg_build_image)(u32 frame, u32 out, u16 mode) = nullptr;
    void (*jpeg_move_data)(tVIQ_Image &from, tVIQ_Image &to) = nullptr;
    u32 (*jpeg_data_length)(const tVIQ_Image &image) = nullptr;
    u32 (*jpeg_set_data_length)(tVIQ_Image &image, u32 length) = nullptr;
    void *(*jpeg_data_pointer)(const tVIQ_Image &image, u16 pointer_type) = nullptr;
    void (*jpeg_set_data_pointer)(tVIQ_Image &image, u16 pointer_type, void *value) = nullptr;
    void (*jpeg_note_lock)(tVIQ_Image &image) = nullptr;
    void (*jpeg_lock_by_caller)(tVIQ_Image &image) = nullptr;
    void (*jpeg_exempt_from_lock)(tVIQ_Image &image) = nullptr;
    bool (*jpeg_holds_locked_data)(tVIQ_Image &image) = nullptr;
    u8 *(*jpeg_identification)(tVIQ_Image &image) = nullptr;
    // wavelet images
    void (*wavelet_destroy_record)(void *record) = nullptr;
    // everything that goes with the last image
    u32 (*destroy_chroma_keys)(u32 handle) = nullptr;
    u32 (*destroy_lookup_tables)(u32 handle) = nullptr;
    u32 (*destroy_displays)(u32 handle) = nullptr;
};

extern const upper_seams upper;

} // namespace viq
