#include "cli/recordings/recordings.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cli/arguments/invalid_value.h"
#include "cli/arguments/wrong_use.h"
#include "cli/dumps/open_input.h"
#include "cli/dumps/recorded_input.h"
#include "cli/inputs/store_input.h"
#include "cli/terminal/input.h"
#include "cli/terminal/interruption.h"
#include "host/utf8.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

WantedContent content_of_wanted(WantedRecordings wanted) {
    constexpr ContentKind kRecords = ContentKind::Records;
    constexpr ContentKind kStore = ContentKind::Store;
    // A file that is nothing else is a dump, or what it should be and damaged: reading it says so.
    const std::set<ContentKind> dumps = {ContentKind::Dump, ContentKind::Empty};
    switch (wanted) {
    case WantedRecordings::Reports:
        return wanted_by_decode();
    case WantedRecordings::Records:
        return {{kRecords, ContentKind::Dump, ContentKind::Empty}, {kRecords}, "a state-capture record"};
    case WantedRecordings::Stores:
        return {{kStore, ContentKind::Dump, ContentKind::Empty}, {kStore}, "an analytics store"};
    case WantedRecordings::All:
        break;
    }
    std::set<ContentKind> all = dumps;
    all.insert({kRecords, kStore});
    return {all, all, "a dump, a record or an analytics store"};
}

/** What is neither by its first bytes is what the verb reads. */
RecordingKind kind_of(ContentKind content, WantedRecordings wanted) {
    if (content == ContentKind::Records || wanted == WantedRecordings::Records) {
        return RecordingKind::Record;
    }
    if (content == ContentKind::Store || wanted == WantedRecordings::Stores) {
        return RecordingKind::Store;
    }
    return RecordingKind::Dump;
}

std::string as_utf8(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const std::size_t length = host::utf8_sequence_length(text);
        result += length == 0 ? std::string_view("\xEF\xBF\xBD") : text.substr(0, length);
        text.remove_prefix(std::max<std::size_t>(1, length));
    }
    return result;
}

/** Without the ending of a packed file, and without the one before it. */
std::string name_without_endings(fs::path name) {
    if (const fs::path ending = name.extension(); ending == ".gz" || ending == ".zst") {
        name = name.stem();
    }
    return name.stem();
}

/** A file may have any time: one that is not within 64 bits is the nearest that is, in whole seconds. */
std::int64_t microseconds_of(const timespec &time) {
    constexpr std::int64_t kMostSeconds = std::numeric_limits<std::int64_t>::max() / 1'000'000 - 1;
    return std::clamp<std::int64_t>(time.tv_sec, -kMostSeconds, kMostSeconds) * 1'000'000 + time.tv_nsec / 1000;
}

/** A store's last changes may stand in its log, whose time is then the later one. */
std::int64_t time_of_writing(const ByteStream &stream) {
    struct stat status {};
    if (!stream.is_regular_file() || fstat(stream.descriptor(), &status) == -1) {
        const auto now = std::chrono::system_clock::now().time_since_epoch();
        return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
    }
    const std::int64_t time = microseconds_of(status.st_mtim);
    const bool has_log = stream.content().kind == ContentKind::Store && !stream.argument().empty() &&
                         stat((stream.argument() + "-wal").c_str(), &status) == 0 && status.st_size != 0;
    return has_log ? std::max(time, microseconds_of(status.st_mtim)) : time;
}

/** A file without a name, which is gone with its descriptor. */
class NamelessFile {
public:
    explicit NamelessFile(std::string input) : _input(std::move(input)) {
        std::error_code error;
        const fs::path folder = fs::temp_directory_path(error);
        if (error) {
            throw host::Error(_input, "", "cannot be kept in the folder that TMPDIR names: " + error.message());
        }
        _path = (folder / "qorstat-XXXXXX").string();
        const WholePiece with_its_name; // a signal leaves no file
        const int descriptor = mkostemp(_path.data(), O_CLOEXEC);
        if (descriptor == -1) {
            fail();
        }
        unlink(_path.c_str());
        _file = std::make_shared<const host::FileDescriptor>(descriptor);
    }

    void write(std::span<const std::byte> bytes) {
        while (!bytes.empty()) {
            const ssize_t count = ::write(_file->get(), bytes.data(), bytes.size());
            if (count == -1 && errno != EINTR) {
                fail();
            }
            bytes = bytes.subspan(static_cast<std::size_t>(std::max<ssize_t>(0, count)));
        }
    }

