#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "decoder/ProfileDescription.h"
#include "decoder/ZELLogDecoder.h"
#include "platform/Owned.h"
#include "tests/decoder/report_builder.h"
#include "tests/decoder/time_sync_service.h"

namespace {

/** Reports of every category and type, each in a different second. */
std::vector<_QorProfileReport> reports() {
    std::vector<_QorProfileReport> reports;
    for (std::uint8_t category = 0; category < 12; ++category) {
        for (std::uint8_t type = 0; type < 14; ++type) {
            reports.push_back(ReportBuilder(type, 1, 0, category)
                                  .counting(16, 47)
                                  .u64(8, 600'000u * static_cast<unsigned>(category * 14 + type)));
        }
    }
    return reports;
}

std::string describe(const _QorProfileReport &report) {
    const platform::OwnedValue description(CopyProfileDescription(report.bytes));
    return TvStringGetCString(description.get());
}

TEST(Decoding, EightThreadsWriteTheSameLinesAsOne) {
    constexpr int kThreads = 8;
    const TimeSyncService service;
    service.publish(0, 1'700'000'000'000'000'000);
    const std::vector<_QorProfileReport> all = reports();
    std::vector<std::string> expected;
    for (const _QorProfileReport &report : all) {
        expected.push_back(describe(report));
    }

    std::vector<std::vector<std::string>> lines(kThreads);
    {
        std::vector<std::thread> threads;
        for (std::vector<std::string> &own : lines) {
            threads.emplace_back([&own, &all] {
                for (const _QorProfileReport &report : all) {
                    own.push_back(describe(report));
                    own.back() = own.back() == ZELLogDecoder::to_string(report) ? own.back() : "differs";
                }
            });
        }
        for (std::thread &thread : threads) {
            thread.join();
        }
    }

    for (const std::vector<std::string> &own : lines) {
        EXPECT_EQ(own, expected);
    }
}

} // namespace
