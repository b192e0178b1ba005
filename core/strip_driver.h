// The strip protocol, once for every operation that follows it.
//
// A conversion turns the current strip of an input image into the current strip of an output image.
// A transfer sends the current strip of one image somewhere (a file, a memory image, a histogram)
// or fills it. Every operation has one sequence at a time: the first strip sets it up, each strip
// counts its lines, the last strip is clipped to the remaining height, and the sequence ends with
// it, with strip command 4, or when one of its images is destroyed. Every context has its own
// sequences.
#pragma once

#include <type_traits>

#include "core/context.h"
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
    strip_geometry geometry = {}; // of the input on the first strip
    strip_geometry output = {};   // of the output on the first strip
    // The images of the last call, to compare addresses with: they may no longer exist.
    const tVIQ_Image *in = nullptr;
    const tVIQ_Image *out = nullptr;
};

// The sequences of operations that are declared together.
template <unsigned count> struct strip_sequences { strip_sequence of[count]; };

// The image was one of those of the last call (null: any image).
inline bool takes_part(const strip_sequence &sequence, const tVIQ_Image *image) {
    return image == nullptr || sequence.in == image || sequence.out == image;
}

void end_sequences(strip_sequence &sequence, const tVIQ_Image *image);

template <unsigned count>
void end_sequences(strip_sequences<count> &sequences, const tVIQ_Image *image) {
    for (strip_sequence &sequence : sequences.of)
        end_sequences(sequence, image);
}

// A sequence that does not end with the call takes note of its images (null: as before), so that it
// ends when one of them is destroyed.
void join_sequence(strip_sequence &sequence, const tVIQ_Image *in, const tVIQ_Image *out = nullptr);

// Where an operation's sequence is: in every context, or in a local variable.
struct sequence_place {
    const context_slot *slot = nullptr;
    std::size_t offset = 0; // in the declared object
    strip_sequence *local = nullptr;

    constexpr sequence_place() = default;
    constexpr sequence_place(strip_sequence &sequence) : local(&sequence) {}
    constexpr sequence_place(const per_context<strip_sequence> &declared) : slot(&declared.slot) {}
    // The sequence is the first member.
    template <class State>
    requires requires(State state) { state.sequence.lines_done; }
    constexpr sequence_place(const per_context<State> &declared) : slot(&declared.slot) {}
    template <unsigned count>
    constexpr sequence_place(const per_context<strip_sequences<count>> &declared, unsigned number)
        : slot(&declared.slot), offset(number * sizeof(strip_sequence)) {}

    strip_sequence &here() const {
        return local != nullptr ? *local
                                : *reinterpret_cast<strip_sequence *>(
                                      static_cast<std::byte *>(object_here(*slot)) + offset);
    }
};

// One call of an operation.
struct strip_call {
    const char *name;        // of the public function
    const char *worker_name; // under which the work on one strip reports
    strip_sequence *sequence;
    u32 in_handle;
    u32 out_handle;
    tVIQ_Image *in;
    tVIQ_Image *out; // null for transfers, and before the output has been checked
};

// What a check before the strip decides: continue, or return the code.
struct verdict {
    bool go_on;
    u32 code;
};

constexpr verdict proceed = {true, success};
inline verdict stop_with(u32 code) {
    return {false, code};
}

// The output that an input calls for: set up on the first strip, required of every later one.
struct output_shape {
    u16 format;
    u32 width;
    u32 height;
    u16 data_width = 0; // 0: as the format and the input define it
};

struct no_arguments {
    bool operator==(const no_arguments &) const = default;
};

// A step of an operation: a function of the call, with the operation's own arguments where it needs
// them.
template <class Result, class Arguments> struct strip_step {
    using plain_function = Result (*)(const strip_call &);
    using function = Result (*)(const strip_call &, const Arguments &);

    plain_function plain = nullptr;
    function with_arguments = nullptr;

    constexpr strip_step() = default;
    constexpr strip_step(plain_function step) : plain(step) {}
    constexpr strip_step(function step) : with_arguments(step) {}

    Result operator()(const strip_call &call, const Arguments &arguments, Result otherwise) const {
        if (with_arguments != nullptr)
            return with_arguments(call, arguments);
        return plain != nullptr ? plain(call) : otherwise;
    }
};

