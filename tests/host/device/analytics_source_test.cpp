#include "host/device/analytics_source.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "host/RvRegistry.h"
#include "platform/RvPlugIn.h"
#include "qor/interfaces.h"

namespace {

using platform::OwnedEntry;
using platform::OwnedInterface;

/** A described device, its batches, and a callback that records its arguments. */
class AnalyticsSourceTest : public testing::Test {
protected:
    ~AnalyticsSourceTest() override { source.reset(); }

    void register_device(const std::string &described) {
        device.emplace(
            host::read_device_description_text("name = 'x'\n[device.a]\n[device.b]\n"
                                               "[[entry]]\nid = 0xA\nname = 'a'\nclass = 'A'\ndevice = 'a'\n"
                                               "[[entry]]\nid = 0xB\nname = 'b'\nclass = 'B'\ndevice = 'b'\n" +
                                                   described,
                                               "test"),
            queue);
    }

    /** As a plug-in installs its callback in the device of the entry with this registry ID. */
    void install(std::uint64_t registry_id) {
        queue.run([&] {
            constexpr RvUUIDBytes kType = kQorDevicePlugInTypeBytes;
            constexpr RvUUIDBytes kGeneric = kRvPlugInInterfaceBytes;
            constexpr RvUUIDBytes kInterface = kQorDeviceInterfaceBytes;
            const OwnedEntry entry(RvRegistryCopyServiceMatchingID(registry_id));
            RvInterfaceRef plug_in = nullptr;
            ASSERT_EQ(RvPlugInCreateForService(entry.get(), RvUUIDGetConstantWithBytes(kType),
                                               RvUUIDGetConstantWithBytes(kGeneric), &plug_in),
                      0u);
            const OwnedInterface generic(plug_in);
            void *found = nullptr;
            (*plug_in)->QueryInterface(plug_in, kInterface, &found);
            const OwnedInterface interface(static_cast<RvInterfaceRef>(found));
            const auto table = static_cast<QorDeviceInterfaceRef>(found);
            (*table)->set_dispatch_queue(table, queue.handle());
            (*table)->set_analytics_callback(table, receive, this);
        });
    }

    void start() {
        source.emplace(*device, [this](const std::string &problem) {
            const std::lock_guard lock(mutex);
            problems.push_back(problem);
            changed.notify_all();
        });
    }

    static void receive(void *target, const void *entries, std::uint64_t count) {
        auto &test = *static_cast<AnalyticsSourceTest *>(target);
        const auto *bytes = static_cast<const unsigned char *>(entries);
        const std::lock_guard lock(test.mutex);
        test.was_on_queue = test.was_on_queue && test.queue.is_current();
        test.batches.push_back(count == 0 ? "" : std::string(1, static_cast<char>(bytes[0])) + std::to_string(count));
        test.changed.notify_all();
    }

    template <typename Predicate>
    void wait_until(Predicate holds) {
        std::unique_lock lock(mutex);
        changed.wait(lock, holds);
    }

    static std::string batch(const std::string &device, char first, int count, const std::string &times = "") {
        std::string hex;
        for (int i = 0; i < count; ++i) {
            hex += "4" + std::to_string(first - '@') + "000000000000";
        }
        return "[[analytics]]\ndevice = '" + device + "'\nhex = '" + hex + "'\n" + times;
    }

