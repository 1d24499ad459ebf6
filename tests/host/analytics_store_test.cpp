#include "host/analytics_store.h"

#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <stdlib.h>

#include "host/error.h"

namespace {

namespace fs = std::filesystem;

using host::StoreChanges;
using host::StoreContents;

constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kSmallest = std::numeric_limits<std::int64_t>::min();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

class AnalyticsStoreTest : public testing::Test {
protected:
    AnalyticsStoreTest() {
        std::string name = testing::TempDir() + "analytics-store-XXXXXX";
        folder = mkdtemp(name.data());
    }
    ~AnalyticsStoreTest() override { fs::remove_all(folder); }

    std::vector<std::string> names() const {
        std::vector<std::string> names;
        for (const fs::directory_entry &entry : fs::directory_iterator(folder)) {
            names.push_back(entry.path().filename());
        }
        return names;
    }

    fs::path folder;
};

const StoreContents kContents = {
    {{"a", kSmallest}, {"b", 0}, {"clé", kLargest}},
    {{"a", {{-kInfinity, 1}, {-2.5, 3}, {0.0, kLargest}, {kInfinity, 4}}}, {"d", {{0.1, 2}}}}};

TEST_F(AnalyticsStoreTest, WhatIsWrittenIsReadBack) {
    host::write_new_analytics_store(folder / "store", kContents);

    EXPECT_EQ(host::read_analytics_store(folder / "store"), kContents);
    EXPECT_EQ(names(), std::vector<std::string>{"store"});
}

} // namespace
