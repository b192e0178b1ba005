#include "tools/temporary_folder.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <random>

#include "tools/image_handle.h"

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#endif

namespace tool {

namespace fs = std::filesystem;

// The random name cannot be predicted, and an existing folder is not used.
temporary_folder::temporary_folder() {
    std::random_device random;
    std::error_code error;
    do {
        path = fs::temp_directory_path() /
               ("viq" + std::to_string(random()) + std::to_string(random()));
        if (fs::create_directory(path, error)) {
            fs::permissions(path, fs::perms::owner_all, error);
            return;
        }
    } while (!error);
    throw failure{text_of(path) + ": cannot be created: " + error.message()};
}

temporary_folder::~temporary_folder() {
    std::error_code ignored;
    fs::remove_all(path, ignored);
}

file_ptr open_or_fail(const std::string &path, const char *mode, const std::string &name,
                      const char *purpose) {
    file_ptr file(std::fopen(path.c_str(), mode));
    if (file == nullptr)
        fail_by_system(name, purpose);
    return file;
}

void fail_by_system(const std::string &name, const char *purpose) {
    throw failure{name + ": " + purpose + ": " + std::strerror(errno)};
}

bool is_special_file(const std::string &path) {
    std::error_code ignored;
    const fs::file_status status = fs::status(path_from(path), ignored);
    return fs::exists(status) && !fs::is_regular_file(status) && !fs::is_directory(status);
}

void copy_stream(std::FILE *from, const std::string &from_name, std::FILE *to,
                 const std::string &to_name) {
    std::array<char, 65536> buffer;
    std::size_t count;
    while ((count = std::fread(buffer.data(), 1, buffer.size(), from)) > 0)
        if (std::fwrite(buffer.data(), 1, count, to) != count)
            fail_by_system(to_name, "cannot be written");
    if (std::ferror(from))
        fail_by_system(from_name, "cannot be read");
    if (std::fflush(to) != 0)
        fail_by_system(to_name, "cannot be written");
}

std::FILE *binary_standard_stream(std::FILE *stream) {
#ifdef _WIN32
    _setmode(_fileno(stream), _O_BINARY);
#endif
    return stream;
}

} // namespace tool
