#include "host/device/byte_source.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using host::ByteSource;

std::vector<std::byte> bytes_of(const std::string &text) {
    const auto bytes = std::as_bytes(std::span(text));
    return {bytes.begin(), bytes.end()};
}

/** A stream of reports, each of them 48 times its letter. */
ByteSource stream_of(const std::string &letters) {
    std::string text;
    for (const char letter : letters) {
        text += std::string(48, letter);
    }
    return ByteSource(ByteSource::Kind::Stream, bytes_of(text));
}

/** The first letters of the reports read into `capacity` bytes. */
std::string read_letters(ByteSource &source, std::size_t capacity) {
    std::vector<std::byte> out(capacity);
    const std::size_t size = source.read(out);
    EXPECT_EQ(size % 48, 0u);
    std::string letters;
    for (std::size_t at = 0; at < size; at += 48) {
        letters += static_cast<char>(out[at]);
        EXPECT_EQ(out[at + 47], out[at]);
    }
    return letters;
}

TEST(ByteSource, BlockGivesTheSameBytesOnEveryRead) {
    ByteSource block(ByteSource::Kind::Block, bytes_of("abc"));
    std::string first(5, '-');
    std::string second(5, '-');

    EXPECT_EQ(block.read(std::as_writable_bytes(std::span(first))), 3u);
    EXPECT_EQ(block.read(std::as_writable_bytes(std::span(second))), 3u);

    EXPECT_EQ(first, "abc--");
    EXPECT_EQ(second, "abc--");
}

TEST(ByteSource, BlockIsCutToTheRoom) {
    ByteSource block(ByteSource::Kind::Block, bytes_of("abc"));
    std::string out(2, '-');

    EXPECT_EQ(block.read(std::as_writable_bytes(std::span(out))), 2u);
    EXPECT_EQ(out, "ab");
    EXPECT_EQ(block.read({}), 0u);
}

TEST(ByteSource, StreamGoesOnWhereTheLastReadStopped) {
    ByteSource stream = stream_of("abcde");

    EXPECT_EQ(read_letters(stream, 96), "ab");
    EXPECT_EQ(read_letters(stream, 96), "cd");
}

TEST(ByteSource, StreamStopsAtItsLastReportAndStartsAgainOnTheNextRead) {
    ByteSource stream = stream_of("abc");

    EXPECT_EQ(read_letters(stream, 96), "ab");
    EXPECT_EQ(read_letters(stream, 96), "c");
    EXPECT_EQ(read_letters(stream, 96), "ab");
}

TEST(ByteSource, StreamThatFitsWholeIsGivenOnceOnEveryRead) {
    ByteSource stream = stream_of("ab");

    EXPECT_EQ(read_letters(stream, 1536), "ab");
    EXPECT_EQ(read_letters(stream, 1536), "ab");
}

TEST(ByteSource, StreamGivesWholeReportsOnly) {
    ByteSource stream = stream_of("ab");

    EXPECT_EQ(read_letters(stream, 95), "a");
    EXPECT_EQ(read_letters(stream, 47), "");
    EXPECT_EQ(read_letters(stream, 0), "");
    EXPECT_EQ(read_letters(stream, 95), "b");
}

} // namespace
