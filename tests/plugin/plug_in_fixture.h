/** The fixture of the tests of plugin/, state/ and analytics/: an object on a queue, and access to its internals. */
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "host/RvLog.h"
#include "host/RvQueue.h"
#include "host/RvStateCapture.h"
#include "host/counting_allocator.h"
#include "host/device/played_qor.h"
#include "host/fault_points.h"
#include "plugin/OndreQORHIDStatistics.h"
#include "tests/plugin/assertion_line.h"
#include "tests/plugin/values.h"

/** Access to the object's private members. */
class PlugInInspector {
public:
    static uint32_t refCount(const OndreQORHIDStatistics &object) { return object._refCount; }
    static bool rawDebugRegistered(const OndreQORHIDStatistics &object) { return object._rawDebugRegistered; }
    static const ContextArray *services(const OndreQORHIDStatistics &object) { return object._services; }
    static TvStringRef key(const OndreQORHIDStatistics &object, int index) { return object._keys[index]; }
    static RvQueueRef queue(const OndreQORHIDStatistics &object) { return object._queue; }
};

namespace plug_in_tests {

using host::CountingAllocator;
using host::kConsumerControl;
using host::kSensor;
using host::kTelephony;
using host::kVendor;
using host::PlayedQor;
using host::Usages;

/** An opened object on a queue; its log is recorded. */
class PlugInTest : public testing::Test {
protected:
    PlugInTest() {
        plug_in->open(nullptr, 0);
        plug_in->scheduleWithDispatchQueue(queue.handle());
    }
    ~PlugInTest() override {
        host::disarm_faults();
        queue.close();
        plug_in->Release();
    }

    std::vector<std::string> lines() const { return log.lines(); }

    host::LogRecorder log;
    host::SerialQueue queue;
    OndreQORHIDStatistics *plug_in = OndreQORHIDStatistics::alloc(RvAllocatorGetDefault());
};

} // namespace plug_in_tests
