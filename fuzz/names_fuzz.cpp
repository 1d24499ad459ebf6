// Reads any file of the owner's names: it is refused with one error that names a place, or every form of a report stays
// whole with the names in it.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "cli/dumps/owner_names.h"
#include "cli/reports/csv.h"
#include "cli/reports/json.h"
#include "cli/reports/named_line.h"
#include "cli/reports/trace.h"
#include "fuzz/input.h"
#include "host/error.h"
#include "host/utf8.h"

namespace {

using fuzz::require;

void require_json(const std::string &text) {
    require(nlohmann::json::accept(text), "a form for programs is JSON", text);
}

/** The number of fields in a line of CSV; 0 if a quoted field does not end. */
unsigned field_count(std::string_view line) {
    unsigned fields = 1;
    bool is_quoted = false;
    for (const char c : line) {
        is_quoted ^= c == '"';
        fields += c == ',' && !is_quoted ? 1 : 0;
    }
    return is_quoted ? 0 : fields;
}

void show(const _QorProfileReport &report, const cli::OwnerNames &names) {
    text_buffer json;
    cli::append_json_line(json, report, {}, names, true);
    require_json(std::string(json.text()));
    text_buffer events;
    cli::TraceEvents(&names).append(events, report);
    require_json("[0" + std::string(events.text()) + "]");
    text_buffer row;
    cli::append_csv_line(row, report, {}, names, true);
    require(field_count(row.text()) == 14, "a row has its fields", row.text());
    text_buffer line;
    cli::append_named_line(line, report, {}, names);
    require(line.text().starts_with("{  'category':") && line.text().ends_with("}"), "a line is whole", line.text());
    for (const std::string_view name : {names.category_name(report.category_id()), names.type_name(report.type_id()),
                                        names.component_name(report.category_id(), report.component_id())}) {
        require(!name.empty() && host::is_utf8(name), "a name is a text", name);
        for (std::string_view rest = name; !rest.empty(); rest.remove_prefix(1)) {
            require(host::control_character_length(rest) == 0, "a name has no control characters", name);
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Input input(data, size);
    std::vector<std::uint8_t> bytes = input.bytes(_QorProfileReport::kSize);
    bytes.resize(_QorProfileReport::kSize);
    const auto *toml = reinterpret_cast<const char *>(input.rest().data());
    try {
        show(_QorProfileReport::copied_from(bytes.data()),
             {host::parse_toml_texts({toml, input.rest().size()}, "names.toml", "a file of names",
                                     cli::OwnerNames::kSections),
              "names.toml"});
    } catch (const host::Error &error) {
        require(error.file() == "names.toml", "the error names the file", error.what());
        require(error.place().starts_with("line "), "the error names a place", error.what());
        require(std::string_view(error.what()).size() < 4096 + size, "the error's length is proportionate",
                error.what());
    }
    return 0;
}
