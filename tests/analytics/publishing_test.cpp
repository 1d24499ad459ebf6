// Analytics entries: the effect of each operation on the store, the log lines, and the entries that are skipped.

#include <array>
#include <cmath>
#include <cstdio>
#include <string>

#include "host/RvLog.h"
#include "host/TallybookStore.h"
#include "tests/plugin/plug_in_fixture.h"

namespace plug_in_tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;
using testing::UnorderedElementsAre;

constexpr uint8_t kClick = 0;     // a scalar by its name
constexpr uint8_t kDuration = 11; // a distribution by its name
constexpr const char *kClickName = "com.ondre.zel.button.click.count";
constexpr const char *kDurationName = "com.ondre.zel.button.click.duration";

/** The bytes of an entry. */
std::array<uint8_t, 7> entry(uint8_t operation, uint8_t key, int32_t value, uint8_t version = 0x3A) {
    const auto bits = static_cast<uint32_t>(value);
    return {version,
            operation,
            key,
            static_cast<uint8_t>(bits),
            static_cast<uint8_t>(bits >> 8),
            static_cast<uint8_t>(bits >> 16),
            static_cast<uint8_t>(bits >> 24)};
}

class Publishing : public PlugInTest {
protected:
    Publishing() { host::clear_store(); }
    ~Publishing() override { host::clear_store(); }

    void publish(const std::vector<std::array<uint8_t, 7>> &entries) {
        // A heap block of exactly the batch's size, so that the address sanitizer catches a read past it.
        std::vector<uint8_t> batch;
        for (const auto &bytes : entries) {
            batch.insert(batch.end(), bytes.begin(), bytes.end());
        }
        OndreQORHIDStatistics::publishTBData(plug_in, batch.data(), entries.size());
    }

    static auto scalars() { return host::store_contents().scalars; }
    static auto distributions() { return host::store_contents().distributions; }
};

TEST_F(Publishing, OperationZeroChangesNothingAndIsLogged) {
    publish({entry(0, kClick, 5)});

    EXPECT_THAT(scalars(), IsEmpty());
    EXPECT_THAT(distributions(), IsEmpty());
    EXPECT_THAT(lines(), ElementsAre("publishTBData op=0 'com.ondre.zel.button.click.count' (0)"));
    EXPECT_EQ(log.messages()[0].level, kRvLogLevelError);
}

TEST_F(Publishing, LogsAtTheErrorLevelAndNoOther) {
    host::enable_log_level(kRvLogLevelDefault, false);
    publish({entry(0, kClick, 5), entry(0, kClick, 5, 0x39)});
    EXPECT_THAT(lines(), SizeIs(2));

    host::enable_log_level(kRvLogLevelDefault, true);
    host::enable_log_level(kRvLogLevelError, false);
    log.clear();
    publish({entry(2, kClick, 5), entry(0, kClick, 5, 0x39)});
    EXPECT_THAT(lines(), IsEmpty());
    EXPECT_THAT(scalars(), UnorderedElementsAre(Pair(kClickName, 5)));

    host::enable_log_level(kRvLogLevelError, true);
}

TEST_F(Publishing, Operation2SetsTheScalarWithItsSign) {
    publish({entry(2, kClick, 7), entry(2, kClick, -1)});

    EXPECT_THAT(scalars(), UnorderedElementsAre(Pair(kClickName, -1)));
}

TEST_F(Publishing, Operation3AddsToTheScalarWithItsSign) {
    publish({entry(3, kClick, INT32_MAX), entry(3, kClick, INT32_MAX), entry(3, kClick, -4)});

    EXPECT_THAT(scalars(), UnorderedElementsAre(Pair(kClickName, 4294967290)));
}

TEST_F(Publishing, Operation1ClearsTheScalar) {
    publish({entry(2, kClick, 7), entry(2, 1, 8), entry(1, kClick, 99)});

    EXPECT_THAT(scalars(), UnorderedElementsAre(Pair("com.ondre.zel.button.single_click.count", 8)));
}

TEST_F(Publishing, Operation5LeavesOneValueInTheDistribution) {
    publish({entry(6, kDuration, 65536), entry(5, kDuration, 98304)});

    EXPECT_THAT(distributions().at(kDurationName), ElementsAre(Pair(1.5, 1)));
}

