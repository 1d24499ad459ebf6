/** Bytes as hexadecimal text. */
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace cli {

/** Two lower-case digits per byte, without separators. */
std::string hex(std::span<const std::byte> bytes);
std::string hex(std::string_view bytes);

} // namespace cli
