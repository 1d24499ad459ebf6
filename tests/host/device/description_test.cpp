#include "host/device/description.h"

#include <cstdint>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "host/error.h"
#include "tests/host/device/written_description.h"

namespace {

using host_tests::WrittenDescription;

/** The error of reading a description, without the file's name in front. */
std::string error_of(const WrittenDescription &written) {
    try {
        host::read_device_description(written.path());
    } catch (const host::Error &error) {
        EXPECT_EQ(error.file(), written.path());
        return error.place() + ": " + error.reason();
    }
    return "no error";
}

struct BadDescription {
    const char *name;
    const char *text;
    const char *error;
};

class BadDescriptions : public testing::TestWithParam<BadDescription> {};

TEST_P(BadDescriptions, GiveOneErrorWithPlaceAndReason) {
    const WrittenDescription written(GetParam().text);

    EXPECT_EQ(error_of(written), GetParam().error);
}

constexpr BadDescription kBadDescriptions[] = {
    {"MissingName", "", "line 1, column 1: a device lacks the key \"name\""},
    {"NameOfWrongType", "name = 5", "line 1, column 8: \"name\" must be a text, not an integer"},
    {"BootTimeOfWrongType", "name = 'x'\nboot_time = true",
     "line 2, column 13: \"boot_time\" must be a number of microseconds or a date and time, not a boolean"},
    {"BootTimeOfADayAlone", "name = 'x'\nboot_time = 2025-10-09",
     "line 2, column 13: \"boot_time\" must be a number of microseconds or a date and time, not a date or time"},
    {"BootTimeWithoutAZone", "name = 'x'\nboot_time = 2025-10-09T06:53:20",
     "line 2, column 13: \"boot_time\" must have a distance from UTC, as in 2025-10-09T06:53:20Z or "
     "2025-10-09T08:53:20+02:00"},
    {"BootTimeBeforeTheEpoch", "name = 'x'\nboot_time = 1970-01-01T00:59:59+01:00",
     "line 2, column 13: \"boot_time\" must not be before 1970"},
    {"NegativeBootTime", "name = 'x'\nboot_time = -1",
     "line 2, column 13: \"boot_time\" must be 0 to 0x7fffffffffffffff, not -1"},
    {"BootTimeOfTooManyBits", "name = 'x'\nboot_time = '0x8000000000000000'",
     "line 2, column 13: \"boot_time\" must be 0 to 0x7fffffffffffffff, not 0x8000000000000000"},
    {"UnknownKey", "name = 'x'\nservise = []",
     "line 2, column 1: unknown key \"servise\" of a device; did you mean \"service\"?"},
    {"UnknownKeyLikeNoOther", "name = 'x'\nzzzzzzzz = 1", "line 2, column 1: unknown key \"zzzzzzzz\" of a device"},
    {"UnknownKeyOfAnEntry", "name = 'x'\n[[entry]]\nid = 1\nname = 'a'\nclas = 'A'",
     "line 5, column 1: unknown key \"clas\" of an entry; did you mean \"class\"?"},
    {"UnknownKeyOfANamedTable", "name = 'x'\n[driver.a]\nstart = 0",
     "line 3, column 1: unknown key \"start\" of driver \"a\""},
    {"EntryIsNoArray", "name = 'x'\nentry = 3",
     "line 2, column 9: \"entry\" must be an array of tables, not an integer"},
    {"EntryHoldsNoTables", "name = 'x'\nentry = [3]",
     "line 2, column 10: each element of \"entry\" must be a table, not an integer"},
    {"DriverIsNoTable", "name = 'x'\ndriver = true",
     "line 2, column 10: \"driver\" must be a table of named tables, not a boolean"},
    {"NamedDriverIsNoTable", "name = 'x'\ndriver.a = 2.5",
     "line 2, column 12: \"driver.a\" must be a table, not a floating-point number"},
    {"MissingKeyOfAnEntry", "name = 'x'\n[[entry]]\nname = 'a'\nclass = 'A'",
     "line 2, column 1: an entry lacks the key \"id\""},
    {"NegativeID", "name = 'x'\n[[entry]]\nid = -1\nname = 'a'\nclass = 'A'",
     "line 3, column 6: \"id\" must be 0 to 0xffffffffffffffff, not -1"},
    {"IDIsNoNumber", "name = 'x'\n[[entry]]\nid = '100'\nname = 'a'\nclass = 'A'",
     "line 3, column 6: \"id\" must be a number, or as text \"0x\" and up to 16 hex digits, not \"100\""},
    {"IDOfTooManyDigits", "name = 'x'\n[[entry]]\nid = '0x12345678123456789'\nname = 'a'\nclass = 'A'",
     "line 3, column 6: \"id\" must be a number, or as text \"0x\" and up to 16 hex digits, not "
     "\"0x12345678123456789\""},
    {"IDIsABoolean", "name = 'x'\n[[entry]]\nid = true\nname = 'a'\nclass = 'A'",
     "line 3, column 6: \"id\" must be a number, not a boolean"},
    {"OverlappingIDs",
     "name = 'x'\n[[entry]]\nid = 7\nname = 'a'\nclass = 'A'\n[[entry]]\nid = 7\nname = 'b'\nclass = 'B'",
     "line 7, column 6: this registry ID is taken by the entry at line 2, column 1"},
    {"TimeSyncOverlapsAnEntry",
     "name = 'x'\n[[entry]]\nid = 7\nname = 'a'\nclass = 'A'\n[time_sync]\nid = 7\nqor = 1\ncalendar = 2",
     "line 7, column 6: this registry ID is taken by the entry at line 2, column 1"},
    {"UnknownParent", "name = 'x'\n[[entry]]\nid = 7\nname = 'a'\nclass = 'A'\nparent = 8",
     "line 6, column 10: no entry listed before has this registry ID"},
    {"EntryThatIsItsOwnParent", "name = 'x'\n[[entry]]\nid = 7\nname = 'a'\nclass = 'A'\nparent = 7",
     "line 6, column 10: no entry listed before has this registry ID"},
    {"UnknownDriver", "name = 'x'\n[driver.button]\n[[entry]]\nid = 7\nname = 'a'\nclass = 'A'\ndriver = 'buton'",
     "line 7, column 10: no \"driver.buton\" is described; did you mean \"button\"?"},
    {"UnknownDevice", "name = 'x'\n[[entry]]\nid = 7\nname = 'a'\nclass = 'A'\ndevice = 'qor'",
     "line 6, column 10: no \"device.qor\" is described"},
    {"UnknownUserClient", "name = 'x'\n[[entry]]\nid = 7\nname = 'a'\nclass = 'A'\nuser_client = 'u'",
     "line 6, column 15: no \"user_client.u\" is described"},
    {"HIDDeviceIsNoBoolean", "name = 'x'\n[[entry]]\nid = 7\nname = 'a'\nclass = 'A'\nhid_device = 'no'",
     "line 6, column 14: \"hid_device\" must be a boolean, not a text"},
    {"PropertiesAreNoTable", "name = 'x'\n[[entry]]\nid = 7\nname = 'a'\nclass = 'A'\nproperties = [1]",
     "line 6, column 14: \"properties\" must be a table, not an array"},
    {"PropertyIsAFloat", "name = 'x'\n[[entry]]\nid = 7\nname = 'a'\nclass = 'A'\nproperties = { a = [1.5] }",
     "line 6, column 21: a typed value cannot be a floating-point number"},
    {"PropertyIsADate", "name = 'x'\n[[entry]]\nid = 7\nname = 'a'\nclass = 'A'\nproperties = { a = 2020-01-01 }",
     "line 6, column 20: a typed value cannot be a date or time"},
    {"PropertyOfAReservedKind",
     "name = 'x'\n[[entry]]\nid = 7\nname = 'a'\nclass = 'A'\nproperties = { a = { \"$dat\" = '00' } }",
     "line 6, column 22: unknown key \"$dat\"; did you mean \"$data\"?"},
    {"PropertyOfAReservedKindAndMore",
     "name = 'x'\n[[entry]]\nid = 7\nname = 'a'\nclass = 'A'\nproperties = { a = { \"$data\" = '00', b = 1 } }",
     "line 6, column 20: a table with \"$data\" has no other key"},
    {"PropertyWithAReservedName",
     "name = 'x'\n[[entry]]\nid = 7\nname = 'a'\nclass = 'A'\nproperties = { \"$data\" = '00' }",
     "line 6, column 16: a property's name cannot begin with \"$\" or hold a zero character"},
    {"PropertyTextWithAZero",
     "name = 'x'\n[[entry]]\nid = 7\nname = 'a'\nclass = 'A'\nproperties = { a = \"b\\u0000c\" }",
     "line 6, column 20: a string cannot hold a zero character"},
    {"BadHex", "name = 'x'\n[[driver.a.property]]\nid = 1\nhex = '01 2g'",
     "line 4, column 7: \"hex\" must be hex digits, two per byte; character 5 is not one"},
    {"HalfAByteOfHex", "name = 'x'\n[[driver.a.property]]\nid = 1\nhex = '01 2'",
     "line 4, column 7: \"hex\" must be hex digits, two per byte; character 5 is missing"},
    {"HexIsNoText", "name = 'x'\n[[driver.a.property]]\nid = 1\nhex = 12",
     "line 4, column 7: \"hex\" must be a text, not an integer"},
    {"TwoKindsOfBytes", "name = 'x'\n[[driver.a.property]]\nid = 1\nhex = '00'\nstream = 'reports.bin'",
     "line 5, column 10: \"hex\" and \"stream\" exclude each other"},
    {"StreamOfHalfAReport", "name = 'x'\n[[driver.a.property]]\nid = 1\nhex_stream = '00'",
     "line 4, column 14: \"hex_stream\" gives 1 bytes, not one or more whole reports of 48"},
    {"StatusOutOfRange", "name = 'x'\n[[driver.a.property]]\nid = 1\nstatus = 0x1_0000_0000",
     "line 4, column 10: \"status\" must be 0 to 0xffffffff, not 0x100000000"},
    {"PropertyTwice", "name = 'x'\n[[driver.a.property]]\nid = 1\n[[driver.a.property]]\nid = 1",
     "line 5, column 6: this id is described twice"},
    {"CommandTwice", "name = 'x'\n[[driver.a.command]]\nselector = 1\n[[driver.a.command]]\nselector = 1",
     "line 5, column 12: this selector is described twice"},
    {"CommandThatReadsProperties", "name = 'x'\n[[driver.a.command]]\nselector = 10",
     "line 3, column 12: selector 10 reads properties: describe each as a \"property\""},
    {"MethodTwice",
     "name = 'x'\n[[user_client.a.method]]\nnumber = 2\nproperty = 3\n[[user_client.a.method]]\nnumber = 2\nproperty = "
     "3",
     "line 6, column 10: this number is described twice"},
    {"TimeSyncWithoutACalendar", "name = 'x'\n[time_sync]\nid = 1\nqor = 1",
     "line 2, column 1: time_sync lacks the key \"calendar\""},
    {"UsagesAreNoPairs", "name = 'x'\n[[service]]\nname = 's'\nusages = [[1, 2], [3]]",
     "line 4, column 19: \"usages\" must hold pairs of numbers"},
    {"UsageOutOfRange", "name = 'x'\n[[service]]\nname = 's'\nusages = [[1, -2]]",
     "line 4, column 15: \"usages\" must be 0 to 0xffffffff, not -2"},
    {"TransportTwice", "name = 'x'\n[[service]]\nname = 's'\ntransport = 'QOR'\nproperties = { Transport = 5 }",
     "line 4, column 13: \"transport\" and the property \"Transport\" exclude each other"},
};

INSTANTIATE_TEST_SUITE_P(DeviceDescription, BadDescriptions, testing::ValuesIn(kBadDescriptions),
                         [](const auto &row) { return row.param.name; });

std::optional<std::int64_t> boot_time_of(const std::string &value) {
    return host::read_device_description_text("name = 'x'\nboot_time = " + value, "test").boot_time;
}

TEST(DeviceDescription, ABootTimeIsANumberOrADateAndTime) {
    EXPECT_EQ(boot_time_of("1_759_992_800_250_000"), 1'759'992'800'250'000);
    EXPECT_EQ(boot_time_of("'0x640b45b75fe50'"), 0x640b45b75fe50);
    EXPECT_EQ(boot_time_of("2025-10-09T06:53:20Z"), 1'759'992'800'000'000);
    EXPECT_EQ(boot_time_of("2025-10-09 08:53:20.250000999+02:00"), 1'759'992'800'250'000);
    EXPECT_EQ(boot_time_of("2025-10-08T18:23:20-12:30"), 1'759'992'800'000'000);
    EXPECT_EQ(boot_time_of("1970-01-01T00:00:00Z"), 0);
    EXPECT_EQ(boot_time_of("9999-12-31T23:59:59.999999Z"), 253'402'300'799'999'999);
    EXPECT_EQ(boot_time_of("0"), 0);
    EXPECT_EQ(host::read_device_description_text("name = 'x'", "test").boot_time, std::nullopt);
}

TEST(DeviceDescription, BrokenTOMLIsAnErrorWithItsPlace) {
    const WrittenDescription written("name = 'x'\nentry = [");

    EXPECT_EQ(error_of(written).substr(0, 15), "line 2, column ");
}

TEST(DeviceDescription, AHeaderThatDoesNotBeginWithAKeyIsAnErrorWithItsPlace) {
    for (const std::string header : {"[=]", "[#", "[.a]", "[,]", "[", "[\x01]", "[é]"}) {
        const WrittenDescription written("name = 'x'\n" + header + "\n");

        EXPECT_EQ(error_of(written).substr(0, 18), "line 2, column 2: ") << header;
    }
    EXPECT_EQ(error_of(WrittenDescription("name = 'x'\n[[=]]\n")).substr(0, 18), "line 2, column 3: ");
}

TEST(DeviceDescription, CharactersBeyondASCIIAreNoBlanks) {
    for (const std::string character : {"\u00e9", "\u0498", "\u1700", "\u2070", "\ufb01", "\ufefe"}) {
        const WrittenDescription written("name = 'x'\nid" + character + " = 1\n");

        EXPECT_EQ(error_of(written).substr(0, 18), "line 2, column 3: ") << character;
    }
}

TEST(DeviceDescription, MissingDescriptionIsAnErrorThatNamesTheFile) {
    try {
        host::read_device_description("/no/such/device.toml");
        FAIL() << "read";
    } catch (const host::Error &error) {
        EXPECT_STREQ(error.what(), "/no/such/device.toml: no such file");
    }
}

TEST(DeviceDescription, FolderInsteadOfADescriptionIsAnError) {
    const WrittenDescription written("");

    try {
        host::read_device_description(written.folder());
        FAIL() << "read";
    } catch (const host::Error &error) {
        EXPECT_EQ(error.what(), written.folder() + ": not a regular file");
    }
}

TEST(DeviceDescription, AZeroInAKeyIsShownAndTheReasonGoesOn) {
    const WrittenDescription written("name = 'x'\n\"na\\u0000me\" = 'y'\n");

    try {
        host::read_device_description(written.path());
        FAIL() << "read";
    } catch (const host::Error &error) {
        EXPECT_EQ(error.what(), written.path() + ": line 2, column 1: unknown key \"na\\x00me\" of a device" +
                                    "; did you mean \"name\"?");
    }
}

TEST(DeviceDescription, AZeroInTheNameOfAFileIsAnError) {
    const WrittenDescription written("name = 'x'\n[[driver.a.property]]\nid = 1\nfile = \"bytes.bin\\u0000x\"");
    written.write("bytes.bin", "abc");

    EXPECT_EQ(error_of(written), "line 4, column 8: \"file\" cannot hold a zero character");
}

TEST(DeviceDescription, MissingFileOfBytesIsAnErrorThatNamesBothFiles) {
    const WrittenDescription written("name = 'x'\n[[driver.a.property]]\nid = 1\nfile = 'none.bin'");

    EXPECT_EQ(error_of(written), "line 4, column 8: \"" + written.folder() + "/none.bin\": no such file");
}

TEST(DeviceDescription, StreamFileThatIsNoMultipleOfAReportIsAnError) {
    const WrittenDescription written("name = 'x'\n[[driver.a.property]]\nid = 1\nstream = 'reports.bin'");
    written.write("reports.bin", std::string(100, 'r'));

    EXPECT_EQ(error_of(written), "line 4, column 10: \"stream\" gives 100 bytes, not one or more whole reports of 48");
}

TEST(DeviceDescription, EmptyStreamFileIsAnError) {
    const WrittenDescription written("name = 'x'\n[[driver.a.property]]\nid = 1\nstream = 'reports.bin'");
    written.write("reports.bin", "");

    EXPECT_EQ(error_of(written), "line 4, column 10: \"stream\" gives 0 bytes, not one or more whole reports of 48");
}

TEST(DeviceDescription, FilesOfBytesAreFoundBesideTheDescription) {
    const WrittenDescription written("name = 'x'\n[[driver.a.property]]\nid = 1\nfile = 'bytes.bin'");
    written.write("bytes.bin", "abc");

    const host::DeviceDescription description = host::read_device_description(written.path());

    EXPECT_EQ(description.drivers.at("a").properties.at(1).bytes.size(), 3u);
}

TEST(DeviceDescription, NumbersMayBeHexTextsOf64Bits) {
    const WrittenDescription written(
        "name = 'x'\n"
        "[time_sync]\nid = '0xFFFFFFFFFFFFFFFF'\nqor = '0xfffffffffffffffe'\ncalendar = -3");

    const host::DeviceDescription description = host::read_device_description(written.path());

    const host::EntryDescription &entry = description.entries.at(0);
    const TvRef clock = entry.properties.at("timesync").get();
    std::int64_t qor = 0;
    std::int64_t calendar = 0;
    EXPECT_EQ(entry.registry_id, 0xFFFFFFFFFFFFFFFF);
    EXPECT_EQ(entry.class_name, "OndreQORTimesync");
    EXPECT_TRUE(TvNumberGetSInt64(TvDictionaryGetValue(clock, "qor"), &qor));
    EXPECT_TRUE(TvNumberGetSInt64(TvDictionaryGetValue(clock, "calendar"), &calendar));
    EXPECT_EQ(qor, -2);
    EXPECT_EQ(calendar, -3);
}

TEST(DeviceDescription, PropertiesBecomeTypedValuesOfEveryKind) {
    const WrittenDescription written(
        "name = 'x'\n[[service]]\nname = 's'\n[service.properties]\nflag = true\nnumber = -7\ntext = 'grün'\n"
        "big = { \"$number\" = '0x8000000000000000' }\ndata = { \"$data\" = '00 ff' }\n"
        "list = [1, 'two']\nnested = { deep = { deeper = false } }");

    const host::DeviceDescription description = host::read_device_description(written.path());

    const host::TypedProperties &properties = description.services.at(0).properties;
    std::int64_t number = 0;
    std::int64_t big = 0;
    EXPECT_TRUE(TvBooleanGetValue(properties.at("flag").get()));
    EXPECT_TRUE(TvNumberGetSInt64(properties.at("number").get(), &number));
    EXPECT_EQ(number, -7);
    EXPECT_STREQ(TvStringGetCString(properties.at("text").get()), "grün");
    EXPECT_TRUE(TvNumberGetSInt64(properties.at("big").get(), &big));
    EXPECT_EQ(big, INT64_MIN);
    ASSERT_EQ(TvDataGetLength(properties.at("data").get()), 2u);
    EXPECT_EQ(TvDataGetBytes(properties.at("data").get())[1], 0xFF);
    EXPECT_EQ(TvArrayGetCount(properties.at("list").get()), 2u);
    const TvRef deep = TvDictionaryGetValue(properties.at("nested").get(), "deep");
    EXPECT_EQ(TvDictionaryGetValue(deep, "deeper"), TvBooleanGet(false));
}

TEST(DeviceDescription, TransportMayBeAPropertyOfAnyType) {
    const WrittenDescription written("name = 'x'\n[[service]]\nname = 's'\nproperties = { Transport = 5 }");

    const host::DeviceDescription description = host::read_device_description(written.path());

    EXPECT_EQ(TvGetTypeID(description.services.at(0).properties.at("Transport").get()), TvNumberGetTypeID());
}

} // namespace