TEST_F(Publishing, Operation4ClearsTheDistribution) {
    publish({entry(6, kDuration, 65536), entry(4, kDuration, 0)});

    EXPECT_THAT(distributions(), IsEmpty());
}

TEST_F(Publishing, Operation6PushesOnce) {
    publish({entry(6, kDuration, 65536)});

    EXPECT_THAT(distributions().at(kDurationName), ElementsAre(Pair(1.0, 1)));
}

TEST_F(Publishing, Operation8PushesThreeTimes) {
    publish({entry(8, kDuration, -32768)});

    EXPECT_THAT(distributions().at(kDurationName), ElementsAre(Pair(-0.5, 3)));
}

TEST_F(Publishing, Operation255Pushes250Times) {
    publish({entry(255, kDuration, 1)});

    EXPECT_THAT(distributions().at(kDurationName), ElementsAre(Pair(std::ldexp(1.0, -16), 250)));
}

TEST_F(Publishing, EveryOperationFrom6OnPushesFiveTimesLessThanItsCode) {
    for (unsigned operation = 6; operation < 256; ++operation) {
        host::clear_store();

        publish({entry(static_cast<uint8_t>(operation), kDuration, 65536)});

        EXPECT_THAT(scalars(), IsEmpty()) << operation;
        ASSERT_THAT(distributions(), SizeIs(1)) << operation;
        EXPECT_THAT(distributions().at(kDurationName), ElementsAre(Pair(1.0, operation - 5))) << operation;
    }
}

TEST_F(Publishing, ScalarOperationsLeaveDistributionsAloneAndTheOtherWayRound) {
    for (uint8_t operation : {uint8_t{1}, uint8_t{2}, uint8_t{3}}) {
        host::clear_store();
        publish({entry(6, kDuration, 65536), entry(operation, kDuration, 5)});
        EXPECT_THAT(distributions().at(kDurationName), ElementsAre(Pair(1.0, 1))) << int{operation};
    }
    for (uint8_t operation : {uint8_t{4}, uint8_t{5}, uint8_t{6}}) {
        host::clear_store();
        publish({entry(2, kClick, 7), entry(operation, kClick, 5)});
        EXPECT_THAT(scalars(), UnorderedElementsAre(Pair(kClickName, 7))) << int{operation};
    }
}

TEST_F(Publishing, ReadsAllFourBytesOfTheValue) {
    publish({entry(2, kClick, 0x12345678), entry(2, 1, -0x12345678)});

    EXPECT_THAT(scalars(), UnorderedElementsAre(Pair(kClickName, 0x12345678),
                                                Pair("com.ondre.zel.button.single_click.count", -0x12345678)));
}

TEST_F(Publishing, RoundsAValueToAFloatBeforeScalingIt) {
    // 2^24 + 1 is not representable as a float and becomes 2^24; INT32_MAX becomes 2^31.
    publish({entry(6, kDuration, 16777217), entry(6, kDuration, INT32_MAX), entry(6, kDuration, INT32_MIN)});

    EXPECT_THAT(distributions().at(kDurationName), ElementsAre(Pair(-32768.0, 1), Pair(256.0, 1), Pair(32768.0, 1)));
}

TEST_F(Publishing, SkipsAnEntryOfAnotherVersionWithOneLineAndContinues) {
    publish({entry(2, kClick, 7, 0x39), entry(2, kClick, 8, 0), entry(2, kClick, 9)});

    EXPECT_THAT(scalars(), UnorderedElementsAre(Pair(kClickName, 9)));
    EXPECT_THAT(lines(), ElementsAre("publishTBData qortbkkeys version mismatch (0x39/0x3a)",
                                     "publishTBData qortbkkeys version mismatch (0/0x3a)",
                                     "publishTBData op=0x2 'com.ondre.zel.button.click.count' (0)"));
}

TEST_F(Publishing, AppliesAnIndexPastTheTableToTheFallbackKey) {
    publish({entry(3, 58, 1), entry(3, 255, 1)});

    EXPECT_THAT(scalars(), UnorderedElementsAre(Pair("com.ondre.zel.unknown", 2)));
    EXPECT_THAT(lines(), ElementsAre(": Kelmarks: key < kQORTbkKey_Count,  file: plugin/OndreQORHIDStatistics.cpp, "
                                     "line: 434 value:0",
                                     "publishTBData op=0x3 'com.ondre.zel.unknown' (0x3a)",
                                     ": Kelmarks: key < kQORTbkKey_Count,  file: plugin/OndreQORHIDStatistics.cpp, "
                                     "line: 434 value:0",
                                     "publishTBData op=0x3 'com.ondre.zel.unknown' (0xff)"));
}

