// The snapshots that only an explicit request gets. None has anything to say yet.

#include "plugin/OndreQORHIDStatistics.h"

RvStateCaptureRecord *OndreQORHIDStatistics::stateHandler_SSHBStats(const RvStateCaptureHints * /*hints*/,
                                                                    Context * /*context*/) {
    return nullptr;
}

RvStateCaptureRecord *OndreQORHIDStatistics::stateHandler_SSHBAssets(const RvStateCaptureHints * /*hints*/,
                                                                     Context * /*context*/) {
    return nullptr;
}

RvStateCaptureRecord *OndreQORHIDStatistics::stateHandler_SensorInfo(const RvStateCaptureHints * /*hints*/,
                                                                     Context * /*context*/) {
    return nullptr;
}
