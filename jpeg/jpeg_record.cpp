// JPEG images: creation, fields, data buffer and destruction of the record.
#include "jpeg/jpeg_record.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "core/address_map.h"
#include "core/context.h"
#include "core/file_io.h"
#include "core/geometry.h"
#include "core/report.h"
#include "jpeg/jpeg_tables.h"

using namespace viq;

namespace {

// Size of the data buffer: the lines of the strip and some spare bytes. Smaller sizes than the
// limit are replaced.
constexpr u64 spare_room = 10000;
constexpr u64 small_room_limit = 4096;
constexpr u64 small_room = 4200;

// Private state of a record.
struct record_companion {
    owned_bytes buffer; // data buffer that the library has allocated
    u64 size = 0;
    u64 callers_room = 0; // bytes requested of a caller's locked buffer
    buffer_lock lock;
    std::FILE *file = nullptr;                     // opened by the library
    bool made_here = false;                        // the library has allocated the record
    std::atomic<bool> replaced = false;            // a caller has taken it out of an image
    std::atomic<const void *> seen_data = nullptr; // for other threads, as in core/image.h
    owned<scan_form> form;
    u16 optimisation = VIQ_JPEG_OPTIMISE_NONE;
};

constinit address_map<record_companion> record_companions;

record_companion *companion_of(const Tjpeg &record);
bool owns(const Tjpeg &record);
u64 usual_room(const tVIQ_Image &image);
u32 allocate(const char *function, tVIQ_Image &image, u64 size);
bool reallocate(Tjpeg &record, u64 size);
void drop_buffer(record_companion &own);
void release_data(Tjpeg &record);
void forget(Tjpeg &record);

} // namespace

u32 VIQ_JPEG_image_create(void) {
    const u32 handle = VIQ_image_create();
    if (is_error(handle))
        return handle;
    auto *record = static_cast<Tjpeg *>(allocate_zeros(sizeof(Tjpeg)));
    record_companion *own = record != nullptr ? companion_of(*record) : nullptr;
    if (own == nullptr) {
        release(record, sizeof *record);
        VIQ_image_destroy(handle);
        return report("VIQ_JPEG_image_create", VIQ_ERR_MEMORY, "");
    }
    own->made_here = true;
    record->quality_factor = 32;
    std::memset(record->comment, ' ', sizeof record->comment);
    record->h_table_ids[0] = no_table;
    tVIQ_Image &image = *find_image(handle);
    image.jpeg = record;
    update_seen(image);
    return handle;
}

u32 VIQ_JPEG_set_image(u32 hInImage, u32 hJpegImage) {
    constexpr const char *name = "VIQ_JPEG_set_image";
    const tVIQ_Image *in = find_image(hInImage);
    if (in == nullptr)
        return report_bad_handle(name);
    Tjpeg *record = nullptr;
    if (const u32 code = need_record(name, hJpegImage, record); is_error(code))
        return code;
    tVIQ_Image &image = *find_image(hJpegImage);
    image.width = in->width;
    image.height = in->height;
    image.bits_per_pixel = in->bits_per_pixel;
    image.lines_per_strip = in->lines_per_strip;
    image.flags |= VIQ_FLAG_2;
    image.param_18 = 1;
    const bool colour = VIQ_image_is_colour(hInImage) == 1;
    VIQ_image_set_parameter(hJpegImage, VIQ_IMAGE_TYPE, colour ? VIQ_YUV422 : VIQ_Y8);
    record->q_table_count = 0;
    record->precision = 8;
    record->components = colour ? 3 : 1;
    record->sof_length = colour ? 17 : 11;
    record->sos_length = colour ? 12 : 8;
    for (u16 i = 0; i < record->components; ++i) {
        record->h_factor[i] = colour && i == 0 ? 2 : 1;
        record->v_factor[i] = 1;
    }
    record->scan_ss = 0;
    record->scan_se = 63;
    record->scan_ahal = 0;
    drop_form(*record);
    return check_image(name, hJpegImage, "Corrupt image - probably an internal error");
}

u32 VIQ_JPEG_get_parameter(u32 hImage, u16 wId) {
    constexpr const char *name = "VIQ_JPEG_get_parameter";
    const Tjpeg *record = find_record(hImage);
    if (record == nullptr)
        return report_no_record(name, hImage);
    switch (wId) {
    case VIQ_JPEG_COMPONENTS:
        return record->components;
    case VIQ_JPEG_DATA_START:
        return record->data_start;
    case VIQ_JPEG_Q_TABLES:
        return record->q_table_count;
    default:
        return report(name, VIQ_ERR_PARAMETER, "Unknown parameter");
    }
}

