// The files of the fuzz targets. They are in memory, because creating and deleting a file takes
// longer than reading a small one.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "core/file_io.h"
#include "core/types.h"

namespace viq {

constexpr std::size_t files = 4;

#if defined(__GLIBC__)

constexpr char memory_folder[] = "/viq/memory/";

struct memory_file {
    bool exists = false;
    std::vector<u8> bytes;
};

// Each thread has files of its own.
inline memory_file &memory_file_at(std::size_t index) {
    static thread_local memory_file all[files];
    return all[index];
}

inline std::string file_name(std::size_t index) {
    return memory_folder + std::to_string(index);
}

inline void remove_file(std::size_t index) {
    memory_file &file = memory_file_at(index);
    file.exists = false;
    file.bytes.clear();
}

struct memory_stream {
    memory_file &file;
    std::size_t position = 0;

    static ssize_t read(void *cookie, char *bytes, size_t count) {
        auto &[file, position] = *static_cast<memory_stream *>(cookie);
        count = std::min(count, file.bytes.size() - std::min(position, file.bytes.size()));
        if (count > 0)
            std::memcpy(bytes, file.bytes.data() + position, count);
        position += count;
        return static_cast<ssize_t>(count);
    }
    static ssize_t write(void *cookie, const char *bytes, size_t count) {
        constexpr std::size_t disk_full = std::size_t{64} << 20;
        auto &[file, position] = *static_cast<memory_stream *>(cookie);
        if (position + count > disk_full || count == 0)
            return 0;
        if (file.bytes.size() < position + count)
            file.bytes.resize(position + count);
        std::memcpy(file.bytes.data() + position, bytes, count);
        position += count;
        return static_cast<ssize_t>(count);
    }
    static int seek(void *cookie, off64_t *offset, int whence) {
        auto &[file, position] = *static_cast<memory_stream *>(cookie);
        const std::size_t start = whence == SEEK_SET   ? 0
                                  : whence == SEEK_CUR ? position
                                                       : file.bytes.size();
        const off64_t target = static_cast<off64_t>(start) + *offset;
        if (target < 0)
            return -1;
        position = static_cast<std::size_t>(target);
        *offset = target;
        return 0;
    }
    static int close(void *cookie) {
        delete static_cast<memory_stream *>(cookie);
        return 0;
    }
};

// Other paths are files of the system.
inline std::FILE *open_path(const char *path, const char *mode) {
    constexpr std::size_t folder_size = sizeof memory_folder - 1;
    if (std::strncmp(path, memory_folder, folder_size) != 0)
        return std::fopen(path, mode);
    const std::size_t index = std::strtoul(path + folder_size, nullptr, 10);
    memory_file &file = memory_file_at(std::min(index, files - 1));
    if (mode[0] == 'r' && !file.exists)
        return nullptr;
    file.exists = true;
    if (mode[0] == 'w')
        file.bytes.clear();
    return ::fopencookie(
        new memory_stream{file}, mode,
        {memory_stream::read, memory_stream::write, memory_stream::seek, memory_stream::close});
}

inline void use_memory_files() {
    set_file_opener(open_path);
}

#else

// Each thread has files of its own here as well.
inline std::string file_name(std::size_t index) {
    static const std::string base = (std::filesystem::temp_directory_path() /
                                     ("viq_fuzz" + std::to_string(std::random_device{}()) + "_"))
                                        .string();
    const std::size_t thread = std::hash<std::thread::id>{}(std::this_thread::get_id());
    return base + std::to_string(thread) + "_" + std::to_string(index);
}

inline std::FILE *open_path(const char *path, const char *mode) {
    return std::fopen(path, mode);
}

inline void remove_file(std::size_t index) {
    std::remove(file_name(index).c_str());
}

inline void use_memory_files() {}

#endif

inline void store_file(std::size_t index, const u8 *data, std::size_t size) {
    std::FILE *file = open_path(file_name(index).c_str(), "wb");
    if (file == nullptr || (size > 0 && std::fwrite(data, 1, size, file) != size) ||
        std::fclose(file) != 0)
        std::abort();
}

} // namespace viq