    /** To be read from its start. */
    std::shared_ptr<const host::FileDescriptor> finished() {
        if (lseek(_file->get(), 0, SEEK_SET) == -1) {
            fail();
        }
        return std::move(_file);
    }

private:
    [[noreturn]] void fail() const {
        throw host::Error(_input, "",
                          "cannot be kept in " + fs::path(_path).parent_path().string() + ": " +
                              std::generic_category().message(errno));
    }

    std::string _input;
    std::string _path;
    std::shared_ptr<const host::FileDescriptor> _file;
};

std::unique_ptr<ByteStream> open_again(const Recording &recording) {
    if (!recording.kept) {
        return std::make_unique<ByteStream>(recording.argument);
    }
    host::FileDescriptor copy(fcntl(recording.kept->get(), F_DUPFD_CLOEXEC, 0));
    if (copy.get() == -1) {
        throw host::Error(recording.name, "", std::generic_category().message(errno));
    }
    return std::make_unique<ByteStream>(std::move(copy), recording.name);
}

std::unique_ptr<ReportInput> require_reports(std::unique_ptr<ReportInput> input, const std::string &name) {
    if (!input) {
        throw host::Error(name, "", "has no reports");
    }
    return input;
}

std::unique_ptr<ReportInput> parse_reports(const std::vector<std::byte> &bytes, const std::string &name) {
    return require_reports(RecordedInput::parse(bytes, name), name);
}

} // namespace

// ---- what is named

RecordingSequence::RecordingSequence(const std::vector<std::string> &arguments,
                                     const std::optional<std::string> &files_from, WantedRecordings wanted,
                                     std::optional<std::string> device)
    : _inputs(arguments, files_from, content_of_wanted(wanted)), _wanted(wanted), _device(std::move(device)) {
    if (_device && (_device->empty() || !host::is_utf8(*_device))) {
        throw WrongUse(invalid_value("--device", *_device) + ": expected a text in UTF-8");
    }
}

std::optional<OpenRecording> RecordingSequence::next() {
    while (std::optional<Input> input = _inputs.next()) {
        try {
            if (std::optional<OpenRecording> open = this->open(std::move(*input))) {
                return open;
            }
        } catch (const host::Error &error) {
            report(error);
        }
    }
    return std::nullopt;
}

/** @return nothing for what is passed over. */
std::optional<OpenRecording> RecordingSequence::open(Input input) {
    ByteStream &stream = *input.stream;
    const RecordingKind kind = kind_of(stream.content().kind, _wanted);
    OpenRecording open{{.kind = kind,
                        .device = device_of(stream.argument(), kind),
                        .file = as_utf8(stream.name()),
                        .name = stream.name(),
                        .argument = stream.argument(),
                        .has_reports = kind == RecordingKind::Dump,
                        .taken = time_of_writing(stream),
                        .size = stream.file_size(),
                        .kept = nullptr},
                       nullptr,
                       {}};
    if (kind == RecordingKind::Record) {
        // What does not begin like a record may have no end: it is not all taken into memory.
        const bool is_record = stream.content().kind == ContentKind::Records;
        open.bytes =
            stream.read_all(is_record ? std::numeric_limits<std::size_t>::max() : ByteStream::kMostUnpackedAtOnce);
        open.recording.has_reports = RecordedInput::parse(open.bytes, stream.name()) != nullptr;
    }
    if (_wanted == WantedRecordings::Reports && kind == RecordingKind::Record && !open.recording.has_reports) {
        if (!input.is_in_folder()) {
            throw host::Error(stream.name(), "", "has no reports");
        }
        _inputs.pass_over(input);
        return std::nullopt;
    }
    // Of what cannot be opened again, a record has been read to its end.
    if (kind != RecordingKind::Record || !stream.is_regular_file()) {
        open.stream = std::move(input.stream);
    }
    return open;
}

Recording RecordingSequence::keep(OpenRecording open) {
    if (!open.stream || open.stream->is_regular_file()) {
        return std::move(open.recording);
    }
    NamelessFile file(open.recording.name);
    file.write(open.bytes);
    std::vector<std::byte> piece(std::size_t{64} << 10);
    try {
        while (const std::size_t count = open.stream->read_some(piece)) {
            file.write(std::span(piece).first(count));
        }
    } catch (const host::Error &error) {
        report(error);
    }
    open.recording.kept = file.finished();
    return std::move(open.recording);
}

