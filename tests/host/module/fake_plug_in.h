/** A module that plays a plug-in for the host's tests and records the calls it gets. */
#pragma once

#include <string>
#include <vector>

#include "plugin/OndreQORHIDStatisticsInterface.h"

struct FakePlugIn {
    const OndreQORHIDStatisticsTable *table; ///< first, as in every plug-in object
    int references;
    std::vector<std::string> calls;

    bool factory_refuses;
    bool query_refuses;
    bool open_refuses;
    bool only_mandatory_slots; ///< null wherever a host can do without
    RvQueueRef queue;
};

/** The module's one object; exported under the name below. */
using FakePlugInFunction = FakePlugIn *(*)();

#define kFakePlugInName "fake_plug_in"
