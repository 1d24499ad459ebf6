/** State-capture records built byte by byte. */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace cli_tests {

using namespace std::string_view_literals;

inline std::string little_endian_32(std::uint32_t value) {
    std::string bytes;
    for (unsigned shift = 0; shift < 32; shift += 8) {
        bytes += static_cast<char>(value >> shift);
    }
    return bytes;
}

/** Header and payload; `payload_size` goes into the header unchecked. */
inline std::string record(std::string_view title, std::string_view payload, std::uint32_t payload_size,
                          std::uint32_t type_code = 1) {
    std::string bytes = little_endian_32(type_code) + little_endian_32(payload_size);
    bytes.append(128, '\0'); // the two decoder names
    bytes += title;
    bytes.resize(200, '\0');
    return bytes + std::string(payload);
}

inline std::string record(std::string_view title, std::string_view payload) {
    return record(title, payload, static_cast<std::uint32_t>(payload.size()));
}

// Payloads in CBOR: the self-described tag, then the item.

/** ["{ 'a':1,}", "{ 'b':2,}"] */
inline constexpr std::string_view kTwoLines = "\xD9\xD9\xF7\x82\x69{ 'a':1,}\x69{ 'b':2,}"sv;
/** ["\x1b[31mred"]: a text that would colour a terminal */
inline constexpr std::string_view kRedLine = "\xD9\xD9\xF7\x81\x68\x1b[31mred"sv;
/** An array of these texts, fewer than 24 of them, each shorter than 65536 bytes. */
inline std::string payload_of_lines(const std::vector<std::string> &lines) {
    std::string payload = "\xD9\xD9\xF7";
    payload += static_cast<char>(0x80 + lines.size());
    for (const std::string &line : lines) {
        payload += '\x79';
        payload += static_cast<char>(line.size() >> 8);
        payload += static_cast<char>(line.size() & 0xFF);
        payload += line;
    }
    return payload;
}

/** {"big": 9223372036854775807, "raw": h'00ab', "low": -9223372036854775808, "on": true} */
inline constexpr std::string_view kDictionary = "\xD9\xD9\xF7\xA4"
                                                "\x62on\xF5"
                                                "\x63"
                                                "big\x1B\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF"
                                                "\x63low\x3B\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF"
                                                "\x63raw\x42\x00\xAB"sv;
/** {} */
inline constexpr std::string_view kEmptyDictionary = "\xD9\xD9\xF7\xA0"sv;

} // namespace cli_tests
