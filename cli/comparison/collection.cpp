#include "cli/comparison/collection.h"

#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include "cli/comparison/side_collector.h"
#include "cli/dumps/open_input.h"
#include "cli/terminal/input.h"
#include "host/error.h"
#include "host/state_records.h"
#include "host/utf8.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

/** @return the device as recordings have it where the folder has no name, or none in UTF-8. */
std::string device_of(const Recording &recording, DeviceName device) {
    if (device == DeviceName::File || recording.argument == kStandardInputArgument) {
        return recording.device;
    }
    std::error_code ignored; // the path as it is will do
    const std::string name =
        fs::absolute(recording.argument, ignored).lexically_normal().parent_path().filename().string();
    return name.empty() || !host::is_utf8(name) ? recording.device : name;
}

class Collection {
public:
    Collection(RecordingSequence &recordings, DeviceName device, const std::function<void(std::uint64_t)> &progress)
        : _recordings(recordings), _device(device), _progress(progress) {}

    Side collect() {
        while (std::optional<OpenRecording> open = _recordings.next()) {
            const std::uint64_t size = open->recording.size;
            try {
                add(std::move(*open));
            } catch (const host::Error &error) {
                _recordings.report(error);
            }
            _done += size;
            _progress(_done);
        }
        return _collector.finish();
    }

private:
    void add(OpenRecording open) {
        const std::string device = device_of(open.recording, _device);
        if (open.recording.kind == RecordingKind::Store) {
            const host::StoreContents contents = read_store(std::move(open));
            _collector.begin_recording(device);
            _collector.add_store(contents);
            return;
        }
        if (open.recording.kind == RecordingKind::Record) {
            const auto records = host::parse_records(open.bytes, open.recording.name);
            _collector.begin_recording(device);
            _collector.add_records(records, open.recording.taken);
        }
        if (open.recording.has_reports) {
            add_reports(device, std::move(open));
        }
    }

    void add_reports(const std::string &device, OpenRecording open) {
        const bool has_begun = open.recording.kind == RecordingKind::Record;
        ReportPass pass(std::move(open));
        if (!has_begun) {
            _collector.begin_recording(device);
        }
        while (const std::optional<ReportPiece> piece = pass.next()) {
            _collector.add_reports(piece->reports);
            _progress(_done + pass.bytes_read());
        }
        report_trailing_bytes(pass.name(), pass.trailing_bytes());
    }

    RecordingSequence &_recordings;
    DeviceName _device;
    const std::function<void(std::uint64_t)> &_progress;
    std::uint64_t _done = 0;
    SideCollector _collector;
};

} // namespace

Side collect_side(RecordingSequence &recordings, DeviceName device,
                  const std::function<void(std::uint64_t)> &progress) {
    return Collection(recordings, device, progress).collect();
}

} // namespace cli
