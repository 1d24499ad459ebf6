// The documented behaviour of a line, checked for both formulations: the decoder and the oracle.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <locale>
#include <string>
#include <vector>

#include "tests/decoder/described_by_decoder.h"
#include "tests/decoder/oracle.h"
#include "tests/decoder/report_generator.h"
#include "tests/decoder/time_zone_environment.h"

namespace {

using oracle::Clock;
using oracle::Report;
using testing::HasSubstr;
using testing::Not;

struct Formulation {
    const char *name;
    std::string (*describe)(const unsigned char *report, const Clock &clock);
};

class DescribedLine : public testing::TestWithParam<Formulation> {
protected:
    std::string describe(const Report &report, const Clock &clock = {}) const {
        return GetParam().describe(report.data(), clock);
    }

    /** The text between the sequence number and the type id. */
    std::string payload(const Report &report) const {
        const std::string line = describe(report);
        const std::string before = " 'sequence_num':         0,";
        const std::size_t start = line.find(before) + before.size();
        return line.substr(start, line.find(" 'type-id':") - start);
    }
};

std::string describe_with_decoder(const unsigned char *report, const Clock &clock) {
    return oracle::describe_with_decoder(report, clock);
}

INSTANTIATE_TEST_SUITE_P(By, DescribedLine,
                         testing::Values(Formulation{"Oracle", oracle::describe},
                                         Formulation{"Decoder", describe_with_decoder}),
                         [](const auto &tested) { return tested.param.name; });

Report report(std::uint8_t type, std::uint8_t event, std::uint8_t component, std::uint8_t category,
              const std::vector<unsigned char> &payload = {}) {
    Report made{type, event, component, category};
    std::copy(payload.begin(), payload.end(), made.begin() + 16);
    return made;
}

/** `original` with `bytes` written at `offset`. */
Report with(Report original, std::size_t offset, const std::vector<unsigned char> &bytes) {
    std::copy(bytes.begin(), bytes.end(), original.begin() + static_cast<std::ptrdiff_t>(offset));
    return original;
}

const std::string kEmptyEvent = " 'arg1':         0, 'arg2':         0, 'arg3':         0,"
                                " 'arg4':         0, 'arg5':         0, 'arg6':         0,"
                                " 'xarg1':         '0', 'xarg2':         '0', 'xarg3':         '0',"
                                " 'xarg4':         '0', 'xarg5':         '0', 'xarg6':         '0',";

// ---- the whole line --------------------------------------------------------------------------------------

TEST_P(DescribedLine, OfAControlFunctionIsPrintedInFull) {
    const Report function{5, 1, 3, 8, 42, 0, 0, 0, 78, 97, 188, 0, 0, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, //
                          3, 0, 0, 0, 4,  0, 0, 0, 5,  0,  0,   0, 6, 0, 0, 0, 7, 0, 0, 0, 8, 0, 0, 255};

    EXPECT_EQ(describe(function),
              "{  'category':'control', 'component':     '3', 'event':         '1', 'type':  'function',"
              " 'timestamp':  12345678, 'sequence_num':        42,"
              " 'function-id':         1, 'extra-id':         2, 'thread-id':         3, 'duration':         4,"
              " 'depth':         5, 'thread_duration':         6,"
              " 'type-id':5, 'category-id':8, 'component-id':3, 'event-id':1,"
              " 'binary-data':[5,1,3,8,42,0,0,0,78,97,188,0,0,0,0,0,1,0,0,0,2,0,0,0,"
              "3,0,0,0,4,0,0,0,5,0,0,0,6,0,0,0,7,0,0,0,8,0,0,255]}");
}

TEST_P(DescribedLine, EndsWithTheWallClockAndTheBootTimeWhenKnown) {
    const Clock sync{oracle::TimeSync{0, 0}, std::nullopt};
    const Clock boot{std::nullopt, 1700000000000123};
    const Clock both{oracle::TimeSync{0, 0}, 0};
    const Report stop = report(0, 0, 0, 0);

    EXPECT_THAT(describe(stop, sync), testing::EndsWith(",0], 'calendar-time':'Jan 01 00:00:00.000000'}"));
    EXPECT_THAT(describe(stop, boot), testing::EndsWith(",0], 'boot-timestamp':1700000000000123}"));
    EXPECT_THAT(describe(stop, both),
                testing::EndsWith(",0], 'calendar-time':'Jan 01 00:00:00.000000', 'boot-timestamp':0}"));
}

TEST_P(DescribedLine, OfAnUnknownCategoryPrintsNumericIdsAndIsOtherwiseComplete) {
    EXPECT_THAT(describe(report(4, 0, 0, 200)),
                testing::StartsWith("{  'category':   '200', 'component':     '0', 'event':         '0',"
                                    " 'type':   'trigger', 'timestamp':         0, 'sequence_num':         0,"
                                    " 'trigger':1, 'thread-id':         0, 'arg':         0,"
                                    " 'type-id':4, 'category-id':200, 'component-id':0, 'event-id':0,"
                                    " 'binary-data':[4,0,0,200,0,"));
}

TEST_P(DescribedLine, PrintsAnUnknownTypeByNumberWithoutPayload) {
    const std::string line = describe(report(17, 0, 0, 8, {1, 2, 3}));

    EXPECT_THAT(line, HasSubstr(" 'type':        '17',"));
    EXPECT_THAT(line, HasSubstr(" 'sequence_num':         0, 'type-id':17,"));
}

TEST_P(DescribedLine, PrintsNamesLongerThanTheirFieldInFull) {
    EXPECT_THAT(describe(report(6, 17, 4, 2)), HasSubstr(" 'component':'norvat', 'event':'trigger-latency', 'type':"
                                                         "'sshb-context1',"));
}

TEST_P(DescribedLine, PrintsTheLargestNumbersInFull) {
    Report largest = report(0, 0, 0, 0);
    std::fill(largest.begin() + 4, largest.end(), static_cast<unsigned char>(0xFF));

    EXPECT_THAT(describe(largest), HasSubstr(" 'timestamp':18446744073709551615, 'sequence_num':4294967295,"));
}

/** Sets the process's locale, for the C library and for streams, and restores the former one when destroyed. */
class ProcessLocale {
public:
    explicit ProcessLocale(const char *name) : _before(std::locale::global(std::locale(name))) {}
    ProcessLocale(const ProcessLocale &) = delete;
    ProcessLocale &operator=(const ProcessLocale &) = delete;
    ~ProcessLocale() { std::locale::global(_before); }

private:
    std::locale _before;
};

TEST_P(DescribedLine, DoesNotDependOnTheLocale) {
    // A report in which a decimal comma, thousands separators and the German "Mai" would show.
    const Report data_out = with(report(3, 1, 0, 4, {0, 24, 0, 0}), 4, {0, 0, 0, 1});
    const Clock in_may{oracle::TimeSync{0, 1715000000000000000}, 1700000000000000};
    const ProcessLocale german("de_DE.UTF-8");
    ASSERT_STREQ(std::localeconv()->decimal_point, ",");

    const std::string line = describe(data_out, in_may);

    EXPECT_THAT(line, HasSubstr(" 'sequence_num':  16777216, 'arg1':      6144,"));
    EXPECT_THAT(line, HasSubstr(" 'x':       1.5,"));
    EXPECT_THAT(line, HasSubstr(" 'calendar-time':'May 06 12:53:20.000000',"));
    EXPECT_THAT(line, HasSubstr(" 'boot-timestamp':1700000000000000}"));
}

// ---- firmware time ---------------------------------------------------------------------------------------

struct WallClockCase {
    const char *meaning;
    oracle::TimeSync sync;
    std::vector<unsigned char> timestamp;
    const char *text;
};

TEST_P(DescribedLine, ShowsFirmwareTimeAsLocalWallClockTime) {
    const std::vector<WallClockCase> cases = {
        {"5,000,000 at a synchronisation 5 s after the clock's start",
         {5000000000, 1700000000000000000},
         {0x40, 0x4B, 0x4C},
         "Nov 14 22:13:20.000000"},
        {"seven microseconds", {5000000000, 1700000000000000000}, {0x47, 0x4B, 0x4C}, "Nov 14 22:13:20.000007"},
        {"nanoseconds are cut off", {1, 1700000000000000000}, {0}, "Nov 14 22:13:19.999999"},
        {"days have two digits", {0, 1699174987250000000}, {0}, "Nov 05 09:03:07.250000"},
        {"a synchronisation later than the record wraps", {1000, 0}, {0}, "Jul 21 23:34:33.709550"},
    };
    for (const WallClockCase &row : cases) {
        SCOPED_TRACE(row.meaning);

        const std::string line = describe(with(report(0, 0, 0, 0), 8, row.timestamp), {row.sync, std::nullopt});

        EXPECT_THAT(line, HasSubstr(std::string(" 'calendar-time':'") + row.text + "'}"));
    }
}

// ---- names -----------------------------------------------------------------------------------------------

struct NameCase {
    std::uint8_t category;
    std::uint8_t component;
    std::uint8_t event;
    const char *names;
};

TEST_P(DescribedLine, NamesComponentsAndEventsByCategory) {
    const std::vector<NameCase> cases = {
        {0, 5, 0, " 'category':  'exec', 'component':'timing', 'event':         '0',"},
        {0, 0, 1, " 'component':'scheduler', 'event':'prevent-nap',"},
        {0, 4, 0, " 'component':'extfunction', 'event':'extfunction',"},
        {0, 6, 0, " 'component':     '6', 'event':         '0',"},
        {1, 2, 0, " 'category': 'trace', 'component':'systick', 'event':         '0',"},
        {2, 6, 11, " 'category':'sensor', 'component':'temperature', 'event':        '11',"},
        {2, 7, 16, " 'component':     '7', 'event':'trigger-magnitude',"},
        {3, 1, 17, " 'category':'quoril', 'component':     '1', 'event':'trigger-latency',"},
        {4, 0, 1, " 'category':'vastrel', 'component':'vastrel', 'event':  'data-out',"},
        {5, 0, 0, " 'category':'interrupt', 'component':  'gpio', 'event':   'latency',"},
        {6, 2, 7, " 'category':  'uart', 'component': 'uart2', 'event':  'zel-test',"},
        {7, 3, 4, " 'category':  'sshb', 'component':'latency', 'event':'ckp_RIVTurnOn',"},
        {7, 0, 4, " 'component':  'sshb', 'event':         '4',"},
        {7, 6, 19, " 'component':'zelvoicetrigger', 'event':'trigger-clickoff',"},
        {8, 0, 0, " 'category':'control', 'component':     '0', 'event':         '0',"},
        {9, 5, 0, " 'category':   'scm', 'component':'i2c_ctrl1', 'event':         '0',"},
        {10, 0, 2, " 'category':  'wake', 'component':  'wake', 'event':'wake-event-info',"},
        {11, 0, 0, " 'category':    '11', 'component':     '0', 'event':         '0',"},
    };
    for (const NameCase &row : cases) {
        EXPECT_THAT(describe(report(0, row.event, row.component, row.category)), HasSubstr(row.names));
    }
}

// ---- payloads of every category --------------------------------------------------------------------------

TEST_P(DescribedLine, OfLongDataDumpsAsManyBytesAsItsLengthSays) {
    const std::vector<unsigned char> start = {1, 1, 2, 0, 2, 0, 255, 255, 9, 8, 7};

    EXPECT_EQ(payload(report(1, 0, 0, 8, start)),
              " 'subtype':       257, 'packet-size':         2, 'data-length':         2,"
              " 'data-offset':     65535, 'raw-data':     [9,8],");
}

TEST_P(DescribedLine, OfLongDataNeverDumpsMoreThanTheRecordHolds) {
    const std::string line = describe(with(report(1, 0, 0, 8, {0, 0, 0, 0, 100}), 47, {77}));

    EXPECT_THAT(line, HasSubstr(" 'data-length':       100,"));
    EXPECT_THAT(line, HasSubstr(" 'raw-data':[0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,77],"));
}

TEST_P(DescribedLine, OfEmptyLongDataDumpsTwoBrackets) {
    EXPECT_THAT(payload(report(1, 0, 0, 8)), HasSubstr(" 'raw-data':        [],"));
}

TEST_P(DescribedLine, OfShortDataPrintsConstantSizes) {
    EXPECT_EQ(payload(with(report(2, 0, 0, 8, {2, 1, 255, 255, 255, 255, 255, 255}), 47, {6})),
              " 'subtype':       258, 'packet-size':        30, 'data-length':        30, 'data-offset':         0,"
              " 'raw-data':[255,255,255,255,255,255,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,6],");
}

TEST_P(DescribedLine, OfAnEventPrintsItsWordsInDecimalAndInHexadecimal) {
    EXPECT_EQ(payload(report(3, 0, 0, 8, {255, 0, 0, 0, 0, 0, 0, 0xAB, 10})),
              " 'arg1':       255, 'arg2':2868903936, 'arg3':        10,"
              " 'arg4':         0, 'arg5':         0, 'arg6':         0,"
              " 'xarg1':         'ff', 'xarg2':         'ab000000', 'xarg3':         'a',"
              " 'xarg4':         '0', 'xarg5':         '0', 'xarg6':         '0',");
}

TEST_P(DescribedLine, OfAnEventReturnsToDecimalAfterTheHexadecimalWords) {
    EXPECT_THAT(describe(report(3, 12, 11, 8)), HasSubstr(" 'component-id':11, 'event-id':12,"));
}

TEST_P(DescribedLine, OfATriggerPrintsOneWordUnderTwoKeys) {
    EXPECT_EQ(payload(report(4, 0, 0, 8, {1, 2, 3, 4, 5, 1})),
              " 'trigger':1, 'thread-id':       261, 'arg':       261,");
}

TEST_P(DescribedLine, OfASensorInfoPrintsTheNameFirst) {
    const Report sensor = report(8, 0, 0, 8, {1,   0,   0,   0,   2, 0,  0, 0, 3, 0, 0, 0, 4, 0, 0, 0, 5, 6, 255, //
                                              'g', 'y', 'r', 'o', 0, 'x'});

    EXPECT_EQ(payload(sensor),
              " 'name':          'gyro', 'report-interval':         1, 'batch-interval':         2,"
              " 'threshold':         3, 'time-limit':         4, 'connected':         5, 'decimation':         6,"
              " 'gyroPowerMode':       255,");
}

TEST_P(DescribedLine, OfASensorInfoPrintsANameThatFillsItsField) {
    const std::vector<unsigned char> name = {'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 'i', 'j', 'k', 'l', 'M'};

    EXPECT_THAT(payload(with(report(8, 0, 0, 8), 35, name)), HasSubstr(" 'name':  'abcdefghijkl',"));
}

TEST_P(DescribedLine, OfASensorInfoPadsAnEmptyName) {
    EXPECT_THAT(payload(with(report(8, 0, 0, 8), 36, {'x'})), HasSubstr(" 'name':              '',"));
}

TEST_P(DescribedLine, OfAnExtFunctionPrintsATextOfSixteenBytes) {
    const Report function =
        report(9, 0, 0, 8, {1,   0,   0,   0,   2,   0,   0,   0,   3,   0,   0,   0,   4,   0,   0,   0, //
                            'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 'i', 'j', 'k', 'l', 'm', 'n', 'o', 'p'});

    EXPECT_EQ(payload(function), " 'function':'abcdefghijklmnop', 'arg':         4, 'task':         1,"
                                 " 'thread':         2, 'duration':         3,");
}

TEST_P(DescribedLine, OfAnAnnotationPrintsTheEntryAsNumberAndAsTag) {
    const Report annotation =
        report(11, 0, 0, 8, {0, 0, 0, 0, 1, 0, 0, 0, 'A', 'B', 0, 0, 0, 0, 0, 'C', 7, 0, 0, 0, 8});

    EXPECT_EQ(payload(annotation), " 'global-id':4294967296, 'entry-id':4827858800541188673, 'entry':      'AB',"
                                   " 'arg1':         7, 'arg2':         8,");
}

TEST_P(DescribedLine, OfADecimationInfoPrintsTheNextDispatchLast) {
    const Report decimation =
        report(12, 0, 0, 8, {1, 0, 0, 0, 0, 0, 0, 128, 2, 0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0, 'a', 'l', 's'});

    EXPECT_EQ(payload(decimation), " 'name':           'als', 'sample-interval':         2, 'report-interval':"
                                   "         3, 'batch-interval':         4, 'next-dispatch':9223372036854775809,");
}

TEST_P(DescribedLine, OfTypesWithoutLayoutHasNoPayload) {
    for (const unsigned type : {0u, 6u, 7u, 10u, 13u, 255u}) {
        EXPECT_EQ(payload(report(static_cast<std::uint8_t>(type), 0, 0, 8, {1, 2, 3})), "") << type;
    }
}

// ---- SSHB payloads ---------------------------------------------------------------------------------------

TEST_P(DescribedLine, OfAnInputPacketSkipsOneByteAndIsFollowedByTheGenericText) {
    const Report packet = with(report(2, 2, 0, 7), 18, {1, 0, 1, 9, 3, 0, 1, 2, 5, 0xE8, 3, 0, 0, 0x70, 0x11, 1, 0});

    EXPECT_EQ(payload(packet),
              " 'reportID':         1, 'buttonState':         0, 'fingerDetect':         1, 'pressCount':         3,"
              " 'longPress':         0, 'terminalEvent':         1, 'speed':         2, 'stage':         5,"
              " 'stageProgress':      1000, 'force':     70000,"
              " 'subtype':         0, 'packet-size':        30, 'data-length':        30, 'data-offset':         0,"
              " 'raw-data':[1,0,1,9,3,0,1,2,5,232,3,0,0,112,17,1,0,0,0,0,0,0,0,0,0,0,0,0,0,0],");
}

TEST_P(DescribedLine, OfAStatusEventPrintsALowTimestampWord) {
    const Report status = with(report(2, 3, 0, 7), 18, {0, 0, 1, 0, 9, 9, 9, 9, 1, 2, 3, 0, 0, 1, 9, 4, 5, 6, 255});

    EXPECT_THAT(
        payload(status),
        testing::StartsWith(" 'status-timestamp':     65536, 'fingerState':         1, 'buttonState':         2,"
                            " 'buttonProgress':  16777219, 'clickCount':         4, 'clickCountIsTerminal':"
                            "         5, 'clickIsLong':         6, 'clickSpeed':       255,"
                            " 'subtype':         0,"));
}

TEST_P(DescribedLine, OfOtherSshbShortDataHoldsTheGenericTextTwice) {
    const std::string once = payload(report(2, 7, 0, 8, {1, 2, 3}));

    EXPECT_EQ(payload(report(2, 7, 0, 7, {1, 2, 3})), once + once);
}

TEST_P(DescribedLine, OfAnSshbTraceNamesItsSubject) {
    const std::vector<unsigned char> seven = {7, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0, 5, 0, 0, 0, 6};

    EXPECT_EQ(payload(report(3, 0, 0, 7, seven)),
              " 'trace':             'EnableSshb', 'thread':         2, 'arg1':         3, 'arg2':         4,"
              " 'arg3':         5, 'arg4':         6," +
                  payload(report(3, 0, 0, 8, seven)));
}

TEST_P(DescribedLine, OfAnSshbTraceTakesTheNameFromTheComponentsTable) {
    EXPECT_THAT(payload(report(3, 0, 5, 7, {42})), HasSubstr(" 'trace':                     '42',"));
    EXPECT_THAT(payload(report(3, 0, 6, 7, {42})), HasSubstr(" 'trace':                     '42',"));
    EXPECT_THAT(payload(report(3, 0, 3, 7, {4})), HasSubstr(" 'trace':          'ckp_RIVTurnOn',"));
    EXPECT_THAT(payload(report(3, 0, 3, 7, {8})), HasSubstr(" 'trace':                      '8',"));
    EXPECT_THAT(payload(report(3, 0, 4, 7, {224})), HasSubstr(" 'trace':       'AmpPowerUpPhase1',"));
    EXPECT_THAT(payload(report(3, 0, 0, 7, {51, 1})), HasSubstr(" 'trace':                    '307',"));
    EXPECT_THAT(payload(report(3, 0, 0, 7, {49, 1})), HasSubstr(" 'trace':'kSetHapticAudioAssertionReturn',"));
    EXPECT_THAT(payload(report(3, 0, 0, 7, {0, 0, 0, 128})), HasSubstr(" 'trace':             '2147483648',"));
}

std::vector<unsigned char> counting(unsigned char version) {
    std::vector<unsigned char> bytes = {version, 0};
    for (unsigned char value = 1; value <= 30; ++value) {
        bytes.push_back(value);
    }
    return bytes;
}

TEST_P(DescribedLine, OfAContextOfVersionThree) {
    EXPECT_EQ(payload(report(10, 1, 0, 7, counting(3))),
              " 'context-version':3, 'currentContext0':1, 'currentContext1':2, 'ampsEnabled':3, 'enabled':4,"
              " 'mode':134678021, 'scan_time':202050057, 'active_scan_interval':269422093,"
              " 'background_scan_interval':336794129, 'fingerDetect':21, 'buttonState':22, 'pressCount':23,"
              " 'longPress':24, 'terminalEvent':25, 'speed':26, 'stage':27,");
}

TEST_P(DescribedLine, OfAContextOfVersionFour) {
    EXPECT_EQ(payload(report(10, 1, 0, 7, counting(4))),
              " 'context-version':4, 'mclk_zel_enabled':1, 'mclk_ap_enabled':2, 'pellox_zel_enabled':3,"
              " 'pellox_ap_enabled':4, 'pelloxBusy':5, 'enableRIV':6, 'enableSpkr':7, 'mclk_on':8, 'pellox_on':9,"
              " 'pelloxPending':10, 'ampsEnabling':11, 'kiru_ready':12, 'ampsPrewarming':13, 'ampsDisabling':14,"
              " 'ampsPending':15, 'clickState':16, 'clickSpeed':17, 'test_mode':18, 'cl_enable':19,"
              " 'cl_zel_enable':20, 'cl_ap_enable':21, 'pellox_ready':22, 'apState0':23, 'apState1':24,"
              " 'zelState0':25, 'zelState1':26, 'state0':27, 'state1':28,");
}

TEST_P(DescribedLine, OfAContextOfVersionFive) {
    EXPECT_EQ(payload(report(10, 1, 0, 7, counting(5))),
              " 'context-version':5, 'currentContext0':1, 'currentContext1':2, 'ampsEnabled':3, 'enabled':4,"
              " 'scan_period':134678021, 'scan_time':202050057, 'fingerDetect':13, 'buttonState':14,"
              " 'pressCount':15, 'longPress':16, 'terminalEvent':17, 'speed':18, 'stage':19,");
}

TEST_P(DescribedLine, OfAContextOfVersionSeven) {
    EXPECT_EQ(payload(report(10, 1, 0, 7, counting(7))),
              " 'context-version':7, 'mclk_zel_enabled':1, 'mclk_ap_enabled':2, 'pellox_zel_enabled':3,"
              " 'pellox_ap_enabled':4, 'pelloxBusy':5, 'enableRIV':6, 'enableSpkr':7, 'mclk_on':8, 'pellox_on':9,"
              " 'pelloxPending':10, 'kiru_ready':11, 'ampsState':12, 'clickState':13, 'clickSpeed':14,"
              " 'test_mode':15, 'cl_enable':16, 'cl_zel_enable':17, 'cl_ap_enable':18, 'pellox_ready':19,"
              " 'apState0':20, 'apState1':21, 'zelState0':22, 'zelState1':23, 'state0':24, 'state1':25,");
}

TEST_P(DescribedLine, OfAContextOfAnotherVersionHasNoPayload) {
    for (const unsigned version : {0u, 1u, 2u, 6u, 8u, 255u}) {
        EXPECT_EQ(payload(report(10, 1, 0, 7, counting(static_cast<unsigned char>(version)))), "") << version;
    }
    EXPECT_EQ(payload(report(10, 1, 0, 7, {3, 1})), "");
    EXPECT_EQ(payload(report(10, 1, 0, 7, {0, 4})), "");
}

TEST_P(DescribedLine, PrintsAnSshbContextsFieldsOnlyInTheSshbCategory) {
    EXPECT_EQ(payload(report(10, 1, 0, 8, counting(3))), "");
}

// ---- vastrel and wake payloads ---------------------------------------------------------------------------

TEST_P(DescribedLine, OfDataInPrintsWordsAndVectorAndTheGenericText) {
    const std::vector<unsigned char> data = {0, 0, 255, 255, 1, 0, 0, 0, 0, 128, 0, 0, 9};

    EXPECT_EQ(payload(report(3, 0, 0, 4, data)),
              " 'arg1':4294901760, 'arg2':         1, 'arg3':     32768, 'arg4':         9, 'arg5':         0,"
              " 'arg6':         0, 'x':        -1, 'y':1.52588e-05, 'z':       0.5," +
                  payload(report(3, 0, 0, 8, data)));
}

TEST_P(DescribedLine, OfDataOutScalesTheVectorDifferentlyAndHasNoGenericText) {
    const std::vector<unsigned char> data = {0, 16, 0, 0, 0, 24, 0, 0, 0, 0, 0, 128};

    EXPECT_EQ(payload(report(3, 1, 0, 4, data)),
              " 'arg1':      4096, 'arg2':      6144, 'arg3':2147483648, 'arg4':         0, 'arg5':         0,"
              " 'arg6':         0, 'x':         1, 'y':       1.5, 'z':   -524288,");
}

TEST_P(DescribedLine, OfOtherVastrelReportsIsGeneric) {
    EXPECT_EQ(payload(report(3, 0, 1, 4)), kEmptyEvent);
    EXPECT_EQ(payload(report(3, 2, 0, 4)), kEmptyEvent);
    EXPECT_EQ(payload(report(3, 0, 0, 8)), kEmptyEvent);
    EXPECT_THAT(payload(report(5, 0, 0, 4)), Not(HasSubstr("'x'")));
}

TEST_P(DescribedLine, OfAWakeRequestPrintsASixtyFourBitReference) {
    EXPECT_EQ(payload(report(13, 1, 0, 10, {5, 0, 0, 0, 0, 0, 0, 0, 1})),
              " 'wake_reason':         5, 'endpoint_ref':4294967296,");
}

TEST_P(DescribedLine, OfAWakeEventHasNoGenericText) {
    EXPECT_EQ(payload(report(3, 2, 0, 10, {5, 0, 0, 0, 7})), " 'wake_reason':         5, 'service_id':         7,");
}

TEST_P(DescribedLine, OfAWakeRequestWithTheEventTypeIsGeneric) {
    EXPECT_EQ(payload(report(3, 1, 0, 10)), kEmptyEvent);
    EXPECT_EQ(payload(report(13, 2, 0, 10)), "");
    EXPECT_EQ(payload(report(13, 1, 1, 10)), "");
}

// The wall-clock texts above are in this time zone.
const testing::Environment *const kUniversalTime = testing::AddGlobalTestEnvironment(new TimeZoneEnvironment("UTC0"));

} // namespace
