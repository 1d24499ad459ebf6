// Memory after many rounds of creating and releasing an object: nothing leaks but what is leaked on purpose.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/contract/check.h"
#include "cli/contract/setting.h"
#include "host/RvHID.h"
#include "host/RvRegistry.h"
#include "host/TvValues.h"
#include "host/counting_allocator.h"
#include "host/device/played_qor.h"
#include "platform/Owned.h"
#include "qor/analytics.h"

namespace cli {
namespace {

constexpr int kWarmUps = 10;
constexpr int kRounds = 100;

/** The most bytes that the C library's allocator may account for a context of five members. */
constexpr std::size_t kMostBytesOfAContext = 96;

std::size_t bytes_or_skip() {
    const std::optional<std::size_t> bytes = held_bytes();
    if (!bytes) {
        throw SkippedCheck("this process's allocator does not say how much it holds");
    }
    return *bytes;
}

/** Creates and releases an object without services. @return the blocks it leaked in its allocator; they are freed. */
std::size_t run_without_services(CheckedModule &module) {
    constexpr RvUUIDBytes kInterface = kOndreQORHIDStatisticsInterface1Bytes;
    host::CountingAllocator allocator;
    OndreQORHIDStatisticsRef object = module.create(&allocator);
    void *interface = nullptr;
    if ((*object)->QueryInterface(object, kInterface, &interface) == kRvResultOK) {
        (*object)->Release(object);
    }
    (*object)->Release(object);
    return allocator.free_live_blocks();
}

void check_rounds_flat(CheckedModule &module, Findings &findings) {
    for (int round = 0; round < kWarmUps; ++round) {
        run_without_services(module);
    }
    const std::size_t values = host::live_values();
    const std::size_t bytes = bytes_or_skip();
    std::size_t blocks = 0;
    for (int round = 0; round < kRounds; ++round) {
        blocks += run_without_services(module);
    }
    const std::size_t more = bytes_or_skip() - bytes; // before the finding's own text is allocated
    findings.expect_equal("bytes held after " + std::to_string(kRounds) + " more rounds", more, 0);
    findings.expect_equal("typed values held", host::live_values() - values, 0);
    findings.expect(blocks <= kRounds, "a round leaks more than the array of contexts in the object's allocator");
}

/** The leaks of one round, one number for each kind of object. */
struct Growth {
    std::int64_t bytes = 0;
    std::size_t values = 0;
    std::size_t plug_ins = 0;
    std::size_t driver = 0;
    std::size_t device = 0;
    std::size_t hid_devices = 0;
    std::size_t blocks = 0; ///< of the object's allocator

    bool operator==(const Growth &) const = default;
};

/** The growth from now until `growth` is asked for. */
class Counts {
public:
    explicit Counts(const host::PlayedQor &qor)
        : _qor(qor), _values(host::live_values()), _plug_ins(host::live_plug_in_references()),
          _driver(references(qor.driver_entry)), _device(references(qor.device_entry)),
          _hid_devices(host::live_hid_devices()), _bytes(bytes_or_skip()) {}

    Growth growth() const {
        const std::size_t bytes = bytes_or_skip();
        return {static_cast<std::int64_t>(bytes) - static_cast<std::int64_t>(_bytes),
                host::live_values() - _values,
                host::live_plug_in_references() - _plug_ins,
                references(_qor.driver_entry) - _driver,
                references(_qor.device_entry) - _device,
                host::live_hid_devices() - _hid_devices,
                0};
    }

private:
    static std::size_t references(RvRegistryEntry entry) { return host::device_registry::reference_count(entry); }

