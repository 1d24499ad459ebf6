// The forms for programs, byte for byte, beside a plain formulation of each.

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "cli/reports/csv.h"
#include "cli/reports/json.h"
#include "cli/reports/trace.h"
#include "decoder/remembered_second.h"
#include "tests/cli/reports/generated_reports.h"
#include "tests/cli/reports/plain_forms.h"

namespace {

using cli_tests::for_each_generated_report;

TEST(ReportFormsTest, AJsonLineIsThatOfThePlainFormulation) {
    const decoder::unchanging_zone zone;
    for_each_generated_report([](const _QorProfileReport &report, const decoder::device_clock &clock) {
        text_buffer line;
        cli::append_json_line(line, report, clock);
        EXPECT_EQ(line.text(), plain::json_line(report, clock));
    });
}

TEST(ReportFormsTest, ACsvLineIsThatOfThePlainFormulation) {
    const decoder::unchanging_zone zone;
    for_each_generated_report([](const _QorProfileReport &report, const decoder::device_clock &clock) {
        text_buffer line;
        cli::append_csv_line(line, report, clock);
        EXPECT_EQ(line.text(), plain::csv_line(report, clock));
    });
}

/** Without the events that name tracks. */
std::string without_names(std::string_view events) {
    std::string rest;
    for (std::size_t at = 0; at < events.size();) {
        const std::size_t end = std::min(events.find(",\n", at + 1), events.size());
        const std::string_view event = events.substr(at, end - at);
        rest += event.starts_with(",\n{\"ph\":\"M\"") ? "" : event;
        at = end;
    }
    return rest;
}

TEST(ReportFormsTest, TheEventsOfATraceAreThoseOfThePlainFormulation) {
    for_each_generated_report([](const _QorProfileReport &report, const decoder::device_clock & /*clock*/) {
        text_buffer events;
        cli::TraceEvents().append(events, report);
        EXPECT_EQ(without_names(events.text()), plain::trace_events(report));
    });
}

/** Every byte in a text, alone and before each kind of neighbour. */
TEST(ReportFormsTest, AnyBytesOfATextAreWrittenAsThePlainFormulationWritesThem) {
    const std::vector<std::string> neighbours = {"", "a", "\"", "\x80", "\x9F", "\xA0", "\xBF\xBF", "\xC2\x80"};
    for (unsigned byte = 1; byte < 256; ++byte) {
        for (const std::string &neighbour : neighbours) {
            _QorProfileReport report{{9, 0, 4, 0}};
            const std::string text = static_cast<char>(byte) + neighbour;
            std::copy(text.begin(), text.end(), report.bytes + 32);
            text_buffer json;
            text_buffer csv;
            text_buffer trace;
            cli::append_json_line(json, report, {});
            cli::append_csv_line(csv, report, {});
            cli::TraceEvents().append(trace, report);

            ASSERT_EQ(json.text(), plain::json_line(report, {}));
            ASSERT_EQ(csv.text(), plain::csv_line(report, {}));
            ASSERT_EQ(without_names(trace.text()), plain::trace_events(report));
        }
    }
}

/** More headers than a trace remembers, some of them twice in a row, so that places are taken from one another. */
TEST(ReportFormsTest, NamesAndIdsAreThoseOfTheReportWhicheverHeadersCameBefore) {
    cli::TraceEvents trace;
    std::uint32_t state = 1;
    for (unsigned i = 0; i < 10'000; ++i) {
        state = state * 1'664'525 + 1'013'904'223;
        _QorProfileReport report{};
        report.bytes[0] = static_cast<std::uint8_t>((state >> 8) % 14);
        report.bytes[1] = static_cast<std::uint8_t>((state >> 12) % 3 == 0 ? state >> 16 : i % 2);
        report.bytes[3] = static_cast<std::uint8_t>((state >> 24) % 12);
        text_buffer json;
        text_buffer csv;
        text_buffer events;
        cli::append_json_line(json, report, {});
        cli::append_csv_line(csv, report, {});
        trace.append(events, report);

        ASSERT_EQ(json.text(), plain::json_line(report, {}));
        ASSERT_EQ(csv.text(), plain::csv_line(report, {}));
        ASSERT_EQ(without_names(events.text()), plain::trace_events(report));
    }
}

TEST(ReportFormsTest, ATextIsAppendedToWhatTheBufferHoldsWhereverItHasToGrow) {
    const _QorProfileReport report{{3, 2, 0, 2}};
    for (std::size_t prefix = 0; prefix < 9000; prefix += 61) {
        char storage[64];
        text_buffer buffer(storage);
        buffer.append(std::string(prefix, '.'));
        cli::append_json_line(buffer, report, {});

        ASSERT_EQ(buffer.text(), std::string(prefix, '.') + plain::json_line(report, {}));
    }
}

} // namespace
