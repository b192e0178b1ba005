// A folder of temporary files, and names of files that the library can open.
#pragma once

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

#include "tools/file_path.h"

namespace tool {

// The name that represents standard input and standard output.
constexpr const char *standard_stream = "-";

// The library takes file names of at most so many bytes.
constexpr std::size_t longest_library_name = 127;

// An empty folder that is readable by its owner only. It is removed with its contents.
struct temporary_folder {
    std::filesystem::path path;

    temporary_folder();
    ~temporary_folder();
    temporary_folder(const temporary_folder &) = delete;
    temporary_folder &operator=(const temporary_folder &) = delete;
};

struct file_closer {
    void operator()(std::FILE *file) const { std::fclose(file); }
};

using file_ptr = std::unique_ptr<std::FILE, file_closer>;

// Opens a file. `name` and `purpose`, such as "cannot be opened", are for the failure, which gives
// the reason of the system.
file_ptr open_or_fail(const std::string &path, const char *mode, const std::string &name,
                      const char *purpose);

// Throws a failure with the reason of the last failed call of the system.
[[noreturn]] void fail_by_system(const std::string &name, const char *purpose);

// Whether the path exists and is neither a regular file nor a folder.
bool is_special_file(const std::string &path);

// Copies the rest of one file to another. `to` is flushed.
void copy_stream(std::FILE *from, const std::string &from_name, std::FILE *to,
                 const std::string &to_name);

// Standard input or output without translation of line ends.
std::FILE *binary_standard_stream(std::FILE *stream);

} // namespace tool
