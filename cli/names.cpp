#include <memory>
#include <optional>
#include <string>

#include "cli/arguments/input_arguments.h"
#include "cli/reports/name_listing.h"
#include "cli/terminal/json_text.h"
#include "cli/terminal/output.h"
#include "cli/terminal/output_file.h"
#include "cli/verbs.h"

namespace cli {
namespace {

struct NamesArguments {
    std::optional<std::string> category;
    bool is_json = false;
    std::optional<std::string> output_file;
};

int list_names(const NamesArguments &arguments) {
    const WantedCategory wanted =
        arguments.category ? WantedCategory(find_category(*arguments.category)) : std::nullopt;
    OutputFile file(arguments.output_file);
    Output &output = file.output();
    if (arguments.is_json) {
        output.write(json_lines(names_json(wanted)));
    } else {
        output.write_styled(name_table_text(wanted, output.style()));
    }
    file.finish();
    return kExitOk;
}

} // namespace

Verb declare_names() {
    const auto arguments = std::make_shared<NamesArguments>();
    return {.arguments = {{.name = "CATEGORY",
                           .target = &arguments->category,
                           .help = "One by name or id, with all that its reports show",
                           .kind = ValueKind::Category},
                          {.name = "--json", .target = &arguments->is_json, .help = "Print JSON; null: not stated"},
                          output_argument(arguments->output_file)},
            .notes = "Categories, components, events, types, subjects of traces, and the fields of\n"
                     "every layout: id, place, size, unit and meaning, as far as the system states\n"
                     "them.",
            .examples = {"qorstat names wake", "qorstat names --json | jq '.layouts[].name'"},
            .run = [arguments] { return list_names(*arguments); }};
}

} // namespace cli
