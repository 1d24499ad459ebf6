/** Slices that lie beside, in or around one another. */
#pragma once

#include <cstdint>
#include <unordered_map>
#include <vector>

namespace cli {

/** A stretch of time. */
struct Slice {
    std::uint64_t begin;
    std::uint64_t end; ///< never before `begin`
};

/**
 * Cuts the slices of threads so that no two of a thread overlap in part. Nothing in a dump promises that they do not,
 * and viewers draw such slices over one another or never end the first. Memory is bounded: of each thread the last
 * slices are known, and of threads as many as fit.
 */
class SliceNesting {
public:
    /**
     * @param slice  the next one of `thread`; best in the order of their ends, as they are reported.
     * @return what is left of it where an earlier one ends inside it, or begins inside it and does not end there.
     */
    Slice fitted(std::uint64_t thread, Slice slice);

    bool knows(std::uint64_t thread) const { return _outermost.count(thread) != 0; }

private:
    /** Of each thread the slices that lie in no other, ascending. */
    std::unordered_map<std::uint64_t, std::vector<Slice>> _outermost;
};

} // namespace cli
