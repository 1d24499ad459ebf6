#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <unistd.h>

#include "cli/arguments/input_arguments.h"
#include "cli/arguments/time_zone.h"
#include "cli/arguments/wrong_use.h"
#include "cli/dumps/clock.h"
#include "cli/dumps/open_input.h"
#include "cli/dumps/owner_names.h"
#include "cli/metrics/keys.h"
#include "cli/page/captures_section.h"
#include "cli/page/page.h"
#include "cli/page/recordings_section.h"
#include "cli/page/stores_section.h"
#include "cli/page/summary_section.h"
#include "cli/page/time_line.h"
#include "cli/recordings/recordings.h"
#include "cli/records/drawn_record.h"
#include "cli/terminal/input.h"
#include "cli/terminal/json_text.h"
#include "cli/terminal/output_file.h"
#include "cli/terminal/progress_bar.h"
#include "cli/terminal/text_style.h"
#include "cli/verbs.h"
#include "host/error.h"
#include "host/state_records.h"
#include "qor/analytics.h"

namespace cli {
namespace {

struct ReportArguments {
    std::vector<std::string> inputs;
    std::optional<std::string> files_from;
    std::optional<std::string> device;
    std::optional<std::string> names_file;
    ClockWords clock;
    std::optional<std::string> time_zone;
    std::optional<std::string> output_file;
    bool is_json = false;
};

/** What the system states about a store's key. */
KeyNote note_of(std::string_view key) {
    for (std::size_t number = 0; number < qor::analytics::kKeyCount; ++number) {
        if (const KnownKey known = known_key(number); known.key == key) {
            return {known.unit, known.help};
        }
    }
    return {};
}

PageRecord page_record_of(const host::StateRecord &record) {
    PageRecord shown{.title = escape_controls(record.title), .size = record.size};
    const TvRef payload = record.payload.get();
    switch (form_of(record.title)) {
    case RecordForm::Latency:
        shown.latencies = drawn_latencies(payload);
        break;
    case RecordForm::Assets:
        shown.assets = drawn_assets(payload);
        break;
    case RecordForm::Sensor:
        shown.sensor = drawn_entries(payload);
        break;
    case RecordForm::Profile:
        shown.lines = drawn_lines(payload);
        break;
    case RecordForm::Other:
        shown.entries = drawn_entries(payload);
        break;
    }
    return shown;
}

/** The sections of the page, while recordings are read for them. */
class Sections {
public:
    Sections(const OwnerNames &names, const DumpClock &clock)
        : _clock(clock), _summary(names, clock), _time_line(names), _stores(note_of) {}

    /** Is told how many bytes of the recording have been read. */
    using Progress = std::function<void(std::uint64_t done)>;

    /** Reads a recording. What is wrong in it is named, and it ends there. */
    void read(RecordingSequence &recordings, OpenRecording open, const Progress &progress) {
        const Recording recording = open.recording;
        std::uint64_t reports = 0;
        _summary.begin(recording);
        try {
            if (recording.kind == RecordingKind::Store) {
                _stores.add(recording, read_store(std::move(open)));
            } else {
                for (const host::StateRecord &record : host::parse_records(open.bytes, recording.name)) {
                    _captures.add(recording, page_record_of(record));
                }
                reports = recording.has_reports ? read_reports(recordings, std::move(open), progress) : 0;
            }
        } catch (const host::Error &error) {
            recordings.report(error);
            _summary.end(0, false);
        }
        _recordings.add(recording, reports);
    }

    Page finish() {
        Page page{"qorstat report", {}, {}};
        page.sections.push_back(_summary.finish());
        _time_line.finish(page);
        if (!_captures.empty()) {
            page.sections.push_back(_captures.finish(page.blocks));
        }
        if (!_stores.empty()) {
            page.sections.push_back(_stores.finish());
        }
        page.sections.push_back(_recordings.finish());
        return page;
    }

private:
    /** @return how many there were. @throws host::Error when not even the first can be read. */
    std::uint64_t read_reports(RecordingSequence &recordings, OpenRecording open, const Progress &progress) {
        const Recording recording = open.recording;
        ReportPass pass(std::move(open));
        _time_line.begin(recording);
        bool is_whole = true;
        try {
            while (const std::optional<ReportPiece> piece = pass.next()) {
                _summary.see(*piece);
                _time_line.add(*piece);
                progress(pass.bytes_read());
            }
            report_trailing_bytes(pass.name(), pass.trailing_bytes());
        } catch (const host::Error &error) {
            recordings.report(error);
            is_whole = false;
        }
        const DumpFacts facts = pass.facts();
        _time_line.end(_clock.now_or(facts.clock));
        _summary.end(is_whole ? facts.trailing_bytes : 0, is_whole);
        return facts.reports;
    }

