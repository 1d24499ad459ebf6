/** What the tests of plugin/, state/ and analytics/ stand on: an object on a queue, and a look inside it. */
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "host/RvLog.h"
#include "host/RvQueue.h"
#include "host/RvStateCapture.h"
#include "host/fault_points.h"
#include "plugin/OndreQORHIDStatistics.h"
#include "tests/plugin/qor_player.h"

/** A look at what the object keeps to itself. */
class PlugInInspector {
public:
    static uint32_t refCount(const OndreQORHIDStatistics &object) { return object._refCount; }
    static bool rawDebugRegistered(const OndreQORHIDStatistics &object) { return object._rawDebugRegistered; }
    static const ContextArray *services(const OndreQORHIDStatistics &object) { return object._services; }
    static TvStringRef key(const OndreQORHIDStatistics &object, int index) { return object._keys[index]; }
    static RvQueueRef queue(const OndreQORHIDStatistics &object) { return object._queue; }
};

namespace plug_in_tests {

/** An opened object on a queue, its log recorded. */
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
