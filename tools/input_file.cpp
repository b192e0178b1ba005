#include "tools/input_file.h"

#include "tools/image_handle.h"

#ifndef _WIN32
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>
#endif

namespace tool {

namespace fs = std::filesystem;

namespace {

std::string first_bytes(std::FILE *file) {
    std::string bytes(16, '\0');
    bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file));
    return bytes;
}

input_file copy_of(std::FILE *stream, const std::string &name);
input_file link_to(const std::string &name);
file_ptr open_special(const std::string &name);

} // namespace

input_file open_input(const std::string &name) {
    if (name == standard_stream)
        return copy_of(binary_standard_stream(stdin), "standard input");
    std::error_code ignored;
    if (fs::is_directory(path_from(name), ignored))
        throw failure{name + ": is a folder"};
    if (is_special_file(name))
        return copy_of(open_special(name).get(), name);
    const file_ptr file = open_or_fail(name, "rb", name, "cannot be opened");
    input_file input = name.size() > longest_library_name ? link_to(name) : input_file{name};
    input.first_bytes = first_bytes(file.get());
    return input;
}

namespace {

input_file copy_of(std::FILE *stream, const std::string &name) {
    input_file input = {{}, std::make_shared<temporary_folder>()};
    input.path = text_of(input.folder->path / "input");
    const file_ptr to = open_or_fail(input.path, "w+b", input.path, "cannot be created");
    copy_stream(stream, name, to.get(), input.path);
    std::rewind(to.get());
    input.first_bytes = first_bytes(to.get());
    return input;
}

// If the system cannot make links, the file is copied.
input_file link_to(const std::string &name) {
    input_file input = {{}, std::make_shared<temporary_folder>()};
    const fs::path link = input.folder->path / "input";
    input.path = text_of(link);
    std::error_code error;
    fs::create_symlink(fs::absolute(path_from(name)), link, error);
    if (error)
        return copy_of(open_or_fail(name, "rb", name, "cannot be opened").get(), name);
    return input;
}

#ifdef _WIN32

file_ptr open_special(const std::string &name) {
    return open_or_fail(name, "rb", name, "cannot be opened");
}

#else

// A named pipe without a program that writes to it would block without end.
file_ptr open_special(const std::string &name) {
    constexpr int longest_wait = 5000; // milliseconds until the first byte
    if (!fs::is_fifo(name) || name.starts_with("/dev/") || name.starts_with("/proc/"))
        return open_or_fail(name, "rb", name, "cannot be opened");
    const int descriptor = open(name.c_str(), O_RDONLY | O_NONBLOCK);
    if (descriptor < 0)
        fail_by_system(name, "cannot be opened");
    file_ptr file(fdopen(descriptor, "rb"));
    pollfd waiting = {descriptor, POLLIN, 0};
    if (poll(&waiting, 1, longest_wait) <= 0)
        throw failure{name + ": no program writes to this pipe"};
    fcntl(descriptor, F_SETFL, 0); // further reading waits for data
    return file;
}

#endif

} // namespace

} // namespace tool
