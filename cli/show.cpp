#include <cstddef>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cli/arguments/input_arguments.h"
#include "cli/arguments/wrong_use.h"
#include "cli/inputs/input_sequence.h"
#include "cli/records/json.h"
#include "cli/records/text.h"
#include "cli/terminal/json_text.h"
#include "cli/terminal/output.h"
#include "cli/terminal/output_file.h"
#include "cli/verbs.h"
#include "host/error.h"
#include "host/state_records.h"
#include "qor/report.h"

namespace cli {
namespace {

struct ShowArguments {
    std::vector<std::string> inputs;
    std::optional<std::string> files_from;
    std::optional<std::string> output_file;
    bool is_json = false;
    bool has_no_pager = false;
};

struct RecordFile {
    std::string name;
    std::vector<std::byte> bytes;
    std::vector<host::StateRecord> records;
};

/** Whether bytes that are no records can be reports, which have no mark of their own. */
bool may_be_a_dump(const ByteStream &stream, const std::vector<std::byte> &bytes) {
    return stream.content().kind == ContentKind::Dump && bytes.size() % qor::kReportSize == 0;
}

host::Error refusal_of_a_dump(const std::string &name) {
    return {name, "", "is no state-capture record; for a dump of reports use qorstat decode"};
}

/** Reads a file as a whole, so that a damaged one leaves no partial output. */
RecordFile read_records(ByteStream &stream) {
    // What does not begin like a record may have no end, and a dump any size: it is not all taken into memory.
    const std::size_t most = stream.content().kind == ContentKind::Records ? std::numeric_limits<std::size_t>::max()
                                                                           : ByteStream::kMostUnpackedAtOnce;
    if (stream.is_plain_file() && stream.file_size() > most) {
        throw refusal_of_a_dump(stream.name());
    }
    RecordFile file{stream.name(), stream.read_all(most), {}};
    try {
        file.records = host::parse_records(file.bytes, file.name);
    } catch (const host::Error &) {
        if (may_be_a_dump(stream, file.bytes)) {
            throw refusal_of_a_dump(file.name);
        }
        throw;
    }
    return file;
}

/** The records of all files, one file after another, in one of the two forms. */
class Listing {
public:
    Listing(Output &output, bool is_json) : _output(output), _is_json(is_json) {}

    void add(const RecordFile &file) {
        for (const host::StateRecord &record : file.records) {
            if (_is_json) {
                Json entry;
                put_text(entry, "file", file.name);
                put_record(entry, record, file.bytes);
                _all.push_back(std::move(entry));
            } else {
                _output.write_styled((_has_any ? "\n" : "") + record_text(record, file.bytes, _output.style()));
            }
            _has_any = true;
        }
    }

    void end() {
        if (_is_json) {
            _output.write(json_lines(_all));
        }
    }

private:
    Output &_output;
    bool _is_json;
    bool _has_any = false;
    Json _all = Json::array();
};

/** The next input that is whole; the others are named. */
std::optional<RecordFile> next_file(InputSequence &inputs) {
    while (const std::optional<Input> input = inputs.next()) {
        try {
            return read_records(*input->stream);
        } catch (const host::Error &error) {
            inputs.report(error);
        }
    }
    return std::nullopt;
}

int show(const ShowArguments &arguments) {
    if (arguments.inputs.empty() && !arguments.files_from) {
        throw WrongUse("INPUT is required");
    }
    InputSequence inputs(arguments.inputs, arguments.files_from,
                         {{ContentKind::Records, ContentKind::Dump, ContentKind::Empty},
                          {ContentKind::Records},
                          "a state-capture record"});
    OutputFile file(arguments.output_file);
    // Once there is text, nothing may have to be waited for.
    if (!arguments.has_no_pager && (inputs.is_one_file() || !inputs.may_wait())) {
        file.output().page_when_long();
    }
    Listing listing(file.output(), arguments.is_json);
    bool has_any = false;
    while (const std::optional<RecordFile> records = next_file(inputs)) {
        listing.add(*records);
        has_any = true;
    }
    if (has_any) {
        listing.end();
        file.finish();
    }
    return inputs.has_failed() ? kExitFailed : kExitOk;
}

} // namespace

Verb declare_show() {
    const auto arguments = std::make_shared<ShowArguments>();
    return {.arguments = {inputs_argument(arguments->inputs,
                                          "State-capture records, folders of them;\n- is standard input"),
                          files_from_argument(arguments->files_from),
                          {.name = "--json",
                           .target = &arguments->is_json,
                           .help = "Print JSON: exact integers, bytes as hex digits"},
                          output_argument(arguments->output_file),
                          no_pager_argument(arguments->has_no_pager)},
            .notes = "Control characters in texts are escaped on a terminal; pipes and files get the\n"
                     "exact texts.",
            .examples = {"qorstat show captures/fault", "qorstat show --json all.records | jq '.[].title'"},
            .run = [arguments] { return show(*arguments); }};
}

} // namespace cli
