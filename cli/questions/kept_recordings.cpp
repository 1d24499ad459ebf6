#include "cli/questions/kept_recordings.h"

#include <utility>

#include "cli/dumps/open_input.h"

namespace cli {

KeptRecordings::KeptRecordings(RecordingSequence sequence) : _sequence(std::move(sequence)) {
    while (std::optional<OpenRecording> open = _sequence.next()) {
        _all.push_back({.recording = _sequence.keep(std::move(*open))});
    }
}

const DumpFacts &KeptRecordings::facts(std::size_t index, const std::function<void()> &look) {
    Kept &kept = _all[index];
    if (kept.facts) {
        return *kept.facts;
    }
    DumpFacts facts;
    try {
        ReportPass pass(kept.recording);
        try {
            while (pass.next()) {
                look();
            }
            report_trailing(index, pass.trailing_bytes());
        } catch (const host::Error &error) {
            report(index, error);
        }
        facts = pass.facts();
    } catch (const host::Error &error) {
        report(index, error);
    }
    kept.dump = hash_text(facts.hash);
    return kept.facts.emplace(facts);
}

const std::string &KeptRecordings::dump(std::size_t index, const std::function<void()> &look) {
    facts(index, look);
    return _all[index].dump;
}

void KeptRecordings::report(std::size_t index, const host::Error &error) {
    if (!std::exchange(_all[index].is_reported, true)) {
        _sequence.report(error);
    }
}

void KeptRecordings::report_trailing(std::size_t index, const TrailingBytes &bytes) {
    if (!std::exchange(_all[index].has_trailing_reported, true)) {
        report_trailing_bytes(_all[index].recording.name, bytes);
    }
}

} // namespace cli
