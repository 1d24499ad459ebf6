#include "cli/metrics/json.h"

#include <limits>
#include <string>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

using cli::metrics_json;
using host::StoreContents;
using nlohmann::ordered_json;

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(MetricsJsonTest, AStoreIsAnObjectWithAFixedOrder) {
    const StoreContents contents{{{"com.ondre.zel.button.click.count", -9223372036854775807 - 1}, {"x", 1}},
                                 {{"com.ondre.zel.prox.x", {{-0.5, 3}, {1, 1}}}}};

    EXPECT_EQ(metrics_json(contents), R"({
  "scalars": [
    {
      "key": "com.ondre.zel.button.click.count",
      "subsystem": "button",
      "value": -9223372036854775808
    },
    {
      "key": "x",
      "subsystem": "other",
      "value": 1
    }
  ],
  "distributions": [
    {
      "key": "com.ondre.zel.prox.x",
      "subsystem": "prox",
      "count": 4,
      "sum": -0.5,
      "mean": -0.125,
      "minimum": -0.5,
      "p50": -0.5,
      "p90": 1.0,
      "p99": 1.0,
      "maximum": 1.0,
      "values": [
        {
          "value": -0.5,
          "count": 3
        },
        {
          "value": 1.0,
          "count": 1
        }
      ]
    }
  ]
}
)");
}

TEST(MetricsJsonTest, AnEmptyStoreHasEmptyArrays) {
    EXPECT_EQ(metrics_json({}), "{\n  \"scalars\": [],\n  \"distributions\": []\n}\n");
}

TEST(MetricsJsonTest, NumbersReadBackExactly) {
    const double value = 0.1 + 0.2;
    const StoreContents contents{{}, {{"x", {{value, 9223372036854775807}}}}};

    const ordered_json read = ordered_json::parse(metrics_json(contents));

    EXPECT_EQ(read["distributions"][0]["values"][0]["value"].get<double>(), value);
    EXPECT_EQ(read["distributions"][0]["values"][0]["count"].get<std::uint64_t>(), 9223372036854775807u);
}

TEST(MetricsJsonTest, NumbersThatAreNotFiniteAreTexts) {
    const StoreContents contents{{}, {{"x", {{-kInfinity, 1}, {kInfinity, 1}}}}};

    const ordered_json read = ordered_json::parse(metrics_json(contents))["distributions"][0];

    EXPECT_EQ(read["minimum"], "-Infinity");
    EXPECT_EQ(read["mean"], "NaN");
    EXPECT_EQ(read["values"][1]["value"], "Infinity");
}

TEST(MetricsJsonTest, KeysReadBackExactly) {
    const std::string hostile = "\"\\\n\x1b\x7f\xc2\x85";
    const StoreContents contents{{{hostile, 1}, {"\xff", 2}}, {}};

    const ordered_json read = ordered_json::parse(metrics_json(contents))["scalars"];

    EXPECT_EQ(read[0]["key"], hostile);
    EXPECT_EQ(read[1]["key_hex"], "ff");
}

} // namespace
