// The factory, the interface table and a single object.

#include <array>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "cli/contract/check.h"
#include "cli/contract/setting.h"
#include "host/RvLog.h"
#include "host/RvPlugIn.h"
#include "host/counting_allocator.h"
#include "host/device/played_qor.h"
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

RvUUIDBytes flip_bit(RvUUIDBytes uuid, int bit) {
    std::uint8_t &byte = uuid.bytes[bit / 8];
    byte = static_cast<std::uint8_t>(byte ^ (1U << (bit % 8)));
    return uuid;
}

/** Adds every UUID that differs from `uuid` in one bit. */
void add_neighbours(const RvUUIDBytes &uuid, std::vector<RvUUIDBytes> &all) {
    for (int bit = 0; bit < kUuidBits; ++bit) {
        all.push_back(flip_bit(uuid, bit));
    }
}

void add_random(CheckedModule &module, std::vector<RvUUIDBytes> &all) {
    for (int i = 0; i < kRandomUuids; ++i) {
        all.push_back(module.random_uuid());
    }
}

std::size_t live_instances() { return host::factory_instance_count(kFactory); }

/** For objects whose table has not been checked yet. */
void release_if_possible(OndreQORHIDStatisticsRef object) {
    if (*object != nullptr && (*object)->Release != nullptr) {
        (*object)->Release(object);
    }
}

void check_factory_type(CheckedModule &module, Findings &findings) {
    OndreQORHIDStatisticsRef object = module.call_factory(RvAllocatorGetDefault(), kType);
    findings.expect(object != nullptr, "the factory returns no object for the session-filter type " + text_of(kType));
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
    const host::CountingAllocator allocator;
    for (const RvUUIDBytes &type : wrong) {
        findings.expect(module.call_factory(&allocator, type) == nullptr,
                        "the factory returns an object for type " + text_of(type));
    }
    findings.expect(module.load().factory()(&allocator, nullptr) == nullptr,
                    "the factory returns an object for a null type");
    findings.expect_equal("allocations for wrong types", allocator.allocations(), 0);
    findings.expect_equal("factory instances for wrong types", live_instances(), 0);
}

void check_factory_memory(CheckedModule &module, Findings &findings) {
    host::CountingAllocator allocator;
    OndreQORHIDStatisticsRef object = module.create(&allocator);
    findings.expect(allocator.owns(object), "the object is not in memory of the given allocator");
    (*object)->Release(object);
    findings.expect(!allocator.owns(object), "the last Release does not free the object's memory");
    findings.expect_equal("blocks freed that the allocator did not allocate", allocator.foreign_blocks(), 0);
}

void check_factory_without_memory(CheckedModule &module, Findings &findings) {
    module.load();
    host::CountingAllocator allocator;
    allocator.exhaust();
    findings.expect(module.call_factory(&allocator, kType) == nullptr,
                    "the factory returns an object when memory is exhausted");
    findings.expect_equal("factory instances after that", live_instances(), 0);
}

