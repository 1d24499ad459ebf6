#include "cli/metrics/table.h"

#include <limits>
#include <string>

#include <gmock/gmock.h>

using cli::metrics_table;
using cli::TextStyle;
using host::StoreContents;
using testing::HasSubstr;

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

TextStyle wide() {
    TextStyle style;
    style.columns = 120;
    return style;
}

TextStyle with_blocks() {
    TextStyle style = wide();
    style.shows_blocks = true;
    return style;
}

TEST(MetricsTableTest, AnEmptyStoreSaysSo) { EXPECT_EQ(metrics_table({}, {}), "the store is empty\n"); }

TEST(MetricsTableTest, SubsystemsStandInAFixedOrderWithScalarsFirst) {
    const StoreContents contents{{{"com.ondre.zel.button.click.count", 1234},
                                  {"com.ondre.zel.prox.event.high_amb.count", -7},
                                  {"com.ondre.zel.unknown", 5}},
                                 {{"com.ondre.zel.audio.riv.on.duration", {{1.5, 2}}},
                                  {"com.ondre.com.zel.prox.baseline_to_trigger.time.dist", {{0.25, 3}, {1, 1}}}}};

    EXPECT_EQ(metrics_table(contents, wide()),
              "button\n"
              "  click.count            1234\n"
              "\n"
              "prox\n"
              "  event.high_amb.count     -7\n"
              "                                 count   min    mean   p50  p90  p99  max\n"
              "  baseline_to_trigger.time.dist      4  0.25  0.4375  0.25    1    1    1"
              "  @          -\n"
              "\n"
              "audio\n"
              "                                 count   min    mean   p50  p90  p99  max\n"
              "  riv.on.duration                    2   1.5     1.5   1.5  1.5  1.5  1.5  @\n"
              "\n"
              "other\n"
              "  com.ondre.zel.unknown     5\n");
}

TEST(MetricsTableTest, AKeyWithoutRoomStandsAboveItsNumbers) {
    const StoreContents contents{{}, {{"com.ondre.zel.prox." + std::string(70, 'x'), {{1, 1}}}}};

    TextStyle narrow;
    narrow.folds_tables = true;

    EXPECT_EQ(metrics_table(contents, narrow), "prox\n"
                                               "    count  min  mean  p50  p90  p99  max\n"
                                               "  " +
                                                   std::string(70, 'x') +
                                                   "\n"
                                                   "        1    1     1    1    1    1    1  @\n");
}

TEST(MetricsTableTest, ARowIsOneLineWhereTablesAreNotFolded) {
    const StoreContents contents{{{"com.ondre.zel.prox." + std::string(90, 'y'), 7}},
                                 {{"com.ondre.zel.prox." + std::string(70, 'x'), {{1, 1}}}}};

    EXPECT_EQ(metrics_table(contents, {}), "prox\n"
                                           "  " +
                                               std::string(90, 'y') + "  7\n" + std::string(74, ' ') +
                                               "count  min  mean  p50  p90  p99  max\n"
                                               "  " +
                                               std::string(70, 'x') + "      1    1     1    1    1    1    1  @\n");
}

TEST(MetricsTableTest, BarsAreAsHighAsTheCounts) {
    // With 16 at most, these are the middles of the eighths.
    const host::Distribution distribution{{0, 1}, {1, 3}, {2, 5}, {3, 7}, {4, 9}, {5, 11}, {6, 13}, {7, 15}, {11, 16}};
    const StoreContents contents{{}, {{"com.ondre.zel.ttw.x", distribution}}};

    EXPECT_THAT(metrics_table(contents, with_blocks()), HasSubstr("  ▁▂▃▄▅▆▇█   █\n"));
    EXPECT_THAT(metrics_table(contents, wide()), HasSubstr("  .:-=+*#@   @\n"));
}

TEST(MetricsTableTest, ALowestBarShowsEvenOneValueAmongMany) {
    const StoreContents contents{{}, {{"com.ondre.zel.ttw.x", {{0, 1}, {11, 1'000'000}}}}};

    EXPECT_THAT(metrics_table(contents, with_blocks()), HasSubstr("  ▁          █\n"));
    EXPECT_THAT(metrics_table(contents, wide()), HasSubstr("  .          @\n"));
}

TEST(MetricsTableTest, InfiniteValuesHaveNumbersButNoBars) {
    const StoreContents contents{{}, {{"com.ondre.zel.ttw.x", {{-kInfinity, 1}, {kInfinity, 1}}}}};

    EXPECT_THAT(metrics_table(contents, wide()), HasSubstr("  x      2  -inf   nan  -inf  inf  inf  inf\n"));
}

TEST(MetricsTableTest, ControlCharactersOfKeysAreEscapedEverywhere) {
    const StoreContents contents{{{"a\nb\x1b[2J\xff", 1}}, {}};

    EXPECT_EQ(metrics_table(contents, {}), "other\n  a\\x0ab\\x1b[2J\\xff  1\n");
}

TEST(MetricsTableTest, NumbersHaveSixSignificantDigits) {
    const StoreContents contents{{}, {{"com.ondre.zel.ttw.x", {{1.0 / 65536, 1}, {32767.999, 1}}}}};

    const std::string table = metrics_table(contents, wide());

    EXPECT_THAT(table, HasSubstr("  1.52588e-05  "));
    EXPECT_THAT(table, HasSubstr("  32768"));
}

TEST(MetricsTableTest, ATerminalGetsColours) {
    TextStyle style;
    style.is_coloured = true;

    EXPECT_EQ(metrics_table({{{"com.ondre.zel.kiru.reset_count", 3}}, {}}, style),
              "\x1b[1mkiru\x1b[0m\n  \x1b[36mreset_count\x1b[0m  3\n");
}

} // namespace
