#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "host/RvKernel.h"
#include "host/boot_time.h"
#include "platform/RvKernel.h"

namespace {

/** The boot time that the kernel itself publishes, in whole seconds. */
std::int64_t published_boot_time() {
    std::ifstream stat("/proc/stat");
    for (std::string word; stat >> word;) {
        std::int64_t seconds = 0;
        if (word == "btime" && stat >> seconds) {
            return seconds;
        }
    }
    return 0;
}

TEST(Kernel, BootTimeIsTheOneThatTheKernelPublishes) {
    const std::int64_t published = published_boot_time();
    if (published == 0) {
        GTEST_SKIP() << "/proc/stat does not say when the kernel booted";
    }
    std::int64_t seconds = 0;
    std::int32_t microseconds = 0;

    ASSERT_TRUE(RvKernelGetBootTime(&seconds, &microseconds));

    EXPECT_EQ(seconds, published);
}

std::int64_t reported_boot_time() {
    std::int64_t seconds = 0;
    std::int32_t microseconds = 0;
    EXPECT_TRUE(RvKernelGetBootTime(&seconds, &microseconds));
    return seconds * 1'000'000 + microseconds;
}

TEST(Kernel, ADescribedBootTimeCountsAsLongAsItLives) {
    const std::int64_t machine = reported_boot_time();
    {
        const host::DescribedBootTime first(1'759'992'800'250'000);
        EXPECT_EQ(reported_boot_time(), 1'759'992'800'250'000);
        {
            const host::DescribedBootTime second(0);
            EXPECT_EQ(reported_boot_time(), 0);
        }
        EXPECT_EQ(reported_boot_time(), 1'759'992'800'250'000);
    }
    EXPECT_EQ(reported_boot_time(), machine);
}

/** What a kernel says of its boot, as the two files that it says it in. */
class BootTime : public testing::Test {
protected:
    BootTime() {
        std::string pattern = testing::TempDir() + "qor-boot-XXXXXX";
        folder = ::mkdtemp(pattern.data());
    }
    ~BootTime() override { std::filesystem::remove_all(folder); }

    std::optional<std::int64_t> read(const std::string &statistics, const std::string &boot) const {
        std::ofstream(folder / "stat") << statistics;
        std::ofstream(folder / "boot_id") << boot;
        return host::read_boot_time((folder / "stat").c_str(), (folder / "boot_id").c_str());
    }

    std::filesystem::path folder;
    const std::string identifier = "1576af72-8286-4efc-8492-c90881c24a8e\n";
};

TEST_F(BootTime, IsTheKernelsSecondAndANumberOfTheBoot) {
    const std::string statistics = "cpu  1 2 3\nintr " + std::string(10'000, '7') + "\nbtime 1795316348\nprocesses 5\n";

    EXPECT_EQ(read(statistics, identifier), 1795316348'602919);
}

TEST_F(BootTime, FollowsASetClockInItsSecondsAndKeepsTheNumberOfTheBoot) {
    const std::int64_t before = read("btime 1795316348\n", identifier).value();
    const std::int64_t after = read("btime 1795319949\n", identifier).value();

    EXPECT_EQ(after - before, 3601 * std::int64_t{1'000'000});
}

TEST_F(BootTime, OfAnotherBootInTheSameSecondIsAnother) {
    const std::int64_t first = read("btime 100\n", identifier).value();
    const std::int64_t second = read("btime 100\n", "1576af72-8286-4efc-8492-c90881c24a8f\n").value();

    EXPECT_NE(first, second);
    EXPECT_EQ(first / 1'000'000, second / 1'000'000);
}

TEST_F(BootTime, HasNoMicrosecondsWithoutAnIdentifier) { EXPECT_EQ(read("btime 100\n", ""), 100'000'000); }

TEST_F(BootTime, IsUnknownWithoutAWholeNumberOfSeconds) {
    for (const char *statistics : {"", "cpu 1\n", "btime\n", "btime x\n", "btime 12x\n", "btime -1\n",
                                   "btime 9223372036854\n", "btime 99999999999999999999\n"}) {
        EXPECT_EQ(read(statistics, identifier), std::nullopt) << statistics;
    }
    EXPECT_EQ(host::read_boot_time("/no/such/file", "/no/such/file"), std::nullopt);
}

} // namespace
