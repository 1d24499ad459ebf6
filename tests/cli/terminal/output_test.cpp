#include "cli/terminal/output.h"

#include <array>
#include <cstddef>
#include <future>
#include <span>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

/** Closed with the object. */
class Descriptor {
public:
    explicit Descriptor(int number) : _number(number) {}
    ~Descriptor() { close(_number); }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;

    int number() const { return _number; }

private:
    int _number;
};

std::string read_to_the_end(int descriptor) {
    std::string read_so_far;
    std::array<char, 4096> piece{};
    for (ssize_t count = 0; (count = read(descriptor, piece.data(), piece.size())) > 0;) {
        read_so_far.append(piece.data(), static_cast<std::size_t>(count));
    }
    return read_so_far;
}

TEST(WriteFullyTest, WaitsForTheReaderWhereWritingDoesNotBlock) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    const Descriptor reading(ends[0]);
    std::string text(1'000'000, 'a');
    text.back() = 'z';

    std::future<std::string> read;
    {
        const Descriptor writing(ends[1]);
        ASSERT_EQ(fcntl(writing.number(), F_SETFL, O_NONBLOCK), 0);
        read = std::async(std::launch::async, read_to_the_end, reading.number());
        EXPECT_NO_THROW(cli::write_fully(writing.number(), std::as_bytes(std::span(text)), "pipe"));
    }

    EXPECT_TRUE(read.get() == text);
}

/** They share the pipe with this program. */
TEST(OutputTest, LeavesAPipeAsItIsForOthers) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    const Descriptor reading(ends[0]);
    std::future<std::string> read;
    const std::string line(100'000, 'a');
    {
        const Descriptor writing(ends[1]);
        const int flags = fcntl(writing.number(), F_GETFL);
        const int size = fcntl(writing.number(), F_GETPIPE_SZ);
        read = std::async(std::launch::async, read_to_the_end, reading.number());

        cli::Output output(writing.number(), "pipe");
        output.write(line + "\n");
        output.flush();

        EXPECT_EQ(fcntl(writing.number(), F_GETFL), flags);
        EXPECT_EQ(fcntl(writing.number(), F_GETPIPE_SZ), size);
    }

    EXPECT_TRUE(read.get() == line + "\n");
}

} // namespace
