#include "cli/inputs/file_list.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "cli/inputs/byte_stream.h"
#include "host/error.h"

namespace cli {
namespace {

std::string read_list(const std::string &argument) {
    ByteStream stream(argument);
    const ContentKind kind = stream.content().kind;
    if (kind != ContentKind::Text && kind != ContentKind::Empty && kind != ContentKind::Dump) {
        throw host::Error(stream.name(), "", "is " + std::string(stream.content().name) + ", not a list of files");
    }
    std::string text;
    std::vector<std::byte> piece(64 * 1024);
    while (const std::size_t count = stream.read_some(piece)) {
        if (text.size() + count > kLongestList) {
            throw host::Error(stream.name(), "",
                              "is longer than a list of files may be: " + std::to_string(kLongestList >> 20) + " MB");
        }
        text.append(static_cast<const char *>(static_cast<const void *>(piece.data())), count);
    }
    return text;
}

} // namespace

std::vector<std::string> read_file_list(const std::string &argument) {
    const std::string text = read_list(argument);
    const char separator = text.find('\0') == std::string::npos ? '\n' : '\0';
    std::vector<std::string> names;
    std::string_view left = text;
    while (!left.empty()) {
        const std::string_view name = left.substr(0, left.find(separator));
        if (!name.empty()) {
            names.emplace_back(name);
        }
        left.remove_prefix(std::min(name.size() + 1, left.size()));
    }
    return names;
}

} // namespace cli
