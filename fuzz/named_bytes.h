/** The bytes of an input as a file. */
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include <sys/mman.h>
#include <unistd.h>

#include "fuzz/input.h"

namespace fuzz {

/** Bytes that can be opened by name: a file in memory, or a pipe that holds all of it. */
class NamedBytes {
public:
    NamedBytes(std::span<const std::uint8_t> bytes, bool is_pipe) {
        if (is_pipe) {
            std::array<int, 2> ends{};
            require(pipe(ends.data()) == 0, "a pipe can be created");
            _descriptor = ends[0];
            write_all(ends[1], bytes);
            close(ends[1]);
        } else {
            _descriptor = memfd_create("bytes", MFD_CLOEXEC);
            write_all(_descriptor, bytes);
        }
    }
    ~NamedBytes() { close(_descriptor); }
    NamedBytes(const NamedBytes &) = delete;
    NamedBytes &operator=(const NamedBytes &) = delete;

    /** The guaranteed capacity of a pipe on this system. */
    static constexpr std::size_t kPipeHolds = 64 * 1024;

    std::string name() const { return "/proc/self/fd/" + std::to_string(_descriptor); }

private:
    static void write_all(int descriptor, std::span<const std::uint8_t> bytes) {
        require(write(descriptor, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()),
                "the bytes are written");
    }

    int _descriptor;
};

} // namespace fuzz
