#include "core/replaced_file.h"

#include <exception>
#include <new>
#include <string>

#include "core/report.h"

namespace viq {

namespace fs = std::filesystem;

u32 open_replacement(const char *function, const char *path, u32 number, replaced_file &file,
                     unique_stream &stream) {
    try {
        std::error_code error;
        file.target = path;
        file.written = file.target;
        if (!fs::exists(file.target, error) || fs::is_regular_file(file.target, error))
            file.written += ".part" + std::to_string(number);
        stream.reset(open_file(file.written.string().c_str(), "wb"));
    } catch (const std::bad_alloc &) {
        return report(function, VIQ_ERR_MEMORY, "");
    } catch (const std::exception &) { // the name has no form in the characters of the system
        stream.reset();
    }
    return stream != nullptr ? success : report(function, VIQ_ERR_OPEN, "Failed to create file");
}

u32 finish_replacement(const char *function, const replaced_file &file) {
    if (file.written == file.target)
        return success;
    std::error_code error;
    fs::rename(file.written, file.target, error);
    if (!error)
        return success;
    discard_replacement(file);
    return report(function, VIQ_ERR_SYSTEM, "Failed to replace file");
}

void discard_replacement(const replaced_file &file) {
    std::error_code error;
    if (file.written != file.target)
        fs::remove(file.written, error);
}

} // namespace viq
