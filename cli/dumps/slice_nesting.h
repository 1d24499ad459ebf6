/** Slices of time that nest. */
#pragma once

#include <array>
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

/** A slice that no later one can be put around any more, as far as is known. */
struct SettledSlice {
    std::uint32_t label; ///< as it was given
    std::uint32_t depth; ///< how many slices of its thread hold it
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
     * @param label    for `settled`.
     * @param settled  gets those that are given up to keep few; an empty slice is never among them. Null for nothing.
     */
    Slice fit(Slice slice, std::uint32_t label = 0, std::vector<SettledSlice> *settled = nullptr);

    std::size_t size() const { return _nodes.size(); }
    /** Seals the earliest slices until at most `count` are left, or a handful. */
    void shrink_to(std::size_t count, std::vector<SettledSlice> *settled = nullptr);
    /** Appends all that are left. */
    void settle_all(std::vector<SettledSlice> &settled) const { settle(0, _nodes.size(), settled); }

private:
    /** A slice, behind all that lie in it: dumps mostly come in the order of ends, and then a new one is the last. */
    struct Node {
        Slice slice;
        std::uint32_t label;
        std::uint16_t count; ///< of itself and the slices in it
        bool is_sealed;      ///< what was in it is not known any more
    };
    static_assert(sizeof(Node) == 24 && kSlicesAtMost < 0xFFFF);
    /** Slices that lie side by side with all that is in them: a part of `_nodes`. The last is at `end - 1`. */
    struct Level {
        std::size_t begin;
        std::size_t end;
    };

    /** A slice that lies in no other. */
    struct Outermost {
        Slice slice;
        std::size_t index;
    };

    /**
     * Puts a slice that ends after all others beside or around them, as in a dump in the order of ends.
     * @return false when more must be looked at than the last outermost slices; then nothing has changed.
     */
    bool append(Slice &slice, std::uint32_t label, std::vector<SettledSlice> *settled);
    /** Sets `_last` from `_nodes`. */
    void find_last();
    std::size_t begin_of(std::size_t index) const { return index + 1 - _nodes[index].count; }
    /** What lies in the slice at `index`. */
    Level inside(std::size_t index) const { return {begin_of(index), index}; }
    /** Replaces what lies before the node at `index` in its level, from `begin` on, by that node without its inside. */
    void erase_before(std::size_t begin, std::size_t index, std::vector<SettledSlice> *settled);
    void insert(const Level &held, const Slice &slice, std::uint32_t label, std::vector<SettledSlice> *settled);
    bool seal_early_half(std::vector<SettledSlice> *settled);
    void seal_inner_half(std::vector<SettledSlice> *settled);
    /** Appends the nodes from `begin` to `end` with their depths. */
    void settle(std::size_t begin, std::size_t end, std::vector<SettledSlice> &settled) const;

    std::vector<Node> _nodes;
    /**
     * Copies of the last outermost slices, the last one first. With a thousand threads, each with many slices, the
     * slices themselves are in no cache.
     */
    std::array<Outermost, 2> _last{};
    unsigned _last_count = 0;
};

/**
 * Cuts slices so that no two of a thread overlap in part, in whatever order they come. A dump does not promise that,
 * and viewers draw such slices over one another or never end the first one.
 *
 * Memory is bounded: 65,536 threads and 524,288 slices, about 32 MiB. Threads beyond share a few places and are also
 * cut for one another; beyond that number of slices, every thread seals its earlier half.
 */
class SliceNesting {
public:
    struct Fitted {
        Slice left;    ///< of the slice, as `NestedSlices::fit` describes
        bool is_first; ///< of its thread; true of every one of a thread beyond the limit
    };

    /** @param settled  gets what is given up, with its depth, and outlives the object; null for nothing. */
    explicit SliceNesting(std::vector<SettledSlice> *settled = nullptr) : _settled(settled) {}
    // Only moved: a copy's `_recent` would point into the other's `_threads`.
    SliceNesting(SliceNesting &&) = default;
    SliceNesting &operator=(SliceNesting &&) = default;

    /** @param slice  the next one of `thread`. @param label  for `SettledSlice`. */
    Fitted fit(std::uint64_t thread, const Slice &slice, std::uint32_t label = 0);

    /** Appends all that are left. */
    void settle_all(std::vector<SettledSlice> &settled) const;

private:
    struct Place {
        NestedSlices &slices;
        bool is_new;
    };
    /** A thread that was looked up before. */
    struct Recent {
        std::uint64_t thread;
        NestedSlices *slices; ///< in `_threads`; null for no thread
    };

    Place place_of(std::uint64_t thread);
    /** The same without `_recent`. */
    Place look_up(std::uint64_t thread);
    void shrink();

    std::vector<SettledSlice> *_settled;
    std::unordered_map<std::uint64_t, NestedSlices> _threads;
    std::vector<Recent> _recent;       ///< by a hash of the thread; empty while there are few
    std::vector<NestedSlices> _shared; ///< by thread, modulo its size; empty before the first thread beyond the limit
    std::size_t _size = 0;             ///< of all
};

} // namespace cli
