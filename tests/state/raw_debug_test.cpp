// The raw debug data snapshot: its sources, its records, and its failures.

#include "decoder/ProfileDescription.h"
#include "host/TvValues.h"
#include "host/state_records.h"
#include "tests/plugin/plug_in_fixture.h"

namespace plug_in_tests {
namespace {

using host::control_report;
using host::PlayedReportService;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class RawDebug : public PlugInTest {
protected:
    /** The record of one call; empty for null. */
    std::vector<host::StateRecord> ask(uint32_t source, uint32_t index = 0, uint32_t count = 32) {
        const RvStateCaptureHints hints{.version = 1, .requester = "test", .kind = 2, .reserved = 0};
        RvStateCaptureRecord *record = plug_in->stateHandler_RawDebugData(&hints, nullptr, index, count, source);
        if (record == nullptr) {
            return {};
        }
        const auto *bytes = reinterpret_cast<const std::byte *>(record);
        auto parsed = host::parse_records({bytes, 200 + record->payload_size}, "record");
        std::free(record);
        return parsed;
    }

    static std::vector<std::string> texts(const host::StateRecord &record) {
        std::vector<std::string> result;
        for (std::size_t i = 0; i < TvArrayGetCount(record.payload.get()); ++i) {
            result.emplace_back(TvStringGetCString(TvArrayGetValue(record.payload.get(), i)));
        }
        return result;
    }

    static std::string description(const std::vector<uint8_t> &bytes) {
        platform::OwnedValue text(CopyProfileDescription(bytes.data()));
        return TvStringGetCString(text.get());
    }

    PlayedQor qor;
    PlayedReportService &firmware = qor.firmware_reports;
    PlayedReportService &driver = qor.driver_reports;
};

TEST_F(RawDebug, Source1ReadsProperty209OfTheFirmwareService) {
    firmware.bytes = control_report(1);

    auto records = ask(1, 47);

    ASSERT_THAT(records, SizeIs(1));
    EXPECT_EQ(records[0].title, "ZEL Profile 47 ;count=1 ;type=fw");
    EXPECT_THAT(firmware.methods, ElementsAre(2u));
    EXPECT_THAT(firmware.scalars, ElementsAre(209u));
    EXPECT_EQ(firmware.capacity, 1536u);
}

TEST_F(RawDebug, Source2IsCommand9OfTheDriverService) {
    driver.bytes = control_report(1) + control_report(2) + std::vector<uint8_t>(4);
    ASSERT_THAT(driver.bytes, SizeIs(100));

    auto records = ask(2, 5);

    ASSERT_THAT(records, SizeIs(1));
    EXPECT_EQ(records[0].title, "ZEL Profile 5 ;count=2 ;type=drvx");
    EXPECT_THAT(texts(records[0]), ElementsAre(description(control_report(1)), description(control_report(2))));
    EXPECT_THAT(driver.methods, ElementsAre(9u));
    EXPECT_THAT(driver.scalars, IsEmpty());
    EXPECT_EQ(driver.capacity, 1536u);
}

TEST_F(RawDebug, Source3IsCommand8OfTheDriverService) {
    driver.bytes = control_report(1);

    auto records = ask(3, 0);

    ASSERT_THAT(records, SizeIs(1));
    EXPECT_EQ(records[0].title, "ZEL Profile 0 ;count=1 ;type=err");
    EXPECT_THAT(driver.methods, ElementsAre(8u));
}

TEST_F(RawDebug, AnyOtherSourceIsNullAndReadsNothing) {
    for (uint32_t source : {0u, 4u, UINT32_MAX}) {
        EXPECT_THAT(ask(source), IsEmpty());
    }
    EXPECT_THAT(firmware.methods, IsEmpty());
    EXPECT_THAT(driver.methods, IsEmpty());
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(RawDebug, IsNullWithoutALogLineForLessThanOneReport) {
    for (std::size_t size : {0u, 47u}) {
        firmware.bytes.assign(size, 0);
        driver.bytes.assign(size, 0);

        EXPECT_THAT(ask(1), IsEmpty());
        EXPECT_THAT(ask(2), IsEmpty());
        EXPECT_THAT(ask(3), IsEmpty());
    }
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(RawDebug, ReadsNoFurtherThanTheCapacityWhateverTheDriverReports) {
    for (std::size_t lie : {std::size_t{1537}, std::size_t{4096}, SIZE_MAX}) {
        firmware.bytes.assign(1536, 0);
        firmware.reported_size = lie;
        driver.bytes.assign(1536, 0);
        driver.reported_size = lie;

        for (uint32_t source : {1u, 2u, 3u}) {
            auto records = ask(source);
            ASSERT_THAT(records, SizeIs(1));
            EXPECT_THAT(texts(records[0]), SizeIs(32));
        }
    }
}

TEST_F(RawDebug, DescribesNoMoreReportsThanTheCount) {
    driver.bytes = control_report(1) + control_report(2) + control_report(3);

    auto records = ask(2, 0, 2);

    ASSERT_THAT(records, SizeIs(1));
    EXPECT_EQ(records[0].title, "ZEL Profile 0 ;count=2 ;type=drvx");
    EXPECT_THAT(texts(records[0]), ElementsAre(description(control_report(1)), description(control_report(2))));
}

TEST_F(RawDebug, IsNullWithoutRoomForAReport) {
    driver.bytes = control_report(1);

    EXPECT_THAT(ask(2, 0, 0), IsEmpty());
}

TEST_F(RawDebug, FailingFirmwareReadIsLoggedByBothRoutines) {
    firmware.status = kRvStatusNotReady;

    EXPECT_THAT(ask(1), IsEmpty());

    ASSERT_THAT(lines(), SizeIs(2));
    EXPECT_THAT(lines()[0], assertion_line("kr == 0 ", "e00002d8", RvStatusGetText(kRvStatusNotReady)));
    EXPECT_EQ(lines()[1], ": Kelmarks: kr == 0,  file: plugin/OndreQORHIDStatistics.cpp, line: 1072 value:0");
}

struct FailingSource {
    uint32_t source;
    const char *line;
};

class FailingDriverRead : public RawDebug, public testing::WithParamInterface<FailingSource> {};

TEST_P(FailingDriverRead, IsLoggedWithTheSourcesLine) {
    driver.status = kRvStatusNotReady;

    EXPECT_THAT(ask(GetParam().source), IsEmpty());

    ASSERT_THAT(lines(), SizeIs(2));
    EXPECT_EQ(lines()[1], std::string(": Kelmarks: kr == 0,  file: plugin/OndreQORHIDStatistics.cpp, line: ") +
                              GetParam().line + " value:0");
}

INSTANTIATE_TEST_SUITE_P(Sources, FailingDriverRead,
                         testing::Values(FailingSource{2, "1077"}, FailingSource{3, "1082"}));

TEST_F(RawDebug, IsNullAndLoggedWithoutAnArray) {
    driver.bytes = control_report(1);
    host::arm_fault("TvArrayCreateMutable", 0, host::Strikes::Once);

    EXPECT_THAT(ask(2), IsEmpty());

    EXPECT_THAT(lines(), ElementsAre(": Kelmarks: array,  file: plugin/OndreQORHIDStatistics.cpp, line: 1093 value:0"));
}

TEST_F(RawDebug, SkipsAReportWithoutADescriptionButCountsIt) {
    driver.bytes = control_report(1) + control_report(2);
    // The description itself is one of the strings created this way.
    host::arm_fault("TvStringCreateWithBytes", 0, host::Strikes::Once);

    auto records = ask(2);
    host::disarm_faults();

    ASSERT_THAT(records, SizeIs(1));
    EXPECT_EQ(records[0].title, "ZEL Profile 0 ;count=2 ;type=drvx");
    EXPECT_THAT(texts(records[0]), ElementsAre(description(control_report(2))));
}

TEST_F(RawDebug, MayHoldAnEmptyArray) {
    driver.bytes = control_report(1);
    host::arm_fault("TvStringCreateWithBytes", 0, host::Strikes::ForGood);

    auto records = ask(2);

    ASSERT_THAT(records, SizeIs(1));
    EXPECT_EQ(records[0].title, "ZEL Profile 0 ;count=1 ;type=drvx");
    EXPECT_THAT(texts(records[0]), IsEmpty());
}

TEST_F(RawDebug, MissingServiceIsLoggedByBothRoutines) {
    host::arm_fault("RvRegistryCopyServiceMatchingName", 0, host::Strikes::Once);

    EXPECT_THAT(ask(3), IsEmpty());

    ASSERT_THAT(lines(), SizeIs(2));
    EXPECT_THAT(lines()[0], assertion_line("service"));
}

// ---- the handler entries

class HandlerEntries : public RawDebug {
protected:
    HandlerEntries() {
        firmware.bytes = control_report(1);
        driver.bytes = control_report(2);
        RvHIDService service = qor.service({{0x000C, 1}, {0xFF00, 3}});
        queue.run([&] { plug_in->registerService(&service); });
    }

    std::vector<std::string> titles(uint32_t kind) {
        std::vector<std::string> result;
        for (const host::RecordBytes &record : host::capture_state(kind, "test")) {
            result.push_back(host::parse_records(record, "record").at(0).title);
        }
        return result;
    }

    /** The 104 titles in the order of registration. */
    static std::vector<std::string> raw_debug_titles() {
        std::vector<std::string> expected;
        for (auto [entries, type] : {std::pair{48, "fw"}, std::pair{8, "drvx"}, std::pair{48, "err"}}) {
            for (int index = 0; index < entries; ++index) {
                expected.push_back("ZEL Profile " + std::to_string(index) + " ;count=1 ;type=" + type);
            }
        }
        return expected;
    }
};

TEST_F(HandlerEntries, AnswerNoError) {
    EXPECT_THAT(titles(kRvStateCaptureError), IsEmpty());
    EXPECT_THAT(titles(0), IsEmpty());
    EXPECT_THAT(firmware.methods, IsEmpty());
}

TEST_F(HandlerEntries, AnswerAFaultWith104RawDebugRecordsInOrder) {
    EXPECT_EQ(titles(kRvStateCaptureFault), raw_debug_titles());
}

TEST_F(HandlerEntries, OfRawDebugCompareTheKindAsUnsigned) {
    EXPECT_EQ(titles(4), raw_debug_titles());
    EXPECT_EQ(titles(UINT32_MAX), raw_debug_titles());
}

} // namespace
} // namespace plug_in_tests
