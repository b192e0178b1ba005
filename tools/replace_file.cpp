#include "tools/replace_file.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>

#include "tools/image_handle.h"
#include "tools/temporary_folder.h"

#ifdef _WIN32
#include <io.h>
#define isatty _isatty
#define fileno _fileno
#else
#include <unistd.h>
#endif

namespace tool {

namespace fs = std::filesystem;

namespace {

using writer = std::function<void(const std::string &temporary)>;

void write_through(const std::string &name, std::FILE *to, const writer &write);
void write_beside(const std::string &path, const fs::path &target, const writer &write);
void write_by_short_name(const std::string &path, const fs::path &target, const writer &write);
fs::path resolve_link(const std::string &path);
fs::path unused_name_beside(const fs::path &path);

} // namespace

void replace_file(const std::string &path, const writer &write) {
    if (path == standard_stream) {
        if (isatty(fileno(stdout)) != 0)
            throw failure{"standard output: a terminal cannot show a picture file"};
        write_through("standard output", binary_standard_stream(stdout), write);
        return;
    }
    const fs::path target = resolve_link(path);
    if (fs::is_directory(target))
        throw failure{path + ": is a folder"};
    if (is_special_file(text_of(target)))
        write_through(path, open_or_fail(text_of(target), "wb", path, "cannot be created").get(),
                      write);
    else
        write_beside(path, target, write);
}

namespace {

// Devices and pipes receive the complete content of a temporary file.
void write_through(const std::string &name, std::FILE *to, const writer &write) {
    const temporary_folder folder;
    const std::string temporary = text_of(folder.path / "output");
    write(temporary);
    const file_ptr from = open_or_fail(temporary, "rb", name, "cannot be created");
    copy_stream(from.get(), name, to, name);
}

void write_beside(const std::string &path, const fs::path &target, const writer &write) {
    const fs::path temporary = unused_name_beside(target);
    open_or_fail(text_of(temporary), "wb", path, "cannot be created");
    std::error_code error;
    try {
        if (text_of(temporary).size() <= longest_library_name) {
            write(text_of(temporary));
        } else {
            write_by_short_name(path, temporary, write);
        }
        if (const fs::file_status old = fs::status(target, error); fs::exists(old))
            fs::permissions(temporary, old.permissions(), error);
        fs::rename(temporary, target, error);
        if (error)
            throw failure{path + ": cannot be replaced: " + error.message()};
    } catch (...) {
        fs::remove(temporary, error);
        throw;
    }
}

// If the system cannot make links, the file is copied.
void write_by_short_name(const std::string &path, const fs::path &target, const writer &write) {
    const temporary_folder folder;
    const fs::path link = folder.path / "f";
    std::error_code error;
    fs::create_directory_symlink(fs::absolute(target).parent_path(), link, error);
    if (error)
        write_through(path, open_or_fail(text_of(target), "wb", path, "cannot be created").get(),
                      write);
    else
        write(text_of(link / target.filename()));
}

// A symbolic link stays; the file that it refers to is replaced.
fs::path resolve_link(const std::string &path) {
    std::error_code ignored;
    const fs::path target = path_from(path);
    return fs::is_symlink(target, ignored) && fs::exists(target, ignored) ? fs::canonical(target)
                                                                          : target;
}

// The name is short, because the library limits the length of file names. Threads never get the
// same number, so that they cannot take one name between the test and the creation of the file.
fs::path unused_name_beside(const fs::path &path) {
    constexpr std::uint64_t numbers = 100000;
    static std::atomic<std::uint64_t> next =
        static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
    std::error_code ignored;
    fs::path name;
    do
        name = fs::path(path).replace_filename(".v" + std::to_string(next++ % numbers));
    while (fs::exists(name, ignored));
    return name;
}

} // namespace

} // namespace tool
