/** The whole 48-byte reports of a dump, read from a file or a pipe. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "cli/reports/followed_file.h"
#include "cli/reports/mapped_file.h"
#include "cli/terminal/interruption.h"
#include "qor/report.h"

namespace cli {

/** Whole reports that follow one another in a dump. */
struct ReportPiece {
    std::uint64_t offset = 0;                   ///< of the first report, in the dump
    std::span<const _QorProfileReport> reports; ///< belong to the input; valid until its next call

    std::size_t count() const { return reports.size(); }
    const _QorProfileReport &report(std::size_t index) const { return reports[index]; }
    std::uint64_t offset_of(std::size_t index) const { return offset + index * _QorProfileReport::kSize; }
    ReportPiece first(std::size_t wanted) const { return {offset, reports.first(wanted)}; }
};

/** The bytes after the last whole report. */
struct TrailingBytes {
    std::uint64_t offset;
    std::size_t count; ///< 0 to 47
};

/**
 * A dump, read once from its start to its end. The dump in a regular file starts at the current position: a shell may
 * hand over standard input from within a file. All offsets count from there. One thread at a time.
 *
 * A regular file whose end is known is read in place unless it is followed. Other processes may then change the
 * reports of a piece while they are read, so only a copy is decoded.
 */
class ReportInput {
public:
    /** The most reports in a piece. */
    static constexpr std::size_t kPieceReports = 1365;

    /**
     * @param argument  a file, or "-" for standard input.
     * @param follow    a regular file is read as it grows, until an interruption; no effect on anything else.
     * @throws host::Error when the input cannot be opened.
     */
    ReportInput(const std::string &argument, Follow follow);
    ReportInput(const ReportInput &) = delete;
    ReportInput &operator=(const ReportInput &) = delete;

    /**
     * Reads once. Of a pipe that is what has arrived, so it never waits for a full piece. The piece is empty when no
     * whole report has arrived yet; a followed file that has not grown gives an empty piece after a short sleep. When
     * the name of a file is followed, offsets count from the start of each new file.
     * @param most_reports  of a regular file that is not followed: at most so many, 1 to `kPieceReports`.
     * @return nothing at the end or after an interruption. Do not call again after that.
     * @throws host::Error when reading fails or a regular file was truncated, naming the byte.
     */
    std::optional<ReportPiece> read_next(std::size_t most_reports = kPieceReports);

    /**
     * Checks a piece after its use.
     * @return false when bytes of it were missing, so that zeros may have been read: the file was truncated, or cannot
     *         be read. The next read then starts with the reports of that piece that are still there.
     */
    bool keeps_last_piece();

    /** Whether the next piece is read in place: that neither fails nor waits for what others write. */
    bool is_read_in_place() const { return _mapped && _offset < end_of_file_reports(); }

    /** Continues at `offset`, a multiple of 48. Regular files only, before the first read. */
    void start_at(std::uint64_t offset) { _offset = offset; }

    /**
     * Calls `is_wanted` with the reports of a regular file and their offsets, from the last to the first, until it
     * returns true or there are no more.
     * @throws host::Error when reading fails, naming the byte; Interrupted.
     */
    void
    find_backwards(const std::function<bool(const _QorProfileReport &report, std::uint64_t offset)> &is_wanted) const;

    /** Whether this is a regular file that ends where the system says, so that it can be read backwards. */
    bool has_known_end() const { return _has_known_end; }
    /** Whether this is a regular file that is read as it grows. */
    bool is_followed() const { return _interruption.has_value(); }
    /** The size of a regular file when it was opened; 0 for anything else. */
    std::uint64_t file_size() const { return _file_size; }
    /** The end of the last whole report of a regular file when it was opened. */
    std::uint64_t end_of_file_reports() const { return _file_size - _file_size % _QorProfileReport::kSize; }

    /** The end of the bytes read so far. */
    std::uint64_t bytes_read() const { return _offset; }
    /** The bytes read after the last whole report so far. */
    TrailingBytes trailing_bytes() const { return {_offset - (_used - _given), _used - _given}; }
    /** Whether an interruption came before the end of what there was to read. */
    bool is_cut_short() const { return _is_cut_short; }

    /** @throws host::Error: the file was truncated at `offset` while it was being read. */
    [[noreturn]] void fail_truncated(std::uint64_t offset) const;

    /** For messages: "standard input" for "-". */
    const std::string &name() const { return _name; }

private:
    /** Standard input stays open. */
    struct Descriptor {
        explicit Descriptor(int open_number) : number(open_number) {}
        ~Descriptor();
        Descriptor(const Descriptor &) = delete;
        Descriptor &operator=(const Descriptor &) = delete;

        void replace(int other);

        int number;
    };

    std::optional<ReportPiece> read_mapped(std::size_t most_reports);
    std::size_t read_once();
    bool wait_for_growth();
    bool go_on_after_cut(std::uint64_t size);
    bool ends_where_the_system_says() const;
    void read_from_start();
    void read_at(std::uint64_t offset, std::span<std::byte> bytes) const;
    [[noreturn]] void fail(std::uint64_t offset, int error) const;

    std::string _name;
    Descriptor _descriptor;
    std::optional<Interruption> _interruption; ///< while a file is followed
    FollowedFile _followed;
    bool _is_regular = false;
    bool _has_known_end = false;
    bool _is_cut_short = false;
    std::uint64_t _start = 0;     ///< of the dump in a regular file
    std::uint64_t _file_size = 0; ///< from `_start` on
    std::uint64_t _offset = 0;

    std::optional<MappedFile> _mapped;        ///< until the last whole report that the file had when it was opened
    std::optional<std::uint64_t> _last_piece; ///< its offset, when it was read in place

    std::vector<std::byte> _buffer;
    std::size_t _used = 0;  ///< bytes in `_buffer`
    std::size_t _given = 0; ///< bytes at its front that the last piece had; the rest is part of a report
};

} // namespace cli
