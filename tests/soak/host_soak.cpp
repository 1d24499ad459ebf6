// A host that runs for long at full speed: captures of every kind, analytics batches, notifications. Its memory must
// not grow. Then two threads take and release references.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <unistd.h>

#include "host/RvConnection.h"
#include "host/RvLog.h"
#include "host/RvNotify.h"
#include "host/RvStateCapture.h"
#include "host/TvValues.h"
#include "host/device/described_device.h"
#include "host/device/qor_plug_ins.h"
#include "host/module/module.h"
#include "platform/Owned.h"
#include "qor/analytics.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr char kFaultNotification[] = "com.ondre.ondreqorhidstatistics.fault";

/**
 * How much the resident memory may grow after the first tenth of the time, in KiB: the allocator of the C library
 * touches some pages late, for blocks of other sizes freed in another order. A leak of one small block per turn exceeds
 * this within ten minutes.
 */
constexpr long kGrowthAllowed = 512;

constexpr std::uint64_t kReferencePairs = 10'000'000;
constexpr std::uint64_t kPairsInARow = 1'000;

struct Figures {
    std::uint64_t requests = 0;
    std::uint64_t records = 0;
    std::uint64_t reports = 0;
    std::uint64_t batches = 0;
    std::uint64_t entries = 0;
    std::uint64_t notifications = 0;
};

/** In KiB. */
long resident_memory() {
    std::ifstream statm("/proc/self/statm");
    long size = 0;
    long resident = 0;
    statm >> size >> resident;
    return resident * (::sysconf(_SC_PAGESIZE) / 1024);
}

/** The number of reports that the title of a record of profile reports gives; 0 for any other record. */
std::uint64_t reports_of(const host::RecordBytes &record) {
    constexpr std::size_t kTitleOffset = 136;
    const std::string title(reinterpret_cast<const char *>(record.data()) + kTitleOffset);
    constexpr std::string_view kCount = ";count=";
    const std::size_t at = title.find(kCount);
    return at == std::string::npos ? 0 : std::strtoull(title.c_str() + at + kCount.size(), nullptr, 10);
}

/** The host, with counts of its work. */
class Life {
public:
    Life(const std::string &module, const std::string &device)
        : _module(module), _device(device, _queue), _plug_in(_module, _queue),
          _log(host::log_to_function([this](const host::LogMessage &) { ++_lines; })) {
        _plug_in.register_services(_device.services());
    }

    void take_turn() {
        for (const std::uint32_t kind : {kRvStateCaptureError, kRvStateCaptureFault, kRvStateCaptureRequest}) {
            for (const host::RecordBytes &record : host::capture_state(kind, "soak")) {
                ++_figures.records;
                _figures.reports += reports_of(record);
            }
            ++_figures.requests;
        }
        for (const host::AnalyticsDescription &batch : _device.analytics()) {
            if (_device.device(batch.device).deliver_batch(batch.entries)) {
                ++_figures.batches;
                _figures.entries += batch.entries.size() / qor::analytics::kEntrySize;
            }
        }
        _figures.notifications += host::deliver_notification(kFaultNotification);
    }

    const Figures &figures() const { return _figures; }
    std::uint64_t lines() const { return _lines; }

private:
    Figures _figures;
    std::atomic<std::uint64_t> _lines{0};
    host::Module _module;
    host::SerialQueue _queue;
    host::DescribedDevice _device;
    host::HostedPlugIn _plug_in;
    std::unique_ptr<host::LogSink> _log;
};

struct Alive {
    std::size_t values = host::live_values();
    std::size_t connections = host::open_connection_count();
    std::size_t plug_in_references = host::live_plug_in_references();

    friend bool operator==(const Alive &, const Alive &) = default;
};

void print(double seconds, const Life &life, long memory) {
    const Figures &figures = life.figures();
    std::printf("%8.0f %10llu %12llu %14llu %10llu %14llu %13llu %14llu %10ld\n", seconds,
                static_cast<unsigned long long>(figures.requests), static_cast<unsigned long long>(figures.records),
                static_cast<unsigned long long>(figures.reports), static_cast<unsigned long long>(figures.batches),
                static_cast<unsigned long long>(figures.entries),
                static_cast<unsigned long long>(figures.notifications), static_cast<unsigned long long>(life.lines()),
                memory);
    std::fflush(stdout);
}

