// Reads any baseline whose checksum is right: it is refused with one error, or it can be compared with itself, and then
// nothing differs.

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "cli/comparison/baseline.h"
#include "cli/comparison/comparison.h"
#include "cli/comparison/json.h"
#include "cli/dumps/owner_names.h"
#include "cli/recordings/content_hash.h"
#include "fuzz/input.h"
#include "fuzz/named_bytes.h"
#include "host/error.h"

namespace {

using fuzz::require;

constexpr std::string_view kStart = "QORBASE\n\x01";
constexpr std::size_t kMostDevices = 6; // more take long, and are no different

/** A baseline with this content. */
std::vector<std::uint8_t> baseline_of(std::span<const std::uint8_t> content) {
    cli::ContentHash hash;
    hash.add(std::as_bytes(content));
    std::vector<std::uint8_t> bytes(kStart.begin(), kStart.end());
    for (unsigned byte = 0; byte < 8; ++byte) {
        bytes.push_back(static_cast<std::uint8_t>(hash.value() >> (8 * byte)));
    }
    bytes.insert(bytes.end(), content.begin(), content.end());
    return bytes;
}

void compare_with_itself(const cli::Side &side) {
    static const cli::OwnerNames kNames;
    const cli::ComparisonOptions options{.seed = 1, .level = 0.05, .keeps_all = true, .names = &kNames};
    const cli::ComparisonResult result = cli::compare_sides(side, side, options);
    for (const cli::Finding &finding : result.findings) {
        require(finding.kind == cli::FindingKind::None, "a side is like itself", finding.label);
        require(finding.distance < 1e-9, "a side is not far from itself", finding.label);
        require(finding.a.count == finding.b.count, "a side has as many values as itself", finding.label);
    }
    require(result.settings.empty(), "a side has the settings of itself", "");
    const std::string json = cli::comparison_json(result);
    require(nlohmann::json::accept(json), "the result is JSON", json);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const fuzz::NamedBytes file(baseline_of({data, size}), false);
    try {
        const cli::Side side = cli::read_baseline(file.name());
        if (side.devices.size() <= kMostDevices) {
            compare_with_itself(side);
        }
    } catch (const host::Error &error) {
        require(error.file() == file.name(), "the error names the file", error.what());
    }
    return 0;
}
