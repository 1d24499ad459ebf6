// Reads any device description: it is refused with one error that names a place, or it is played, and a plug-in hosted
// on it returns whole records and accepts its analytics.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "fuzz/input.h"
#include "host/RvLog.h"
#include "host/RvStateCapture.h"
#include "host/TallybookStore.h"
#include "host/device/described_device.h"
#include "host/error.h"
#include "host/state_records.h"
#include "plugin/OndreQORHIDStatistics.h"

namespace {

using fuzz::Input;
using fuzz::require;

/** What to do with a device that is played. */
enum Doing : unsigned { kCaptureFault = 1, kCaptureRequest = 2, kDeliver = 4 };

/** A plug-in on the device. Nothing is registered any more when the last reference is released. */
class Hosted {
public:
    Hosted(const host::DescribedDevice &device, host::SerialQueue &queue) : _queue(queue) {
        _queue.run([&] {
            _plug_in->open(nullptr, 0);
            _plug_in->scheduleWithDispatchQueue(_queue.handle());
            for (const auto &service : device.services()) {
                _plug_in->registerService(service.get());
            }
        });
    }
    ~Hosted() {
        _queue.run([this] { _queue.drop_registrations(); });
        _plug_in->Release();
    }
    Hosted(const Hosted &) = delete;
    Hosted &operator=(const Hosted &) = delete;

private:
    host::SerialQueue &_queue;
    OndreQORHIDStatistics *_plug_in = OndreQORHIDStatistics::alloc(RvAllocatorGetDefault());
};

void capture(std::uint32_t kind) {
    for (const host::RecordBytes &record : host::capture_state(kind, "fuzz")) {
        require(host::parse_records(record, "record").size() == 1, "a handler returns one whole record");
    }
}

void host_plug_in(host::DeviceDescription description, unsigned doing) {
    // Services and batches after the first few cost time and find nothing new.
    constexpr std::size_t kMostServices = 8;
    constexpr std::size_t kMostBatches = 8;
    if (description.services.size() > kMostServices || description.analytics.size() > kMostBatches) {
        return;
    }
    // Of all devices of the process: a thread takes longer to start than to host most of them. It is not closed: a
    // plug-in may keep its handle.
    static auto &queue = *new host::SerialQueue(host::SerialQueue::Thread::kOfCreator);
    const host::DescribedDevice device(std::move(description), queue);
    const Hosted hosted(device, queue);
    if (doing & kCaptureFault) {
        capture(kRvStateCaptureFault);
    }
    if (doing & kCaptureRequest) {
        capture(kRvStateCaptureRequest);
    }
    if (doing & kDeliver) {
        host::clear_store();
        for (const host::AnalyticsDescription &batch : device.analytics()) {
            require(batch.entries.size() % 7 == 0, "a batch consists of whole entries");
            device.device(batch.device).deliver_batch(batch.entries);
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    // Lines are formatted and discarded.
    static const std::unique_ptr<host::LogSink> log = host::log_to_function([](const host::LogMessage &) {});
    Input input(data, size);
    const unsigned doing = input.byte();
    const std::string_view text(reinterpret_cast<const char *>(input.rest().data()), input.rest().size());
    try {
        host_plug_in(host::read_device_description_text(text, "device.toml"), doing);
    } catch (const host::Error &error) {
        require(error.file() == "device.toml", "the error names the file", error.what());
        require(error.place().starts_with("line "), "the error names a place", error.what());
        require(std::string_view(error.what()).size() < 4096 + size, "the error's length is proportionate",
                error.what());
    }
    return 0;
}