u32 VIQ_JPEG_copy_parameters(u32 hFrom, u32 hTo) {
    const Tjpeg *from = find_record(hFrom);
    Tjpeg *to = find_record(hTo);
    if (from == nullptr || to == nullptr)
        return report_bad_handle("VIQ_JPEG_copy_parameters");
    if (is_frozen(*find_image(hTo)))
        return report_unchangeable("VIQ_JPEG_copy_parameters", hTo);
    Tjpeg copy = *from;
    copy.file = to->file;
    copy.data = to->data;
    copy.data_ptr = to->data_ptr;
    *to = copy;
    if (from == to)
        return success;
    record_companion *own_to = companion_of(*to);
    if (own_to == nullptr)
        return report_no_memory("VIQ_JPEG_copy_parameters", sizeof *own_to);
    own_to->optimisation = optimisation_of(*from);
    const scan_form *form = form_of(*from);
    if (form == nullptr) {
        drop_form(*to);
        return success;
    }
    scan_form *own = renew_form(*to);
    if (own == nullptr)
        return report_no_memory("VIQ_JPEG_copy_parameters", sizeof *own);
    *own = *form;
    return success;
}

u32 VIQ_JPEG_set_optimisation(u32 hImage, u16 wLevel) {
    constexpr const char *name = "VIQ_JPEG_set_optimisation";
    Tjpeg *record = nullptr;
    if (const u32 code = need_record(name, hImage, record); is_error(code))
        return code;
    if (wLevel > VIQ_JPEG_OPTIMISE_VALUES)
        return report(name, VIQ_ERR_PARAMETER, "Optimisation level out of range");
    record_companion *own = companion_of(*record);
    if (own == nullptr)
        return report_no_memory(name, sizeof *own);
    own->optimisation = wLevel;
    return success;
}

u32 VIQ_JPEG_get_optimisation(u32 hImage) {
    const Tjpeg *record = find_record(hImage);
    return record != nullptr ? optimisation_of(*record)
                             : report_no_record("VIQ_JPEG_get_optimisation", hImage);
}

u32 VIQ_JPEG_malloc_data(u32 hImage) {
    constexpr const char *name = "VIQ_JPEG_malloc_data";
    Tjpeg *record = nullptr;
    if (const u32 code = need_record(name, hImage, record); is_error(code))
        return code;
    const u32 code = check_image(name, hImage);
    if (is_error(code))
        return code;
    tVIQ_Image &image = *find_image(hImage);
    u64 size = usual_room(image);
    if (record->file != nullptr) {
        const u64 length = file_size(record->file);
        size = length + length % 2;
    }
    return allocate(name, image, size < small_room_limit ? small_room : size);
}

u32 VIQ_JPEG_malloc_N_bytes_data(u32 hImage, u32 dwBytes) {
    constexpr const char *name = "VIQ_JPEG_malloc_N_bytes_data";
    if (const u32 code = check_record(name, hImage); is_error(code))
        return code;
    return allocate(name, *find_image(hImage), dwBytes);
}

u32 VIQ_JPEG_free_data(u32 hImage) {
    Tjpeg *record = nullptr;
    if (const u32 code = need_record("VIQ_JPEG_free_data", hImage, record); is_error(code))
        return code;
    if ((find_image(hImage)->flags & VIQ_FLAG_LOCKED) != 0)
        return success;
    drop_data(*find_image(hImage));
    return success;
}

u32 VIQ_JPEG_destroy_Tjpeg(u32 hImage) {
    tVIQ_Image *image = find_image_to_change(hImage);
    if (image == nullptr)
        return report_unchangeable("VIQ_JPEG_destroy_Tjpeg", hImage);
    if (image->jpeg == nullptr)
        return success;
    const u32 code = VIQ_JPEG_free_data(hImage);
    jpeg_destroy_record(*image);
    return code;
}

FILE *VIQ_JPEG_get_file_ptr(u32 hJpegImage) {
    const Tjpeg *record = find_record(hJpegImage);
    return record != nullptr ? record->file : nullptr;
}

