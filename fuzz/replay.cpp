// Runs a fuzz target over the files of a corpus without libFuzzer, so that every build checks the corpus.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace {

std::vector<std::uint8_t> content(const std::filesystem::path &path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::runtime_error(path.string() + ": cannot be read");
    }
    std::vector<std::uint8_t> bytes;
    std::transform(std::istreambuf_iterator<char>(file), {}, std::back_inserter(bytes),
                   [](char byte) { return static_cast<std::uint8_t>(byte); });
    return bytes;
}

std::size_t replay(const std::filesystem::path &folder) {
    std::size_t count = 0;
    for (const auto &entry : std::filesystem::directory_iterator(folder)) {
        // Printed first, since a target that finds something ends the process.
        std::printf("%s\n", entry.path().c_str());
        std::fflush(stdout);
        const std::vector<std::uint8_t> bytes = content(entry.path());
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
        ++count;
    }
    if (count == 0) {
        throw std::runtime_error(folder.string() + ": holds no inputs");
    }
    return count;
}

} // namespace

int main(int argc, char **argv) try {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s CORPUS-FOLDER\n", argv[0]);
        return 2;
    }
    std::printf("%zu inputs\n", replay(argv[1]));
    return 0;
} catch (const std::exception &error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
