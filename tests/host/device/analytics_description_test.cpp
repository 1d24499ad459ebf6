/** `[[analytics]]` of a device description: the entries that become bytes, and what is refused. */
#include "host/device/analytics_description.h"

#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/device/description.h"
#include "host/error.h"
#include "qor/analytics.h"
#include "tests/host/device/written_description.h"

namespace {

using host_tests::WrittenDescription;
using namespace std::chrono_literals;

constexpr const char *kDevice = "name = 'x'\n[device.qor]\n";

std::vector<std::uint8_t> numbers(const std::vector<std::byte> &bytes) {
    std::vector<std::uint8_t> numbers;
    for (const std::byte byte : bytes) {
        numbers.push_back(std::to_integer<std::uint8_t>(byte));
    }
    return numbers;
}

host::AnalyticsDescription batch_of(const std::string &keys) {
    return host::read_device_description_text(kDevice + ("[[analytics]]\ndevice = 'qor'\n" + keys), "test")
        .analytics.at(0);
}

/** The bytes of a batch with this one entry. */
std::vector<std::uint8_t> entry(const std::string &keys) {
    return numbers(batch_of("entry = [{ " + keys + " }]").entries);
}

using Bytes = std::vector<std::uint8_t>;

struct EntryRow {
    const char *name;
    const char *keys;
    Bytes bytes;
};

class AnalyticsEntries : public testing::TestWithParam<EntryRow> {};

TEST_P(AnalyticsEntries, BecomeSevenLittleEndianBytes) { EXPECT_EQ(entry(GetParam().keys), GetParam().bytes); }

const EntryRow kEntries[] = {
    {"VersionIsThatOfTheKeys", "operation = 0, key = 0", {0x3A, 0, 0, 0, 0, 0, 0}},
    {"AnotherVersion", "version = 0x39, operation = 0, key = 0", {0x39, 0, 0, 0, 0, 0, 0}},
    {"NoOperation", "operation = 'none', key = 1", {0x3A, 0, 1, 0, 0, 0, 0}},
    {"ClearScalar", "operation = 'clear_scalar', key = 1", {0x3A, 1, 1, 0, 0, 0, 0}},
    {"SetScalar", "operation = 'set_scalar', key = 1, value = -1", {0x3A, 2, 1, 0xFF, 0xFF, 0xFF, 0xFF}},
    {"AddToScalar", "operation = 'add_to_scalar', key = 1, value = 0x01020304", {0x3A, 3, 1, 4, 3, 2, 1}},
    {"ClearDistribution", "operation = 'clear_distribution', key = 1", {0x3A, 4, 1, 0, 0, 0, 0}},
    {"SetDistribution", "operation = 'set_distribution', key = 1, value = 1.5", {0x3A, 5, 1, 0, 0x80, 1, 0}},
    {"Push", "operation = 'push', key = 1, value = 2", {0x3A, 6, 1, 0, 0, 2, 0}},
    {"NegativePush", "operation = 'push', key = 1, value = -0.5", {0x3A, 6, 1, 0, 0x80, 0xFF, 0xFF}},
    {"PushOfSixDecimals", "operation = 'push', key = 1, value = 0.100006", {0x3A, 6, 1, 0x9A, 0x19, 0, 0}},
    {"PushOnce", "operation = 'push', times = 1, key = 1", {0x3A, 6, 1, 0, 0, 0, 0}},
    {"PushThreeTimes", "operation = 'push', times = 3, key = 1", {0x3A, 8, 1, 0, 0, 0, 0}},
    {"PushAsOftenAsCanBe", "operation = 'push', times = 250, key = 1", {0x3A, 255, 1, 0, 0, 0, 0}},
    {"CodeOfAPush", "operation = 255, key = 1, value = 1", {0x3A, 255, 1, 0, 0, 1, 0}},
    {"RawValueOfAPush", "operation = 'push', key = 1, raw_value = 1", {0x3A, 6, 1, 1, 0, 0, 0}},
    {"SmallestRawValue", "operation = 2, key = 1, raw_value = -2147483648", {0x3A, 2, 1, 0, 0, 0, 0x80}},
    {"KeyByItsText", "operation = 0, key = 'com.ondre.zel.test'", {0x3A, 0, 57, 0, 0, 0, 0}},
    {"KeyWithTheDoubledPrefix",
     "operation = 0, key = 'com.ondre.com.zel.prox.baseline_to_trigger.time.dist'",
     {0x3A, 0, 25, 0, 0, 0, 0}},
    {"KeyThatTheTableLacks", "operation = 0, key = 58", {0x3A, 0, 58, 0, 0, 0, 0}},
    {"LargestKey", "operation = 0, key = 255", {0x3A, 0, 255, 0, 0, 0, 0}},
};

INSTANTIATE_TEST_SUITE_P(AnalyticsDescription, AnalyticsEntries, testing::ValuesIn(kEntries),
                         [](const auto &row) { return row.param.name; });

TEST(AnalyticsDescription, EveryKeyIsFoundByItsText) {
    for (int index = 0; index < qor::analytics::kKeyCount; ++index) {
        EXPECT_EQ(entry(std::string("operation = 0, key = '") + qor::analytics::kKeys[index] + "'").at(2), index);
    }
}

TEST(AnalyticsDescription, EntriesStandEndToEndInTheirOrder) {
    EXPECT_EQ(numbers(batch_of("[[analytics.entry]]\noperation = 1\nkey = 2\n"
                               "[[analytics.entry]]\noperation = 3\nkey = 4\nvalue = 5")
                          .entries),
              (Bytes{0x3A, 1, 2, 0, 0, 0, 0, 0x3A, 3, 4, 5, 0, 0, 0}));
}

TEST(AnalyticsDescription, EntriesMayBeHexBytes) {
    EXPECT_EQ(numbers(batch_of("hex = '39 ff ff 01 02 03 04'").entries), (Bytes{0x39, 0xFF, 0xFF, 1, 2, 3, 4}));
}

TEST(AnalyticsDescription, EntriesMayStandInAFileBesideTheDescription) {
    const WrittenDescription written(kDevice + std::string("[[analytics]]\ndevice = 'qor'\nfile = 'batch.bin'"));
    written.write("batch.bin", "abcdefgABCDEFG");

    const host::DeviceDescription description = host::read_device_description(written.path());

    EXPECT_EQ(numbers(description.analytics.at(0).entries),
              (Bytes{'a', 'b', 'c', 'd', 'e', 'f', 'g', 'A', 'B', 'C', 'D', 'E', 'F', 'G'}));
}

TEST(AnalyticsDescription, ABatchMayBeEmpty) { EXPECT_TRUE(batch_of("hex = ''").entries.empty()); }

TEST(AnalyticsDescription, WithoutTimesABatchIsDeliveredOnceAndAtOnce) {
    const host::AnalyticsDescription batch = batch_of("hex = ''");

    EXPECT_EQ(batch.device, "qor");
    EXPECT_EQ(batch.after, 0ns);
    EXPECT_EQ(batch.every, std::nullopt);
    EXPECT_EQ(batch.count, std::nullopt);
}

TEST(AnalyticsDescription, TimesAreInSeconds) {
    const host::AnalyticsDescription batch = batch_of("hex = ''\nafter = 1.5\nevery = 0.001\ncount = 3");

    EXPECT_EQ(batch.after, 1500ms);
    EXPECT_EQ(batch.every, 1ms);
    EXPECT_EQ(batch.count, 3u);
}

TEST(AnalyticsDescription, TheDocumentedExampleIsWhatItSays) {
    std::ifstream file(SOURCE_FOLDER "/docs/device-description.md");
    const std::string page{std::istreambuf_iterator<char>(file), {}};
    const std::size_t start = page.find("[[analytics]]\ndevice");
    ASSERT_NE(start, std::string::npos);
    const std::string example = page.substr(start, page.find("```", start) - start);

    const host::AnalyticsDescription batch =
        host::read_device_description_text(kDevice + example, "example").analytics.at(0);

    EXPECT_EQ(batch.after, 500ms);
    EXPECT_EQ(batch.every, 2s);
    EXPECT_EQ(numbers(batch.entries), (Bytes{0x3A, 3, 0,   1, 0,    0,  0, //
                                             0x3A, 7, 11,  0, 0x80, 81, 0, //
                                             0x39, 3, 200, 1, 0,    0,  0}));
}

struct BadBatch {
    const char *name;
    const char *keys; ///< from line 5 on, after the device
    const char *error;
};

class BadBatches : public testing::TestWithParam<BadBatch> {};

TEST_P(BadBatches, GiveOneErrorWithPlaceAndReason) {
    try {
        batch_of(GetParam().keys);
        FAIL() << "read";
    } catch (const host::Error &error) {
        EXPECT_EQ(error.what(), std::string("test: ") + GetParam().error);
    }
}

constexpr BadBatch kBadBatches[] = {
    {"NoEntries", "after = 1", "line 3, column 1: an analytics batch needs one of \"file\", \"hex\" and \"entry\""},
    {"TwoKindsOfEntries", "hex = ''\nentry = []", "line 6, column 9: \"hex\" and \"entry\" exclude each other"},
    {"UnknownKeyOfABatch", "hex = ''\nevry = 1",
     "line 6, column 1: unknown key \"evry\" of an analytics batch; did you mean \"every\"?"},
    {"HalfAnEntryOfHex", "hex = '3a 00 00 00 00 00 00 3a 06'",
     "line 5, column 7: \"hex\" gives 9 bytes, not whole entries of 7: 2 are left over"},
    {"OneByteMoreThanAnEntry", "hex = '3a 00 00 00 00 00 00 3a'",
     "line 5, column 7: \"hex\" gives 8 bytes, not whole entries of 7: 1 is left over"},
    {"FileWithoutAFolder", "file = 'batch.bin'",
     "line 5, column 8: \"file\" cannot name a file here: the description is not a file itself"},
    {"NegativeDelay", "hex = ''\nafter = -0.5", "line 6, column 9: \"after\" must be 0 to 31622400 seconds"},
    {"DelayThatIsNoNumber", "hex = ''\nafter = nan", "line 6, column 9: \"after\" must be 0 to 31622400 seconds"},
    {"DelayBeyondTheLongest", "hex = ''\nafter = 31622401",
     "line 6, column 9: \"after\" must be 0 to 31622400 seconds"},
    {"DelayAsText", "hex = ''\nafter = '1 s'", "line 6, column 9: \"after\" must be a decimal number, not a text"},
    {"NoInterval", "hex = ''\nevery = 0", "line 6, column 9: \"every\" must be 0.001 to 31622400 seconds"},
    {"InfiniteInterval", "hex = ''\nevery = inf", "line 6, column 9: \"every\" must be 0.001 to 31622400 seconds"},
    {"CountOfNone", "hex = ''\nevery = 1\ncount = 0", "line 7, column 9: \"count\" must be at least 1"},
    {"CountWithoutAnInterval", "hex = ''\ncount = 2", "line 6, column 9: \"count\" needs an \"every\""},
    {"EntryWithoutAKey", "entry = [{ operation = 0 }]", "line 5, column 10: an analytics entry lacks the key \"key\""},
    {"EntryWithoutAnOperation", "entry = [{ key = 0 }]",
     "line 5, column 10: an analytics entry lacks the key \"operation\""},
    {"UnknownKeyOfAnEntry", "entry = [{ operation = 0, key = 0, val = 1 }]",
     "line 5, column 36: unknown key \"val\" of an analytics entry; did you mean \"value\"?"},
    {"UnknownOperation", "entry = [{ operation = 'set_scaler', key = 0 }]",
     "line 5, column 24: \"operation\" cannot be \"set_scaler\"; did you mean \"set_scalar\"?"},
    {"OperationBeyondAByte", "entry = [{ operation = 256, key = 0 }]",
     "line 5, column 24: \"operation\" must be 0 to 0xff, not 0x100"},
    {"TimesOfNoPush", "entry = [{ operation = 'set_scalar', times = 2, key = 0 }]",
     "line 5, column 46: only a \"push\" has \"times\""},
    {"NoTimes", "entry = [{ operation = 'push', times = 0, key = 0 }]",
     "line 5, column 40: \"times\" must be 1 to 250, not 0"},
    {"MoreTimesThanACodeHas", "entry = [{ operation = 'push', times = 251, key = 0 }]",
     "line 5, column 40: \"times\" must be 1 to 250, not 251"},
    {"UnknownAnalyticsKey", "entry = [{ operation = 0, key = 'com.ondre.zel.tset' }]",
     "line 5, column 33: \"key\" names no analytics key: \"com.ondre.zel.tset\"; did you mean \"com.ondre.zel.test\"?"},
    {"KeyBeyondAByte", "entry = [{ operation = 0, key = 256 }]",
     "line 5, column 33: \"key\" must be 0 to 0xff, not 0x100"},
    {"ScalarWithAFraction", "entry = [{ operation = 'set_scalar', key = 0, value = 1.5 }]",
     "line 5, column 55: \"value\" must be a number, not a floating-point number"},
    {"ScalarBeyond32Bits", "entry = [{ operation = 'set_scalar', key = 0, value = 0x8000_0000 }]",
     "line 5, column 55: \"value\" must be -2147483648 to 2147483647, not 2147483648"},
    {"DistributionBeyond32Bits", "entry = [{ operation = 'push', key = 0, value = 32768 }]",
     "line 5, column 49: \"value\" must be -32768.000000 to 32767.999985, not 32768"},
    {"DistributionThatFixedPointCannotHold", "entry = [{ operation = 'push', key = 0, value = 0.1 }]",
     "line 5, column 49: \"value\" must be a multiple of 1/65536 to six decimals; the nearest to 0.1 is 0.100006"},
    {"TwoValues", "entry = [{ operation = 'push', key = 0, value = 1, raw_value = 1 }]",
     "line 5, column 64: \"value\" and \"raw_value\" exclude each other"},
};

INSTANTIATE_TEST_SUITE_P(AnalyticsDescription, BadBatches, testing::ValuesIn(kBadBatches),
                         [](const auto &row) { return row.param.name; });

std::string error_of(const WrittenDescription &written) {
    try {
        host::read_device_description(written.path());
        return "no error";
    } catch (const host::Error &error) {
        EXPECT_EQ(error.file(), written.path());
        return error.place() + ": " + error.reason();
    }
}

TEST(AnalyticsDescription, AFileThatHoldsNoWholeEntriesIsAnErrorThatNamesTheRest) {
    const WrittenDescription written(kDevice + std::string("[[analytics]]\ndevice = 'qor'\nfile = 'batch.bin'"));
    written.write("batch.bin", std::string(100, 'x'));

    EXPECT_EQ(error_of(written), "line 5, column 8: \"file\" gives 100 bytes, not whole entries of 7: 2 are left over");
}

TEST(AnalyticsDescription, AMissingFileIsAnErrorThatNamesBothFiles) {
    const WrittenDescription written(kDevice + std::string("[[analytics]]\ndevice = 'qor'\nfile = 'none.bin'"));

    EXPECT_EQ(error_of(written), "line 5, column 8: \"" + written.folder() + "/none.bin\": no such file");
}

TEST(AnalyticsDescription, ADeviceThatIsNotDescribedIsAnError) {
    const WrittenDescription written(kDevice + std::string("[[analytics]]\ndevice = 'qro'\nhex = ''"));

    EXPECT_EQ(error_of(written), "line 4, column 10: no \"device.qro\" is described; did you mean \"qor\"?");
}

TEST(AnalyticsDescription, ABatchWithoutADeviceIsAnError) {
    const WrittenDescription written(kDevice + std::string("[[analytics]]\nhex = ''"));

    EXPECT_EQ(error_of(written), "line 3, column 1: an analytics batch lacks the key \"device\"");
}

} // namespace
