/** The 48-byte reports of a dump, from a file or a pipe, in order and in blocks. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "cli/reports/filter.h"
#include "cli/terminal/interruption.h"
#include "qor/report.h"

namespace cli {

/** What of a dump is read. */
struct Selection {
    FilterWords filter;
    std::optional<std::uint64_t> first; ///< of those that pass the filter
    std::optional<std::uint64_t> last;  ///< of those that pass the filter; not together with `first`
    bool follows = false;               ///< a regular file that grows is read on until an interruption
};

/** What stands behind the last whole report. */
struct TrailingBytes {
    std::uint64_t offset;
    std::size_t count; ///< 0 to 47
};

/** The most that `last` may be where the input cannot be read backwards: those reports are kept in memory. */
inline constexpr std::uint64_t kLastOfAPipeAtMost = 1'000'000;

/** Reads a dump once from its start to its end. One thread at a time. */
class ReportSource {
public:
    /** A place in the dump that a caller wants to see: every whole report read, passing the filter or not. */
    using Observer = std::function<void(const _QorProfileReport &report, std::uint64_t offset)>;
    /** A caller that wants to know how far reading has come: the bytes read so far. */
    using Watcher = std::function<void(std::uint64_t bytes_read)>;

    /**
     * @param argument  a file, or "-" for standard input.
     * @throws host::Error for an input that cannot be read, WrongUse for a selection that makes no sense.
     */
    ReportSource(const std::string &argument, const Selection &selection);
    ~ReportSource();
    ReportSource(const ReportSource &) = delete;
    ReportSource &operator=(const ReportSource &) = delete;

    /** The most reports that `next` gives at once. */
    static constexpr std::size_t kBlockReports = 1365;

    /**
     * The next reports that are wanted, as soon as there are any: what a pipe holds is not waited beyond.
     * @param block  refilled; its memory is used again.
     * @return false, with an empty block, at the end.
     * @throws host::Error when reading fails, naming the byte.
     */
    bool next(std::vector<_QorProfileReport> &block);

    /**
     * Called with every whole report that is read, from the first that is given on. Before the first `next`.
     * @throws WrongUse for the last reports of a pipe that pass a filter: what stood between them is not kept.
     */
    void observe(Observer observer);

    /** Called before each piece that is read from now on, and at the end of the input. */
    void watch(Watcher watcher) { _watcher = std::move(watcher); }

    /** After the end: bytes of a report that is not whole. Nothing when reading ended before the input did. */
    std::optional<TrailingBytes> trailing_bytes() const;

    /** How many bytes a regular file has; 0 for anything else. */
    std::uint64_t file_size() const { return _file_size; }

    /** For messages. */
    const std::string &name() const { return _name; }

private:
    void start_reading(const Selection &selection);
    std::size_t read_once();
    void wait_for_growth();
    void read_wanted(std::vector<_QorProfileReport> &block);
    void take_wanted(std::vector<_QorProfileReport> &block);
    std::uint64_t offset_of_last(std::uint64_t count) const;
    void keep_last(std::uint64_t count);
    void give_kept(std::vector<_QorProfileReport> &block);
    [[noreturn]] void fail(std::uint64_t offset, int error) const;

    std::string _name;
    int _descriptor;
    ReportFilter _filter;
    Observer _observer;
    Watcher _watcher;
    std::optional<Interruption> _interruption; ///< while a file is followed
    std::optional<std::uint64_t> _left;        ///< how many are still wanted
    bool _is_regular = false;
    std::uint64_t _start = 0;     ///< of the dump in a regular file: standard input may be somewhere inside
    std::uint64_t _file_size = 0; ///< from `_start` on, when opened
    std::uint64_t _offset = 0;    ///< the end of what has been read, from `_start` on
    bool _has_ended = false;

    std::vector<std::byte> _piece; ///< what has been read last; bytes of a report that is not whole stay in front
    std::size_t _piece_used = 0;

    std::vector<_QorProfileReport> _kept; ///< the last reports of a pipe, `_kept_next` being the oldest
    std::size_t _kept_next = 0;
    std::size_t _kept_left = 0;
};

} // namespace cli
