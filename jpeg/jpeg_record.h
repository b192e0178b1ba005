// The JPEG record that an image carries, and who owns its buffer of coded data.
#pragma once

#include <algorithm>
#include <cstdio>

#include "core/file_io.h"
#include "core/image.h"
#include "jpeg/jpeg_tables.h"

namespace viq {

// A Huffman table as it is stored in a stream.
struct huffman_lists {
    u8 bits[16];
    u8 vals[256];
    bool present;
};

// What a stream says that was read in the conforming mode, with the fields that the record has no
// room for.
struct scan_form {
    u32 components;
    struct {
        u8 id, h, v, q_table, dc_table, ac_table;
    } component[3];
    huffman_lists dc[4], ac[4];
    u16 q_tables[4][block_size]; // in zigzag order
    u32 q_tables_present;        // one bit for each table
    u32 restart_interval;        // in MCUs; 0: none
    bool has_jfif, has_adobe;
    u8 adobe_transform;
    bool is_rgb;
};

// The largest sampling factors of the components.
struct sampling_factors {
    u32 h = 1, v = 1;
};

inline sampling_factors largest_factors(const scan_form &form) {
    sampling_factors largest;
    for (u32 i = 0; i < form.components; ++i) {
        largest.h = std::max<u32>(largest.h, form.component[i].h);
        largest.v = std::max<u32>(largest.v, form.component[i].v);
    }
    return largest;
}

// The writers write a header from which every decoder decodes the data.
bool is_writable(const scan_form &form);

// Null if the record was not read in the conforming mode.
const scan_form *form_of(const Tjpeg &record);

// A new form for the record; null if memory runs out.
scan_form *renew_form(Tjpeg &record);
void drop_form(Tjpeg &record);

// VIQ_JPEG_OPTIMISE_...
u16 optimisation_of(const Tjpeg &record);

// Null for handles without an image and for images without a record.
Tjpeg *find_record(u32 handle);

// The record of an image that may be changed, or the reported error: no image, an image without a
// record, or one that is in use by the call whose error handler is running (VIQ_ERR_STATE).
u32 need_record(const char *function, u32 handle, Tjpeg *&record);
u32 check_record(const char *function, u32 handle);

// Reports why need_record fails: no image, no record, or a record in use by the call whose error
// handler is running.
u32 report_no_record(const char *function, u32 handle);

// Sets a file that the library has opened; it is closed with the record. False if memory runs out.
bool take_file(Tjpeg &record, unique_stream file);

// Clears the file of the record, which the caller closes.
std::FILE *release_file(Tjpeg &record);

// Clears the file of the record, and closes it unless a caller has set it.
void drop_file(Tjpeg &record);

// There is data, and the buffer holds `data_length` bytes as far as its size is known.
bool has_data(const tVIQ_Image &image);

// Bytes that may be written to the data buffer.
u64 data_room(const tVIQ_Image &image);

// Enlarges the buffer to at least so many bytes and keeps its content; false if memory runs out or
// the buffer is a locked one of a caller.
bool grow_data(tVIQ_Image &image, u64 bytes);

// Shrinks the library's own buffer to `data_length` bytes; false if memory runs out.
bool shrink_data(tVIQ_Image &image);

// Frees the data regardless of the lock flag. A locked buffer of a caller is kept, with length 0.
void drop_data(tVIQ_Image &image);

// The data is a buffer of a caller whose lock is in force; it must not be freed or replaced.
bool holds_locked_data(tVIQ_Image &image);

// The hooks of the image core into the JPEG subsystem.
void jpeg_note_replaced(const tVIQ_Image &image);
void jpeg_destroy_replaced();
u32 jpeg_start_up();
void jpeg_destroy_record(tVIQ_Image &image);
void jpeg_move_data(tVIQ_Image &from, tVIQ_Image &to);
u32 jpeg_data_length(const tVIQ_Image &image);
void jpeg_set_data_length(tVIQ_Image &image, u32 length);
void *jpeg_data_pointer(const tVIQ_Image &image, u16 pointer_type);
void jpeg_set_data_pointer(tVIQ_Image &image, u16 pointer_type, void *value);
u8 *jpeg_identification(tVIQ_Image &image);
void jpeg_note_lock(tVIQ_Image &image);
void jpeg_lock_by_caller(tVIQ_Image &image);
void jpeg_exempt_from_lock(tVIQ_Image &image);
void jpeg_note_borrowed(tVIQ_Image &image);

} // namespace viq
