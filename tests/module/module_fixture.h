/** The built module, loaded as a host loads it and used through its factory and its table alone. */
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "host/RvLog.h"
#include "host/RvNotify.h"
#include "host/RvQueue.h"
#include "host/RvStateCapture.h"
#include "host/counting_allocator.h"
#include "host/device/played_qor.h"
#include "host/module/module.h"
#include "host/state_records.h"
#include "platform/Owned.h"
#include "tests/plugin/values.h"

namespace module_tests {

using host::CountingAllocator;
using host::kConsumerControl;
using host::kSensor;
using host::kTelephony;
using host::kVendor;
using host::PlayedQor;
using host::Usages;
using plug_in_tests::boolean_value;
using plug_in_tests::number_value;
using plug_in_tests::numbers;
using plug_in_tests::string_value;
using plug_in_tests::operator+;

inline constexpr RvUUIDBytes kType = kOndreQORHIDStatisticsPlugInTypeBytes;
inline constexpr RvUUIDBytes kFactory = kOndreQORHIDStatisticsFactoryBytes;
inline constexpr RvUUIDBytes kInterfaces[] = {kOndreQORHIDStatisticsInterface1Bytes,
                                              kOndreQORHIDStatisticsInterface2Bytes, kRvUnknownInterfaceBytes};

inline const host::Module &module() {
    static const host::Module loaded(MODULE_UNDER_TEST);
    return loaded;
}

/** `uuid` with one of its 128 bits inverted. */
inline RvUUIDBytes flip_bit(RvUUIDBytes uuid, int bit) {
    auto &byte = uuid.bytes[bit / 8];
    byte = static_cast<std::uint8_t>(byte ^ (1U << (bit % 8)));
    return uuid;
}

/** Calls the factory with this type. */
inline OndreQORHIDStatisticsRef create(const RvUUIDBytes &type, RvAllocatorRef allocator = RvAllocatorGetDefault()) {
    const platform::OwnedUUID wanted(RvUUIDCreateWithBytes(type));
    return static_cast<OndreQORHIDStatisticsRef>(module().factory()(allocator, wanted.get()));
}

/** One object of the module, opened and scheduled on its own queue. Released after that queue is closed. */
class Loaded {
public:
    Loaded() {
        queue.run([&] {
            EXPECT_TRUE((*object)->open(object, nullptr, 0));
            (*object)->scheduleWithDispatchQueue(object, queue.handle());
        });
    }
    ~Loaded() {
        queue.close();
        (*object)->Release(object);
    }
    Loaded(const Loaded &) = delete;
    Loaded &operator=(const Loaded &) = delete;

    void hand_over(const RvHIDService &service) {
        queue.run([&] { (*object)->registerService(object, &service); });
    }

    host::SerialQueue queue;
    OndreQORHIDStatisticsRef object = create(kType);
};

/** One loaded object; its log is recorded. */
class ModuleTest : public testing::Test {
protected:
    std::vector<std::string> texts() const {
        std::vector<std::string> texts;
        for (const host::LogMessage &message : log.messages()) {
            texts.push_back(message.text);
        }
        return texts;
    }

    static std::vector<host::StateRecord> capture(std::uint32_t kind) {
        std::vector<std::byte> all;
        for (const host::RecordBytes &record : host::capture_state(kind, "somebody")) {
            all.insert(all.end(), record.begin(), record.end());
        }
        return host::parse_records(all, "capture");
    }

    static std::vector<std::string> titles(std::uint32_t kind) {
        std::vector<std::string> titles;
        for (const host::StateRecord &record : capture(kind)) {
            titles.push_back(record.title);
        }
        return titles;
    }

    host::LogRecorder log;
    Loaded plug_in;
};

} // namespace module_tests