/** @return whether memory stayed flat and nothing was left over. */
bool run_life(const std::string &module, const std::string &device, int seconds) {
    Life life(module, device);
    life.take_turn();
    const Alive alive;
    std::printf("%8s %10s %12s %14s %10s %14s %13s %14s %10s\n", "seconds", "requests", "records", "reports", "batches",
                "entries", "notifications", "lines logged", "KiB");

    constexpr int kReadings = 10;
    const auto begin = Clock::now();
    long first_reading = 0;
    long most = 0;
    for (int reading = 1; reading <= kReadings; ++reading) {
        const auto until = begin + std::chrono::milliseconds(std::int64_t{1000} * seconds * reading / kReadings);
        while (Clock::now() < until) {
            life.take_turn();
        }
        const long memory = resident_memory();
        first_reading = reading == 1 ? memory : first_reading;
        most = std::max(most, memory);
        print(std::chrono::duration<double>(Clock::now() - begin).count(), life, memory);
    }

    const Figures &figures = life.figures();
    const bool did_everything =
        figures.records > 0 && figures.reports > 0 && figures.entries > 0 && figures.notifications > 0;
    const bool is_flat = most - first_reading <= kGrowthAllowed;
    const bool is_balanced = alive == Alive{};
    std::printf("memory grew by %ld KiB after the first reading; %ld are allowed: %s\n", most - first_reading,
                kGrowthAllowed, is_flat ? "flat" : "NOT FLAT");
    std::printf("values, connections and plug-in references are %s\n",
                is_balanced ? "as many as after the first turn" : "NOT as many as after the first turn");
    if (!did_everything) {
        std::printf("SOMETHING was never done\n");
    }
    return is_flat && is_balanced && did_everything;
}

/**
 * Calls pairs of `AddRef` and `Release` from two threads. Both go through the queue, as every call of the object must:
 * its count is a plain number.
 */
bool take_and_release_references(const std::string &path) {
    const host::Module module(path);
    host::SerialQueue queue;
    constexpr RvUUIDBytes kType = kOndreQORHIDStatisticsPlugInTypeBytes;
    const platform::OwnedUUID type(RvUUIDCreateWithBytes(kType));
    auto *object = static_cast<OndreQORHIDStatisticsRef>(module.factory()(RvAllocatorGetDefault(), type.get()));
    std::atomic<std::uint64_t> pairs{0};
    const auto half = [&] {
        for (std::uint64_t done = 0; done < kReferencePairs / 2; done += kPairsInARow) {
            queue.run([&] {
                for (std::uint64_t i = 0; i < kPairsInARow; ++i) {
                    (*object)->AddRef(object);
                    (*object)->Release(object);
                }
                pairs += kPairsInARow;
            });
        }
    };
    const auto begin = Clock::now();
    std::thread first(half);
    std::thread second(half);
    first.join();
    second.join();
    std::uint32_t last = 0;
    queue.run([&] {
        (*object)->AddRef(object);
        last = (*object)->Release(object);
        (*object)->Release(object);
    });
    const double took = std::chrono::duration<double>(Clock::now() - begin).count();
    std::printf("%llu pairs of AddRef and Release from two threads in %.2f s: the count began at 1 and ends at %u\n",
                static_cast<unsigned long long>(pairs), took, last);
    return last == 1 && pairs == kReferencePairs;
}

} // namespace

int main(int argc, char **argv) try {
    const int seconds = argc == 4 ? std::atoi(argv[3]) : 0;
    if (seconds < 1) {
        std::fprintf(stderr, "usage: %s MODULE DEVICE SECONDS\n", argv[0]);
        return 2;
    }
    const bool is_flat = run_life(argv[1], argv[2], seconds);
    const bool is_balanced = take_and_release_references(argv[1]);
    return is_flat && is_balanced ? 0 : 1;
} catch (const std::exception &error) {
    std::fprintf(stderr, "host_soak: %s\n", error.what());
    return 2;
}
