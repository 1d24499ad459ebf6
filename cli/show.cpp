#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "cli/records/json.h"
#include "cli/records/text.h"
#include "cli/terminal/input.h"
#include "cli/terminal/json_text.h"
#include "cli/terminal/output.h"
#include "cli/verbs.h"
#include "host/state_records.h"

namespace cli {
namespace {

struct ShowArguments {
    std::vector<std::string> files;
    bool is_json = false;
    bool has_no_pager = false;
};

struct RecordFile {
    std::string name;
    std::vector<std::byte> bytes;
    std::vector<host::StateRecord> records;
};

/** Reads all files before anything is printed: a damaged one leaves no partial output. */
std::vector<RecordFile> read_files(const std::vector<std::string> &arguments) {
    std::vector<RecordFile> files;
    for (const std::string &argument : arguments) {
        RecordFile file{input_name(argument), read_input(argument), {}};
        file.records = host::parse_records(file.bytes, file.name);
        files.push_back(std::move(file));
    }
    return files;
}

void show_text(const std::vector<RecordFile> &files, Output &output) {
    bool is_first = true;
    for (const RecordFile &file : files) {
        for (const host::StateRecord &record : file.records) {
            output.write_styled(std::string(is_first ? "" : "\n") + record_text(record, file.bytes, output.style()));
            is_first = false;
        }
    }
}

void show_json(const std::vector<RecordFile> &files, Output &output) {
    Json all = Json::array();
    for (const RecordFile &file : files) {
        for (const host::StateRecord &record : file.records) {
            Json entry;
            put_text(entry, "file", file.name);
            put_record(entry, record, file.bytes);
            all.push_back(std::move(entry));
        }
    }
    output.write(json_lines(all));
}

int show(const ShowArguments &arguments) {
    const std::vector<RecordFile> files = read_files(arguments.files);
    Output output = standard_output();
    if (!arguments.has_no_pager) {
        output.page_when_long();
    }
    (arguments.is_json ? show_json : show_text)(files, output);
    output.finish();
    return kExitOk;
}

} // namespace

Verb declare_show() {
    const auto arguments = std::make_shared<ShowArguments>();
    return {.arguments = {{.name = "FILE",
                           .target = &arguments->files,
                           .help = "One or more records end to end; - is standard input",
                           .is_required = true},
                          {.name = "--json",
                           .target = &arguments->is_json,
                           .help = "Print JSON: exact integers, bytes as hex digits"},
                          {.name = "--no-pager",
                           .target = &arguments->has_no_pager,
                           .help = "Write long output straight to the terminal"}},
            .notes = "Control characters in texts are escaped on a terminal; pipes and files get the\n"
                     "exact texts.",
            .examples = {"qorstat show fault/*.qorstate", "qorstat show --json all.records | jq '.[].title'"},
            .run = [arguments] { return show(*arguments); }};
}

} // namespace cli
