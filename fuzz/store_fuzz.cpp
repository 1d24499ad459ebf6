// Opens any bytes as an analytics store. Either they are refused with one error and stay unchanged, or the contents
// follow the store's rules, are printed in every form, and read back the same from a copy.

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <string>

#include <nlohmann/json.hpp>

#include "cli/metrics/families.h"
#include "cli/metrics/json.h"
#include "cli/metrics/openmetrics.h"
#include "cli/metrics/table.h"
#include "fuzz/controls.h"
#include "fuzz/input.h"
#include "fuzz/store_folder.h"
#include "host/error.h"
#include "host/store/analytics_store.h"

namespace {

namespace fs = std::filesystem;
using fuzz::holds;
using fuzz::require;
using fuzz::store_folder;
using fuzz::write_file;

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
    const fs::path copy = store_folder() / "copy.db";
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
    const fs::path file = store_folder() / "input.db";
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
