#include "core/file_io.h"

#include <atomic>
#include <utility>

#include "core/context.h"
#include "core/report.h"

#if defined(_WIN32)
#define VIQ_SEEK _fseeki64
#define VIQ_TELL _ftelli64
#else
#define VIQ_SEEK fseeko
#define VIQ_TELL ftello
#endif

namespace viq {

namespace {

constinit std::atomic<file_opener> opener_of_tests = nullptr;
VIQ_PER_CONTEXT(substitute_file, substitute);

// Null: the system cannot provide a stream.
std::FILE *stream_of(const u8 *data, std::size_t size) {
#if defined(_WIN32)
    unique_stream stream(std::tmpfile());
    if (stream == nullptr || std::fwrite(data, 1, size, stream.get()) != size ||
        !seek_to(stream.get(), 0))
        return nullptr;
    return stream.release();
#else
    return fmemopen(const_cast<u8 *>(data), size, "rb"); // the mode does not write
#endif
}

} // namespace

std::FILE *open_file(const char *path, const char *mode) {
    const file_opener opener = opener_of_tests.load(std::memory_order_relaxed);
    return opener != nullptr ? opener(path, mode) : std::fopen(path, mode);
}

void set_file_opener(file_opener opener) {
    opener_of_tests = opener;
}

file_substitution::file_substitution(const substitute_file &used) {
    *substitute = used;
}

file_substitution::~file_substitution() {
    if (substitute->target != nullptr)
        std::fclose(substitute->target);
    *substitute = {};
}

std::FILE *open_to_read(const char *path) {
    if (substitute->path != nullptr)
        return open_file(substitute->path, "rb");
    if (substitute->data != nullptr)
        return stream_of(substitute->data, static_cast<std::size_t>(substitute->size));
    return open_file(path, "rb");
}

std::FILE *open_to_write(const char *path) {
    if (substitute->target != nullptr)
        return std::exchange(substitute->target, nullptr);
    return open_file(path, "wb");
}

u32 close_file(const char *function, unique_stream &file) {
    if (file == nullptr)
        return success;
    const bool failed = std::ferror(file.get()) != 0;
    const bool closed = std::fclose(file.release()) == 0;
    return closed && !failed ? success : report(function, VIQ_ERR_CLOSE, "Failed to close file");
}

bool seek_to(std::FILE *stream, u64 position) {
    return position <= INT64_MAX && VIQ_SEEK(stream, static_cast<i64>(position), SEEK_SET) == 0;
}

u64 position_of(std::FILE *stream) {
    const auto here = VIQ_TELL(stream);
    return here > 0 ? static_cast<u64>(here) : 0;
}

u64 file_size(std::FILE *stream) {
    const auto here = VIQ_TELL(stream);
    if (here < 0 || VIQ_SEEK(stream, 0, SEEK_END) != 0)
        return 0;
    const auto size = VIQ_TELL(stream);
    VIQ_SEEK(stream, here, SEEK_SET);
    return size > 0 ? static_cast<u64>(size) : 0;
}

void drop(file_sequence &state) {
    state.sequence = {};
    state.file.reset();
}

void end_sequences(file_sequence &state, const tVIQ_Image *image) {
    if (takes_part(state.sequence, image))
        drop(state);
}

u32 create_file(const char *function, file_sequence &state, const char *path) {
    constexpr std::size_t buffer_size = 16384;
    state.file.reset(open_to_write(path));
    if (state.file == nullptr)
        return report(function, VIQ_ERR_OPEN, "Failed to create file");
    std::setvbuf(state.file.get(), nullptr, _IOFBF, buffer_size);
    return success;
}

u32 check_written(const char *function, file_sequence &state) {
    if (std::ferror(state.file.get()) == 0)
        return success;
    drop(state);
    return report(function, VIQ_ERR_SYSTEM, "Failed to write to file");
}

} // namespace viq
