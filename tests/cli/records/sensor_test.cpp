#include <algorithm>
#include <string>

#include <gmock/gmock.h>

#include "cli/records/sensor.h"
#include "tests/cli/records/known_payloads.h"

using cli_tests::array;
using cli_tests::data;
using cli_tests::Dictionary;
using cli_tests::OwnedValue;
using cli_tests::sensor_information;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

std::string show(const OwnedValue &payload, const cli::TextStyle &style = {}) {
    return cli::sensor_text(payload.get(), style).value_or("(another shape)");
}

TEST(SensorTextTest, IdentityComesFirst) {
    EXPECT_THAT(show(sensor_information().take()), StartsWith("  sensorType:   accel\n"
                                                              "  manufacturer: Maker\n"
                                                              "  model:        Model 5\n"
                                                              "  location:     B alternate=2\n"
                                                              "\n"
                                                              "  intervals\n"
                                                              "  reportInterval:      10000\n"));
}

TEST(SensorTextTest, MatricesAreThreeRows) {
    const OwnedValue payload = Dictionary()
                                   .with("calibrationMatrix", "1.5 -2.25 0.0 | 0.0 1.0 0.0 | 0.0 0.0 -32768.000000")
                                   .with("orientationMatrix", "1 0 0, 0 -1 0, 0 0 -128")
                                   .take();

    EXPECT_EQ(show(payload), "  calibration\n"
                             "  calibrationMatrix:                   1.5  -2.25            0.0\n"
                             "                                       0.0    1.0            0.0\n"
                             "                                       0.0    0.0  -32768.000000\n"
                             "  orientationMatrix:                   1   0     0\n"
                             "                                       0  -1     0\n"
                             "                                       0   0  -128\n");
}

TEST(SensorTextTest, AMatrixOfAnotherFormIsALine) {
    const std::string key = "  calibration\n  calibrationMatrix:                   ";
    for (const std::string text :
         {"", "1 2 3 4 5 6 7 8", "1 2 3 4 5 6 7 8 9 10", "1 2 3 | x 5 6 | 7 8 9", "| | |", ","}) {
        EXPECT_EQ(show(Dictionary().with("calibrationMatrix", text).take()), key + text + "\n");
    }
    EXPECT_EQ(show(Dictionary().with("calibrationMatrix", 5).take()), key + "5\n");
}

TEST(SensorTextTest, RegistersAreWrappedBetweenWords) {
    const OwnedValue payload = Dictionary().with("registers", "R00=01 R02=03 R04=05 ").take();

    EXPECT_EQ(show(payload, {false, false, 26}), "  registers: R00=01 R02=03\n"
                                                 "             R04=05\n");
    EXPECT_EQ(show(payload, {false, false, 25}), "  registers: R00=01\n"
                                                 "             R02=03\n"
                                                 "             R04=05\n");
    EXPECT_EQ(show(payload, {false, false, 1}), show(payload, {false, false, 25}));
    EXPECT_EQ(show(Dictionary().with("registers", "").take()), "  registers:\n");
}

TEST(SensorTextTest, ExtraLinesStandInTheOrderOfTheirNumbers) {
    const OwnedValue payload =
        Dictionary().with("extra0", "a").with("extra10", "c").with("extra9", "b").with("extra4294967295", "d").take();

    EXPECT_EQ(show(payload), "  extra data\n"
                             "  extra0:          a\n"
                             "  extra9:          b\n"
                             "  extra10:         c\n"
                             "  extra4294967295: d\n");
}

TEST(SensorTextTest, ClientsAreATableInTheOrderOfTheirNumbers) {
    EXPECT_THAT(show(sensor_information().take()),
                HasSubstr("\n"
                          "  client  name       report  batch  threshold  timelimit\n"
                          "       0  backlight   20000      0          1          0\n"
                          "       2  x              -1      0        100          0\n"
                          "      11                  1      2          3          4\n"
                          "\n"
                          "  APEvents: 1234 [enqueued=1200"));
}

TEST(SensorTextTest, AClientsNameMayLookLikeItsSettings) {
    const OwnedValue payload =
        Dictionary().with("client1", ": report=1: report=5 batch=6 threshold=7 timelimit=8").take();

    EXPECT_THAT(show(payload), HasSubstr("       1  : report=1       5      6          7          8\n"));
}