// A conversion. A step without a function does nothing.
template <class Arguments = no_arguments> struct strip_operation {
    const char *name;                  // of the public function
    const char *worker_name = nullptr; // of the strip worker; null: the same
    sequence_place sequence = {};      // required
    // Runs before the rule that a strip of 0 lines passes only the parameters on.
    strip_step<verdict, Arguments> check_before_header = {};
    // Changes the input once it has been accepted, also where its strip has 0 lines.
    void (*prepare_input)(const strip_call &) = nullptr;
    // Runs only where there are lines.
    strip_step<verdict, Arguments> check_pixels = {};
    strip_step<output_shape, Arguments> shape = {}; // required; the output may be missing
    // Sets what the output needs besides its shape, after the parameters have been copied.
    strip_step<u32, Arguments> complete_output = {};
    // The current strip; the output's lines per strip are the input's, it has no buffer yet.
    strip_step<u32, Arguments> process = {};
    const char *corrupt = "Corrupt image";
    const char *corrupt_output = nullptr; // null: as for the input
    // A strip of 0 lines passes the input's parameters on as they are, without the output's shape.
    bool bare_parameters = false;
    // The picture is one strip: its lines per strip become its height. A failure leaves them as
    // they were and ends the sequence.
    bool whole_picture = false;
    // An operation that keeps lines or sums from strip to strip keeps here the arguments of the
    // first strip. Later strips must have the same arguments and the same geometry on both sides.
    const per_context<Arguments> *first_arguments = nullptr;
};

// Computes the stride of the lines that a transfer sends; `previous` is the image's stride before
// the check, which has overwritten it.
using line_rule = u32 (*)(const tVIQ_Image &image, u32 previous);

// A transfer; the image is `call.in`.
template <class Arguments = no_arguments> struct strip_transfer {
    const char *name;
    sequence_place sequence = {}; // required
    strip_step<verdict, Arguments> check_image = {};
    strip_step<u32, Arguments> begin = {};   // first strip
    strip_step<u32, Arguments> process = {}; // the current strip, clipped to what remains
    strip_step<u32, Arguments> finish = {};  // after the last strip
    strip_step<u32, Arguments> abandon = {}; // command 4
    // Every command sends the current strip, 4 before it ends the transfer; a strip of 0 lines is
    // nothing special then.
    bool every_command_sends = false;
    const char *corrupt = "Corrupt image";
    line_rule line = nullptr; // of the strip that is sent; null: the check's
    const per_context<Arguments> *first_arguments = nullptr; // as above
};

// The input's own shape.
output_shape same_shape(const strip_call &call);

// Sets the input's lines per strip to its height, so that the whole picture is processed even if
// they are 0.
void use_whole_picture(const strip_call &call);

// First step of a strip worker: checks that the input's lines are present and allocates the
// output's. A worker changes nothing of the output before it but the lines per strip.
u32 begin_strip(const strip_call &call);

// Most operations do not work in place.
u32 report_same_image(const char *function);

// A picture must keep its geometry from the first strip of a transfer to the last.
u32 report_changed_image(const char *function);

// Clips the strip to the remaining height; true for the last strip.
bool clip_last_strip(tVIQ_Image &image, u32 lines_done);

template <class Arguments>
u32 run_conversion(const strip_operation<Arguments> &operation, u32 hInImage, u32 hOutImage,
                   u16 command, const std::type_identity_t<Arguments> &arguments = {});

// The same for one strip alone, outside of every sequence.
template <class Arguments>
u32 convert_strip(const strip_operation<Arguments> &operation, u32 hInImage, u32 hOutImage,
                  const std::type_identity_t<Arguments> &arguments = {});

template <class Arguments>
u32 run_transfer(const strip_transfer<Arguments> &transfer, u32 hImage, u16 command,
                 const std::type_identity_t<Arguments> &arguments = {});

} // namespace viq

#include "core/strip_driver_body.h"