u32 VIQ_JPEG_set_file_ptr(u32 hJpegImage, FILE *f) {
    Tjpeg *record = nullptr;
    if (const u32 code = need_record("VIQ_JPEG_set_file_ptr", hJpegImage, record); is_error(code))
        return code;
    record->file = f;
    return success;
}

namespace viq {

bool is_writable(const scan_form &form) {
    bool writable = form.restart_interval == 0 && !form.is_rgb;
    for (u32 i = 0; i < form.components; ++i) {
        const u32 tables = i == 0 ? 0 : 1;
        writable = writable && form.component[i].dc_table == tables &&
                   form.component[i].ac_table == tables;
    }
    for (const u16(&steps)[block_size] : form.q_tables)
        for (const u16 step : steps)
            writable = writable && step <= 255;
    return writable;
}

const scan_form *form_of(const Tjpeg &record) {
    const record_companion *own = find_value(record_companions, &record);
    return own != nullptr ? own->form.get() : nullptr;
}

scan_form *renew_form(Tjpeg &record) {
    record_companion *own = companion_of(record);
    if (own == nullptr)
        return nullptr;
    own->form = make_owned<scan_form>();
    return own->form.get();
}

void drop_form(Tjpeg &record) {
    if (record_companion *own = companion_of(record))
        own->form.reset();
}

u16 optimisation_of(const Tjpeg &record) {
    const record_companion *own = find_value(record_companions, &record);
    return own != nullptr ? own->optimisation : u16{VIQ_JPEG_OPTIMISE_NONE};
}

Tjpeg *find_record(u32 handle) {
    const tVIQ_Image *image = find_image(handle);
    return image != nullptr ? image->jpeg : nullptr;
}

u32 need_record(const char *function, u32 handle, Tjpeg *&record) {
    const tVIQ_Image *image = find_image_to_change(handle);
    if (image == nullptr || image->jpeg == nullptr)
        return report_no_record(function, handle);
    record = image->jpeg;
    return success;
}

u32 check_record(const char *function, u32 handle) {
    Tjpeg *record = nullptr;
    return need_record(function, handle, record);
}

u32 report_no_record(const char *function, u32 handle) {
    const tVIQ_Image *image = find_image(handle);
    if (image == nullptr)
        return report_bad_handle(function);
    if (image->jpeg == nullptr)
        return report(function, VIQ_ERR_HANDLE, "Not a JPEG image");
    return report_unchangeable(function, handle);
}

bool take_file(Tjpeg &record, unique_stream file) {
    record_companion *own = companion_of(record);
    if (own == nullptr)
        return false;
    own->file = record.file = file.release();
    return true;
}

std::FILE *release_file(Tjpeg &record) {
    if (record_companion *own = find_value(record_companions, &record))
        own->file = nullptr;
    return std::exchange(record.file, nullptr);
}

void drop_file(Tjpeg &record) {
    const record_companion *own = find_value(record_companions, &record);
    const bool opened_here = own != nullptr && record.file == own->file;
    const unique_stream file(opened_here ? record.file : nullptr);
    release_file(record);
}

bool has_data(const tVIQ_Image &image) {
    const Tjpeg &record = *image.jpeg;
    return record.data != nullptr && (!owns(record) || record.data_length <= data_room(image));
}

u64 data_room(const tVIQ_Image &image) {
    const Tjpeg &record = *image.jpeg;
    if (record.data == nullptr)
        return 0;
    const record_companion *own = companion_of(record);
    if (own == nullptr)
        return 0;
    if (owns(record))
        return own->size;
    // The size of a caller's buffer is known only if it is locked.
    return record.data == own->lock.locked ? std::max(own->callers_room, usual_room(image)) : 0;
}

bool grow_data(tVIQ_Image &image, u64 bytes) {
    if (bytes <= data_room(image))
        return true;
    return !holds_locked_data(image) && bytes <= UINT32_MAX &&
           reallocate(*image.jpeg, std::min<u64>(bytes + bytes / 2, UINT32_MAX));
}

bool shrink_data(tVIQ_Image &image) {
    return !owns(*image.jpeg) || reallocate(*image.jpeg, image.jpeg->data_length);
}

void drop_data(tVIQ_Image &image) {
    Tjpeg &record = *image.jpeg;
    record.data_length = 0;
    if (holds_locked_data(image))
        return;
    release_data(record);
}

bool holds_locked_data(tVIQ_Image &image) {
    if (image.jpeg == nullptr || (image.flags & VIQ_FLAG_LOCKED) == 0 ||
        image.jpeg->data == nullptr)
        return false;
    jpeg_note_lock(image);
    const record_companion *own = companion_of(*image.jpeg);
    return own != nullptr && image.jpeg->data == own->lock.locked;
}

void jpeg_note_lock(tVIQ_Image &image) {
    const Tjpeg &record = *image.jpeg;
    if (record_companion *own = companion_of(record)) {
        note_lock(own->lock, image, owns(record) ? nullptr : record.data);
        own->seen_data.store(record.data, std::memory_order_relaxed);
    }
}

void jpeg_lock_by_caller(tVIQ_Image &image) {
    if (record_companion *own = companion_of(*image.jpeg))
        own->lock.not_locked = nullptr;
}

void jpeg_exempt_from_lock(tVIQ_Image &image) {
    record_companion *own = companion_of(*image.jpeg);
    if (own != nullptr && image.jpeg->data != own->lock.locked)
        own->lock.not_locked = image.jpeg->data;
}

void jpeg_destroy_record(tVIQ_Image &image) {
    Tjpeg &record = *image.jpeg;
    if ((image.flags & VIQ_FLAG_LOCKED) == 0)
        drop_data(image);
    remove_jpeg_record(image);
    forget(record);
}

void jpeg_note_replaced(const tVIQ_Image &image) {
    if (record_companion *own = find_value(record_companions, image.jpeg))
        own->replaced = own->made_here;
}

void jpeg_destroy_replaced() {
    const auto is_set = [](const Tjpeg &record) {
        return some_image_has(record, [](const image_companion &) { return true; });
    };
    Tjpeg *unused = nullptr;
    do {
        unused = nullptr;
        visit_values(record_companions, [&](const void *address, const record_companion &own) {
            auto *record = static_cast<Tjpeg *>(const_cast<void *>(address));
            if (own.replaced && !is_set(*record))
                unused = record;
            return unused == nullptr;
        });
        if (unused != nullptr) {
            release_data(*unused);
            forget(*unused);
        }
    } while (unused != nullptr);
}

u32 jpeg_start_up() {
    const u32 handle = VIQ_JPEG_image_create();
    if (is_error(handle))
        return handle;
    u32 code = VIQ_image_set_parameter(handle, VIQ_IMAGE_TYPE, VIQ_YUV422);
    if (!is_error(code))
        code = VIQ_JPEG_set_default_H_tables(handle);
    if (!is_error(code))
        code = VIQ_JPEG_generate_H_codetable_LUTs(handle);
    VIQ_image_destroy(handle);
    return code;
}

void jpeg_move_data(tVIQ_Image &from, tVIQ_Image &to) {
    if (from.jpeg == nullptr || from.jpeg == to.jpeg)
        return;
    Tjpeg &source = *from.jpeg;
    Tjpeg &target = *to.jpeg;
    record_companion *given = companion_of(source);
    record_companion *taken = companion_of(target);
    if (given == nullptr || taken == nullptr)
        return;
    if (owns(source)) {
        drop_buffer(*taken);
        taken->buffer = std::move(given->buffer);
        taken->size = given->size;
        given->size = 0;
    }
    taken->callers_room = given->callers_room;
    taken->lock = given->lock;
    given->lock = {};
    target.data = source.data;
    target.data_ptr = source.data_ptr;
    source.data = nullptr;
    source.data_ptr = nullptr;
}

u32 jpeg_data_length(const tVIQ_Image &image) {
    return image.jpeg->data_length;
}

void jpeg_set_data_length(tVIQ_Image &image, u32 length) {
    image.jpeg->data_length = length;
}

void *jpeg_data_pointer(const tVIQ_Image &image, u16 pointer_type) {
    return pointer_type == VIQ_PTR_JPEG_DATA ? image.jpeg->data : image.jpeg->data_ptr;
}

void jpeg_set_data_pointer(tVIQ_Image &image, u16 pointer_type, void *value) {
    Tjpeg &record = *image.jpeg;
    if (pointer_type == VIQ_PTR_JPEG_DATA2) {
        record.data_ptr = static_cast<u8 *>(value);
        return;
    }
    record_companion *own = companion_of(record);
    if (own != nullptr && record.data != value)
        own->lock = {};
    record.data = static_cast<u8 *>(value);
    if (own != nullptr)
        own->callers_room = 0;
    jpeg_note_borrowed(image);
    jpeg_note_lock(image);
}

void jpeg_note_borrowed(tVIQ_Image &image) {
    const Tjpeg &record = *image.jpeg;
    const u8 *borrowed = data_of_library(record.data);
    record_companion *own =
        borrowed != nullptr ? companion_of(record) : find_value(record_companions, &record);
    if (own != nullptr)
        own->lock.borrowed = borrowed;
}

u8 *jpeg_identification(tVIQ_Image &image) {
    return reinterpret_cast<u8 *>(image.jpeg->comment);
}

} // namespace viq