TEST(SensorTextTest, TheEventsLineHasNoEmptyLineAfterIt) {
    EXPECT_EQ(show(Dictionary().with("APEvents", "5 [x]\n").take()), "  APEvents: 5 [x]\n");
    EXPECT_EQ(show(Dictionary().with("APEvents", "5 [x]").take()), "  APEvents: 5 [x]\n");
    EXPECT_EQ(show(Dictionary().with("APEvents", "5\n\n").take(), {true, false}), "  APEvents: 5\\x0a\n");
}

TEST(SensorTextTest, AValueOfAnotherKindStandsInItsPlace) {
    const OwnedValue payload =
        Dictionary().with("model", 7).with("rawMode", "on").with("registers", data("\x01")).take();

    EXPECT_EQ(show(payload), "  model:        7\n"
                             "\n"
                             "  modes\n"
                             "  rawMode:           on\n"
                             "\n"
                             "  registers: <01>\n");
}

TEST(SensorTextTest, UnknownEntriesComeLast) {
    const std::string longest = "twelve bytes: report=1 batch=2 threshold=3 timelimit=4";
    Dictionary nested;
    nested.with("x", 1);
    const OwnedValue payload = Dictionary()
                                   .with("client0", longest)
                                   .with("client1", "x" + longest)
                                   .with("client2", "broken")
                                   .with("client3", "a: report=1 batch=2 threshold=3 timelimit=4 ")
                                   .with("client4", 4)
                                   .with("extra", "no number")
                                   .with("extra01", "a leading zero")
                                   .with("extra12345678901", "a long number")
                                   .with("extra1x", "no number")
                                   .with("model", nested)
                                   .take();

    EXPECT_EQ(show(payload), "  client  name          report  batch  threshold  timelimit\n"
                             "       0  twelve bytes       1      2          3          4\n"
                             "\n"
                             "  client1:          xtwelve bytes: report=1 batch=2 threshold=3 timelimit=4\n"
                             "  client2:          broken\n"
                             "  client3:          a: report=1 batch=2 threshold=3 timelimit=4 \n"
                             "  client4:          4\n"
                             "  extra:            no number\n"
                             "  extra01:          a leading zero\n"
                             "  extra12345678901: a long number\n"
                             "  extra1x:          no number\n"
                             "  model:\n"
                             "    x: 1\n");
}

TEST(SensorTextTest, LongTextsStayWhole) {
    const std::string content(10'000, 'z');
    const OwnedValue payload = Dictionary()
                                   .with("model", content)
                                   .with("registers", content)
                                   .with("extra0", content)
                                   .with("client0", content)
                                   .with("calibrationMatrix", content)
                                   .take();

    const std::string text = show(payload);

    EXPECT_EQ(std::count(text.begin(), text.end(), 'z'), 50'000);
    EXPECT_LT(text.size(), 50'400u);
}

TEST(SensorTextTest, ControlCharactersAreEscapedForATerminal) {
    const OwnedValue payload = Dictionary()
                                   .with("model", "\x1b")
                                   .with("registers", "\x1b")
                                   .with("extra0", "\x1b")
                                   .with("client0", "\x1b: report=1 batch=2 threshold=3 timelimit=4")
                                   .with("k\x1b", 1)
                                   .take();

    EXPECT_EQ(show(payload, {true, false}), "  model:        \\x1b\n"
                                            "\n"
                                            "  registers: \\x1b\n"
                                            "\n"
                                            "  extra data\n"
                                            "  extra0: \\x1b\n"
                                            "\n"
                                            "  client  name  report  batch  threshold  timelimit\n"
                                            "       0  \\x1b       1      2          3          4\n"
                                            "\n"
                                            "  k\\x1b: 1\n");
}

TEST(SensorTextTest, APayloadWithoutAKnownKeyIsAnotherShape) {
    EXPECT_EQ(cli::sensor_text(nullptr, {}), std::nullopt);
    EXPECT_EQ(cli::sensor_text(array().get(), {}), std::nullopt);
    EXPECT_EQ(cli::sensor_text(Dictionary().with("client0", "broken").take().get(), {}), std::nullopt);
    EXPECT_EQ(cli::sensor_text(Dictionary().with("model", array(array())).take().get(), {}), std::nullopt);
}

} // namespace
