#include "tools/replace_file.h"

#include <chrono>
#include <filesystem>

#include "tools/image_handle.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

fs::path resolve_link(const std::string &path);
bool is_special(const fs::path &path);
fs::path unused_name_beside(const fs::path &path);

} // namespace

void replace_file(const std::string &path,
                  const std::function<void(const std::string &temporary)> &write) {
    const fs::path target = resolve_link(path);
    const bool direct = is_special(target);
    const fs::path temporary = direct ? target : unused_name_beside(target);
    std::error_code error;
    try {
        write(temporary.string());
        if (!direct)
            fs::rename(temporary, target, error);
        if (error)
            throw failure{path + ": " + error.message()};
    } catch (...) {
        if (!direct)
            fs::remove(temporary, error);
        throw;
    }
}

namespace {

// A symbolic link stays; the file that it refers to is replaced.
fs::path resolve_link(const std::string &path) {
    std::error_code ignored;
    const fs::path target(path);
    return fs::is_symlink(target, ignored) && fs::exists(target, ignored) ? fs::canonical(target)
                                                                          : target;
}

bool is_special(const fs::path &path) {
    std::error_code ignored;
    const fs::file_status status = fs::status(path, ignored);
    return fs::exists(status) && !fs::is_regular_file(status) && !fs::is_directory(status);
}

// The name is short, because the library limits the length of file names.
fs::path unused_name_beside(const fs::path &path) {
    constexpr auto numbers = 100000;
    std::error_code ignored;
    auto number = std::chrono::steady_clock::now().time_since_epoch().count() % numbers;
    fs::path name;
    do
        name = fs::path(path).replace_filename(".v" + std::to_string(number++));
    while (fs::exists(name, ignored));
    return name;
}

} // namespace

} // namespace tool
