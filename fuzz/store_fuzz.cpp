// Opens any bytes as an analytics store. Either they are refused with one error and stay unchanged, or the contents
// follow the store's rules, are printed in every form, and read back the same from a copy.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include "cli/metrics/families.h"
#include "cli/metrics/json.h"
#include "cli/metrics/openmetrics.h"
#include "cli/metrics/table.h"
#include "fuzz/controls.h"
#include "fuzz/input.h"
#include "host/error.h"
#include "host/store/analytics_store.h"

namespace {

namespace fs = std::filesystem;
using fuzz::require;

/** A folder for the files of this process. Removed at exit unless the process crashes. */
class Folder {
public:
    Folder() {
        std::string pattern = fs::temp_directory_path() / "qor-store-fuzz-XXXXXX";
        require(mkdtemp(pattern.data()) != nullptr, "a temporary folder can be created");
        _path = pattern;
    }
    Folder(const Folder &) = delete;
    Folder &operator=(const Folder &) = delete;
    ~Folder() {
        std::error_code ignored;
        fs::remove_all(_path, ignored);
    }

    const fs::path &path() const { return _path; }

private:
    fs::path _path;
};

const fs::path &folder() {
    static const Folder made;
    return made.path();
}

void write_file(const fs::path &path, const std::uint8_t *data, std::size_t size) {
    const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    require(write(descriptor, data, size) == static_cast<ssize_t>(size), "a store is written");
    close(descriptor);
}

/** Whether a file holds exactly these bytes. */
bool holds(const fs::path &path, const std::uint8_t *data, std::size_t size) {
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    std::vector<std::uint8_t> left(size + 1);
    const ssize_t count = read(descriptor, left.data(), left.size());
    close(descriptor);
    return count == static_cast<ssize_t>(size) && std::equal(data, data + size, left.begin());
}

void check_rules(const host::StoreContents &contents) {
    for (const auto &[key, distribution] : contents.distributions) {
        require(!distribution.empty(), "a distribution is not empty", key);
        for (const auto &[value, count] : distribution) {
            require(!std::isnan(value) && !(value == 0 && std::signbit(value)), "a value is a number and not -0", key);
            require(count >= 1 && count <= INT64_MAX, "a value has a count", key);
        }
    }
}

void check_copy(const host::StoreContents &contents) {
    const fs::path copy = folder() / "copy.db";
    fs::remove(copy);
    host::write_new_analytics_store(copy, contents);
    require(host::read_analytics_store(copy) == contents, "a copy holds the same");
}

/** Prints the contents in every form of `qorstat metrics`. */
void check_metrics(const host::StoreContents &contents) {
    require(!fuzz::has_controls(cli::metrics_table(contents, {true, false, 80})),
            "a terminal gets no control character");
    const auto json = nlohmann::json::parse(cli::metrics_json(contents));
    require(json.at("scalars").size() == contents.scalars.size(), "every scalar is printed");
    require(json.at("distributions").size() == contents.distributions.size(), "every distribution is printed");
    require(cli::openmetrics_text(cli::families_of(contents)).ends_with("# EOF\n"), "the exposition ends with # EOF");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const fs::path file = folder() / "input.db";
    write_file(file, data, size);
    try {
        const host::StoreContents contents = host::read_analytics_store(file);
        check_rules(contents);
        check_copy(contents);
        check_metrics(contents);
    } catch (const host::Error &error) {
        require(error.file() == file.string(), "the error names the file", error.what());
    }
    require(holds(file, data, size), "the file is unchanged");
    return 0;
}