void check_factory_instances(CheckedModule &module, Findings &findings) {
    OndreQORHIDStatisticsRef object = module.create(RvAllocatorGetDefault());
    findings.expect_equal("factory instances while one object exists", live_instances(), 1);
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
    OndreQORHIDStatisticsRef object = module.call_factory(RvAllocatorGetDefault(), kType);
    if (object == nullptr || *object == nullptr) {
        throw SkippedCheck("the factory returns no object", "factory-type");
    }
    const auto *slots = reinterpret_cast<void *const *>(*object);
    for (std::size_t slot = 0; slot < kSlots; ++slot) {
        const std::string which = "slot " + std::to_string(slot);
        if (kNames[slot] == nullptr) {
            findings.expect(slots[slot] == nullptr, which + " is not null");
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
        findings.expect(result == 0, "QueryInterface for " + text_of(type) + " returns " + hex_number(result));
        findings.expect(interface == object, "QueryInterface for " + text_of(type) + " gives another object");
    }
    for (std::uint32_t left = std::size(kInterfaces) + 1; left-- > 0;) {
        const std::uint32_t count = (*object)->Release(object);
        findings.expect_equal("references left after one Release", count, left);
        if (count == 0) {
            break; // the object no longer exists
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
        findings.expect(result == kNoInterface, "QueryInterface for " + text_of(type) + " returns " +
                                                    hex_number(result) + ", expected " + hex_number(kNoInterface));
        findings.expect(interface == nullptr,
                        "QueryInterface for " + text_of(type) + " does not set the result to null");
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
            return; // later counts would prove nothing
        }
    }
    while (promised-- > 0) {
        findings.expect_equal("Release at the end", (*object)->Release(object), promised);
    }
}

void check_open(CheckedModule &module, Findings &findings) {
    OndreQORHIDStatisticsRef object = module.create(RvAllocatorGetDefault());
    char anything = 0; // its address stands for a session, which open does not read
    for (auto *session : {RvHIDSessionRef{}, reinterpret_cast<RvHIDSessionRef>(&anything)}) {
        for (const std::uint32_t options : {0U, 1U, ~0U, static_cast<std::uint32_t>(module.random())}) {
            findings.expect((*object)->open(object, session, options),
                            "open with options " + hex_number(options) + " returns false");
        }
    }
    (*object)->Release(object);
}

void check_call_order(CheckedModule &module, Findings &findings) {
    const host::LogRecorder log;
    const host::PlayedQor qor;
    std::vector<std::unique_ptr<RvHIDService>> services;
    services.push_back(std::make_unique<RvHIDService>(qor.tallybook_service(host::kConsumerControl)));
    services.push_back(std::make_unique<RvHIDService>(qor.service(host::kSensor)));
    services.push_back(std::make_unique<RvHIDService>(qor.service(host::kVendor)));
    module.require_object();
    host::SerialQueue queue;
    host::HostedPlugIn hosted(module.load(), queue);
    hosted.register_services(services);
    findings.expect(host::state_capture_handler_count() > 0, "no handler is registered after the calls");
    hosted.stop();
    findings.expect_equal("handlers after the last Release", host::state_capture_handler_count(), 0);
    for (const std::string &line : log.lines()) {
        findings.fail("a correct sequence of calls writes to the log: " + line);
    }
}

void check_reopening(CheckedModule &module, Findings &findings) {
    const host::PlayedQor qor;
    host::SerialQueue later;
    ScheduledObject object(module);
    object.hand_over(qor.service(host::kSensor));
    OndreQORHIDStatisticsRef plug_in = object.get();
    object.queue().run([&] {
        (*plug_in)->unscheduleFromDispatchQueue(plug_in, object.queue().handle());
        (*plug_in)->close(plug_in, nullptr, 0);
    });
    const std::size_t before = host::state_capture_handler_count();
    later.run([&] {
        findings.expect((*plug_in)->open(plug_in, nullptr, 0), "after close, open returns false");
        (*plug_in)->scheduleWithDispatchQueue(plug_in, later.handle());
        const RvHIDService service = qor.service(host::kSensor);
        (*plug_in)->registerService(plug_in, &service);
    });
    findings.expect_equal("handlers registered for a sensor after reopening",
                          host::state_capture_handler_count() - before, 1);
    later.close();
    findings.expect_equal("handlers of the first queue when the later one is closed",
                          host::state_capture_handler_count(), before);
}

void check_two_objects(CheckedModule &module, Findings &findings) {
    const host::PlayedQor qor({.reports = 1});
    ScheduledObject first(module);
    ScheduledObject second(module);
    findings.expect(first.get() != second.get(), "the factory returns the same object twice");
    if (first.get() == second.get()) {
        return;
    }
    findings.expect(*first.get() == *second.get(), "two objects have two tables");
    first.hand_over(qor.service(host::kVendor));
    second.hand_over(qor.service(host::kVendor));
    findings.expect_equal("handlers of two objects", host::state_capture_handler_count(), 2 * kRawDebugHandlers);
    first.stop();
    findings.expect_equal("records of the second object after the first is released",
                          capture_titles(kRvStateCaptureFault).size(), kRawDebugHandlers);
}

} // namespace

const std::vector<ContractCheck> kObjectChecks = {
    {"factory-type", "The factory creates an object of the session-filter type", check_factory_type},
    {"factory-wrong-types", "Any other type gives null, even one that differs in one bit", check_factory_wrong_types,
     kNeedsHost},
    {"factory-memory", "The object uses memory of the allocator and frees it", check_factory_memory, kNeedsHost},
    {"factory-without-memory", "The factory returns null when memory is exhausted", check_factory_without_memory,
     kNeedsHost},
    {"factory-instances", "An object counts as one instance of its factory", check_factory_instances, kNeedsHost},
    {"table-slots", "Exactly the promised 8 of the 18 slots are set", check_table_slots},
    {"query-known", "Each of the 3 interfaces is the object and adds a reference", check_query_known},
    {"query-unknown", "A refused query returns 0x80000004, null and no reference", check_query_unknown},
    {"counting", "AddRef and Release return the count, in any order", check_counting},
    {"open", "open returns true for all arguments", check_open},
    {"call-order", "The promised order of calls writes nothing to the log", check_call_order, kNeedsHost},
    {"reopening", "A closed object can be opened and scheduled again", check_reopening, kNeedsHost},
    {"two-objects", "Two objects coexist, each with its own state", check_two_objects, kNeedsHost},
};

} // namespace cli
