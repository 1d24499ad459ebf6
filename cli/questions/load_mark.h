/** The marks that say what a load has completed. */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "cli/recordings/recordings.h"

namespace cli {

/**
 * A row of the table of marks: one for each dump, record file and store that is complete. Rows of the other tables
 * count only when a mark has the number of their insert, so whatever a load leaves behind when it ends early is not
 * seen. Of several marks of one content of a device the one with the greatest version counts, as a whole; of the stores
 * of a device the one that was taken last.
 */
struct LoadMark {
    RecordingKind kind = RecordingKind::Dump;
    std::string device;
    std::string file;
    std::int64_t taken = 0;           ///< see `Recording::taken`
    DumpFacts facts;                  ///< of a store only the hash: of its contents
    std::vector<std::uint64_t> loads; ///< the inserts that have its rows
    std::uint64_t version = 0;        ///< nanoseconds since 1970 when it was written, so that no two are the same
};

/** What tells contents apart: the kind, the device and the hash. */
struct ContentKey {
    RecordingKind kind;
    std::string device;
    std::uint64_t hash;

    auto operator<=>(const ContentKey &) const = default;
};

/** The cell of a mark's kind. @throws EngineFailure for what is none. */
RecordingKind kind_in(std::string_view text);

/** The cell of a mark's loads, such as "[1,2,3]". @throws the same. */
std::vector<std::uint64_t> numbers_in(std::string_view text);

inline ContentKey key_of(const LoadMark &mark) { return {mark.kind, mark.device, mark.facts.hash}; }

} // namespace cli
