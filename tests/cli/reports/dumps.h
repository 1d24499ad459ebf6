/** Dumps that a test can open by name. */
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/cli/reports.h"

namespace cli_tests {

/** Reports with the sequence numbers from 1 to `count`, the time stamp of each a hundred times its number. */
inline std::string numbered_reports(std::uint32_t count) {
    std::string dump;
    for (std::uint32_t number = 1; number <= count; ++number) {
        dump += report(kAccelData, number, 100 * std::uint64_t{number});
    }
    return dump;
}

/** A pipe with a dump, at most 64 KiB of it unread. It has a writer until `close_writer`. */
class DumpPipe {
public:
    explicit DumpPipe(std::string_view content) {
        EXPECT_EQ(pipe(_ends.data()), 0);
        write_more(content);
    }
    ~DumpPipe() {
        close_writer();
        close(_ends[0]);
    }
    DumpPipe(const DumpPipe &) = delete;
    DumpPipe &operator=(const DumpPipe &) = delete;

    void write_more(std::string_view content) {
        EXPECT_EQ(write(_ends[1], content.data(), content.size()), static_cast<ssize_t>(content.size()));
    }
    void close_writer() {
        if (_ends[1] != -1) {
            close(_ends[1]);
            _ends[1] = -1;
        }
    }

    /** For opening it, while the object lives. */
    std::string name() const { return "/proc/self/fd/" + std::to_string(_ends[0]); }

private:
    std::array<int, 2> _ends{};
};

} // namespace cli_tests
