#include "cli/reports/json_values.h"

#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace {

/** The text that `append` appends. */
template <typename Append>
std::string append_with(const Append &append) {
    text_buffer out;
    append(out);
    return std::string(out.text());
}

std::string json_string(std::string_view text) {
    return append_with([&](text_buffer &out) { cli::append_json_string(out, text); });
}

std::string number(std::uint64_t value) {
    return append_with([&](text_buffer &out) { cli::append_number(out, value); });
}

std::string real(double value) {
    return append_with([&](text_buffer &out) { cli::append_real(out, value); });
}

TEST(JsonStringTest, IsQuoted) {
    EXPECT_EQ(json_string(""), "\"\"");
    EXPECT_EQ(json_string("gr\xC3\xBC\xC3\x9F"), "\"gr\xC3\xBC\xC3\x9F\"");
}

TEST(JsonStringTest, MarksAreEscaped) { EXPECT_EQ(json_string("\"a\\b\""), R"("\"a\\b\"")"); }

TEST(JsonStringTest, ControlCharactersAreEscapedUpToU009F) {
    EXPECT_EQ(json_string(std::string_view("\0a\n", 3)), R"("\u0000a\u000a")");
    EXPECT_EQ(json_string("\x1F \x7E\x7F"), "\"\\u001f ~\\u007f\"");
    EXPECT_EQ(json_string("\xC2\x80\xC2\x9F\xC2\xA0"), "\"\\u0080\\u009f\xC2\xA0\"");
}

TEST(JsonHexStringTest, HasTwoDigitsAByte) {
    const std::string bytes = "\x01\xAB";

    EXPECT_EQ(append_with([&](text_buffer &out) { cli::append_hex_string(out, std::as_bytes(std::span(bytes))); }),
              "\"01ab\"");
}

TEST(JsonNumberTest, IntegersAreExact) {
    EXPECT_EQ(number(0), "0");
    EXPECT_EQ(number(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
}

TEST(JsonNumberTest, RealsAreShortestAndReadBack) {
    EXPECT_EQ(real(1.5), "1.5");
    EXPECT_EQ(real(-1), "-1");
    EXPECT_EQ(std::stod(real(1.0 / 65536)), 1.0 / 65536);
    EXPECT_EQ(std::stod(real(0.1)), 0.1);
}

} // namespace
