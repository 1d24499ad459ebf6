/** A dump as an input: whole 48-byte reports, read from a file or a pipe. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "cli/dumps/followed_file.h"
#include "cli/dumps/input.h"
#include "cli/dumps/mapped_file.h"
#include "cli/dumps/plausibility.h"
#include "cli/inputs/byte_stream.h"
#include "cli/terminal/interruption.h"
#include "host/file_descriptor.h"
#include "qor/report.h"

namespace cli {

/** How a dump is read. */
struct DumpOptions {
    Follow follow = Follow::Nothing; ///< a plain file is read as it grows, until an interruption
    std::uint64_t skip = 0;          ///< so many bytes are left out at the start
    bool refuses_doubtful = false;   ///< what does not look like a dump is an error, not a message
    bool is_judged = false;          ///< nothing is said of what does not look like a dump
};

/**
 * A dump, read once from its start to its end. The dump in a regular file starts at the current position: a shell may
 * hand over standard input from within a file. All offsets count from there, behind what is skipped.
 *
 * A plain file whose end is known is read in place unless it is followed. Other processes may then change the reports
 * of a piece while they are read, so only a copy is decoded. Whatever else it is comes through the stream.
 *
 * What does not look like a dump is said on standard error, once.
 */
class DumpInput : public ReportInput {
public:
    /**
     * @throws host::Error when the input cannot be read; for one that does not look like a dump, when that is refused:
     *         of a file that is not followed and of a pipe before any report has been read.
     */
    DumpInput(std::unique_ptr<ByteStream> stream, const DumpOptions &options);

    /** Pieces are not kept when the file was truncated, or cannot be read. */
    bool keeps_last_piece() override;
    [[noreturn]] void fail_after_lost_piece(std::uint64_t end) override;

    bool is_read_in_place() const override { return _mapped && _offset < end_of_reports(); }

    /** True of a plain file, unless it does not end where the system says. */
    bool can_be_read_backwards() const override { return _has_known_end || is_followed(); }
    void start_at(std::uint64_t offset) override { _offset = offset; }
    void find_backwards(
        const std::function<bool(const _QorProfileReport &report, std::uint64_t offset)> &is_wanted) const override;

    /** A packed file is read to its end for it, or to where it is damaged. */
    std::optional<std::uint64_t> last_timestamp() const override;

    /** Whether this is a plain file that ends where the system says. */
    bool has_known_end() const { return _has_known_end; }
    /** Whether this is a plain file that is read as it grows. */
    bool is_followed() const { return _interruption.has_value(); }
    /** Of a regular file when it was opened, packed as it is. */
    std::uint64_t size() const override { return _is_plain ? _file_size : _stream->file_size(); }
    /** Of a plain file when it was opened. */
    std::uint64_t end_of_reports() const override { return _file_size - _file_size % _QorProfileReport::kSize; }

    std::uint64_t bytes_read() const override { return _is_packed ? _stream->bytes_taken() : _offset; }
    TrailingBytes trailing_bytes() const override { return {_offset - (_used - _given), _used - _given}; }
    std::span<const std::byte> trailing_content() const override {
        return std::span(_buffer).subspan(_given, _used - _given);
    }
    bool is_cut_short() const override { return _is_cut_short; }

    /** "standard input" for "-". */
    const std::string &name() const override { return _stream->name(); }

protected:
    /**
     * Reads once. Of a pipe that is what has arrived, so it never waits for a full piece. A followed file that has not
     * grown gives an empty piece after a short sleep. When the name of a file is followed, offsets count from the start
     * of each new file.
     */
    std::optional<ReportPiece> read_piece(std::size_t most_reports) override;

private:
    std::optional<ReportPiece> read_mapped(std::size_t most_reports);
    std::size_t read_once(std::size_t most_reports);
    std::size_t read_stream(std::span<std::byte> room);
    int descriptor() const { return _replacing ? _replacing->get() : _stream->descriptor(); }
    void judge_file();
    void read_ahead();
    void judge(std::span<const std::byte> bytes, bool is_end);
    bool wait_for_growth();
    bool go_on_after_cut(std::uint64_t size);
    bool ends_where_the_system_says() const;
    void read_from_start();
    void read_at(std::uint64_t offset, std::span<std::byte> bytes) const;
    [[noreturn]] void fail(std::uint64_t offset, int error) const;
    [[noreturn]] void fail_truncated(std::uint64_t offset) const;

    std::unique_ptr<ByteStream> _stream;
    DumpOptions _options;
    std::optional<host::FileDescriptor>
        _replacing;                            ///< the file that has replaced the stream's, when a name is followed
    std::optional<Interruption> _interruption; ///< while a file is followed
    FollowedFile _followed;
    bool _is_plain;
    bool _is_packed;
    bool _has_known_end = false;
    bool _is_cut_short = false;
    std::uint64_t _start = 0;     ///< of the dump in a plain file
    std::uint64_t _file_size = 0; ///< from `_start` on
    std::uint64_t _offset = 0;

    std::optional<MappedFile> _mapped;        ///< until the last whole report that the file had when it was opened
    std::optional<std::uint64_t> _last_piece; ///< its offset, when it was read in place

    std::vector<std::byte> _buffer;
    std::size_t _used = 0;  ///< bytes in `_buffer`
    std::size_t _given = 0; ///< bytes at its front that the last piece had; the rest is part of a report

    std::uint64_t _to_skip = 0;    ///< of the stream
    std::vector<std::byte> _ahead; ///< of the stream, read for judging it
    std::size_t _ahead_given = 0;  ///< bytes at its front that have been read
    Plausibility _plausibility;    ///< of what has been read
    bool _is_judged;               ///< the rest does not matter
};

} // namespace cli
