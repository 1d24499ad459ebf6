/** Slices of time that nest. */
#pragma once

#include <cstdint>
#include <unordered_map>
#include <vector>

namespace cli {

/** An interval of time. */
struct Slice {
    std::uint64_t begin;
    std::uint64_t end; ///< never before `begin`
};

/**
 * Cuts slices so that no two of a thread overlap in part. A dump does not promise that, and viewers draw such slices
 * over one another or never end the first one. Memory is bounded: of each thread at most 256 slices are remembered, the
 * earliest being dropped first, and with more than 1024 threads all of them are forgotten.
 */
class SliceNesting {
public:
    /**
     * Shortens `slice` where an earlier one of its thread ends inside it, or begins inside it and ends after it.
     * @param slice  the next one of `thread`, preferably in the order of their ends, as they are reported.
     */
    Slice fit(std::uint64_t thread, Slice slice);

    bool knows(std::uint64_t thread) const { return _outermost.count(thread) != 0; }

private:
    /** By thread, in ascending order: the slices that no other encloses. */
    std::unordered_map<std::uint64_t, std::vector<Slice>> _outermost;
};

} // namespace cli
