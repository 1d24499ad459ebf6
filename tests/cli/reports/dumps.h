/** Dumps that a test can open by name. */
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include <unistd.h>

#include <gtest/gtest.h>

#include "cli/dumps/dump_input.h"
#include "cli/reports/selection.h"
#include "cli/reports/source.h"
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

/** A part of `SelectedDump` that is created before its source. */
struct OwnSelector {
    cli::ReportSelector selector;
};

/** The source of a dump, with a selector of its own. */
class SelectedDump : private OwnSelector, public cli::ReportSource {
public:
    SelectedDump(const std::string &argument, const cli::Selection &selection, bool with_offsets = false)
        : OwnSelector{cli::ReportSelector(selection)},
          ReportSource(std::make_unique<cli::DumpInput>(std::make_unique<cli::ByteStream>(argument),
                                                        cli::DumpOptions{.follow = selection.follow}),
                       selector, {.last = selection.last, .with_offsets = with_offsets}) {}
};

} // namespace cli_tests
