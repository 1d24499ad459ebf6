/** Slices of time that nest. */
#pragma once

#include <cstddef>
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
 * Cuts the slices of one thread so that any two of them nest or lie apart. It keeps at most `kSlicesAtMost` of them.
 * When there are more, the earliest become sealed: a later slice may hold a sealed one or lie beside it, but not in it.
 */
class NestedSlices {
public:
    static constexpr std::size_t kSlicesAtMost = 1024;

    /**
     * Shortens `slice` where an earlier one ends inside it, or begins inside it and ends after it. A slice inside a
     * sealed one becomes empty.
     */
    Slice fit(Slice slice);

    std::size_t size() const { return _size; }
    /** Seals the earliest slices until at most `count` are left, or a handful. */
    void shrink_to(std::size_t count);

private:
    struct Node {
        Slice slice;
        std::vector<Node> inner; ///< in ascending order, none of them around another
        bool is_sealed = false;  ///< what was in it is not known any more
    };
    using Level = std::vector<Node>;

    static std::size_t count(const Level &level);
    static void seal(Node &node);
    void insert(Level &level, Level::iterator first, Level::iterator last, const Slice &slice);
    bool seal_early_half();
    void seal_inner_half();

    Level _outermost;
    std::size_t _size = 0;
};

/**
 * Cuts slices so that no two of a thread overlap in part, in whatever order they come. A dump does not promise that,
 * and viewers draw such slices over one another or never end the first one.
 *
 * Memory is bounded: 65,536 threads and 524,288 slices, about 64 MiB. Threads beyond share a few places and are also
 * cut for one another; beyond that number of slices, every thread seals its earlier half.
 */
class SliceNesting {
public:
    /** @param slice  the next one of `thread`. @return what is left of it, as `NestedSlices::fit` describes. */
    Slice fit(std::uint64_t thread, Slice slice);

    /** Whether `thread` had a slice before. Always false of a thread beyond the limit. */
    bool knows(std::uint64_t thread) const { return _threads.count(thread) != 0; }

private:
    NestedSlices &slices_of(std::uint64_t thread);
    void shrink();

    std::unordered_map<std::uint64_t, NestedSlices> _threads;
    std::vector<NestedSlices> _shared; ///< by thread, modulo its size; empty before the first thread beyond the limit
    std::size_t _size = 0;             ///< of all
};

} // namespace cli
