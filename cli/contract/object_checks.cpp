// The factory, the table and the object by itself.

#include <array>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "cli/contract/check.h"
#include "cli/contract/setting.h"
#include "host/RvLog.h"
#include "host/RvNotify.h"
#include "host/RvPlugIn.h"
#include "platform/Owned.h"

namespace cli {
namespace {

constexpr RvUUIDBytes kType = kOndreQORHIDStatisticsPlugInTypeBytes;
constexpr RvUUIDBytes kFactory = kOndreQORHIDStatisticsFactoryBytes;
constexpr RvUUIDBytes kInterfaces[] = {kOndreQORHIDStatisticsInterface1Bytes, kOndreQORHIDStatisticsInterface2Bytes,
                                       kRvUnknownInterfaceBytes};
constexpr RvUUIDBytes kGenericInterface = kRvPlugInInterfaceBytes;
constexpr std::uint32_t kNoInterface = 0x80000004;
constexpr int kUuidBits = 128;
constexpr int kRandomUuids = 64;

RvUUIDBytes flipped(RvUUIDBytes uuid, int bit) {
    std::uint8_t &byte = uuid.bytes[bit / 8];
    byte = static_cast<std::uint8_t>(byte ^ (1U << (bit % 8)));
    return uuid;
}

/** Everything that is nearly `uuid`: one bit is another. */
void add_neighbours(const RvUUIDBytes &uuid, std::vector<RvUUIDBytes> &all) {
    for (int bit = 0; bit < kUuidBits; ++bit) {
        all.push_back(flipped(uuid, bit));
    }
}

void add_random(CheckedModule &module, std::vector<RvUUIDBytes> &all) {
    for (int i = 0; i < kRandomUuids; ++i) {
        all.push_back(module.random_uuid());
    }
}

std::size_t live_instances() { return host::factory_instance_count(kFactory); }

/** For objects whose table is not trusted yet. */
void release_if_possible(OndreQORHIDStatisticsRef object) {
    if (*object != nullptr && (*object)->Release != nullptr) {
        (*object)->Release(object);
    }
}

void check_factory_type(CheckedModule &module, Findings &findings) {
    OndreQORHIDStatisticsRef object = module.make(RvAllocatorGetDefault(), kType);
    findings.expect(object != nullptr, "the factory makes no object of the session-filter type " + text_of(kType));
    if (object != nullptr) {
        findings.expect(*object != nullptr, "the object has no interface table");
        release_if_possible(object);
    }
}

void check_factory_wrong_types(CheckedModule &module, Findings &findings) {
    std::vector<RvUUIDBytes> wrong = {RvUUIDBytes{}, kFactory, kGenericInterface};
    wrong.insert(wrong.end(), std::begin(kInterfaces), std::end(kInterfaces));
    add_neighbours(kType, wrong);
    add_random(module, wrong);
    const CountingArena arena;
    for (const RvUUIDBytes &type : wrong) {
        findings.expect(module.make(&arena, type) == nullptr, "the factory makes an object of type " + text_of(type));
    }
    findings.expect(module.loaded().factory()(&arena, nullptr) == nullptr, "the factory makes an object of no type");
    findings.expect_equal("allocations for wrong types", arena.allocations(), 0);
    findings.expect_equal("factory instances for wrong types", live_instances(), 0);
}

void check_factory_memory(CheckedModule &module, Findings &findings) {
    CountingArena arena;
    OndreQORHIDStatisticsRef object = module.create(&arena);
    findings.expect(arena.owns(object), "the object does not live in the memory of the allocator given");
    (*object)->Release(object);
    findings.expect(!arena.owns(object), "the last Release does not give the object's memory back");
    findings.expect_equal("blocks given back that came from elsewhere", arena.strangers(), 0);
}

void check_factory_without_memory(CheckedModule &module, Findings &findings) {
    module.loaded();
    CountingArena arena;
    arena.run_dry();
    findings.expect(module.make(&arena, kType) == nullptr, "the factory makes an object without memory");
    findings.expect_equal("factory instances without an object", live_instances(), 0);
}

void check_factory_instances(CheckedModule &module, Findings &findings) {
    OndreQORHIDStatisticsRef object = module.create(RvAllocatorGetDefault());
    findings.expect_equal("factory instances while one object lives", live_instances(), 1);
    (*object)->Release(object);
    findings.expect_equal("factory instances after its last Release", live_instances(), 0);
}

void check_table_slots(CheckedModule &module, Findings &findings) {
    constexpr std::size_t kSlots = 18;
    static_assert(sizeof(OndreQORHIDStatisticsTable) == kSlots * sizeof(void *));
    constexpr std::array<const char *, kSlots> kNames = {nullptr,
                                                         "QueryInterface",
                                                         "AddRef",
                                                         "Release",
                                                         nullptr,
                                                         nullptr,
                                                         nullptr,
                                                         "open",
                                                         "close",
                                                         nullptr,
                                                         nullptr,
                                                         "registerService",
                                                         nullptr,
                                                         "scheduleWithDispatchQueue",
                                                         "unscheduleFromDispatchQueue",
                                                         nullptr,
                                                         nullptr,
                                                         nullptr};
    OndreQORHIDStatisticsRef object = module.make(RvAllocatorGetDefault(), kType);
    if (object == nullptr || *object == nullptr) {
        throw SkippedCheck("the factory makes no object", "factory-type");
    }
    const auto *slots = reinterpret_cast<void *const *>(*object);
    for (std::size_t slot = 0; slot < kSlots; ++slot) {
        const std::string which = "slot " + std::to_string(slot);
        if (kNames[slot] == nullptr) {
            findings.expect(slots[slot] == nullptr, which + " holds something, and null is promised");
        } else {
            findings.expect(slots[slot] != nullptr, which + " (" + kNames[slot] + ") is null");
        }
    }
    release_if_possible(object);
}

HRESULT query(OndreQORHIDStatisticsRef object, const RvUUIDBytes &type, void **out) {
    return (*object)->QueryInterface(object, type, out);
}

void check_query_known(CheckedModule &module, Findings &findings) {
    OndreQORHIDStatisticsRef object = module.create(RvAllocatorGetDefault());
    for (const RvUUIDBytes &type : kInterfaces) {
        void *interface = nullptr;
        const auto result = static_cast<std::uint32_t>(query(object, type, &interface));
        findings.expect(result == 0, text_of(type) + " is answered with " + hex_number(result));
        findings.expect(interface == object, text_of(type) + " is answered with something other than the object");
    }
    for (std::uint32_t left = std::size(kInterfaces) + 1; left-- > 0;) {
        const std::uint32_t count = (*object)->Release(object);
        findings.expect_equal("references left after one Release", count, left);
        if (count == 0) {
            break; // the object is gone, rightly or not
        }
    }
}

void check_query_unknown(CheckedModule &module, Findings &findings) {
    std::vector<RvUUIDBytes> unknown = {RvUUIDBytes{}, kType, kFactory, kGenericInterface};
    for (const RvUUIDBytes &type : kInterfaces) {
        add_neighbours(type, unknown);
    }
    add_random(module, unknown);
    OndreQORHIDStatisticsRef object = module.create(RvAllocatorGetDefault());
    for (const RvUUIDBytes &type : unknown) {
        void *interface = object;
        const auto result = static_cast<std::uint32_t>(query(object, type, &interface));
        findings.expect(result == kNoInterface, text_of(type) + " is answered with " + hex_number(result) + ", and " +
                                                    hex_number(kNoInterface) + " is promised");
        findings.expect(interface == nullptr, "refusing " + text_of(type) + " does not leave null in the result");
    }
    findings.expect_equal("references left by refused queries", (*object)->Release(object), 0);
}

void check_counting(CheckedModule &module, Findings &findings) {
    constexpr int kSteps = 2000;
    OndreQORHIDStatisticsRef object = module.create(RvAllocatorGetDefault());
    std::uint32_t promised = 1;
    for (int step = 0; step < kSteps; ++step) {
        const bool adds = promised == 1 || module.random() % 2 == 0;
        promised += adds ? 1U : -1U;
        const std::uint32_t found = adds ? (*object)->AddRef(object) : (*object)->Release(object);
        findings.expect_equal(std::string(adds ? "AddRef" : "Release") + " in step " + std::to_string(step), found,
                              promised);
        if (found != promised) {
            return; // what comes next would be guesswork
        }
    }
    while (promised-- > 0) {
        findings.expect_equal("Release at the end", (*object)->Release(object), promised);
    }
}

void check_open(CheckedModule &module, Findings &findings) {
    OndreQORHIDStatisticsRef object = module.create(RvAllocatorGetDefault());
    char anything = 0; // stands for a session, which nobody looks at
    for (auto *session : {RvHIDSessionRef{}, reinterpret_cast<RvHIDSessionRef>(&anything)}) {
        for (const std::uint32_t options : {0U, 1U, ~0U, static_cast<std::uint32_t>(module.random())}) {
            findings.expect((*object)->open(object, session, options),
                            "open with options " + hex_number(options) + " answers false");
        }
    }
    (*object)->Release(object);
}

void check_call_order(CheckedModule &module, Findings &findings) {
    const host::LogRecorder log;
    const PlayedQor qor;
    std::vector<std::unique_ptr<RvHIDService>> services;
    services.push_back(std::make_unique<RvHIDService>(qor.tallybook_service(kConsumerControl)));
    services.push_back(std::make_unique<RvHIDService>(qor.service(kSensor)));
    services.push_back(std::make_unique<RvHIDService>(qor.service(kVendor)));
    module.require_object();
    host::SerialQueue queue;
    host::HostedPlugIn hosted(module.loaded(), queue);
    hosted.register_services(services);
    findings.expect(host::state_capture_handler_count() > 0, "no handler is registered at the end of the order");
    hosted.stop();
    findings.expect_equal("handlers after the last Release", host::state_capture_handler_count(), 0);
    for (const std::string &line : log.lines()) {
        findings.fail("a healthy life writes a line to the log: " + line);
    }
}

void check_reopening(CheckedModule &module, Findings &findings) {
    const PlayedQor qor;
    host::SerialQueue later;
    ScheduledObject object(module);
    object.hand_over(qor.service(kSensor));
    OndreQORHIDStatisticsRef plug_in = object.get();
    object.queue().run([&] {
        (*plug_in)->unscheduleFromDispatchQueue(plug_in, object.queue().handle());
        (*plug_in)->close(plug_in, nullptr, 0);
    });
    const std::size_t before = host::state_capture_handler_count();
    later.run([&] {
        findings.expect((*plug_in)->open(plug_in, nullptr, 0), "after close, open answers false");
        (*plug_in)->scheduleWithDispatchQueue(plug_in, later.handle());
        const RvHIDService service = qor.service(kSensor);
        (*plug_in)->registerService(plug_in, &service);
    });
    findings.expect_equal("handlers registered for a sensor after reopening",
                          host::state_capture_handler_count() - before, 1);
    later.close();
    findings.expect_equal("handlers of the first queue when the later one is closed",
                          host::state_capture_handler_count(), before);
}

void check_two_objects(CheckedModule &module, Findings &findings) {
    const PlayedQor qor;
    ScheduledObject first(module);
    ScheduledObject second(module);
    findings.expect(first.get() != second.get(), "the factory hands out the same object twice");
    if (first.get() == second.get()) {
        return;
    }
    findings.expect(*first.get() == *second.get(), "two objects have two tables");
    first.hand_over(qor.service(kVendor));
    second.hand_over(qor.service(kVendor));
    findings.expect_equal("handlers of two objects", host::state_capture_handler_count(), 2 * kRawDebugHandlers);
    first.stop();
    findings.expect_equal("records of the second object when the first is gone",
                          captured_titles(kRvStateCaptureFault).size(), kRawDebugHandlers);
}

} // namespace

const std::vector<ContractCheck> kObjectChecks = {
    {"factory-type", "The factory makes an object of the session-filter type", check_factory_type},
    {"factory-wrong-types", "Any other type, one bit away or far, gives null", check_factory_wrong_types},
    {"factory-memory", "The object lives in the allocator's memory and gives it back", check_factory_memory},
    {"factory-without-memory", "Without memory the factory answers null", check_factory_without_memory},
    {"factory-instances", "A live object is one instance of its factory", check_factory_instances},
    {"table-slots", "Of the 18 slots exactly the promised 8 are provided", check_table_slots},
    {"query-known", "Each of the 3 interfaces is the object, and one reference more", check_query_known},
    {"query-unknown", "A refused query answers 0x80000004, null and no reference", check_query_unknown},
    {"counting", "AddRef and Release answer the count, whatever their order", check_counting},
    {"open", "open answers true, whatever its arguments", check_open},
    {"call-order", "A life in the promised order passes without a line in the log", check_call_order},
    {"reopening", "A closed object can be opened and scheduled again", check_reopening},
    {"two-objects", "Two objects live side by side, each with its own state", check_two_objects},
};

} // namespace cli
