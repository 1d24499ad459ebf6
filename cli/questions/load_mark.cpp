#include "cli/questions/load_mark.h"

#include <algorithm>
#include <cstddef>

#include "cli/questions/engine_client.h"

namespace cli {

std::vector<std::uint64_t> numbers_in(std::string_view text) {
    std::vector<std::uint64_t> numbers;
    if (!text.starts_with('[') || !text.ends_with(']') || text.size() < 2) {
        throw EngineFailure("the server answers with something else than a list of numbers", false);
    }
    text = text.substr(1, text.size() - 2);
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(','), text.size());
        numbers.push_back(number_in<std::uint64_t>(text.substr(0, end)));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return numbers;
}

RecordingKind kind_in(std::string_view text) {
    const auto kind = number_in<unsigned>(text);
    if (kind > static_cast<unsigned>(RecordingKind::Store)) {
        throw EngineFailure("the server has a mark of the unknown kind " + std::to_string(kind), false);
    }
    return static_cast<RecordingKind>(kind);
}

} // namespace cli