/** The keys by index, with their irregular spellings. The store matches keys by their text. */
constexpr const char *kKeys[] = {
    "com.ondre.zel.button.click.count",
    "com.ondre.zel.button.single_click.count",
    "com.ondre.zel.button.double_click.count",
    "com.ondre.zel.button.triple_click.count",
    "com.ondre.zel.button.long_press.count",
    "com.ondre.zel.button.touch_with_click.count",
    "com.ondre.zel.button.touch_no_click.count",
    "com.ondre.zel.button.click.pico",
    "com.ondre.zel.button.touch.pico",
    "com.ondre.zel.button.click_to_pico.time",
    "com.ondre.zel.button.touch_to_pico.time",
    "com.ondre.zel.button.click.duration",
    "com.ondre.zel.button.touch.duration",
    "com.ondre.zel.button.touch_to_first_click.time",
    "com.ondre.zel.button.touch_to_last_unclick.time",
    "com.ondre.zel.button.first_click_to_last_unclick.time",
    "com.ondre.zel.button.first_click_to_untouch.time",
    "com.ondre.zel.button.last_unclick_to_untouch.time",
    "com.ondre.zel.button.critical_error.count",
    "com.ondre.zel.button.timeout.count",
    "com.ondre.zel.prox.event.ext_bl_capture.count",
    "com.ondre.zel.prox.event.smudge_timeout.bh.count",
    "com.ondre.zel.prox.event.smudge_timeout.nonbh.count",
    "com.ondre.zel.prox.event.high_amb.count",
    "com.ondre.zel.prox.first_pocket_signal_sample.kcpss",
    "com.ondre.com.zel.prox.baseline_to_trigger.time.dist",
    "com.ondre.zel.prox.ext_bl_capture.signal_delta.dist",
    "com.ondre.zel.prox.ref_rate_increase.percent.dist",
    "com.ondre.zel.prox.num_frames_for_high_ambient_baseline_capture.dist",
    "com.ondre.zel.prox.num_bias_corrected_frames_for_high_ambient_baseline_capture.dist",
    "com.ondre.zel.prox.num_frames_for_high_ambient_baseline_capture_target_approched.dist",
    "com.ondre.zel.prox.num_bias_corrected_frames_for_high_ambient_baseline_capture_target_approched.dist",
    "com.ondre.zel.button.touch_with_click.ap_on.duration",
    "com.ondre.zel.button.touch_with_no_click.ap_on.duration",
    "com.ondre.zel.button.touch_with_click.ap_off.duration",
    "com.ondre.zel.button.touch_with_no_click.ap_off.duration",
    "com.ondre.zel.button.touch.ap_on.duration",
    "com.ondre.zel.button.touch.ap_off.duration",
    "com.ondre.zel.kiru.reset_hb_count",
    "com.ondre.zel.kiru.reset_count",
    "com.ondre.zel.kiru.ibfd_timeout_count",
    "com.ondre.zel.tovrane.reset_timeout_count",
    "com.ondre.zel.button.pellox.cl_timeout.count",
    "com.ondre.zel.button.pellox.cl_fault.count",
    "com.ondre.zel.button.kiru_probe_failure_kiru_count",
    "com.ondre.zel.button.force_sensor_probe_failure_count",
    "com.ondre.zel.button.riv_probe_failure_count",
    "com.ondre.zel.button.btmspk_probe_failure_count",
    "com.ondre.zel.dravo.doppler.subscribe_count",
    "com.ondre.zel.dravo.doppler.unsubscribe_count",
    "com.ondre.zel.audio.riv.on.duration",
    "com.ondre.zel.audio.riv.off.duration",
    "com.ondre.zel.audio.riv.prewarm.duration",
    "com.ondre.zel.audio.btmspk.on.duration",
    "com.ondre.zel.audio.btmspk.off.duration",
    "com.ondre.zel.audio.btmspk.prewarm.duration",
    "com.ondre.zel.ttw.ttw_by_cell_distribution",
    "com.ondre.zel.test",
};

