#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <unistd.h>

#include "cli/arguments/input_arguments.h"
#include "cli/arguments/words.h"
#include "cli/arguments/wrong_use.h"
#include "cli/dumps/clock.h"
#include "cli/dumps/open_input.h"
#include "cli/questions/column_block.h"
#include "cli/questions/native_block.h"
#include "cli/questions/parquet_file.h"
#include "cli/questions/schema_text.h"
#include "cli/questions/table_rows.h"
#include "cli/questions/tables.h"
#include "cli/recordings/recordings.h"
#include "cli/records/json.h"
#include "cli/terminal/input.h"
#include "cli/terminal/output.h"
#include "cli/terminal/output_file.h"
#include "cli/terminal/progress_bar.h"
#include "cli/verbs.h"
#include "host/count_text.h"
#include "host/error.h"
#include "host/state_records.h"

namespace cli {
namespace {

struct ExportArguments {
    std::vector<std::string> inputs;
    std::optional<std::string> files_from;
    std::string format;
    std::string table = "reports";
    std::optional<std::string> device;
    ClockWords clock;
    std::optional<std::string> output_file;
};

/** Gathers rows, and writes them in blocks. */
class TableWriter {
public:
    TableWriter(const ExportArguments &arguments, Output &output)
        : _output(output), _block(exported_columns(table_named(arguments.table))) {
        if (arguments.format == "parquet") {
            _parquet.emplace(arguments.table, _block.columns(), [this](std::string_view bytes) { put(bytes); });
        }
    }

    TableWriter(const TableWriter &) = delete;
    TableWriter &operator=(const TableWriter &) = delete;

    ColumnBlock &block() { return _block; }

    /** To be called after every few rows: a block is bounded by it. */
    void write_when_full() {
        if (_block.rows() >= kRows || _block.text_bytes() >= kTextBytes) {
            write_block();
        }
    }

    void finish() {
        // Without any block, a file would say nothing of its columns.
        if (!_block.empty() || (_rows == 0 && !_parquet)) {
            write_block();
        }
        if (_parquet) {
            _parquet->finish();
        }
    }

private:
    /** 12 MB of reports. Readers share a file out by its blocks, and skip them by what is in them. */
    static constexpr std::size_t kRows = std::size_t{1} << 18;
    static constexpr std::size_t kTextBytes = std::size_t{16} << 20;

    void write_block() {
        if (_parquet) {
            _parquet->write(_block);
        } else {
            const NativeBlock native(_block);
            for (const std::string_view piece : native.pieces()) {
                put(piece);
            }
        }
        _rows += _block.rows();
        _block.clear();
    }

    void put(std::string_view bytes) { _output.write_record(std::as_bytes(std::span(bytes.data(), bytes.size()))); }

