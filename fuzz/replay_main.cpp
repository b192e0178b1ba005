// Runs a fuzz target on every file of the given folders, without a fuzzer.
//
// The files are read without the C++ library, because the memory sanitizer does not see what that
// writes.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include <dirent.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

// Inputs are replayed as they are.
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t *, std::size_t size, std::size_t) {
    return size;
}

namespace {

// False: the file cannot be read.
bool read_input(const std::string &path, std::vector<std::uint8_t> &bytes) {
    std::FILE *file = std::fopen(path.c_str(), "rb");
    if (file == nullptr)
        return false;
    bytes.clear();
    std::uint8_t part[4096];
    for (std::size_t count; (count = std::fread(part, 1, sizeof part, file)) != 0;)
        bytes.insert(bytes.end(), part, part + count);
    const bool is_read = std::ferror(file) == 0;
    std::fclose(file);
    return is_read;
}

int replay(const std::string &folder) {
    int count = 0;
    DIR *entries = opendir(folder.c_str());
    if (entries == nullptr)
        return 0;
    std::vector<std::uint8_t> bytes;
    while (const dirent *entry = readdir(entries)) {
        if (!read_input(folder + '/' + entry->d_name, bytes))
            continue; // a folder
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
        ++count;
    }
    closedir(entries);
    return count;
}

} // namespace

int main(int argc, char **argv) {
    int count = 0;
    for (int i = 1; i < argc; ++i)
        count += replay(argv[i]);
    std::printf("%d inputs replayed\n", count);
    return count > 0 ? 0 : 1;
}