TEST_F(Publishing, ReachesEveryKeyByItsIndex) {
    std::vector<std::array<uint8_t, 7>> batch;
    for (uint8_t key = 0; key < 58; ++key) {
        batch.push_back(entry(2, key, key));
    }

    publish(batch);

    ASSERT_THAT(scalars(), SizeIs(58));
    for (int key = 0; key < 58; ++key) {
        EXPECT_EQ(scalars().at(kKeys[key]), key);
    }
}

/** The output of `printf` for a format. */
template <typename... Values>
std::string format_text(const char *format, Values... values) {
    std::array<char, 512> text{};
    std::snprintf(text.data(), text.size(), format, values...);
    return text.data();
}

TEST_F(Publishing, OperationLinesMatchTheirFormatForEveryByte) {
    for (unsigned byte = 0; byte < 256; ++byte) {
        log.clear();
        publish({entry(static_cast<uint8_t>(byte), static_cast<uint8_t>(byte), 0)});

        const char *name = byte < 58 ? TvStringGetCString(plug_in->keyForIndex(static_cast<TallybookKey>(byte)))
                                     : "com.ondre.zel.unknown";
        EXPECT_EQ(lines().back(), format_text("%s op=%#x '%s' (%#x)", "publishTBData", byte, name, byte));
    }
}

TEST_F(Publishing, VersionMismatchLinesMatchTheirFormatForEveryByte) {
    for (unsigned byte = 0; byte < 256; ++byte) {
        if (byte != 0x3A) {
            log.clear();
            publish({entry(2, kClick, 0, static_cast<uint8_t>(byte))});

            EXPECT_THAT(lines(), ElementsAre(format_text("%s qortbkkeys version mismatch (%#x/%#x)", "publishTBData",
                                                         byte, 0x3Au)));
        }
    }
}

TEST_F(Publishing, DoesNothingForAnEmptyBatch) {
    OndreQORHIDStatistics::publishTBData(plug_in, nullptr, 0);

    EXPECT_THAT(scalars(), IsEmpty());
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(Publishing, LogsNothingWhenTheErrorLevelIsOff) {
    host::enable_log_level(kRvLogLevelError, false);

    publish({entry(2, kClick, 7), entry(2, kClick, 8, 0x39)});
    host::enable_log_level(kRvLogLevelError, true);

    EXPECT_THAT(lines(), IsEmpty());
    EXPECT_THAT(scalars(), UnorderedElementsAre(Pair(kClickName, 7)));
}

TEST_F(Publishing, RunsThroughTheCallbackThatRegistrationInstalled) {
    PlayedQor qor;
    RvHIDService service = qor.tallybook_service(kVendor);
    queue.run([&] { plug_in->registerService(&service); });
    const auto bytes = entry(2, kClick, 3);

    EXPECT_TRUE(qor.device->deliver_batch(std::as_bytes(std::span(bytes))));

    EXPECT_THAT(scalars(), UnorderedElementsAre(Pair(kClickName, 3)));
}

TEST_F(Publishing, BeforeOpenNamesNoKeyAndChangesNothing) {
    OndreQORHIDStatistics *unopened = OndreQORHIDStatistics::alloc(RvAllocatorGetDefault());
    const auto bytes = entry(2, kClick, 3);

    OndreQORHIDStatistics::publishTBData(unopened, bytes.data(), 1);
    unopened->Release();

    EXPECT_THAT(scalars(), IsEmpty());
    EXPECT_THAT(lines(), ElementsAre("publishTBData op=0x2 '(null)' (0)"));
}

using KeyForIndex = PlugInTest;

TEST_F(KeyForIndex, ReturnsTheObjectsOwnString) {
    EXPECT_EQ(plug_in->keyForIndex(kQORTbkKey_Test), PlugInInspector::key(*plug_in, 57));
    EXPECT_STREQ(TvStringGetCString(plug_in->keyForIndex(kQORTbkKey_Test)), "com.ondre.zel.test");
}

TEST_F(KeyForIndex, ReturnsTheFallbackForANegativeNumber) {
    EXPECT_STREQ(TvStringGetCString(plug_in->keyForIndex(static_cast<TallybookKey>(-1))), "com.ondre.zel.unknown");
}

} // namespace
} // namespace plug_in_tests