    const DumpClock &_clock;
    SummarySection _summary;
    TimeLine _time_line;
    CapturesSection _captures;
    StoresSection _stores;
    RecordingsSection _recordings;
};

/** The figures: an object with the data of each section under its kind. The time line has reports, and no figures. */
Json figures_of(Page &page) {
    Json figures = Json::object();
    for (PageSection &section : page.sections) {
        if (section.kind != "time-line") {
            figures[section.kind] = std::move(section.data);
        }
    }
    return figures;
}

void check_use(const ReportArguments &arguments) {
    if (arguments.inputs.empty() && !arguments.files_from) {
        throw WrongUse("INPUT is required");
    }
    if (arguments.is_json) {
        return;
    }
    const bool is_to_standard_output = !arguments.output_file || *arguments.output_file == kStandardInputArgument;
    if (is_to_standard_output && isatty(STDOUT_FILENO) == 1) {
        throw WrongUse("-o FILE is required on a terminal");
    }
}

/** @return whether there was any recording. */
bool read_all(RecordingSequence &recordings, Sections &sections) {
    ProgressBar bar(recordings.total_size());
    std::uint64_t read = 0; // of the recordings before
    bool has_any = false;
    while (std::optional<OpenRecording> open = recordings.next()) {
        const std::uint64_t size = open->recording.size;
        sections.read(recordings, *std::move(open), [&bar, read](std::uint64_t done) { bar.show(read + done); });
        read += size;
        has_any = true;
    }
    return has_any;
}

int report(const ReportArguments &arguments) {
    check_use(arguments);
    if (arguments.time_zone) {
        enter_time_zone(*arguments.time_zone);
    } else if (arguments.clock.time_sync) {
        warn_of_unknown_zone();
    }
    const DumpClock clock(arguments.clock);
    const OwnerNames names = arguments.names_file ? OwnerNames::read(*arguments.names_file) : OwnerNames();
    RecordingSequence recordings(arguments.inputs, arguments.files_from, WantedRecordings::All, arguments.device);
    OutputFile file(arguments.output_file);
    Sections sections(names, clock);
    if (read_all(recordings, sections) || !recordings.has_failed()) {
        Page page = sections.finish();
        if (arguments.is_json) {
            file.output().write(json_lines(figures_of(page)));
        } else {
            write_page(file.output(), page);
        }
        file.finish();
    }
    return recordings.has_failed() ? kExitFailed : kExitOk;
}

} // namespace

Verb declare_report() {
    const auto arguments = std::make_shared<ReportArguments>();
    return {
        .arguments = {inputs_argument(arguments->inputs,
                                      "Dumps, records, analytics stores, folders of them;\n- is standard input"),
                      files_from_argument(arguments->files_from),
                      device_argument(arguments->device),
                      time_sync_argument(arguments->clock.time_sync),
                      boot_time_argument(arguments->clock.boot_time),
                      time_zone_argument(arguments->time_zone),
                      {.name = "--names",
                       .value_name = "FILE.toml",
                       .target = &arguments->names_file,
                       .help = "Names of your own for ids (docs/decode.md)",
                       .has_variable = true},
                      {.name = "--json",
                       .target = &arguments->is_json,
                       .help = "Print the figures of the page as JSON (docs/report.md)"},
                      output_argument(arguments->output_file)},
        .notes = "The page is one file, which browsers show without a network.",
        .examples = {"qorstat report dump.bin -o report.html", "qorstat report captures/demo day.db -o report.html"},
        .run = [arguments] { return report(*arguments); }};
}

} // namespace cli
