// Runs a fuzz target on every file of the given folders, without a fuzzer.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

// Inputs are replayed as they are.
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t *, std::size_t size, std::size_t) {
    return size;
}

namespace {

int replay(const std::filesystem::path &folder) {
    int count = 0;
    for (const auto &entry : std::filesystem::directory_iterator(folder)) {
        if (!entry.is_regular_file())
            continue;
        std::ifstream file(entry.path(), std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size());
        ++count;
    }
    return count;
}

} // namespace

int main(int argc, char **argv) try {
    int count = 0;
    for (int i = 1; i < argc; ++i)
        count += replay(argv[i]);
    std::printf("%d inputs replayed\n", count);
    return count > 0 ? 0 : 1;
} catch (const std::exception &error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
