/** The progress bar of `decode`, the built program. */
#include <cstdint>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/cli/program.h"
#include "tests/cli/reports.h"

namespace cli_tests {
namespace {

constexpr std::uintmax_t kReportSize = 48;
/** The number of whole reports in 64 MiB. */
constexpr std::uintmax_t kReportsWithoutBar = 64 * 1024 * 1024 / kReportSize;

const std::string kEmptyBar = "[" + std::string(53, ' ') + "]   0%";
const std::string kFullBar = "[" + std::string(53, '#') + "] 100%";
const std::string kWipe = "\r\x1b[K";

/** As many as `decode` looks at to tell whether a file is a dump. */
constexpr std::uint32_t kReportsLookedAt = 4096;

std::string first_reports() {
    std::string reports;
    for (std::uint32_t number = 0; number < kReportsLookedAt; ++number) {
        reports += report(Ids{}, number, number);
    }
    return reports;
}

/** A sparse file of zero reports behind the first ones, which takes hardly any space on the disk. */
class SparseDump {
public:
    explicit SparseDump(std::uintmax_t reports) : _file(_folder.file("dump", first_reports())) {
        std::filesystem::resize_file(_file, reports * kReportSize);
    }

    /** Decodes the dump with a filter that no report passes, for speed. */
    Outcome decode(const std::vector<std::string> &options, const Surroundings &surroundings) const {
        std::vector<std::string> arguments = {"decode", _file};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return qorstat(arguments, surroundings);
    }

private:
    TemporaryFolder _folder;
    std::string _file;
};

const std::vector<std::string> kNothing = {"--category", "wake"};

Surroundings with_terminal_for_messages() {
    Surroundings surroundings;
    surroundings.messages_are_to_terminal = true;
    return surroundings;
}

bool starts_with(const std::string &text, const std::string &start) {
    return text.compare(0, start.size(), start) == 0;
}

bool ends_with(const std::string &text, const std::string &end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

/** The successive texts written to one line of a terminal. */
std::vector<std::string> drawings_of(const std::string &text) {
    std::vector<std::string> drawings;
    std::istringstream stream(text);
    for (std::string drawing; std::getline(stream, drawing, '\r');) {
        if (!drawing.empty()) {
            drawings.push_back(drawing);
        }
    }
    return drawings;
}

TEST(ProgressBarTest, ABarGoesFromEmptyToFullAndIsWiped) {
    SKIP_WITHOUT_TERMINALS();
    const SparseDump dump(kReportsWithoutBar + 1);

    const Outcome outcome = dump.decode(kNothing, with_terminal_for_messages());

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.out, "");
    EXPECT_TRUE(starts_with(outcome.err, "\r" + kEmptyBar)) << outcome.err;
    EXPECT_TRUE(ends_with(outcome.err, "\r" + kFullBar + kWipe)) << outcome.err;
}

TEST(ProgressBarTest, EachDrawingCoversTheOneBeforeAndShowsNoLess) {
    SKIP_WITHOUT_TERMINALS();
    const SparseDump dump(2 * kReportsWithoutBar);

    const Outcome outcome = dump.decode(kNothing, with_terminal_for_messages());

    std::vector<std::string> drawings = drawings_of(outcome.err);
    ASSERT_FALSE(drawings.empty());
    EXPECT_EQ(drawings.back(), "\x1b[K");
    drawings.pop_back();
    int percent_before = 0;
    for (const std::string &drawing : drawings) {
        ASSERT_EQ(drawing.size(), kFullBar.size()) << drawing;
        const int percent = std::stoi(drawing.substr(drawing.find(']') + 1));
        EXPECT_GE(percent, percent_before);
        percent_before = percent;
    }
}

TEST(ProgressBarTest, StatisticsHaveABarEvenWhereTheyGoToATerminal) {
    SKIP_WITHOUT_TERMINALS();
    const SparseDump dump(kReportsWithoutBar + 1);
    Surroundings surroundings = with_terminal_for_messages();
    surroundings.output_is_terminal = true;

    const Outcome outcome = dump.decode({"--category", "wake", "--stats"}, surroundings);

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_TRUE(starts_with(outcome.out, "reports: 0\r\n")) << outcome.out;
    EXPECT_TRUE(starts_with(outcome.err, "\r" + kEmptyBar)) << outcome.err;
    EXPECT_TRUE(ends_with(outcome.err, "\r" + kFullBar + kWipe)) << outcome.err;
}

TEST(ProgressBarTest, WhatIsSaidAfterwardsStandsOnAnEmptyLine) {
    SKIP_WITHOUT_TERMINALS();
    const SparseDump dump(kReportsWithoutBar + 1);
    Surroundings surroundings = with_terminal_for_messages();
    surroundings.output_file = "/dev/full";

    const Outcome outcome = dump.decode({"--format", "chrome-trace", "--category", "wake"}, surroundings);

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_NE(outcome.err.find(kWipe + "qorstat: "), std::string::npos) << outcome.err;
}

TEST(ProgressBarTest, NothingIsDrawnWhereMessagesGoToNoTerminal) {
    const SparseDump dump(kReportsWithoutBar + 1);

    const Outcome outcome = dump.decode(kNothing, {});

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.err, "");
}

TEST(ProgressBarTest, NothingIsDrawnAmongLinesOnATerminal) {
    SKIP_WITHOUT_TERMINALS();
    const SparseDump dump(kReportsWithoutBar + 1);
    Surroundings surroundings = with_terminal_for_messages();
    surroundings.output_is_terminal = true;

    const Outcome outcome = dump.decode({"--first", "1"}, surroundings);

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_NE(outcome.out, "");
    EXPECT_EQ(outcome.err, "");
}

TEST(ProgressBarTest, NothingIsDrawnForAFileOfNoMoreThan64MiB) {
    SKIP_WITHOUT_TERMINALS();
    const SparseDump dump(kReportsWithoutBar);

    const Outcome outcome = dump.decode(kNothing, with_terminal_for_messages());

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.err, "");
}

} // namespace
} // namespace cli_tests
