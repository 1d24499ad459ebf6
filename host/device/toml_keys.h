/** A limit that the TOML parser lacks. */
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace host {

/** The most parts of a dotted key, also in the header of a table. */
inline constexpr std::size_t kMostKeyParts = 32;

/**
 * Each part of a key is a table within another, and the parser destroys these by recursion: a header of a few thousand
 * parts would exhaust the stack. It limits the depth of values only. Call this before it parses the text.
 * @param name  of the source, for errors.
 * @throws Error with line and column for a key of more parts than `kMostKeyParts`.
 */
void require_short_keys(std::string_view toml, const std::string &name);

} // namespace host
