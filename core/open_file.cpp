#include "core/open_file.h"

#include "core/report.h"

namespace viq {

u32 close_file(const char *function, unique_stream &file) {
    if (file == nullptr)
        return success;
    const bool failed = std::ferror(file.get()) != 0;
    const bool closed = std::fclose(file.release()) == 0;
    return closed && !failed ? success : report(function, VIQ_ERR_CLOSE, "Failed to close file");
}

} // namespace viq
