#include "decoder/text_stream.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

namespace {

template <typename Write>
std::string written(Write write) {
    text_buffer buffer;
    text_stream stream(buffer);
    write(stream);
    stream.flush();
    return std::string(buffer.text());
}

TEST(TextStream, WidthAlignsOneValueToTheRight) {
    EXPECT_EQ(written([](text_stream &stream) {
                  stream << set_width{5} << "ab"
                         << "cd";
              }),
              "   abcd");
    EXPECT_EQ(written([](text_stream &stream) { stream << set_width{5} << 42u << 42u; }), "   4242");
    EXPECT_EQ(written([](text_stream &stream) { stream << set_width{3} << 'x' << 'y'; }), "  xy");
}

TEST(TextStream, LongerValuesAreNotCut) {
    EXPECT_EQ(written([](text_stream &stream) { stream << set_width{2} << "abc"; }), "abc");
    EXPECT_EQ(written([](text_stream &stream) { stream << set_width{2} << std::uint64_t{12345}; }), "12345");
}

TEST(TextStream, BaseHoldsUntilItIsChanged) {
    EXPECT_EQ(written([](text_stream &stream) {
                  stream << number_base::hexadecimal << 255u << ' ' << 16u << ' ' << number_base::decimal << 16u;
              }),
              "ff 10 16");
}

TEST(TextStream, NumbersPrintOverTheirWholeRange) {
    EXPECT_EQ(written([](text_stream &stream) { stream << std::numeric_limits<std::uint64_t>::max(); }),
              "18446744073709551615");
    EXPECT_EQ(written([](text_stream &stream) { stream << std::numeric_limits<std::int32_t>::min(); }), "-2147483648");
    EXPECT_EQ(written([](text_stream &stream) { stream << number_base::hexadecimal << -1; }), "ffffffff");
}

TEST(TextStream, RealNumbersHaveSixSignificantDigits) {
    EXPECT_EQ(written([](text_stream &stream) { stream << 0.0 << ' ' << 1.5 << ' ' << -1.0; }), "0 1.5 -1");
    EXPECT_EQ(written([](text_stream &stream) { stream << 1.52587890625e-05; }), "1.52588e-05");
    EXPECT_EQ(written([](text_stream &stream) { stream << 999999.5 << ' ' << 123456.7; }), "1e+06 123457");
}

TEST(TextStream, BufferGrowsAndKeepsItsText) {
    text_buffer buffer;
    buffer.append("first");

    for (int line = 0; line < 1000; ++line) {
        text_stream stream(buffer);
        stream << std::string(97, 'x') << set_width{3} << "y";
        stream.flush();
    }

    EXPECT_EQ(buffer.size(), 5u + 1000 * 100);
    EXPECT_EQ(buffer.text().substr(0, 6), "firstx");
    EXPECT_EQ(buffer.text().substr(buffer.size() - 5), "xx  y");
}

TEST(TextStream, BufferLeavesGivenStorageWhenItIsFull) {
    char storage[8];
    text_buffer buffer(storage);

    buffer.append("12345678");
    EXPECT_EQ(buffer.text().data(), storage);
    buffer.append("9");

    EXPECT_NE(buffer.text().data(), storage);
    EXPECT_EQ(buffer.text(), "123456789");
}

TEST(TextStream, ClearedBufferStartsAgain) {
    text_buffer buffer;
    buffer.append("old");
    buffer.clear();
    buffer.append("new");

    EXPECT_EQ(buffer.text(), "new");
}

TEST(TextStream, TextCountsFromFlushOn) {
    text_buffer buffer;
    buffer.append("kept");
    {
        text_stream abandoned(buffer);
        abandoned << std::string(5000, 'z');
    }

    EXPECT_EQ(buffer.text(), "kept");
}

} // namespace
