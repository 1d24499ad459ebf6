#include "decoder/digits.h"

#include <gtest/gtest.h>

#include <cinttypes>
#include <cstdio>
#include <limits>
#include <string>
#include <vector>

#include "decoder/byte_dump.h"

namespace {

/** Zero, all ones, and the values on either side of each change of length in decimal and in binary. */
std::vector<std::uint64_t> border_numbers() {
    std::vector<std::uint64_t> numbers{0, std::numeric_limits<std::uint64_t>::max()};
    for (std::uint64_t power = 1;; power *= 10) {
        numbers.insert(numbers.end(), {power - 1, power, power + 1});
        if (power > std::numeric_limits<std::uint64_t>::max() / 10) {
            break;
        }
    }
    for (unsigned bit = 0; bit < 64; ++bit) {
        numbers.insert(numbers.end(), {(std::uint64_t{1} << bit) - 1, std::uint64_t{1} << bit});
    }
    // Every digit in every position.
    for (std::uint64_t digit = 1; digit <= 9; ++digit) {
        for (std::uint64_t power = 1; power <= 1'000'000'000'000'000'000; power *= 10) {
            numbers.push_back(digit * power);
            if (power == 1'000'000'000'000'000'000) {
                break;
            }
        }
    }
    return numbers;
}

template <typename... Arguments>
std::string format_text(const char *format, Arguments... arguments) {
    char text[64];
    const int size = std::snprintf(text, sizeof text, format, arguments...);
    return std::string(text, static_cast<std::size_t>(size));
}

template <typename Put, typename Value>
std::string put_text(Put put, Value value) {
    char memory[64];
    return std::string(memory, put(memory, value));
}

TEST(Digits, DecimalHasNoLeadingZeros) {
    for (std::uint64_t number : border_numbers()) {
        EXPECT_EQ(put_text(decoder::put_decimal, number), format_text("%" PRIu64, number));
    }
}

TEST(Digits, UpToTenDigitsHaveNoLeadingZeros) {
    for (std::uint64_t number : border_numbers()) {
        if (number < 10'000'000'000) {
            const auto put = [](char *out, std::uint64_t value) { return decoder::put_up_to_ten_digits(out, value); };
            EXPECT_EQ(put_text(put, number), format_text("%" PRIu64, number));
        }
    }
}

TEST(Digits, TenPlacesArePaddedWithBlanksAndNeverCut) {
    for (std::uint64_t number : border_numbers()) {
        EXPECT_EQ(put_text(decoder::put_ten_or_more_places, number), format_text("%10" PRIu64, number));
    }
}

TEST(Digits, HexadecimalIsLowerCaseWithoutLeadingZeros) {
    for (std::uint64_t number : border_numbers()) {
        const auto word = static_cast<std::uint32_t>(number);
        EXPECT_EQ(put_text(decoder::put_hexadecimal, word), format_text("%" PRIx32, word));
    }
    EXPECT_EQ(put_text(decoder::put_hexadecimal, 0x89ABCDEFu), "89abcdef");
    EXPECT_EQ(put_text(decoder::put_hexadecimal, 0x01234567u), "1234567");
}

TEST(Digits, EveryByteIsTwoHexadecimalDigits) {
    std::vector<std::uint8_t> bytes;
    std::string expected;
    for (unsigned byte = 0; byte < 256; ++byte) {
        bytes.push_back(static_cast<std::uint8_t>(byte));
        expected += format_text("%02x", byte);
    }
    char memory[512];

    EXPECT_EQ(std::string(memory, decoder::put_hexadecimal_pairs(memory, bytes)), expected);
}

TEST(Digits, SixDigitsKeepTheirZeros) {
    for (std::uint32_t number : {0u, 7u, 10u, 99'999u, 100'000u, 250'000u, 999'999u}) {
        EXPECT_EQ(put_text(decoder::put_six_digits, number), format_text("%06" PRIu32, number));
    }
}

TEST(Digits, EveryByteIsFollowedByAComma) {
    for (unsigned byte = 0; byte < 256; ++byte) {
        EXPECT_EQ(put_text(decoder::put_byte_and_comma, static_cast<std::uint8_t>(byte)), format_text("%u,", byte));
    }
}

using DumpWriter = char *(*)(char *, const std::uint8_t *, std::size_t);

/** Lengths on either side of every block size; bytes of one, two and three digits follow each other in every order. */
void expect_dumps(DumpWriter put_dump) {
    std::vector<std::uint8_t> bytes;
    std::string list;
    for (unsigned length = 0; length <= 300; ++length) {
        std::vector<char> memory(decoder::dump_room(length), '?');
        char *end = put_dump(memory.data(), bytes.data(), length);
        ASSERT_EQ(std::string(memory.data(), end), "[" + list + "]");

        bytes.push_back(static_cast<std::uint8_t>(length * 37 + length / 7));
        list += (length > 0 ? "," : "") + std::to_string(bytes.back());
    }
}

TEST(Dump, OfAnyLengthListsItsBytes) { expect_dumps(decoder::put_dump); }

TEST(Dump, WithoutVectorInstructionsIsTheSame) { expect_dumps(decoder::put_dump_portably); }

TEST(Dump, PrintsEveryByteInEveryPosition) {
    for (unsigned value = 0; value < 256; ++value) {
        for (std::size_t place = 0; place < 48; ++place) {
            std::uint8_t bytes[48] = {};
            bytes[place] = static_cast<std::uint8_t>(value);
            char memory[decoder::dump_room(48)];
            std::string expected = "[";
            for (std::size_t index = 0; index < 48; ++index) {
                expected += (index > 0 ? "," : "") + std::to_string(bytes[index]);
            }
            ASSERT_EQ(std::string(memory, decoder::put_dump(memory, bytes, 48)), expected + "]");
        }
    }
}

TEST(Dump, ReadsNoBytePastItsLength) {
    // The bytes end with their allocation, so that the address sanitizer catches a read of the next byte.
    for (std::size_t length = 1; length <= 48; ++length) {
        const std::vector<std::uint8_t> bytes(length, 255);
        char memory[decoder::dump_room(48)];
        const std::string dump(memory, decoder::put_dump(memory, bytes.data(), length));
        EXPECT_EQ(dump.size(), 1 + 4 * length);
    }
}

} // namespace
