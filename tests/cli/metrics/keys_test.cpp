#include "cli/metrics/keys.h"

#include <map>
#include <set>
#include <string>

#include <gmock/gmock.h>

#include "qor/analytics.h"

using cli::known_key;
using cli::KnownKey;
using cli::kSubsystems;
using cli::short_key;

namespace {

std::string subsystem(std::string_view key) { return std::string(kSubsystems[short_key(key).subsystem]); }

TEST(MetricKeysTest, AKeyIsSplitAfterItsSubsystem) {
    EXPECT_EQ(subsystem("com.ondre.zel.button.click.count"), "button");
    EXPECT_EQ(short_key("com.ondre.zel.button.click.count").name, "click.count");
    EXPECT_EQ(subsystem("com.ondre.zel.ttw.ttw_by_cell_distribution"), "ttw");
    EXPECT_EQ(short_key("com.ondre.zel.ttw.ttw_by_cell_distribution").name, "ttw_by_cell_distribution");
}

TEST(MetricKeysTest, TheDoubledPrefixBelongsToItsSubsystemToo) {
    EXPECT_EQ(subsystem("com.ondre.com.zel.prox.baseline_to_trigger.time.dist"), "prox");
    EXPECT_EQ(short_key("com.ondre.com.zel.prox.baseline_to_trigger.time.dist").name, "baseline_to_trigger.time.dist");
}

TEST(MetricKeysTest, KeysOfNoSubsystemAreShownWhole) {
    for (const char *key : {"com.ondre.zel.unknown", "com.ondre.zel.test", "com.ondre.zel.buttons.x",
                            "com.ondre.zel.button", "com.ondre.zel.other.x", "button.click", "", "\x1b[2J"}) {
        EXPECT_EQ(subsystem(key), "other") << key;
        EXPECT_EQ(short_key(key).name, key);
    }
}

TEST(MetricKeysTest, EverySubsystemHasItsKeysOfThePlugIn) {
    std::map<std::string, int> counts;
    for (const char *key : qor::analytics::kKeys) {
        ++counts[subsystem(key)];
    }

    EXPECT_EQ(counts, (std::map<std::string, int>{{"button", 32},
                                                  {"prox", 12},
                                                  {"audio", 6},
                                                  {"kiru", 3},
                                                  {"tovrane", 1},
                                                  {"dravo", 2},
                                                  {"ttw", 1},
                                                  {"other", 1}}));
}

TEST(MetricKeysTest, UnitsAreThoseThatKeysName) {
    for (std::size_t i = 0; i < qor::analytics::kKeyCount; ++i) {
        const KnownKey key = known_key(i);
        const bool names_kcpss = key.key.find(".kcpss") != std::string_view::npos;
        const bool names_percent = key.key.find(".percent") != std::string_view::npos;

        EXPECT_EQ(key.unit, names_kcpss ? "kcpss" : names_percent ? "percent" : "") << key.key;
    }
}

TEST(MetricKeysTest, HelpNamesTheSubsystemAndTellsKeysApart) {
    const std::map<std::string, std::string> starts{
        {"button", "Button: "},   {"prox", "Proximity: "}, {"audio", "Audio: "}, {"kiru", "Kiru: "},
        {"tovrane", "Tovrane: "}, {"dravo", "Dravo: "},    {"ttw", "TTW: "},     {"other", "Test"}};
    std::set<std::string_view> seen;
    for (std::size_t i = 0; i < qor::analytics::kKeyCount; ++i) {
        const KnownKey key = known_key(i);

        EXPECT_EQ(key.help.rfind(starts.at(subsystem(key.key)), 0), 0u) << key.key << ": " << key.help;
        EXPECT_TRUE(seen.insert(key.help).second) << key.help;
        EXPECT_EQ(key.help.find_first_of("\"\\\n"), std::string_view::npos) << key.help;
    }
}

} // namespace
