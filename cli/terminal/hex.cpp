#include "cli/terminal/hex.h"

namespace cli {

std::string hex(std::span<const std::byte> bytes) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const std::byte byte : bytes) {
        text += kDigits[std::to_integer<std::size_t>(byte >> 4)];
        text += kDigits[std::to_integer<std::size_t>(byte & std::byte{0x0F})];
    }
    return text;
}

std::string hex(std::string_view bytes) { return hex(std::as_bytes(std::span(bytes.data(), bytes.size()))); }

} // namespace cli
