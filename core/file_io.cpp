#include "core/file_io.h"

#include "core/report.h"

#if defined(_WIN32)
#define VIQ_SEEK _fseeki64
#define VIQ_TELL _ftelli64
#else
#define VIQ_SEEK fseeko
#define VIQ_TELL ftello
#endif

namespace viq {

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
    state.file.reset(std::fopen(path, "wb"));
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
