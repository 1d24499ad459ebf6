/** Payloads as the plug-in makes them under its titles. */
#pragma once

#include "tests/cli/typed_values.h"

namespace cli_tests {

/** "SSHB Statistics": a press of two clicks. */
Dictionary press_statistics();
/** "SSHB assets": slots 0 to 16, each speed with a gain of its own, the nameless event disabled. */
Dictionary haptic_assets();
/** "SensorInfo" of a sensor with extra data and clients. */
Dictionary sensor_information();

} // namespace cli_tests
