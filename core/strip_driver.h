// The strip protocol, once for every operation that follows it.
//
// A conversion turns the current strip of an input image into the current strip of an output image;
// a transfer reads the current strip of one image and sends it somewhere (a file, a memory image, a
// histogram), or fills it. Either way an operation keeps one process-wide sequence: it is set up on
// the first strip, counts lines, cuts the last strip to what is left of the height, and ends with
// it or with strip command 4.
#pragma once

#include "core/types.h"

namespace viq {

struct strip_geometry {
    u16 format = 0;
    u32 width = 0;
    u32 height = 0;
    u32 bytes_per_line = 0;
    bool operator==(const strip_geometry &) const = default;
};

strip_geometry geometry_of(const tVIQ_Image &image);

struct strip_sequence {
    bool under_way = false;
    u32 lines_done = 0;
    strip_geometry geometry = {}; // of the image that a transfer began with
};

struct strip_operation;

// One call of an operation. `arguments` is the operation's own record, or null.
struct strip_call {
    const strip_operation *operation;
    u32 in_handle;
    u32 out_handle;
    tVIQ_Image *in;
    tVIQ_Image *out;
    const void *arguments;
};

// What a step before the strip itself decides: go on, or return the code at once.
struct verdict {
    bool go_on;
    u32 code;
};

constexpr verdict proceed = {true, success};
inline verdict stop_with(u32 code) {
    return {false, code};
}

// The output that an input calls for; set up on the first strip, demanded of every later one.
struct output_shape {
    u16 format;
    u32 width;
    u32 height;
    u16 data_width = 0; // 0: as the format and the input say
};

// The input's own shape.
output_shape same_shape(const strip_call &call);

struct strip_operation {
    const char *name;        // of the public function, as reported
    const char *worker_name; // of the strip worker
    strip_sequence *sequence;
    // Null references stand for steps that do nothing.
    // Refusals ahead of the rule that a strip of 0 lines only passes parameters on, and after it.
    verdict (*refuse)(const strip_call &call);
    verdict (*accept)(const strip_call &call);
    output_shape (*shape)(const strip_call &call); // the output may be missing
    // What the output needs besides its shape, after the parameters have been copied.
    u32 (*complete)(const strip_call &call);
    // The current strip; the output's lines per strip are the input's, it has no buffer yet.
    u32 (*process)(const strip_call &call);
    const char *corrupt = "Corrupt image";
    const char *corrupt_output = nullptr; // null: as for the input
    // A strip of 0 lines passes the input's parameters on as they are, without the output's shape.
    bool bare_parameters = false;
    // The picture is one strip: its lines per strip become its height. A failure leaves them as they
    // were, and no sequence under way.
    bool whole_picture = false;
};

u32 run_conversion(const strip_operation &operation, u32 hInImage, u32 hOutImage, u16 command,
                   const void *arguments = nullptr);

// The same for one strip alone, outside of every sequence.
u32 convert_strip(const strip_operation &operation, u32 hInImage, u32 hOutImage,
                  const void *arguments = nullptr);

// First step of a strip worker: the input's lines are there, the output has a buffer for its own.
u32 begin_strip(const strip_call &call);

// Most operations do not work in place.
u32 report_same_image(const char *function);

// A picture must keep its geometry from the first strip of a transfer to the last.
u32 report_changed_image(const char *function);

// Cuts the strip to what is left of the height; true when it is the last one.
bool clip_last_strip(tVIQ_Image &image, u32 lines_done);

// Line length of a checked image; `told` is what the image said before the check.
using line_rule = u32 (*)(const tVIQ_Image &image, u32 told);

struct strip_transfer {
    const char *name;
    strip_sequence *sequence;
    verdict (*refuse)(const strip_call &call);
    u32 (*begin)(const strip_call &call);   // first strip
    u32 (*process)(const strip_call &call); // the current strip, cut to what is left
    u32 (*finish)(const strip_call &call);  // after the last strip
    u32 (*abandon)(const strip_call &call); // command 4
    // Every command sends the current strip, 4 before it ends the transfer; a strip of 0 lines is
    // nothing special then.
    bool every_command_sends = false;
    const char *corrupt = "Corrupt image";
    line_rule line = nullptr; // of the strip that is sent; null: the check's
};

// The image is `call.in`; null references in the record stand for steps that do nothing.
u32 run_transfer(const strip_transfer &transfer, u32 hImage, u16 command,
                 const void *arguments = nullptr);

} // namespace viq