    Output &_output;
    ColumnBlock _block;
    std::uint64_t _rows = 0; ///< that are written
    std::optional<ParquetFile> _parquet;
};

/** Reads reports to the end. @return what went wrong instead of it; the reports before it were given. */
template <typename Use>
std::optional<host::Error> read_all(ReportPass &pass, const Use &use) {
    try {
        while (const std::optional<ReportPiece> piece = pass.next()) {
            use(*piece);
        }
        return std::nullopt;
    } catch (const host::Error &error) {
        return error;
    }
}

/** A recording whose facts are known, which can be read again. */
struct ReadRecording {
    Recording recording;
    DumpFacts facts;
};

/**
 * Reads a recording for its facts. What is wrong in it is named, and it ends there.
 * @return nothing when it cannot be read at all.
 */
std::optional<ReadRecording> read_facts(RecordingSequence &recordings, OpenRecording open) {
    const bool is_kept = open.stream && !open.stream->is_regular_file();
    Recording recording = is_kept ? recordings.keep(std::move(open)) : open.recording;
    try {
        // NOLINTNEXTLINE(bugprone-use-after-move): what was kept is not used
        ReportPass pass = is_kept ? ReportPass(recording) : ReportPass(std::move(open));
        ProgressBar progress(2 * recording.size);
        const std::optional<host::Error> error =
            read_all(pass, [&](const ReportPiece &) { progress.show(pass.bytes_read()); });
        if (error) {
            recordings.report(*error);
        } else {
            report_trailing_bytes(pass.name(), pass.trailing_bytes());
        }
        return ReadRecording{std::move(recording), pass.facts()};
    } catch (const host::Error &error) {
        recordings.report(error);
        return std::nullopt;
    }
}

/** The dump's hash stands in each of its rows, so a dump is read once for it and once for the rows. */
void write_reports(const ReadRecording &read, TableWriter &writer) {
    const Recording &recording = read.recording;
    const DumpFacts &facts = read.facts;
    ReportPass pass(recording);
    ProgressBar progress(2 * recording.size);
    // What was wrong was named by the first pass.
    static_cast<void>(read_all(pass, [&](const ReportPiece &piece) {
        add_reports(writer.block(), recording, facts.hash, piece.reports);
        writer.write_when_full();
        progress.show(recording.size + pass.bytes_read());
    }));
    if (pass.facts().hash != facts.hash || pass.facts().reports != facts.reports) {
        throw host::Error(recording.name, "", "changed while it was read");
    }
}

void write_store(OpenRecording open, const ExportArguments &arguments, TableWriter &writer) {
    const Recording recording = open.recording;
    const host::StoreContents contents = read_store(std::move(open));
    if (arguments.table == "scalar") {
        add_scalars(writer.block(), recording, contents);
        return;
    }
    for (const auto &[key, distribution] : contents.distributions) {
        add_distribution(writer.block(), recording, key, distribution);
        writer.write_when_full();
    }
}

void write_records(const OpenRecording &open, TableWriter &writer) {
    const std::string &name = open.recording.name;
    std::size_t number = 0;
    for (const host::StateRecord &record : host::parse_records(open.bytes, name)) {
        add_record(writer.block(), open.recording, ++number, record, record_line(name, record, open.bytes));
        writer.write_when_full();
    }
}

WantedRecordings wanted_for(const std::string &table) {
    if (table == "reports" || table == "dumps") {
        return WantedRecordings::Reports;
    }
    return table == "records" ? WantedRecordings::Records : WantedRecordings::Stores;
}

/** @return whether the recording could be read, if only a part of it; what is wrong in it is named. */
bool write_recording(RecordingSequence &recordings, OpenRecording open, const ExportArguments &arguments,
                     const DumpClock &clock, TableWriter &writer) {
    if (wanted_for(arguments.table) == WantedRecordings::Reports) {
        const std::optional<ReadRecording> read = read_facts(recordings, std::move(open));
        if (read && arguments.table == "reports") {
            write_reports(*read, writer);
        } else if (read) {
            add_dump(writer.block(), read->recording, read->facts, clock.now_or(read->facts.clock));
        }
        return read.has_value();
    }
    try {
        if (arguments.table == "records") {
            write_records(open, writer);
        } else {
            write_store(std::move(open), arguments, writer);
        }
        return true;
    } catch (const host::Error &error) {
        recordings.report(error);
        return false;
    }
}

void check_use(const ExportArguments &arguments) {
    if (arguments.inputs.empty() && !arguments.files_from) {
        throw WrongUse("INPUT is required");
    }
    if (arguments.format.empty()) {
        throw WrongUse("--format is required");
    }
    if ((arguments.clock.time_sync || arguments.clock.boot_time) && arguments.table != "dumps") {
        throw WrongUse("--time-sync and --boot-time require --table dumps, which has the clocks");
    }
    const bool is_to_standard_output = !arguments.output_file || *arguments.output_file == kStandardInputArgument;
    if (is_to_standard_output && isatty(STDOUT_FILENO) == 1) {
        throw WrongUse("-o FILE is required on a terminal");
    }
}

int export_table(const ExportArguments &arguments) {
    check_use(arguments);
    const DumpClock clock(arguments.clock);
    RecordingSequence recordings(arguments.inputs, arguments.files_from, wanted_for(arguments.table), arguments.device);
    OutputFile file(arguments.output_file);
    TableWriter writer(arguments, file.output());
    bool has_any = false;
    while (std::optional<OpenRecording> open = recordings.next()) {
        has_any |= write_recording(recordings, std::move(*open), arguments, clock, writer);
        writer.write_when_full();
    }
    if (has_any) {
        writer.finish();
        file.finish();
    }
    return recordings.has_failed() ? kExitFailed : kExitOk;
}

} // namespace

Verb declare_export() {
    const auto arguments = std::make_shared<ExportArguments>();
    return {.arguments = {inputs_argument(arguments->inputs,
                                          "Dumps, records, analytics stores, folders of them;\n- is standard input"),
                          files_from_argument(arguments->files_from),
                          {.name = "--format",
                           .short_name = "-f",
                           .value_name = "FORM",
                           .target = word_reader(arguments->format, {"clickhouse", "parquet"}),
                           .help = "clickhouse (blocks of its Native format), parquet"},
                          {.name = "--table",
                           .value_name = "TABLE",
                           .target = word_reader(arguments->table, table_names()),
                           .help = "reports (default), dumps, scalar, distribution,\nrecords"},
                          device_argument(arguments->device),
                          time_sync_argument(arguments->clock.time_sync,
                                             "Of dumps: both clocks at one instant,\nqor=TIME,calendar=TIME"),
                          boot_time_argument(arguments->clock.boot_time, "Of dumps: when the host booted"),
                          output_argument(arguments->output_file)},
            .notes = "The same columns as qorstat query has, but those that follow from others.",
            .examples = {"qorstat export dumps/ --format parquet -o reports.parquet",
                         "qorstat export dumps/ --format clickhouse --table dumps > dumps.native"},
            .run = [arguments] { return export_table(*arguments); }};
}

} // namespace cli
