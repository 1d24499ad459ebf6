#include "cli/dumps/plausibility.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <random>
#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "tests/cli/program.h"
#include "tests/cli/reports.h"
#include "tests/decoder/report_generator.h"

using cli::Doubt;
using cli::Plausibility;
using cli_tests::kAccelData;
using cli_tests::little_endian;
using cli_tests::report;

namespace {

std::span<const std::byte> bytes_of(const std::string &text) { return std::as_bytes(std::span(text)); }

std::optional<Doubt> doubt_about(const std::string &bytes) {
    Plausibility plausibility;
    plausibility.add(bytes_of(bytes));
    return plausibility.doubt();
}

/** A dump of a device: numbers from `number` on, some of them lost, and rising time stamps. */
std::string generated_dump(std::uint64_t seed, std::size_t count, std::uint32_t number, std::uint32_t lost_of_100) {
    oracle::ReportGenerator generator(seed);
    std::uint64_t time = generator.below(std::uint64_t{1} << 40);
    std::string dump;
    for (std::size_t i = 0; i < count; ++i) {
        const oracle::Report made = generator.report(generator.header());
        std::string bytes(made.begin(), made.end());
        number += 1 + (generator.below(100) < lost_of_100 ? static_cast<std::uint32_t>(generator.below(50)) : 0);
        time += 1 + generator.below(100'000);
        bytes.replace(4, 4, little_endian(number, 4));
        bytes.replace(8, 8, little_endian(time, 8));
        dump += bytes;
    }
    return dump;
}

RC_GTEST_PROP(PlausibilityTest, AGeneratedDumpIsToldFromItsShifts, ()) {
    const auto seed = *rc::gen::arbitrary<std::uint64_t>();
    // Of fewer reports, chance may give those of a shift numbers and times as good.
    const auto count = *rc::gen::inRange<std::size_t>(6 * Plausibility::kFewestReports, 300);
    const auto number = *rc::gen::arbitrary<std::uint32_t>();
    const auto lost = *rc::gen::inRange<std::uint32_t>(0, 20);
    const std::string dump = generated_dump(seed, count, number, lost);

    RC_ASSERT(!doubt_about(dump));
    for (std::size_t shift = 1; shift < 48; ++shift) {
        const std::optional<Doubt> doubt = doubt_about(dump.substr(shift));
        RC_LOG() << "shifted by " << shift << "\n";
        RC_ASSERT(doubt.has_value());
        RC_ASSERT(doubt->skip == std::optional(48 - shift));
    }
}

TEST(PlausibilityTest, TheDumpsOfTheExamplesAreToldFromTheirShifts) {
    for (const std::string name : {"drvx", "err", "fw"}) {
        const std::string dump =
            cli_tests::content_of(std::filesystem::path(QOR_SOURCE_FOLDER) / "examples/reports" / (name + ".bin"));
        ASSERT_FALSE(dump.empty());

        EXPECT_FALSE(doubt_about(dump)) << name;
        for (std::size_t shift = 1; shift < 48; ++shift) {
            const std::optional<Doubt> doubt = doubt_about(dump.substr(shift));
            ASSERT_TRUE(doubt) << name << " shifted by " << shift;
            EXPECT_EQ(doubt->skip, 48 - shift) << name << " shifted by " << shift;
        }
    }
}

RC_GTEST_PROP(PlausibilityTest, FewReportsAreNeverDoubted, ()) {
    const auto bytes = *rc::gen::container<std::string>(rc::gen::arbitrary<char>());

    RC_ASSERT(!doubt_about(bytes.substr(0, Plausibility::kFewestReports * 48 - 1)));
}

TEST(PlausibilityTest, AnyReportAloneIsNotDoubted) {
    EXPECT_FALSE(doubt_about(report({200, 201, 202, 203}, 4'000'000'000, 1)));
    EXPECT_FALSE(doubt_about(""));
}

TEST(PlausibilityTest, UnnamedCategoriesAreNotDoubtedWhenNumbersFollow) {
    std::string dump;
    for (std::uint32_t number = 0; number < 5000; ++number) {
        dump += report({200, 7, 9, 88}, number, 10 * std::uint64_t{number});
    }

    EXPECT_FALSE(doubt_about(dump));
}

TEST(PlausibilityTest, PickedReportsAreNotDoubtedWhenTheirIdsHaveNames) {
    // A counter in the payload follows; the reports do not begin there all the same.
    std::string dump;
    for (std::uint32_t number = 0; number < 500; ++number) {
        dump += report(kAccelData, 10 * number, 1000 * std::uint64_t{number}, little_endian(number, 4));
    }

    EXPECT_FALSE(doubt_about(dump));
}

TEST(PlausibilityTest, BytesOfSomethingElseAreDoubted) {
    std::mt19937 random(1); // NOLINT(cert-msc32-c,cert-msc51-cpp)
    std::string noise(100'000, '\0');
    std::generate(noise.begin(), noise.end(), [&] { return static_cast<char>(random()); });

    for (const std::string &bytes : {noise, std::string(10'000, '\0'), std::string(10'000, 'x')}) {
        const std::optional<Doubt> doubt = doubt_about(bytes);
        ASSERT_TRUE(doubt);
        EXPECT_FALSE(doubt->skip);
    }
}

TEST(PlausibilityTest, ADumpThatComesInPiecesIsJudgedAsAWhole) {
    const std::string dump = generated_dump(3, 200, 1, 0).substr(5);
    Plausibility plausibility;
    for (std::size_t at = 0; at < dump.size(); at += 7) {
        ASSERT_TRUE(plausibility.wants_more());
        plausibility.add(bytes_of(dump).subspan(at, std::min<std::size_t>(7, dump.size() - at)));
    }

    ASSERT_TRUE(plausibility.doubt());
    EXPECT_EQ(plausibility.doubt()->skip, 43u);
}

TEST(PlausibilityTest, NoMoreIsLookedAtThanItTakes) {
    std::string dump;
    for (std::uint32_t number = 0; number < Plausibility::kFewestReports; ++number) {
        dump += report(kAccelData, number, 1000 * std::uint64_t{number});
    }
    Plausibility certain;
    certain.add(bytes_of(dump));
    EXPECT_FALSE(certain.wants_more());

    Plausibility doubtful;
    doubtful.add(bytes_of(std::string(Plausibility::kMostReports * 48 - 1, 'x')));
    EXPECT_TRUE(doubtful.wants_more());
    doubtful.add(bytes_of("xyz"));
    EXPECT_FALSE(doubtful.wants_more());
}

TEST(PlausibilityTest, TheMessageCountsFromTheStartOfTheFile) {
    EXPECT_EQ(cli::doubt_text({7}, 10), "does not look like a dump: sequence numbers do not follow one another and ids "
                                        "have no names; try --skip 17");
    EXPECT_EQ(cli::doubt_text({}, 10),
              "does not look like a dump: sequence numbers do not follow one another and ids have no names");
}

} // namespace
