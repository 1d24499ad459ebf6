/**
 * The binary encoding of typed values: CBOR (RFC 8949) in the core deterministic encoding, with the self-described
 * tag in front.
 */
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/Owned.h"

namespace host {

/** Encodes a value; nothing for one with more than 64 arrays and dictionaries inside one another. */
std::optional<std::vector<unsigned char>> encode_binary_encoding(TvRef value);

/**
 * Decodes what `encode_binary_encoding` writes, and any other CBOR item made of maps with text keys, arrays, integers
 * of 64 signed bits, text, byte strings and booleans with definite lengths.
 *
 * The bytes may be hostile: counts and nesting (at most 64 arrays and maps inside one another) are checked against the
 * remaining bytes before anything is created. Duplicate keys, text that is not well-formed and bytes after the item
 * are refused.
 *
 * @param file  named in errors.
 * @param base  the offset of `bytes` in that file, added to the offsets in errors.
 * @throws Error naming the file, the byte and the reason.
 */
platform::OwnedValue decode_binary_encoding(std::span<const std::byte> bytes, const std::string &file,
                                            std::size_t base);

} // namespace host
