#include "cli/metrics/families.h"

#include <algorithm>
#include <array>
#include <set>
#include <string>

#include <gmock/gmock.h>

#include "cli/metrics/openmetrics.h"
#include "qor/analytics.h"

using cli::families_of;
using cli::MetricFamily;
using cli::openmetrics_text;
using host::StoreContents;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;

namespace {

/** Suffixes that OpenMetrics derives or reserves. */
constexpr std::array<const char *, 8> kReservedEndings{"_count",   "_sum",  "_bucket", "_total",
                                                       "_created", "_info", "_gcount", "_gsum"};

StoreContents everything() {
    StoreContents contents;
    for (const char *key : qor::analytics::kKeys) {
        contents.scalars[key] = 1;
        contents.distributions[key] = {{-1, 1}, {2, 1}};
    }
    contents.scalars["foreign"] = 1;
    contents.distributions["foreign"] = {{1, 1}};
    return contents;
}

bool ends_with(const std::string &text, const std::string &ending) {
    return text.size() >= ending.size() && text.substr(text.size() - ending.size()) == ending;
}

TEST(MetricFamiliesTest, EveryKeyOfThePlugInHasAFamilyOfItsOwnForEachKind) {
    const std::vector<MetricFamily> families = families_of(everything());
    std::set<std::string> names;
    for (const MetricFamily &family : families) {
        EXPECT_TRUE(names.insert(family.name).second) << family.name;
    }

    // Two families per key, one of each kind for other keys, and three for what summaries leave out.
    EXPECT_EQ(families.size(), 2u * qor::analytics::kKeyCount + 2 + 3);
}

TEST(MetricFamiliesTest, NamesAreThoseThatCheckersAccept) {
    for (const MetricFamily &family : families_of(everything())) {
        EXPECT_THAT(family.name, MatchesRegex("qor_(scalar|distribution)(_[a-z0-9]+)+"));
        EXPECT_TRUE(family.unit.empty() || ends_with(family.name, "_" + family.unit)) << family.name;
        EXPECT_FALSE(family.help.empty()) << family.name;
        for (const char *ending : kReservedEndings) {
            EXPECT_FALSE(ends_with(family.name, ending)) << family.name;
        }
    }
}

TEST(MetricFamiliesTest, NamesFollowFromKeys) {
    const auto name = [](const std::string &kind, std::size_t number) {
        return cli::family_name(kind, cli::known_key(number));
    };

    EXPECT_EQ(name("scalar", 0), "qor_scalar_button_click_counted");
    EXPECT_EQ(name("distribution", 11), "qor_distribution_button_click_duration");
    EXPECT_EQ(name("scalar", 24), "qor_scalar_prox_first_pocket_signal_sample_kcpss");
    EXPECT_EQ(name("distribution", 25), "qor_distribution_prox_baseline_to_trigger_time");
    EXPECT_EQ(name("distribution", 27), "qor_distribution_prox_ref_rate_increase_percent");
    EXPECT_EQ(name("scalar", 44), "qor_scalar_button_kiru_probe_failure_kiru_counted");
    EXPECT_EQ(name("distribution", 56), "qor_distribution_ttw_ttw_by_cell_distribution");
    EXPECT_EQ(name("scalar", 57), "qor_scalar_test");
}

TEST(MetricFamiliesTest, AStoreCannotChooseNames) {
    StoreContents contents;
    for (const char *key : {"a.b", "a_b", "com.ondre.zel.button.new.count", "com.ondre.zel.unknown", "# EOF", ""}) {
        contents.scalars[key] = 1;
    }

    const std::vector<MetricFamily> families = families_of(contents);

    ASSERT_EQ(families.size(), 1u);
    EXPECT_EQ(families[0].name, "qor_scalar_other");
    EXPECT_EQ(families[0].series.size(), 6u);
}

TEST(MetricFamiliesTest, AnEmptyStoreHasNoFamilies) { EXPECT_THAT(families_of({}), IsEmpty()); }

TEST(OpenMetricsTextTest, AScalarIsAGauge) {
    EXPECT_EQ(openmetrics_text(families_of({{{"com.ondre.zel.button.click.count", -3}}, {}})),
              "# TYPE qor_scalar_button_click_counted gauge\n"
              "# HELP qor_scalar_button_click_counted Button: clicks\n"
              "qor_scalar_button_click_counted{key=\"com.ondre.zel.button.click.count\"} -3\n"
              "# EOF\n");
}

TEST(OpenMetricsTextTest, ADistributionIsASummaryWithItsEndsAsGauges) {
    const StoreContents contents{{}, {{"com.ondre.zel.prox.ref_rate_increase.percent.dist", {{0.5, 1}, {2, 3}}}}};
    const std::string label = "key=\"com.ondre.zel.prox.ref_rate_increase.percent.dist\"";
    const std::string name = "qor_distribution_prox_ref_rate_increase_percent";

    EXPECT_EQ(openmetrics_text(families_of(contents)),
              "# TYPE " + name + " summary\n" +                                       //
                  "# UNIT " + name + " percent\n" +                                   //
                  "# HELP " + name + " Proximity: increase of ref_rate\n" +           //
                  name + "{" + label + ",quantile=\"0.5\"} 2\n" +                     //
                  name + "{" + label + ",quantile=\"0.9\"} 2\n" +                     //
                  name + "{" + label + ",quantile=\"0.99\"} 2\n" +                    //
                  name + "_count{" + label + "} 4\n" +                                //
                  name + "_sum{" + label + "} 6.5\n" +                                //
                  "# TYPE qor_distribution_minimum gauge\n"                           //
                  "# HELP qor_distribution_minimum Least value of the distribution\n" //
                  "qor_distribution_minimum{" +
                  label + "} 0.5\n" +                                                    //
                  "# TYPE qor_distribution_maximum gauge\n"                              //
                  "# HELP qor_distribution_maximum Greatest value of the distribution\n" //
                  "qor_distribution_maximum{" +
                  label + "} 2\n" + //
                  "# EOF\n");
}

TEST(OpenMetricsTextTest, WhatASummaryMayNotCarryIsAGauge) {
    const std::string text = openmetrics_text(families_of({{}, {{"x", {{-4, 5}, {-2, 4}, {1, 1}}}}}));

    EXPECT_THAT(text, HasSubstr("qor_distribution_other_count{key=\"x\"} 10\n"));
    EXPECT_THAT(text, HasSubstr("qor_distribution_other{key=\"x\",quantile=\"0.99\"} 1\n"));
    EXPECT_THAT(text, Not(HasSubstr("qor_distribution_other_sum")));
    EXPECT_THAT(text, Not(HasSubstr("qor_distribution_other{key=\"x\",quantile=\"0.5\"}")));
    EXPECT_THAT(text, Not(HasSubstr("qor_distribution_other{key=\"x\",quantile=\"0.9\"}")));
    EXPECT_THAT(text, HasSubstr("qor_distribution_signed{key=\"x\",statistic=\"sum\"} -27\n"
                                "qor_distribution_signed{key=\"x\",statistic=\"p50\"} -4\n"
                                "qor_distribution_signed{key=\"x\",statistic=\"p90\"} -2\n# EOF\n"));
}

TEST(OpenMetricsTextTest, IntegersAreWrittenExactly) {
    EXPECT_THAT(openmetrics_text(families_of({{{"x", 9223372036854775807}}, {}})),
                HasSubstr("qor_scalar_other{key=\"x\"} 9223372036854775807\n"));
}

TEST(OpenMetricsTextTest, InfiniteValuesHaveTheStandardsNames) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();

    const std::string text = openmetrics_text(families_of({{}, {{"x", {{-kInfinity, 1}, {kInfinity, 1}}}}}));

    EXPECT_THAT(text, HasSubstr("quantile=\"0.99\"} +Inf\n"));
    EXPECT_THAT(text, HasSubstr("qor_distribution_minimum{key=\"x\"} -Inf\n"));
    EXPECT_THAT(text, HasSubstr("statistic=\"sum\"} NaN\n"));
}

TEST(OpenMetricsTextTest, HostileKeysStayInsideTheirLabels) {
    const std::string text = openmetrics_text(families_of({{{"a\\b\"c\nd\re", 1}}, {}}));

    EXPECT_THAT(text, HasSubstr("qor_scalar_other{key=\"a\\\\b\\\"c\\nd\re\"} 1\n"));
}

} // namespace
