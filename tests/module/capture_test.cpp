// The module's records when state is captured.

#include <dlfcn.h>

#include <algorithm>

#include "decoder/ProfileDescription.h"
#include "tests/module/module_fixture.h"

namespace module_tests {
namespace {

using host::control_report;
using host::PlayedReportService;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class ModuleCapture : public ModuleTest {
protected:
    ModuleCapture() {
        qor.driver->command = [this](host::DriverCommand &) {
            ++driver_commands;
            return kRvStatusError;
        };
    }

    PlayedQor qor;
    PlayedReportService &firmware = qor.firmware_reports;
    PlayedReportService &driver = qor.driver_reports;
    int driver_commands = 0;
};

/** The titles of a whole raw-debug capture in which every source has `count` reports. */
std::vector<std::string> raw_debug_titles(int count) {
    std::vector<std::string> titles;
    const std::pair<const char *, int> sources[] = {{"fw", 48}, {"drvx", 8}, {"err", 48}};
    for (const auto &[type, entries] : sources) {
        for (int index = 0; index < entries; ++index) {
            titles.push_back("ZEL Profile " + std::to_string(index) + " ;count=" + std::to_string(count) +
                             " ;type=" + type);
        }
    }
    return titles;
}

TEST_F(ModuleCapture, FaultIsAnsweredByThe104RawDebugEntriesAloneInTheirOrder) {
    plug_in.hand_over(qor.service({{0x000C, 1}, {0xFF00, 3}}));
    firmware.bytes = driver.bytes = control_report(1);

    EXPECT_THAT(titles(kRvStateCaptureFault), testing::ElementsAreArray(raw_debug_titles(1)));

    EXPECT_EQ(driver_commands, 0);
    EXPECT_THAT(texts(), IsEmpty());
}

TEST_F(ModuleCapture, EntriesReadTheirSourcesWithRoomFor32Reports) {
    plug_in.hand_over(qor.service(kVendor));
    firmware.bytes = driver.bytes = control_report(1);

    capture(kRvStateCaptureFault);

    EXPECT_EQ(firmware.methods, std::vector<std::uint32_t>(48, 2));
    EXPECT_THAT(firmware.scalars, ElementsAre(209));
    EXPECT_EQ(firmware.capacity, 32u * 48u);
    std::vector<std::uint32_t> driver_methods(8, 9);
    driver_methods.insert(driver_methods.end(), 48, 8);
    EXPECT_EQ(driver.methods, driver_methods);
    EXPECT_EQ(driver.capacity, 32u * 48u);
}

TEST_F(ModuleCapture, ErrorHasNoRecords) {
    plug_in.hand_over(qor.service({{0x000C, 1}, {0xFF00, 3}}));
    firmware.bytes = driver.bytes = control_report(1);

    EXPECT_THAT(titles(kRvStateCaptureError), IsEmpty());
    EXPECT_THAT(titles(0), IsEmpty());

    EXPECT_THAT(firmware.methods, IsEmpty());
    EXPECT_EQ(driver_commands, 0);
}

TEST_F(ModuleCapture, RequestIncludesTheSnapshots) {
    plug_in.hand_over(qor.service({{0x000C, 1}, {0xFF00, 3}}));
    firmware.bytes = driver.bytes = control_report(1);

    const std::vector<std::string> answered = titles(kRvStateCaptureRequest);

    EXPECT_GT(driver_commands, 0);
    EXPECT_EQ(std::count_if(answered.begin(), answered.end(),
                            [](const std::string &title) { return title.rfind("ZEL Profile", 0) == 0; }),
              104);
}

TEST_F(ModuleCapture, KindsAboveRequestAreAnsweredByTheRawDebugEntriesAlone) {
    plug_in.hand_over(qor.service({{0x000C, 1}, {0xFF00, 3}}));
    firmware.bytes = driver.bytes = control_report(1);

    for (const std::uint32_t kind : {4u, 0x80000000u, 0xFFFFFFFFu}) {
        EXPECT_THAT(capture(kind), SizeIs(104)) << kind;
    }

    EXPECT_EQ(driver_commands, 0);
}

TEST_F(ModuleCapture, RecordsNameNoDecoderAndHoldSerializedValues) {
    plug_in.hand_over(qor.service(kVendor));
    firmware.bytes = driver.bytes = control_report(1);

    const auto records = host::capture_state(kRvStateCaptureFault, "somebody");

    ASSERT_EQ(records.size(), 104u);
    for (const host::RecordBytes &record : records) {
        const std::vector<std::byte> type_code(record.begin(), record.begin() + 4);
        EXPECT_THAT(type_code, ElementsAre(std::byte{1}, std::byte{0}, std::byte{0}, std::byte{0}));
        EXPECT_TRUE(
            std::all_of(record.begin() + 8, record.begin() + 136, [](std::byte b) { return b == std::byte{}; }));
    }
}

TEST_F(ModuleCapture, HundredBytesAreTwoDescriptionsUnderTheEntrysTitle) {
    plug_in.hand_over(qor.service(kVendor));
    driver.bytes = control_report(7) + control_report(8) + std::vector<std::uint8_t>(4, 0xEE);

    const std::vector<host::StateRecord> records = capture(kRvStateCaptureFault);

    const auto entry = std::find_if(records.begin(), records.end(), [](const host::StateRecord &record) {
        return record.title == "ZEL Profile 5 ;count=2 ;type=drvx";
    });
    ASSERT_NE(entry, records.end());
    EXPECT_EQ(TvArrayGetCount(entry->payload.get()), 2u);
}

/** The module's own exported entry point. */
std::string description(const std::vector<std::uint8_t> &bytes) {
    void *mapped = ::dlopen(MODULE_UNDER_TEST, RTLD_NOW | RTLD_NOLOAD);
    const auto describe =
        reinterpret_cast<decltype(&CopyProfileDescription)>(::dlsym(mapped, "CopyProfileDescription"));
    const platform::OwnedValue line(describe(bytes.data()));
    return TvStringGetCString(line.get());
}

TEST_F(ModuleCapture, EachDescriptionIsThatOfTheExportedEntryPointInReportOrder) {
    plug_in.hand_over(qor.service(kVendor));
    firmware.bytes = control_report(7) + control_report(8);

    const std::vector<host::StateRecord> records = capture(kRvStateCaptureFault);

    ASSERT_FALSE(records.empty());
    ASSERT_EQ(TvArrayGetCount(records[0].payload.get()), 2u);
    EXPECT_EQ(TvStringGetCString(TvArrayGetValue(records[0].payload.get(), 0)), description(control_report(7)));
    EXPECT_EQ(TvStringGetCString(TvArrayGetValue(records[0].payload.get(), 1)), description(control_report(8)));
    EXPECT_NE(description(control_report(7)), description(control_report(8)));
}

TEST_F(ModuleCapture, FortySevenBytesGiveNoRecordAndNoLogLine) {
    plug_in.hand_over(qor.service(kVendor));
    firmware.bytes = driver.bytes = std::vector<std::uint8_t>(47, 0xEE);

    EXPECT_THAT(capture(kRvStateCaptureFault), IsEmpty());

    EXPECT_THAT(texts(), IsEmpty());
}

TEST_F(ModuleCapture, SourceThatClaimsMoreThanTheBufferHoldsIsReadToItsEndOnly) {
    plug_in.hand_over(qor.service(kVendor));
    for (int i = 0; i < 32; ++i) {
        firmware.bytes = firmware.bytes + control_report(static_cast<std::uint8_t>(i));
    }
    firmware.reported_size = 1'000'000;

    const std::vector<host::StateRecord> records = capture(kRvStateCaptureFault);

    ASSERT_THAT(records, SizeIs(48));
    EXPECT_EQ(TvArrayGetCount(records[0].payload.get()), 32u);
}

TEST_F(ModuleCapture, FailingSourcesWriteTheirLinesWithTheNumberOfEachSource) {
    plug_in.hand_over(qor.service(kVendor));
    firmware.status = driver.status = 0xE00002BC;

    EXPECT_THAT(capture(kRvStateCaptureFault), IsEmpty());

    std::map<std::string, int> lines_of_the_handler;
    for (const std::string &text : texts()) {
        if (text.rfind(": Kelmarks: kr == 0,", 0) ==
            0) { // not the lines of the calls themselves, which have a blank after `0`
            ++lines_of_the_handler[text];
        }
    }
    const std::string head = ": Kelmarks: kr == 0,  file: plugin/OndreQORHIDStatistics.cpp, line: ";
    EXPECT_THAT(lines_of_the_handler,
                ElementsAre(std::pair(head + "1072 value:0\n", 48), std::pair(head + "1077 value:0\n", 8),
                            std::pair(head + "1082 value:0\n", 48)));
    EXPECT_THAT(texts(), SizeIs(2 * 104));
}

TEST_F(ModuleCapture, NothingIsAnsweredAfterTheQueueIsClosed) {
    plug_in.hand_over(qor.service(kVendor));
    firmware.bytes = driver.bytes = control_report(1);
    plug_in.queue.close();

    EXPECT_THAT(capture(kRvStateCaptureFault), IsEmpty());
}

TEST_F(ModuleCapture, TwoObjectsAnswerInTurn) {
    Loaded other;
    plug_in.hand_over(qor.service(kVendor));
    other.hand_over(qor.service(kVendor));
    firmware.bytes = driver.bytes = control_report(1);

    std::vector<std::string> twice = raw_debug_titles(1);
    const std::vector<std::string> once = twice;
    twice.insert(twice.end(), once.begin(), once.end());

    EXPECT_THAT(titles(kRvStateCaptureFault), testing::ElementsAreArray(twice));
}

} // namespace
} // namespace module_tests