    host::SerialQueue queue;
    std::optional<host::DescribedDevice> device;
    std::optional<host::AnalyticsSource> source;
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::string> batches; ///< first byte and count of entries of each
    std::vector<std::string> problems;
    bool was_on_queue = true;
};

TEST_F(AnalyticsSourceTest, DeliversEachBatchOnTheQueueInTheOrderOfTheDescription) {
    register_device(batch("a", 'B', 1) + batch("a", 'A', 3) + batch("a", 'C', 2));
    install(0xA);

    start();

    wait_until([this] { return batches.size() >= 3; });
    EXPECT_EQ(batches, (std::vector<std::string>{"B1", "A3", "C2"}));
    EXPECT_TRUE(was_on_queue);
}

TEST_F(AnalyticsSourceTest, DeliversInTheOrderOfTheTimes) {
    register_device(batch("a", 'B', 1, "after = 0.05\n") + batch("a", 'A', 1, "after = 0.01\n"));
    install(0xA);

    start();

    wait_until([this] { return batches.size() >= 2; });
    EXPECT_EQ(batches, (std::vector<std::string>{"A1", "B1"}));
}

TEST_F(AnalyticsSourceTest, RepeatsABatchAsOftenAsItsCountSays) {
    register_device(batch("a", 'A', 1, "every = 0.001\ncount = 3\n") + batch("a", 'B', 1, "after = 0.05\n"));
    install(0xA);

    start();

    wait_until([this] { return batches.size() >= 4; });
    EXPECT_EQ(std::count(batches.begin(), batches.end(), "A1"), 3);
}

TEST_F(AnalyticsSourceTest, RepeatsABatchWithoutACountUntilItIsStopped) {
    register_device(batch("a", 'A', 1, "every = 0.001\n"));
    install(0xA);

    start();

    wait_until([this] { return batches.size() >= 20; });
}

TEST_F(AnalyticsSourceTest, DeliversNothingAfterItHasStopped) {
    register_device(batch("a", 'A', 1, "every = 0.001\n"));
    install(0xA);
    start();
    wait_until([this] { return !batches.empty(); });

    source->stop();

    const std::size_t delivered = batches.size();
    queue.run([] {});
    EXPECT_EQ(batches.size(), delivered);
    source->stop();
}

TEST_F(AnalyticsSourceTest, AStopDoesNotWaitForWhatIsDueLater) {
    register_device(batch("a", 'A', 1, "after = 31622400\n"));
    install(0xA);
    start();

    source->stop();

    EXPECT_TRUE(batches.empty());
}

TEST_F(AnalyticsSourceTest, ADeviceWithoutBatchesHasNothingToDeliver) {
    register_device("");
    install(0xA);
    start();

    source->stop();

    EXPECT_TRUE(batches.empty());
    EXPECT_TRUE(problems.empty());
}

TEST_F(AnalyticsSourceTest, SaysOnceForEachDeviceThatItHasNoCallback) {
    register_device(batch("b", 'B', 1, "every = 0.001\n") + batch("b", 'C', 1) + batch("a", 'A', 1, "after = 0.05\n"));
    install(0xA);

    start();

    wait_until([this] { return !batches.empty(); });
    EXPECT_EQ(problems,
              (std::vector<std::string>{"device \"b\": no analytics callback is installed, so its batches are lost"}));
}

TEST_F(AnalyticsSourceTest, ACallbackThatIsInstalledLaterGetsTheLaterBatches) {
    register_device(batch("a", 'A', 1, "every = 0.001\n"));
    start();
    wait_until([this] { return !problems.empty(); });

    install(0xA);

    wait_until([this] { return !batches.empty(); });
    EXPECT_EQ(problems.size(), 1u);
}

TEST_F(AnalyticsSourceTest, CountsWhatWasDeliveredAndWhatWasLost) {
    register_device(batch("a", 'A', 1, "every = 0.001\ncount = 3\n") +
                    batch("b", 'B', 1, "every = 0.001\ncount = 2\n") + batch("a", 'C', 1, "after = 31622400\n") +
                    batch("a", 'D', 1, "after = 0.05\n"));
    install(0xA);
    start();
    wait_until([this] { return batches.size() >= 4; });

    source->stop();

    std::vector<std::pair<std::uint64_t, std::uint64_t>> counts;
    for (const host::BatchDeliveries &deliveries : source->deliveries()) {
        counts.emplace_back(deliveries.made, deliveries.lost);
    }
    EXPECT_EQ(counts, (std::vector<std::pair<std::uint64_t, std::uint64_t>>{{3, 0}, {0, 2}, {0, 0}, {1, 0}}));
}

TEST_F(AnalyticsSourceTest, AClosedQueueGetsNothing) {
    register_device(batch("a", 'A', 1, "every = 0.001\n"));
    install(0xA);
    queue.close();

    start();

    wait_until([this] { return !problems.empty(); });
    EXPECT_TRUE(batches.empty());
}

} // namespace
