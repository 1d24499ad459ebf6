/** A folder for the store files of a target. */
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "fuzz/input.h"

namespace fuzz {

/** A folder for the files of this process. Removed at exit unless the process crashes. */
class StoreFolder {
public:
    StoreFolder() {
        std::string pattern = std::filesystem::temp_directory_path() / "qor-store-fuzz-XXXXXX";
        require(mkdtemp(pattern.data()) != nullptr, "a temporary folder can be created");
        _path = pattern;
    }
    StoreFolder(const StoreFolder &) = delete;
    StoreFolder &operator=(const StoreFolder &) = delete;
    ~StoreFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(_path, ignored);
    }

    const std::filesystem::path &path() const { return _path; }

private:
    std::filesystem::path _path;
};

inline const std::filesystem::path &store_folder() {
    static const StoreFolder made;
    return made.path();
}

inline void write_file(const std::filesystem::path &path, const std::uint8_t *data, std::size_t size) {
    const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    require(write(descriptor, data, size) == static_cast<ssize_t>(size), "a store is written");
    close(descriptor);
}

/** Whether a file holds exactly these bytes. */
inline bool holds(const std::filesystem::path &path, const std::uint8_t *data, std::size_t size) {
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    std::vector<std::uint8_t> left(size + 1);
    const ssize_t count = read(descriptor, left.data(), left.size());
    close(descriptor);
    return count == static_cast<ssize_t>(size) && std::equal(data, data + size, left.begin());
}

} // namespace fuzz
