/** The section that lists what a report was made of. */
#pragma once

#include <cstdint>

#include "cli/page/page.h"
#include "cli/recordings/recordings.h"

namespace cli {

/** A list of recordings. */
class RecordingsSection {
public:
    /** @param reports  those that could be read. */
    void add(const Recording &recording, std::uint64_t reports);

    PageSection finish();

private:
    Json _recordings = Json::array();
};

} // namespace cli