namespace {

// Null when memory runs out.
record_companion *companion_of(const Tjpeg &record) {
    return enter_value(record_companions, &record);
}

bool owns(const Tjpeg &record) {
    const record_companion *own = find_value(record_companions, &record);
    return record.data != nullptr && own != nullptr && record.data == own->buffer.get();
}

u64 usual_room(const tVIQ_Image &image) {
    const u64 size = strip_size(image, image.lines_per_strip) + spare_room;
    return size < small_room_limit ? small_room : size;
}

// The lock flag does not protect the library's own buffer: it may be a copy from another image.
u32 allocate(const char *function, tVIQ_Image &image, u64 size) {
    Tjpeg &record = *image.jpeg;
    record_companion *own = companion_of(record);
    if (own == nullptr)
        return report_no_memory(function, size);
    if (holds_locked_data(image)) {
        own->callers_room = size;
        return success;
    }
    const bool fits = size <= own->size && own->size / 2 <= size;
    if (!owns(record) || !fits) {
        release_data(record);
        if (size > UINT32_MAX || !reallocate(record, size))
            return report_no_memory(function, size);
    }
    record.data_ptr = record.data;
    return success;
}

// Keeps the content and the offset of data_ptr in it.
bool reallocate(Tjpeg &record, u64 size) {
    record_companion *own = companion_of(record);
    if (own == nullptr || size > SIZE_MAX)
        return false;
    const auto bytes = static_cast<std::size_t>(size);
    owned_bytes fresh = make_bytes(bytes + (bytes == 0));
    if (fresh == nullptr || !hold_memory(fresh.get()))
        return false;
    const u64 present = owns(record) ? own->size : record.data != nullptr ? record.data_length : 0;
    const u64 kept = std::min(size, present);
    if (kept != 0)
        std::memcpy(fresh.get(), record.data, static_cast<std::size_t>(kept));
    const bool inside = record.data != nullptr && record.data_ptr >= record.data &&
                        record.data_ptr <= record.data + kept;
    const auto offset = inside ? record.data_ptr - record.data : 0;
    release_data(record);
    own->buffer = std::move(fresh);
    own->size = size;
    record.data = own->buffer.get();
    record.data_ptr = record.data + offset;
    return true;
}

// Another record has the same data. Records of other threads must not be read: only what has been
// seen of them.
bool shared_data(const Tjpeg &record) {
    bool shared = false;
    if (has_contexts()) {
        visit_values(record_companions, [&](const void *other, const record_companion &own) {
            shared = other != &record && own.seen_data == record.data;
            return !shared;
        });
        return shared;
    }
    for_every_image([&](const tVIQ_Image &other) {
        shared = shared || (other.jpeg != nullptr && other.jpeg != &record &&
                            other.jpeg->data == record.data);
    });
    return shared;
}

void drop_buffer(record_companion &own) {
    let_go_of_memory(own.buffer.get());
    own.buffer.reset();
    own.size = 0;
}

// Frees the library's own buffer. A caller's buffer that was not locked belongs to the library and
// is freed too, unless another record uses it.
void release_data(Tjpeg &record) {
    record_companion *own = companion_of(record);
    const bool passed = own != nullptr && record.data != nullptr && !owns(record) &&
                        record.data != own->lock.locked && record.data != own->lock.borrowed;
    if (passed && !shared_data(record))
        std::free(record.data);
    if (own != nullptr) {
        drop_buffer(*own);
        own->lock = {};
    }
    record.data = nullptr;
    record.data_ptr = nullptr;
}

// Records that a caller has allocated are not freed, files that a caller has set are not closed.
void forget(Tjpeg &record) {
    drop_file(record);
    record_companion *own = find_value(record_companions, &record);
    if (own == nullptr)
        return;
    drop_buffer(*own);
    const bool made_here = own->made_here;
    remove_value(record_companions, &record);
    if (made_here)
        release(&record, sizeof record);
}

} // namespace
