// Services: which ones an object keeps, what it registers for them, and which events reach it.

#include <chrono>
#include <filesystem>
#include <iterator>
#include <span>
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
#include "qor/analytics.h"
#include "qor/driver.h"
#include "qor/services.h"

namespace cli {
namespace {

namespace services = qor::services;

namespace analytics = qor::analytics;

constexpr const char *kFaultNotification = "com.ondre.ondreqorhidstatistics.fault";

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
        {"accelerometer", {services::kAccelerometer}, 105, 0},
        {"gyroscope", {services::kGyroscope}, 105, 0},
        {"compass", {services::kCompass}, 105, 0},
        {"pressure", {services::kPressure}, 105, 0},
        {"vendor", host::kVendor, 104, 0},
        {"consumer control and sensor", {services::kAccelerometer, services::kConsumerControl}, 107, 1},
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

/** Services that no object keeps. */
std::vector<RvHIDService> refused_services(const host::PlayedQor &qor) {
    std::vector<RvHIDService> services;
    for (const char *transport : {"qor", "QORX", "USB", ""}) {
        services.push_back(qor.service(host::kConsumerControl));
        services.back().properties[services::kTransportKey] = string_value(transport);
    }
    services.push_back(qor.service(host::kConsumerControl));
    services.back().properties.erase(services::kTransportKey);
    services.push_back(qor.service({}));
    services.push_back(qor.service({{0x000C, 0x0002}, {0x0001, 0x0006}}));
    services.push_back(qor.service(host::kConsumerControl));
    services.back().properties[services::kTransportKey] = platform::OwnedValue(TvNumberCreateSInt64(1));
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
            values = host::live_values(); // values that are created once exist by now
        }
    }
    findings.expect_equal("handlers registered", host::state_capture_handler_count(), 0);
    findings.expect_equal("references to plug-ins taken", host::live_plug_in_references() - plug_ins, 0);
    findings.expect_equal("references to the driver taken", host::device_registry::reference_count(qor.driver_entry),
                          0);
    findings.expect_equal("typed values held after " + std::to_string(kRounds) + " more rounds",
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
    findings.expect(!silent.device->has_callback(), "a callback is installed for a service without analytics");
    findings.expect_equal("commands to the driver of a service without analytics", silent.commands.size(), 0);

    object.hand_over(qor.tallybook_service({}));
    findings.expect(qor.device->has_callback(), "no callback is installed for a service with analytics");
    findings.expect(qor.device->target() == object.get(), "the callback does not receive the object");
    findings.expect(qor.device->queue() == object.queue().handle(), "the callback does not run on the object's queue");
    findings.expect(qor.commands == std::vector{qor::driver::kAnalyticsReadyCommand},
                    "the driver does not receive exactly one command, 30");
}

void check_analytics_entries(CheckedModule &module, Findings &findings) {
    const host::PlayedQor qor;
    ScheduledObject object(module);
    object.hand_over(qor.tallybook_service({}));
    if (!qor.device->has_callback()) {
        throw SkippedCheck("no callback is installed", "analytics-callback");
    }
    host::clear_store();
    std::vector<Tbk> entries;
    std::int64_t sum = 0;
    for (std::uint8_t key = 0; key < analytics::kKeyCount; ++key) {
        const auto value = static_cast<std::int32_t>(module.random());
        entries.push_back(analytics::make_entry(analytics::kVersion, analytics::kSetScalar, key, 0));
        entries.push_back(analytics::make_entry(analytics::kVersion, analytics::kAddToScalar, key, value));
        // Ignored, because it is of another version.
        entries.push_back(analytics::make_entry(analytics::kVersion - 1, analytics::kSetScalar, key, 7));
        sum += value;
    }
    qor.device->deliver_batch(std::as_bytes(std::span(entries)));
    std::int64_t stored = 0;
    for (const auto &[key, value] : host::store_contents().scalars) {
        stored += value;
    }
    findings.expect_equal("keys in the store", host::store_contents().scalars.size(), analytics::kKeyCount);
    findings.expect(stored == sum, "the values in the store differ from those of the entries");

    const Tbk of_unknown_keys[] = {
        analytics::make_entry(analytics::kVersion, analytics::kSetScalar, analytics::kKeyCount, 5),
        analytics::make_entry(analytics::kVersion, analytics::kSetScalar, 255, 6),
    };
    qor.device->deliver_batch(std::as_bytes(std::span(of_unknown_keys)));
    findings.expect_equal("keys in the store after entries with unknown keys", host::store_contents().scalars.size(),
                          analytics::kKeyCount + 1U);
    findings.expect(host::store_contents().scalars.count("com.ondre.zel.unknown") == 1,
                    "entries with unknown keys are not stored under com.ondre.zel.unknown");
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
    findings.expect_equal("faults in the log after another one when unscheduled", faults_in(log), 2);
    object.stop();
    findings.expect_equal("handlers reached by a notification after the last Release",
                          host::deliver_notification(kFaultNotification), 0);
}

std::ptrdiff_t thread_count() {
    namespace fs = std::filesystem;
    return std::distance(fs::directory_iterator("/proc/self/task"), fs::directory_iterator());
}

/** Waits until at most `most` threads are left: a joined thread is still counted for a moment. */
void wait_for_threads(std::ptrdiff_t most) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end = Clock::now() + std::chrono::seconds(10);
    while (thread_count() > most && Clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

/** The number of threads without an object, including the one that a sanitizer starts with the first thread. */
std::ptrdiff_t idle_thread_count() {
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
    const std::ptrdiff_t threads = idle_thread_count();
    const host::LogRecorder log;
    {
        ScheduledObject object(module);
        object.hand_over(qor.tallybook_service(host::kConsumerControl));
        object.hand_over(qor.service(host::kSensor));
        capture(kRvStateCaptureRequest);
        object.stop();
    }
    findings.expect_equal("handlers left after the last Release", host::state_capture_handler_count(), 0);
    const auto driver_calls = [&qor] {
        return qor.commands.size() + qor.firmware_reports.methods.size() + qor.driver_reports.methods.size();
    };
    const std::size_t calls = driver_calls();
    const std::size_t lines = log.messages().size();

    findings.expect_equal("handlers reached by a notification", host::deliver_notification(kFaultNotification), 0);
    findings.expect_equal("records captured", capture(kRvStateCaptureRequest).size(), 0);
    const Tbk batch[] = {analytics::make_entry(analytics::kVersion, analytics::kSetScalar, 0, 1)};
    findings.expect(!qor.device->deliver_batch(std::as_bytes(std::span(batch))), "a batch of analytics is delivered");
    std::this_thread::sleep_for(kSilence); // time for threads of the module
    findings.expect_equal("calls of the driver", driver_calls(), calls);
    findings.expect_equal("lines in the log", log.messages().size(), lines);
    wait_for_threads(threads);
    const std::ptrdiff_t left = thread_count();
    findings.expect(left <= threads, "threads: " + std::to_string(left) + ", expected at most " +
                                         std::to_string(threads) + " as before the object");
}

} // namespace

const std::vector<ContractCheck> kServiceChecks = {
    {"services-kept", "Each usage is kept and gets its handlers and HID devices", check_services_kept, kNeedsHost},
    {"services-refused", "Other services are refused and nothing leaks", check_services_refused, kNeedsHost},
    {"raw-debug-once", "The 104 entries are registered once per object", check_raw_debug_once, kNeedsHost},
    {"analytics-callback", "The analytics callback is installed for services with analytics", check_analytics_callback,
     kNeedsHost},
    {"analytics-entries", "Analytics entries are stored under 58 keys", check_analytics_entries, kNeedsHost},
    {"fault-notification", "A fault notification writes one fault to the log", check_fault_notification, kNeedsHost},
    {"nothing-after-release", "After the last Release nothing is delivered and nothing runs",
     check_nothing_after_release, kNeedsHost},
};

} // namespace cli
