#include "decoder/report_line.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "decoder/ZELLogDecoder.h"
#include "decoder/payload_choice.h"
#include "tests/decoder/oracle.h"
#include "tests/decoder/report_builder.h"

namespace {

std::string line_of(const _QorProfileReport &report, const decoder::device_clock &clock = {}) {
    text_buffer buffer;
    decoder::append_line(buffer, report, clock);
    return std::string(buffer.text());
}

const char *const kZeros28 = ",0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0";

struct LineRow {
    const char *meaning;
    _QorProfileReport report;
    decoder::device_clock clock;
    std::string line;
};

const LineRow kLines[] = {
    {"control: the base decoder, whose category has a name",
     ReportBuilder(5, 1, 3, 8).u32(4, 42).u64(8, 12345678).u32(16, 7).u32(28, 250),
     {},
     "{  'category':'control', 'component':     '3', 'event':         '1', 'type':  'function',"
     " 'timestamp':  12345678, 'sequence_num':        42,"
     " 'function-id':         7, 'extra-id':         0, 'thread-id':         0, 'duration':       250,"
     " 'depth':         0, 'thread_duration':         0,"
     " 'type-id':5, 'category-id':8, 'component-id':3, 'event-id':1,"
     " 'binary-data':[5,1,3,8,42,0,0,0,78,97,188,0,0,0,0,0,7,0,0,0,0,0,0,0,0,0,0,0,250,0,0,0,0,0,0,0,0,0,0,0,0,0,0,"
     "0,0,0,0,0]}"},
    {"category 200: nothing has a name, and the line is otherwise complete",
     ReportBuilder(255, 254, 253, 200).u32(4, 4294967295).u64(8, 18446744073709551615u),
     {},
     "{  'category':   '200', 'component':   '253', 'event':       '254', 'type':       '255',"
     " 'timestamp':18446744073709551615, 'sequence_num':4294967295,"
     " 'type-id':255, 'category-id':200, 'component-id':253, 'event-id':254,"
     " 'binary-data':[255,254,253,200,255,255,255,255,255,255,255,255,255,255,255,255,0,0,0,0" +
         std::string(kZeros28) + "]}"},
    {"zeros",
     ReportBuilder(0, 0, 0, 0),
     {},
     "{  'category':  'exec', 'component':'scheduler', 'event':'context-switch', 'type':      'stop',"
     " 'timestamp':         0, 'sequence_num':         0,"
     " 'type-id':0, 'category-id':0, 'component-id':0, 'event-id':0,"
     " 'binary-data':[0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0" +
         std::string(kZeros28) + "]}"},
    {"a type without payload in a generic category: from the sequence number straight to the type",
     ReportBuilder(6, 17, 6, 2).u32(4, 9),
     {},
     "{  'category':'sensor', 'component':'temperature', 'event':'trigger-latency', 'type':'sshb-context1',"
     " 'timestamp':         0, 'sequence_num':         9,"
     " 'type-id':6, 'category-id':2, 'component-id':6, 'event-id':17,"
     " 'binary-data':[6,17,6,2,9,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0" +
         std::string(kZeros28) + "]}"},
    {"both clocks, in the zone that device_clock_test.cpp sets",
     ReportBuilder(0, 0, 0, 255).u64(8, 5'250'000),
     {decoder::time_sync{5'000'000'000, 1'700'000'000'000'000'000}, 1'600'000'000'123'456},
     "{  'category':   '255', 'component':     '0', 'event':         '0', 'type':      'stop',"
     " 'timestamp':   5250000, 'sequence_num':         0,"
     " 'type-id':0, 'category-id':255, 'component-id':0, 'event-id':0,"
     " 'binary-data':[0,0,0,255,0,0,0,0,208,27,80,0,0,0,0,0,0,0,0,0" +
         std::string(kZeros28) +
         "],"
         " 'calendar-time':'Nov 15 03:58:20.250000', 'boot-timestamp':1600000000123456}"},
    {"a boot time of zero is a boot time",
     ReportBuilder(0, 0, 0, 255),
     {{}, 0},
     "{  'category':   '255', 'component':     '0', 'event':         '0', 'type':      'stop',"
     " 'timestamp':         0, 'sequence_num':         0,"
     " 'type-id':0, 'category-id':255, 'component-id':0, 'event-id':0,"
     " 'binary-data':[0,0,0,255,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0" +
         std::string(kZeros28) + "], 'boot-timestamp':0}"},
};

TEST(ReportLine, HasTheLayoutOfEveryLine) {
    for (const LineRow &row : kLines) {
        SCOPED_TRACE(row.meaning);

        EXPECT_EQ(line_of(row.report, row.clock), row.line);
    }
}

/** A report with these ids and no payload. */
_QorProfileReport report_of(unsigned type, unsigned event, unsigned component, unsigned category) {
    return ReportBuilder(static_cast<std::uint8_t>(type), static_cast<std::uint8_t>(event),
                         static_cast<std::uint8_t>(component), static_cast<std::uint8_t>(category))
        .u32(4, 7)
        .u64(8, 5'250'000);
}

void expect_independent_line(const _QorProfileReport &report) {
    ASSERT_EQ(line_of(report), oracle::describe(report.bytes, {})) << std::hex << report.header();
}

TEST(ReportLine, IsTheSameForEveryCombinationOfSmallIds) {
    for (unsigned category = 0; category < 17; ++category) {
        for (unsigned component = 0; component < 9; ++component) {
            for (unsigned event = 0; event < 33; ++event) {
                for (unsigned type = 0; type < 17; ++type) {
                    ASSERT_NO_FATAL_FAILURE(expect_independent_line(report_of(type, event, component, category)));
                }
            }
        }
    }
}

TEST(ReportLine, IsTheSameForEveryIdAmongSmallOnes) {
    for (unsigned id = 0; id < 256; ++id) {
        for (unsigned other = 0; other < 11; ++other) {
            ASSERT_NO_FATAL_FAILURE(expect_independent_line(report_of(id, other, other, other)));
            ASSERT_NO_FATAL_FAILURE(expect_independent_line(report_of(other, id, other, other)));
            ASSERT_NO_FATAL_FAILURE(expect_independent_line(report_of(other, other, id, other)));
            ASSERT_NO_FATAL_FAILURE(expect_independent_line(report_of(other, other, other, id)));
        }
    }
}

/** Two reports of every payload: with the longest values, and with the shortest, whose stores reach furthest beyond. */
std::vector<_QorProfileReport> reports_of_every_payload() {
    std::vector<_QorProfileReport> reports;
    std::set<std::pair<std::size_t, std::uint64_t>> seen;
    for (std::uint8_t category = 0; category < 12; ++category) {
        for (std::uint8_t type = 0; type < 16; ++type) {
            for (const std::uint8_t selector : std::initializer_list<std::uint8_t>{0, 1, 2, 3, 4, 5, 7}) {
                for (const std::uint64_t filling : {~std::uint64_t{0}, std::uint64_t{0}}) {
                    const _QorProfileReport report = ReportBuilder(type, selector, 0, category)
                                                         .u64(8, filling)
                                                         .u64(16, filling)
                                                         .u64(24, filling)
                                                         .u64(32, filling)
                                                         .u64(40, filling)
                                                         .u16(16, selector);
                    if (seen.emplace(decoder::payload_index(report), filling).second) {
                        reports.push_back(report);
                    }
                }
            }
        }
    }
    return reports;
}

/** Each part of a line may fill the storage to its last byte. The address sanitizer sees a store beyond it. */
TEST(ReportLine, KeepsToItsBufferWhereverThatEnds) {
    const decoder::device_clock clock{decoder::time_sync{0, ~std::uint64_t{0}}, ~std::uint64_t{0}};
    const std::vector<_QorProfileReport> reports = reports_of_every_payload();
    ASSERT_EQ(reports.size(), 2 * decoder::kPayloads.size());
    for (const _QorProfileReport &report : reports) {
        const std::string line = line_of(report, clock);
        for (std::size_t prefix = 0; prefix < 2000; ++prefix) {
            char storage[2000];
            text_buffer buffer(storage);
            buffer.append(std::string(prefix, '.'));
            decoder::append_line(buffer, report, clock);
            ASSERT_EQ(buffer.text().substr(prefix), line);
        }
    }
}

TEST(ReportLine, PutsThePayloadBetweenSequenceNumberAndIds) {
    for (std::uint8_t category = 0; category < 12; ++category) {
        const _QorProfileReport report = ReportBuilder(2, 7, 0, category).counting(16, 47).u32(4, 5);
        const profile_decoder *own = ZELLogDecoder::decoder_of(category);
        const std::string payload = payload_text(own != nullptr ? *own : ZELLogDecoder::_default, report);

        EXPECT_NE(line_of(report).find(" 'sequence_num':         5," + payload + " 'type-id':2,"), std::string::npos);
    }
}

TEST(ReportLine, LinesFollowEachOtherInOneBuffer) {
    const _QorProfileReport first = ReportBuilder(10, 0, 0, 7).u16(16, 4);
    const _QorProfileReport second = ReportBuilder(4, 0, 0, 1);
    text_buffer buffer;

    for (int round = 0; round < 200; ++round) {
        decoder::append_line(buffer, first, {});
        buffer.append("\n");
        decoder::append_line(buffer, second, {});
        buffer.append("\n");
    }

    const std::string both = line_of(first) + "\n" + line_of(second) + "\n";
    std::string expected;
    for (int round = 0; round < 200; ++round) {
        expected += both;
    }
    EXPECT_EQ(buffer.text(), expected);
}

/** Names longer than their fields and than any name in the tables. */
class long_names_decoder : public profile_decoder {
public:
    std::string component_name(unsigned component) const override { return std::string(component, 'c'); }
    std::string event_name(unsigned component, unsigned event) const override {
        return std::string(component + event, 'e');
    }
    void parse_datatype(text_stream &stream, const _QorProfileReport &report) const override {
        const std::string field = key("own") + std::to_string(report.at<std::uint32_t>(16)) + ",";
        stream.commit(std::copy(field.begin(), field.end(), stream.room(field.size())));
    }
};

TEST(ReportLine, UsesTheDecodersVirtualFunctions) {
    const long_names_decoder decoder;

    const std::string line = decoder.to_string(ReportBuilder(0, 20, 50, 0).u32(16, 77));

    EXPECT_NE(line.find("'component':'" + std::string(50, 'c') + "', 'event':'" + std::string(70, 'e') +
                        "', 'type':      'stop',"),
              std::string::npos);
    EXPECT_NE(line.find("'sequence_num':         0, 'own':77, 'type-id':0,"), std::string::npos);
}

TEST(ReportLine, PrintsANameAsLongAsItsFieldWithoutPadding) {
    const long_names_decoder decoder;

    EXPECT_NE(decoder.to_string(ReportBuilder(0, 0, 6, 0)).find("'component':'cccccc',"), std::string::npos);
    EXPECT_NE(decoder.to_string(ReportBuilder(0, 0, 5, 0)).find("'component': 'ccccc',"), std::string::npos);
    EXPECT_NE(decoder.to_string(ReportBuilder(0, 0, 0, 0)).find("'component':      '',"), std::string::npos);
}

TEST(ZELLogDecoder, CategoriesHaveTheirDecoders) {
    const profile_decoder *const decoders[] = {
        &ZELLogDecoder::_exec,    &ZELLogDecoder::_trace,     &ZELLogDecoder::_sensor, &ZELLogDecoder::_quoril,
        &ZELLogDecoder::_vastrel, &ZELLogDecoder::_interrupt, &ZELLogDecoder::_uart,   &ZELLogDecoder::_sshb,
        &ZELLogDecoder::_control, &ZELLogDecoder::_scm,       &ZELLogDecoder::_wake,
    };

    ASSERT_EQ(ZELLogDecoder::_decoders.size(), std::size(decoders));
    for (unsigned category = 0; category < std::size(decoders); ++category) {
        EXPECT_EQ(ZELLogDecoder::_decoders[category], decoders[category]) << category;
    }
    EXPECT_EQ(ZELLogDecoder::decoder_of(11), nullptr);
}

TEST(ZELLogDecoder, LineIsThatOfTheCategorysDecoder) {
    for (unsigned category = 0; category < 256; ++category) {
        for (const std::uint8_t type : std::initializer_list<std::uint8_t>{2, 3, 5, 10, 13}) {
            const _QorProfileReport report =
                ReportBuilder(type, 1, 0, static_cast<std::uint8_t>(category)).counting(8, 47).u16(16, 4);
            const profile_decoder *own = ZELLogDecoder::decoder_of(category);
            const profile_decoder &decoder = own != nullptr ? *own : ZELLogDecoder::_default;

            EXPECT_EQ(ZELLogDecoder::to_string(report), decoder.to_string(report));
        }
    }
}

TEST(ZELLogDecoder, LineFromTheTablesEqualsLineFromTheVirtualFunctions) {
    const decoder::device_clock clock = decoder::read_device_clock();
    for (unsigned category = 0; category < 256; ++category) {
        for (unsigned id = 0; id < 256; ++id) {
            const auto byte = static_cast<std::uint8_t>(id);
            const auto component = static_cast<std::uint8_t>(id % 9);
            const _QorProfileReport report =
                ReportBuilder(byte, byte, component, static_cast<std::uint8_t>(category)).counting(8, 47).u32(16, id);

            ASSERT_EQ(line_of(report, clock), ZELLogDecoder::to_string(report));
        }
    }
}

} // namespace
