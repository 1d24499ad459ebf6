/**
 * What a command line names, as the recordings that questions are asked of: dumps, state-capture records and analytics
 * stores. Each can be read at once, while it is open, or kept and read again as often as needed.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "cli/dumps/input.h"
#include "cli/dumps/sequence_break.h"
#include "cli/inputs/byte_stream.h"
#include "cli/inputs/input_sequence.h"
#include "cli/recordings/content_hash.h"
#include "decoder/device_clock.h"
#include "host/error.h"
#include "host/file_descriptor.h"
#include "host/store/analytics_store.h"

namespace cli {

enum class RecordingKind {
    Dump,   ///< also an empty file
    Record, ///< a file of state-capture records
    Store
};

/** Which recordings a verb reads. Of a folder, other files of our own are passed over. */
enum class WantedRecordings {
    All,
    Reports, ///< what `decode` reads: dumps, and records with reports
    Records, ///< what `show` reads
    Stores   ///< what `metrics` reads
};

/** A recording that can be read any number of times. Copies share what is kept of a pipe. */
struct Recording {
    RecordingKind kind;
    /** As told, or the file's name without its ending, or the name of the folder that has a record. UTF-8. */
    std::string device;
    /** As it was named; bytes that are not UTF-8 are U+FFFD. "standard input" for "-". */
    std::string file;
    std::string name;     ///< for messages: `file` byte for byte
    std::string argument; ///< for opening it again
    bool has_reports;     ///< always of a dump, never of a store
    std::int64_t taken;   ///< when the file was last written to; microseconds since 1970. Of a pipe: now
    std::uint64_t size;   ///< of a regular file in bytes, packed as it is; 0 for anything else
    std::shared_ptr<const host::FileDescriptor> kept; ///< an unlinked file; null when `argument` can be opened again
};

/** A recording whose reading has begun: to be read once, or to be kept. */
struct OpenRecording {
    Recording recording;
    std::unique_ptr<ByteStream> stream; ///< null for a record
    std::vector<std::byte> bytes;       ///< of a record's file, unpacked
};

/** The recordings that a command line names, in its order, each once. One thread at a time. */
class RecordingSequence {
public:
    /**
     * @param arguments   files, folders and "-".
     * @param files_from  a list of more; "-" for standard input.
     * @param device      the device of all recordings; nothing: each is named after its file.
     * @throws host::Error for a list that cannot be read or names no files; WrongUse when standard input is named
     *         twice, and for a device that is not UTF-8.
     */
    RecordingSequence(const std::vector<std::string> &arguments, const std::optional<std::string> &files_from,
                      WantedRecordings wanted, std::optional<std::string> device);

    /**
     * The next recording that can be opened; none at the end. What cannot is named on standard error. A record has been
     * parsed. @throws Interrupted; InputTooLate.
     */
    std::optional<OpenRecording> next();

    /**
     * Keeps a recording for later. What cannot be opened again is copied, unpacked, to a temporary file without a name;
     * an error of its bytes is named then, and those before it are kept.
     * @throws host::Error when there is no room for the copy; Interrupted; InputTooLate.
     */
    Recording keep(OpenRecording open);

    /** Names a recording that turned out bad while it was read. */
    void report(const host::Error &error) { _inputs.report(error); }

    /** Whether anything was named on standard error so far: the exit code is 1 then. */
    bool has_failed() const { return _inputs.has_failed(); }

    /** For showing progress: the bytes of all regular files, also of those that are not read. */
    std::uint64_t total_size() const { return _inputs.total_size(); }

    /** Whether any of them is neither a file nor a folder, such as a pipe, whose bytes others may write late. */
    bool may_wait() const { return _inputs.may_wait(); }

private:
    std::optional<OpenRecording> open(Input input);
    std::string device_of(const std::string &argument, RecordingKind kind) const;

    InputSequence _inputs;
    WantedRecordings _wanted;
    std::optional<std::string> _device;
};

/**
 * The reports of a dump or of a record with reports. Only when it is open, what does not look like a dump is said.
 * @throws host::Error when it cannot be read, or has no reports any more; Interrupted.
 */
std::unique_ptr<ReportInput> open_reports(OpenRecording open);
std::unique_ptr<ReportInput> open_reports(const Recording &recording);

/** The whole file of a record, unpacked. @throws the same. */
std::vector<std::byte> read_record_file(const Recording &recording);

/** What a store has now. @throws host::Error as `host::read_analytics_store`; Interrupted. */
host::StoreContents read_store(OpenRecording open);
host::StoreContents read_store(const Recording &recording);

/** What is known of a dump, or of a record with reports, when all of it has been read. */
struct DumpFacts {
    std::uint64_t hash = 0; ///< of the whole content; `hash_text` is the column `dump`
    std::uint64_t reports = 0;
    std::optional<std::uint64_t> first_timestamp; ///< the least time stamp; nothing without reports
    std::optional<std::uint64_t> last_timestamp;  ///< the greatest
    std::uint64_t gaps = 0;
    std::uint64_t missing = 0;
    std::size_t trailing_bytes = 0; ///< 0 to 47
    decoder::device_clock clock;    ///< that the first report of a record brings; see `DumpClock::now_or`
};

/**
 * Reads the reports of a recording once and gathers its facts on the way. The reports that it gives were copied and do
 * not change, whatever others do to the file. One thread at a time.
 */
class ReportPass {
public:
    /** @throws as `open_reports`. */
    explicit ReportPass(OpenRecording open);
    explicit ReportPass(const Recording &recording);

    /**
     * The next reports, 1 to `ReportInput::kPieceReports` of them. Valid until the next call.
     * @return nothing at the end. Do not call again after that.
     * @throws host::Error when the recording is damaged, naming the place: all whole reports before it have been given.
     *         Interrupted.
     */
    std::optional<ReportPiece> next();

    /** After the end: of the whole recording. After an error: of what was given before it. */
    DumpFacts facts() const;

    /** The bytes after the last whole report, for `report_trailing_bytes` (cli/dumps/open_input.h). After the end. */
    TrailingBytes trailing_bytes() const { return _input->trailing_bytes(); }
    /** For showing progress: how many bytes of `Recording::size` have been read. */
    std::uint64_t bytes_read() const { return _input->bytes_read(); }
    const std::string &name() const { return _input->name(); }

private:
    void parse_record(const std::vector<std::byte> &bytes, const std::string &name);
    void add(const ReportPiece &piece);
    void add_to_hash(std::span<const std::byte> content);

    std::unique_ptr<ReportInput> _input;
    std::vector<_QorProfileReport> _reports; ///< of the last piece
    BreakWatch _breaks;
    ContentHash _hash;
    bool _is_hashed = false; ///< the whole content
    DumpFacts _facts;        ///< all but the hash
};

/** Reads a recording to its end for its facts. @throws as `ReportPass::next`. */
DumpFacts facts_of(const Recording &recording);

} // namespace cli