std::string RecordingSequence::device_of(const std::string &argument, RecordingKind kind) const {
    if (_device) {
        return *_device;
    }
    if (argument == kStandardInputArgument) {
        return input_name(argument);
    }
    std::error_code ignored; // the name as it is will do
    const fs::path path = fs::absolute(argument, ignored).lexically_normal();
    const std::string name =
        kind == RecordingKind::Record ? path.parent_path().filename().string() : name_without_endings(path.filename());
    return as_utf8(name.empty() ? argument : name);
}

// ---- reading them

std::unique_ptr<ReportInput> open_reports(OpenRecording open) {
    if (open.recording.kind == RecordingKind::Record) {
        return parse_reports(open.bytes, open.recording.name);
    }
    return require_reports(open_reports(std::move(open.stream), DumpOptions{}), open.recording.name);
}

std::unique_ptr<ReportInput> open_reports(const Recording &recording) {
    if (recording.kind == RecordingKind::Record) {
        return parse_reports(read_record_file(recording), recording.name);
    }
    return require_reports(open_reports(open_again(recording), DumpOptions{.is_judged = true}), recording.name);
}

std::vector<std::byte> read_record_file(const Recording &recording) { return open_again(recording)->read_all(); }

host::StoreContents read_store(OpenRecording open) { return read_store(std::move(open.stream)); }

host::StoreContents read_store(const Recording &recording) { return read_store(open_again(recording)); }

// ---- a single pass

ReportPass::ReportPass(OpenRecording open) {
    if (open.recording.kind == RecordingKind::Record) {
        parse_record(open.bytes, open.recording.name);
    } else {
        _input = open_reports(std::move(open));
    }
}

ReportPass::ReportPass(const Recording &recording) {
    if (recording.kind == RecordingKind::Record) {
        parse_record(read_record_file(recording), recording.name);
    } else {
        _input = open_reports(recording);
    }
}

/** A record is known by its file, not by the reports in it. */
void ReportPass::parse_record(const std::vector<std::byte> &bytes, const std::string &name) {
    _hash.add(bytes);
    _is_hashed = true;
    _input = parse_reports(bytes, name);
}

std::optional<ReportPiece> ReportPass::next() {
    while (std::optional<ReportPiece> piece = _input->read_next()) {
        // The copy does not change after it has been found intact.
        _reports.assign(piece->reports.begin(), piece->reports.end());
        piece->reports = _reports;
        if (_input->keeps_last_piece() && piece->count() != 0) {
            add(*piece);
            return piece;
        }
    }
    const std::span<const std::byte> trailing = _input->trailing_content();
    _facts.trailing_bytes = trailing.size();
    add_to_hash(trailing);
    return std::nullopt;
}

void ReportPass::add(const ReportPiece &piece) {
    add_to_hash(std::as_bytes(piece.reports));
    if (_facts.reports == 0 && !piece.clocks.empty()) {
        _facts.clock = piece.clocks.front();
    }
    std::uint64_t least = _facts.first_timestamp.value_or(std::numeric_limits<std::uint64_t>::max());
    std::uint64_t greatest = _facts.last_timestamp.value_or(0);
    for (const _QorProfileReport &report : piece.reports) {
        least = std::min(least, report.timestamp());
        greatest = std::max(greatest, report.timestamp());
    }
    _facts.first_timestamp = least;
    _facts.last_timestamp = greatest;
    _breaks.see(piece.reports, [this](std::size_t, const SequenceBreak &found) {
        _facts.gaps += found.is_gap() ? 1 : 0;
        _facts.missing += found.missing();
    });
    _facts.reports += piece.count();
}

void ReportPass::add_to_hash(std::span<const std::byte> content) {
    if (!_is_hashed) {
        _hash.add(content);
    }
}

DumpFacts ReportPass::facts() const {
    DumpFacts facts = _facts;
    facts.hash = _hash.value();
    return facts;
}

DumpFacts facts_of(const Recording &recording) {
    ReportPass pass(recording);
    while (pass.next()) {
        // The pass gathers the facts.
    }
    return pass.facts();
}

} // namespace cli
