// Which services an object keeps, what it does for them, and what reaches it.

#include <chrono>
#include <filesystem>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "cli/contract/check.h"
#include "cli/contract/setting.h"
#include "host/RvLog.h"
#include "host/RvNotify.h"
#include "host/RvRegistry.h"
#include "host/TallybookStore.h"
#include "host/TvValues.h"
#include "host/device/played_qor.h"
#include "platform/QorAnalytics.h"

namespace cli {
namespace {

constexpr const char *kFaultNotification = "com.ondre.ondreqorhidstatistics.fault";

/** Tells the driver that somebody listens to the device's analytics. */
constexpr std::uint32_t kAnalyticsReadyCommand = 30;

platform::OwnedValue string_value(const char *text) {
    return platform::OwnedValue(TvStringCreateWithCString(text, kTvStringEncodingUTF8));
}

void check_services_kept(CheckedModule &module, Findings &findings) {
    const struct {
        const char *what;
        host::Usages usages;
        std::size_t handlers; ///< 104 with reports, 2 of the button, 1 of a sensor
        std::size_t hid_devices;
    } rows[] = {
        {"consumer control", host::kConsumerControl, 106, 1},
        {"telephony", host::kTelephony, 104, 0},
        {"accelerometer", {{0xFF00, 0x0003}}, 105, 0},
        {"gyroscope", {{0xFF00, 0x0009}}, 105, 0},
        {"compass", {{0xFF00, 0x000A}}, 105, 0},
        {"pressure", {{0x0020, 0x0031}}, 105, 0},
        {"vendor", host::kVendor, 104, 0},
        {"consumer control and sensor", {{0xFF00, 0x0003}, {0x000C, 0x0001}}, 107, 1},
    };
    for (const auto &row : rows) {
        const host::PlayedQor qor;
        ScheduledObject object(module);
        const std::size_t devices = host::live_hid_devices();
        object.hand_over(qor.service(row.usages));
        const std::string of = std::string(" of a service for ") + row.what;
        findings.expect_equal("handlers" + of, host::state_capture_handler_count(), row.handlers);
        findings.expect_equal("HID devices" + of, host::live_hid_devices() - devices, row.hid_devices);
    }
}

/** Services that nobody keeps. */
std::vector<RvHIDService> refused_services(const host::PlayedQor &qor) {
    std::vector<RvHIDService> services;
    for (const char *transport : {"qor", "QORX", "USB", ""}) {
        services.push_back(qor.service(host::kConsumerControl));
        services.back().properties["Transport"] = string_value(transport);
    }
    services.push_back(qor.service(host::kConsumerControl));
    services.back().properties.erase("Transport");
    services.push_back(qor.service({}));
    services.push_back(qor.service({{0x000C, 0x0002}, {0x0001, 0x0006}}));
    services.push_back(qor.service(host::kConsumerControl));
    services.back().properties["Transport"] = platform::OwnedValue(TvNumberCreateSInt64(1));
    return services;
}

void check_services_refused(CheckedModule &module, Findings &findings) {
    const host::PlayedQor qor;
    ScheduledObject object(module);
    const std::size_t plug_ins = host::live_plug_in_references();
    std::size_t values = 0;
    constexpr int kRounds = 20;
    for (int round = 0; round <= kRounds; ++round) {
        for (const RvHIDService &service : refused_services(qor)) {
            object.hand_over(service);
        }
        if (round == 0) {
            values = host::live_values(); // whatever is made once has been made by now
        }
    }
    findings.expect_equal("handlers registered", host::state_capture_handler_count(), 0);
    findings.expect_equal("references to plug-ins taken", host::live_plug_in_references() - plug_ins, 0);
    findings.expect_equal("references to the driver taken", host::device_registry::reference_count(qor.driver_entry),
                          0);
    findings.expect_equal("typed values held after " + std::to_string(kRounds) + " rounds more",
                          host::live_values() - values, 0);
}

void check_raw_debug_once(CheckedModule &module, Findings &findings) {
    const host::PlayedQor qor;
    ScheduledObject object(module);
    object.hand_over(qor.service(host::kVendor));
    findings.expect_equal("handlers after the first service", host::state_capture_handler_count(), kRawDebugHandlers);
    object.hand_over(qor.service(host::kSensor));
    object.hand_over(qor.service(host::kConsumerControl));
    object.hand_over(qor.service(host::kVendor));
    findings.expect_equal("handlers after a sensor, a button and one more", host::state_capture_handler_count(),
                          kRawDebugHandlers + 1 + 2);
}

void check_analytics_callback(CheckedModule &module, Findings &findings) {
    const host::PlayedQor silent;
    const host::PlayedQor qor;
    ScheduledObject object(module);
    object.hand_over(silent.service(host::kVendor));
    findings.expect(!silent.device->has_callback(), "a callback is installed where no analytics are delivered");
    findings.expect_equal("commands to the driver of a service without analytics", silent.commands.size(), 0);

    object.hand_over(qor.tallybook_service({}));
    findings.expect(qor.device->has_callback(), "no callback is installed where analytics are delivered");
    findings.expect(qor.device->target() == object.get(), "the callback is not given the object");
    findings.expect(qor.device->queue() == object.queue().handle(), "the callback is not on the object's queue");
    findings.expect(qor.commands == std::vector{kAnalyticsReadyCommand},
                    "the driver is not sent command 30, and nothing else");
}

void check_analytics_entries(CheckedModule &module, Findings &findings) {
    const host::PlayedQor qor;
    ScheduledObject object(module);
    object.hand_over(qor.tallybook_service({}));
    if (!qor.device->has_callback()) {
        throw SkippedCheck("no callback is installed", "analytics-callback");
    }
    host::clear_store();
    std::vector<AnalyticsEntry> entries;
    std::int64_t sum = 0;
    for (std::uint8_t key = 0; key < kQorAnalyticsKeyCount; ++key) {
        const auto value = static_cast<std::int32_t>(module.random());
        entries.push_back({kQorAnalyticsVersion, kQorAnalyticsSetScalar, key, 0});
        entries.push_back({kQorAnalyticsVersion, kQorAnalyticsAddToScalar, key, value});
        entries.push_back({kQorAnalyticsVersion - 1, kQorAnalyticsSetScalar, key, 7}); // of another version: left out
        sum += value;
    }
    qor.device->deliver_batch(batch_of(entries));
    std::int64_t stored = 0;
    for (const auto &[key, value] : host::store_contents().scalars) {
        stored += value;
    }
    findings.expect_equal("keys in the store", host::store_contents().scalars.size(), kQorAnalyticsKeyCount);
    findings.expect(stored == sum, "the values in the store are not those of the entries");

    qor.device->deliver_batch(batch_of({{kQorAnalyticsVersion, kQorAnalyticsSetScalar, kQorAnalyticsKeyCount, 5},
                                        {kQorAnalyticsVersion, kQorAnalyticsSetScalar, 255, 6}}));
    findings.expect_equal("keys in the store after entries without a key", host::store_contents().scalars.size(),
                          kQorAnalyticsKeyCount + 1U);
    findings.expect(host::store_contents().scalars.count("com.ondre.zel.unknown") == 1,
                    "entries without a key do not go to com.ondre.zel.unknown");
}

std::size_t faults_in(const host::LogRecorder &log) {
    std::size_t count = 0;
    for (const host::LogMessage &message : log.messages()) {
        if (message.level == kRvLogLevelFault && message.subsystem == "ZEL" &&
            message.category == "OndreQORHIDStatistics" && message.text == "fault!") {
            ++count;
        }
    }
    return count;
}

void check_fault_notification(CheckedModule &module, Findings &findings) {
    const host::LogRecorder log;
    ScheduledObject object(module);
    const auto post = [&object] {
        host::deliver_notification(kFaultNotification);
        object.queue().run([] {});
    };
    post();
    findings.expect_equal("faults in the log after one notification", faults_in(log), 1);
    object.queue().run([&] { (*object.get())->unscheduleFromDispatchQueue(object.get(), object.queue().handle()); });
    post();
    findings.expect_equal("faults in the log after one more, unscheduled", faults_in(log), 2);
    object.stop();
    findings.expect_equal("handlers reached by a notification after the end",
                          host::deliver_notification(kFaultNotification), 0);
}

std::ptrdiff_t thread_count() {
    namespace fs = std::filesystem;
    return std::distance(fs::directory_iterator("/proc/self/task"), fs::directory_iterator());
}

/** Waits until there are no more than so many threads: one that was joined is still counted for a moment. */
void wait_for_threads(std::ptrdiff_t most) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end = Clock::now() + std::chrono::seconds(10);
    while (thread_count() > most && Clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

/** How many threads there are between objects, with the one that a sanitizer starts beside the first one. */
std::ptrdiff_t resting_threads() {
    host::SerialQueue queue;
    std::ptrdiff_t with_queue = 0;
    queue.run([&] { with_queue = thread_count(); });
    queue.close();
    wait_for_threads(with_queue - 1);
    return with_queue - 1;
}

void check_nothing_after_release(CheckedModule &module, Findings &findings) {
    constexpr std::chrono::milliseconds kSilence{100};
    const host::PlayedQor qor({.reports = 1});
    module.require_object();
    const std::ptrdiff_t threads = resting_threads();
    const host::LogRecorder log;
    {
        ScheduledObject object(module);
        object.hand_over(qor.tallybook_service(host::kConsumerControl));
        object.hand_over(qor.service(host::kSensor));
        capture(kRvStateCaptureRequest);
        object.stop();
    }
    findings.expect_equal("handlers left", host::state_capture_handler_count(), 0);
    const auto driver_calls = [&qor] {
        return qor.commands.size() + qor.firmware_reports.methods.size() + qor.driver_reports.methods.size();
    };
    const std::size_t calls = driver_calls();
    const std::size_t lines = log.messages().size();

    findings.expect_equal("handlers reached by a notification", host::deliver_notification(kFaultNotification), 0);
    findings.expect_equal("records captured", capture(kRvStateCaptureRequest).size(), 0);
    findings.expect(!qor.device->deliver_batch(batch_of({{kQorAnalyticsVersion, kQorAnalyticsSetScalar, 0, 1}})),
                    "a batch of analytics is delivered");
    std::this_thread::sleep_for(kSilence); // for what the module may do by itself
    findings.expect_equal("calls of the driver", driver_calls(), calls);
    findings.expect_equal("lines in the log", log.messages().size(), lines);
    wait_for_threads(threads);
    const std::ptrdiff_t left = thread_count();
    findings.expect(left <= threads, "threads: " + std::to_string(left) + ", and there were " +
                                         std::to_string(threads) + " before the object");
}

} // namespace

const std::vector<ContractCheck> kServiceChecks = {
    {"services-kept", "Each usage is kept, with the handlers and devices it calls for", check_services_kept},
    {"services-refused", "Other services leave nothing behind", check_services_refused},
    {"raw-debug-once", "The 104 entries are registered once per object", check_raw_debug_once},
    {"analytics-callback", "The analytics callback is installed where it is called for", check_analytics_callback},
    {"analytics-entries", "Analytics entries reach the store under 58 keys", check_analytics_entries},
    {"fault-notification", "A fault notification is one fault in the log", check_fault_notification},
    {"nothing-after-release", "Nothing is delivered, and nothing runs, after the last Release",
     check_nothing_after_release},
};

} // namespace cli
