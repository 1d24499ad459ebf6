/** Reads the recordings of a side. */
#pragma once

#include <cstdint>
#include <functional>

#include "cli/comparison/side.h"
#include "cli/recordings/recordings.h"

namespace cli {

/** What names a recording's device. */
enum class DeviceName {
    File,  ///< its file, without endings; of a record the folder that has it
    Folder ///< the folder that has it
};

/**
 * Reads each recording once. What is damaged is named, and what was read of it before counts.
 * @param progress  called with the bytes that have been read. May throw, to end the reading.
 */
Side collect_side(RecordingSequence &recordings, DeviceName device, const std::function<void(std::uint64_t)> &progress);

} // namespace cli
