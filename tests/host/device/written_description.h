/** A device description written to a folder of its own for one test. */
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace host_tests {

class WrittenDescription {
public:
    explicit WrittenDescription(const std::string &text) {
        std::string pattern = std::filesystem::temp_directory_path() / "qor-description-XXXXXX";
        _folder = ::mkdtemp(pattern.data());
        write("device.toml", text);
    }
    ~WrittenDescription() { std::filesystem::remove_all(_folder); }
    WrittenDescription(const WrittenDescription &) = delete;
    WrittenDescription &operator=(const WrittenDescription &) = delete;

    void write(const std::string &name, const std::string &bytes) const {
        std::ofstream(_folder / name, std::ios::binary) << bytes;
    }

    std::string folder() const { return _folder; }
    std::string path() const { return _folder / "device.toml"; }

private:
    std::filesystem::path _folder;
};

} // namespace host_tests
