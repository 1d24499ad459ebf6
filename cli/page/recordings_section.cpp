#include "cli/page/recordings_section.h"

#include <utility>

namespace cli {
namespace {

const char *name_of(RecordingKind kind) {
    switch (kind) {
    case RecordingKind::Dump:
        return "dump";
    case RecordingKind::Record:
        return "records";
    case RecordingKind::Store:
        return "store";
    }
    return "";
}

} // namespace

void RecordingsSection::add(const Recording &recording, std::uint64_t reports) {
    _recordings.push_back(Json::object({{"file", recording.file},
                                        {"device", recording.device},
                                        {"kind", name_of(recording.kind)},
                                        {"reports", reports}}));
}

PageSection RecordingsSection::finish() {
    return {"recordings", "Recordings", Json::object({{"recordings", std::move(_recordings)}})};
}

} // namespace cli
