/** The recordings that one session asks, with what has been found out about them. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "cli/recordings/recordings.h"

namespace cli {

/** What is wrong with a recording is said once, however often it is read. One thread at a time. */
class KeptRecordings {
public:
    /** Keeps all of them. @throws as `RecordingSequence::keep`. */
    explicit KeptRecordings(RecordingSequence sequence);

    std::size_t size() const { return _all.size(); }
    const Recording &operator[](std::size_t index) const { return _all[index].recording; }
    bool has_failed() const { return _sequence.has_failed(); }

    /**
     * Of a recording with reports, which is read to its end the first time. Of a damaged one: of what is whole before
     * the damage.
     * @param look  called between pieces, to throw.
     */
    const DumpFacts &facts(std::size_t index, const std::function<void()> &look);
    /** The column `dump`. Valid as long as the object. */
    const std::string &dump(std::size_t index, const std::function<void()> &look);

    /** Names what is wrong with a recording, unless that was done. */
    void report(std::size_t index, const host::Error &error);
    /** Names the bytes after its last whole report, unless that was done. */
    void report_trailing(std::size_t index, const TrailingBytes &bytes);

private:
    struct Kept {
        Recording recording;
        std::optional<DumpFacts> facts{};
        std::string dump{};
        bool is_reported = false;
        bool has_trailing_reported = false;
    };

    RecordingSequence _sequence;
    std::vector<Kept> _all;
};

} // namespace cli