    const host::PlayedQor &_qor;
    std::size_t _values;
    std::size_t _plug_ins;
    std::size_t _driver;
    std::size_t _device;
    std::size_t _hid_devices;
    std::size_t _bytes;
};

/** The services that each round registers. */
struct Services {
    explicit Services(const host::PlayedQor &qor) {
        all.push_back(qor.service(host::kConsumerControl));
        all.push_back(qor.service(host::kSensor));
        all.push_back(qor.service(host::kVendor));
    }
    std::vector<RvHIDService> all;
    static constexpr std::size_t kKept = 3;
    static constexpr std::size_t kWithHidDevice = 1;
};

/** Creates an object, registers services, and releases the object and its queue. */
Growth run_with_services(CheckedModule &module, const host::PlayedQor &qor) {
    const Counts counts(qor);
    std::size_t blocks = 0;
    {
        host::CountingAllocator allocator;
        const Services services(qor);
        {
            ScheduledObject object(module, &allocator);
            for (const RvHIDService &service : services.all) {
                object.hand_over(service);
            }
            object.stop();
        }
        blocks = allocator.free_live_blocks();
    }
    Growth growth = counts.growth();
    growth.blocks = blocks;
    return growth;
}

RvInterfaceRef create_plug_in(RvRegistryEntry entry, const RvUUIDBytes &type) {
    constexpr RvUUIDBytes kGeneric = kRvPlugInInterfaceBytes;
    RvInterfaceRef plug_in = nullptr;
    RvPlugInCreateForService(entry, RvUUIDGetConstantWithBytes(type), RvUUIDGetConstantWithBytes(kGeneric), &plug_in);
    return plug_in;
}

/**
 * Keeps objects that are leaked to measure their size, so that leak checkers find no leak. The list is reserved
 * beforehand, so that its own memory is not measured.
 */
class LeakedObjects {
public:
    explicit LeakedObjects(std::size_t count) { objects().reserve(objects().size() + count); }
    void add(const void *thing) { objects().push_back(thing); }

private:
    static std::vector<const void *> &objects() {
        static auto &immortal = *new std::vector<const void *>;
        return immortal;
    }
};

/** An interface, as a kept service has one. */
void *copy_interface(RvRegistryEntry entry, const RvUUIDBytes &type, const RvUUIDBytes &wanted) {
    const platform::OwnedInterface plug_in(create_plug_in(entry, type));
    void *interface = nullptr;
    (*plug_in.get())->QueryInterface(plug_in.get(), wanted, &interface);
    return interface;
}

/** The same round without the module: the host's own part, and the objects that are leaked on purpose. */
Growth leak_on_purpose(const host::PlayedQor &qor, LeakedObjects &leaked) {
    const Counts counts(qor);
    {
        const Services services(qor);
        host::SerialQueue queue;
        queue.close();
    }
    for (const char *key : qor::analytics::kKeys) {
        leaked.add(TvStringCreateWithCString(key, kTvStringEncodingASCII));
    }
    for (std::size_t i = 0; i < Services::kKept; ++i) {
        leaked.add(copy_interface(qor.driver_entry, kQorDriverPlugInTypeBytes, kQorDriverInterfaceBytes));
        leaked.add(copy_interface(qor.device_entry, kQorDevicePlugInTypeBytes, kQorDeviceInterfaceBytes));
    }
    for (std::size_t i = 0; i < Services::kWithHidDevice; ++i) {
        leaked.add(RvHIDDeviceCreate(qor.device_entry));
    }
    return counts.growth();
}

/** The bytes that `kRounds` rounds leak, after `kWarmUps` that are not counted. */
template <typename Round>
std::int64_t measure_rounds(Round round) {
    for (int i = 0; i < kWarmUps; ++i) {
        round();
    }
    std::int64_t bytes = 0;
    for (int i = 0; i < kRounds; ++i) {
        bytes += round().bytes;
    }
    return bytes;
}

void check_rounds_leaks(CheckedModule &module, Findings &findings) {
    const host::PlayedQor qor;
    LeakedObjects leaked((kWarmUps + kRounds) *
                         (qor::analytics::kKeyCount + 2 * Services::kKept + Services::kWithHidDevice));
    const std::int64_t named = measure_rounds([&] { return leak_on_purpose(qor, leaked); });
    const std::int64_t found = measure_rounds([&] {
        const Growth growth = run_with_services(module, qor);
        findings.expect_equal("typed values leaked by a round (the key strings)", growth.values,
                              qor::analytics::kKeyCount);
        findings.expect_equal("interfaces leaked by a round (two per kept service)", growth.plug_ins,
                              2 * Services::kKept);
        findings.expect_equal("references to the driver leaked by a round (one per kept service)", growth.driver,
                              Services::kKept);
        findings.expect_equal("references to the device leaked by a round (one per kept service)", growth.device,
                              Services::kKept);
        findings.expect_equal("HID devices leaked by a round", growth.hid_devices, Services::kWithHidDevice);
        findings.expect(growth.blocks <= 2, "a round leaks more than the array of contexts in the object's allocator");
        return growth;
    });
    const std::int64_t contexts = found - named;
    const auto most = static_cast<std::int64_t>(kRounds * Services::kKept * kMostBytesOfAContext);
    findings.expect(contexts <= most, std::to_string(kRounds) + " rounds leak " + std::to_string(contexts) +
                                          " bytes more than expected; the contexts account for at most " +
                                          std::to_string(most));
    findings.expect(contexts >= 0, std::to_string(kRounds) + " rounds leak " + std::to_string(-contexts) +
                                       " bytes less than what is leaked on purpose");
}

} // namespace

const std::vector<ContractCheck> kMemoryChecks = {
    {"rounds-flat", "100 rounds of factory, query and last Release leak nothing", check_rounds_flat, kNeedsHost},
    {"rounds-leaks", "Rounds with services leak only what is leaked on purpose", check_rounds_leaks, kNeedsHost},
};

} // namespace cli
