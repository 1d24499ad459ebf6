#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/arguments/hosting.h"
#include "cli/arguments/hosting_log.h"
#include "cli/arguments/words.h"
#include "cli/records/folder.h"
#include "cli/records/summary.h"
#include "cli/terminal/interruption.h"
#include "cli/terminal/output.h"
#include "cli/verbs.h"
#include "host/RvStateCapture.h"
#include "host/TallybookStore.h"
#include "host/error.h"
#include "host/module/hosted_device.h"
#include "host/store/hosted_store.h"

namespace cli {
namespace {

const std::vector<std::string> kKindNames = {"error", "fault", "request"};

struct CaptureArguments {
    std::string description;
    std::optional<std::string> folder_of_files; ///< empty: the description may name any file
    std::string plug_in;
    std::string platform; ///< empty: the one of the program
    std::string store = host::kStoreInMemory;
    std::string kind = "request";
    std::string folder; ///< "-": standard output; empty: a new folder named by the time
    bool summary_is_json = false;
    LogArguments log;
};

std::uint32_t kind_code(const std::string &name) {
    if (name == "error") {
        return kRvStateCaptureError;
    }
    return name == "fault" ? kRvStateCaptureFault : kRvStateCaptureRequest;
}

std::vector<SummaryRow> summarise_all(const std::vector<host::RecordBytes> &records) {
    std::vector<SummaryRow> rows;
    for (const host::RecordBytes &record : records) {
        rows.push_back(summarise(record));
    }
    return rows;
}

void write_to_standard_output(const std::vector<host::RecordBytes> &records) {
    Output output = standard_output();
    try {
        for (const host::RecordBytes &record : records) {
            output.write_record(record);
        }
    } catch (const ReaderHasGone &) {
        throw host::Error("standard output", "", "closed before every record was written");
    }
}

void write_to_folder(const std::string &folder, const std::vector<host::RecordBytes> &records,
                     const std::vector<SummaryRow> &rows) {
    std::vector<std::string> titles;
    for (const SummaryRow &row : rows) {
        titles.push_back(row.title);
    }
    write_folder(folder, records, titles);
}

std::string summary_text(const std::vector<SummaryRow> &rows, bool is_json, int descriptor) {
    return is_json ? summary_json(rows) : summary_table(rows, style_for(descriptor));
}

/** The records are on standard output: the exit code tells that, whether or not there is a standard error. */
void print_summary_beside_records(const std::string &summary) {
    try {
        Output output = standard_error();
        output.write_styled(summary);
        output.flush();
    } catch (const host::Error &) {
    } catch (const ReaderHasGone &) {
    } catch (const Interrupted &) {
    }
}

/** Called when the records are written: all are kept, but one that cannot be read back is a failure. */
void refuse_damage(const std::vector<SummaryRow> &rows, const std::string &place) {
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (!rows[i].damage.empty()) {
            throw host::Error(place, "record " + std::to_string(i + 1), "is damaged: " + rows[i].damage);
        }
    }
}

void write_records(const CaptureArguments &arguments, const std::vector<host::RecordBytes> &records) {
    const std::vector<SummaryRow> rows = summarise_all(records);
    if (arguments.folder == "-") {
        write_to_standard_output(records);
        print_summary_beside_records(summary_text(rows, arguments.summary_is_json, STDERR_FILENO));
        refuse_damage(rows, "standard output");
        return;
    }
    const std::string folder = arguments.folder.empty() ? unused_folder_name() : arguments.folder;
    write_to_folder(folder, records, rows);
    print_message("written to " + folder);
    print_styled_outcome(summary_text(rows, arguments.summary_is_json, STDOUT_FILENO));
    refuse_damage(rows, folder);
}

int capture(const CaptureArguments &arguments) {
    use_platform(arguments.platform, arguments.plug_in);
    const HostingLog log(arguments.log);
    host::HostedDevice device(host::read_device_description(arguments.description, arguments.folder_of_files),
                              arguments.plug_in);
    host::HostedStore store(arguments.store, print_store_failure);
    const std::vector<host::RecordBytes> records = host::capture_state(kind_code(arguments.kind), "qorstat");
    device.stop();
    log.print_hidden();
    write_records(arguments, records);
    store.close();
    return kExitOk;
}

} // namespace

Verb declare_capture() {
    const auto arguments = std::make_shared<CaptureArguments>();
    return {
        .arguments = {{.name = "DEVICE.toml",
                       .target = &arguments->description,
                       .help = "Device description",
                       .is_required = true},
                      {.name = "--kind",
                       .value_name = "KIND",
                       .target = word_reader(arguments->kind, kKindNames),
                       .help = "Kind of request: error, fault or request (default)"},
                      {.name = "-o",
                       .value_name = "DIR",
                       .target = &arguments->folder,
                       .help = "Folder to write to, new or empty; - writes all records\n"
                               "to standard output; default: a new one named by time",
                       .kind = ValueKind::Folder},
                      confine_option(arguments->folder_of_files),
                      plug_in_option(arguments->plug_in),
                      platform_option(arguments->platform),
                      {.name = "--store",
                       .value_name = "FILE",
                       .target = &arguments->store,
                       .help = "Analytics store; default: :memory:, no file"},
                      {.name = "--json", .target = &arguments->summary_is_json, .help = "Print the summary as JSON"},
                      log_level_option(arguments->log),
                      log_file_option(arguments->log)},
        .notes = "Record N is written to NNN-TITLE.qorstate; \"_\" replaces characters that file\n"
                 "names cannot hold. The folder is written completely or not at all. Read the\n"
                 "records with qorstat show.",
        .examples = {"qorstat capture examples/phone.toml --kind fault -o fault",
                     "qorstat capture examples/phone.toml -o - | qorstat show -"},
        .run = [arguments] { return capture(*arguments); }};
}

} // namespace cli
