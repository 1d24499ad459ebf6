#include "cli/metrics/side_by_side.h"

#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "cli/metrics/json.h"
#include "cli/metrics/openmetrics.h"

using cli::NamedStore;

namespace {

std::vector<NamedStore> two_days() {
    std::vector<NamedStore> stores;
    cli::add_store(stores, "monday.db",
                   {{{"com.ondre.zel.button.click.count", 12}, {"x", -3}},
                    {{"com.ondre.zel.button.click.duration", {{40, 1}, {60, 3}}}}});
    cli::add_store(stores, "tuesday.db",
                   {{{"com.ondre.zel.button.click.count", 1000}, {"y", 7}},
                    {{"com.ondre.zel.button.click.duration", {{100, 2}}}, {"z", {{0.5, 1}}}}});
    return stores;
}

cli::TextStyle folding(std::size_t columns) {
    cli::TextStyle style;
    style.folds_tables = true;
    style.columns = columns;
    return style;
}

TEST(SideBySideTest, AScalarHasAColumnForEachStoreAndADistributionALine) {
    EXPECT_EQ(cli::side_by_side_table(two_days(), folding(80)), R"(button
               monday.db  tuesday.db
  click.count         12        1000
                count  min  mean  p50  p90  p99  max
  click.duration
    monday.db       4   40    55   60   60   60   60  -          @
    tuesday.db      2  100   100  100  100  100  100  @

other
     monday.db  tuesday.db
  x         -3           -
  y          -           7
                count  min  mean  p50  p90  p99  max
  z
    tuesday.db      1  0.5   0.5  0.5  0.5  0.5  0.5  @
)");
}

TEST(SideBySideTest, WhereTheColumnsAreTooManyAScalarHasALineForEachStore) {
    EXPECT_EQ(cli::side_by_side_table({two_days()[0], two_days()[1]}, folding(20)).substr(0, 90), R"(button
  click.count
    monday.db     12
    tuesday.db  1000
                count  min )");
}

TEST(SideBySideTest, ForAProgramEachLineHasItsKey) {
    EXPECT_EQ(cli::side_by_side_table(two_days(), {false, false, 20}), R"(button
               monday.db  tuesday.db
  click.count         12        1000
                              count  min  mean  p50  p90  p99  max
  click.duration  monday.db       4   40    55   60   60   60   60  -          @
  click.duration  tuesday.db      2  100   100  100  100  100  100  @

other
     monday.db  tuesday.db
  x         -3           -
  y          -           7
                 count  min  mean  p50  p90  p99  max
  z  tuesday.db      1  0.5   0.5  0.5  0.5  0.5  0.5  @
)");
}

TEST(SideBySideTest, StoresWithoutContentsAreEmpty) {
    std::vector<NamedStore> stores;
    cli::add_store(stores, "a.db", {});
    EXPECT_EQ(cli::side_by_side_table(stores, {}), "the stores are empty\n");
    EXPECT_EQ(cli::side_by_side_table({}, {}), "the stores are empty\n");
}

TEST(SideBySideTest, NamesAreSafeAndDifferent) {
    std::vector<NamedStore> stores;
    for (const char *name : {"a.db", "a.db", "a.db (2)", "a.db", "\x1b[31m\xff\n"}) {
        cli::add_store(stores, name, {});
    }
    std::vector<std::string> names;
    for (const NamedStore &store : stores) {
        names.push_back(store.name);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"a.db", "a.db (2)", "a.db (2) (2)", "a.db (3)", "\\x1b[31m\\xff\\x0a"}));
}

TEST(SideBySideTest, JsonIsAnArrayOfTheObjectsOfTheStores) {
    const std::vector<NamedStore> stores = two_days();
    const nlohmann::json json = nlohmann::json::parse(cli::side_by_side_json(stores));
    ASSERT_EQ(json.size(), 2u);
    for (std::size_t i = 0; i < stores.size(); ++i) {
        nlohmann::json expected = nlohmann::json::parse(cli::metrics_json(stores[i].contents));
        expected["store"] = stores[i].name;
        EXPECT_EQ(json[i], expected);
    }
    EXPECT_EQ(cli::side_by_side_json({}), "[]\n");
}

TEST(SideBySideTest, EverySeriesHasItsStoreAndEachFamilyStandsOnce) {
    const std::string text = cli::openmetrics_text(cli::side_by_side_families(two_days()));
    EXPECT_NE(text.find("\nqor_scalar_button_click_counted{key=\"com.ondre.zel.button.click.count\","
                        "store=\"monday.db\"} 12\n"
                        "qor_scalar_button_click_counted{key=\"com.ondre.zel.button.click.count\","
                        "store=\"tuesday.db\"} 1000\n"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("qor_scalar_other{key=\"x\",store=\"monday.db\"} -3\n"
                        "qor_scalar_other{key=\"y\",store=\"tuesday.db\"} 7\n"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("{key=\"com.ondre.zel.button.click.duration\",store=\"tuesday.db\",quantile=\"0.5\"} 100\n"),
              std::string::npos)
        << text;
    std::set<std::string> names;
    for (const cli::MetricFamily &family : cli::side_by_side_families(two_days())) {
        EXPECT_TRUE(names.insert(family.name).second) << family.name;
    }
}

} // namespace
