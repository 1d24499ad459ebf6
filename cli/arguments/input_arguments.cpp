#include "cli/arguments/input_arguments.h"

#include "cli/arguments/invalid_value.h"
#include "cli/arguments/wrong_use.h"

namespace cli {
namespace {

/** The name of a file. An empty one is wrong use: it stands for a variable that was not set. */
ValueReader file_reader(std::optional<std::string> &file) {
    return [&file](const std::string &name, const std::string &text) {
        if (text.empty()) {
            throw WrongUse(invalid_value(name, text) + ": expected the name of a file");
        }
        file = text;
    };
}

} // namespace

Argument inputs_argument(std::vector<std::string> &inputs, const char *help) {
    return {.name = "INPUT", .target = &inputs, .help = help};
}

Argument files_from_argument(std::optional<std::string> &file) {
    return {.name = "--files-from",
            .value_name = "LIST",
            .target = file_reader(file),
            .help = "Also the inputs in this list, by line or by NUL"};
}

Argument device_argument(std::optional<std::string> &device) {
    return {.name = "--device",
            .value_name = "NAME",
            .target = &device,
            .help = "The device of all inputs; default: each file's name",
            .kind = ValueKind::Other};
}

Argument output_argument(std::optional<std::string> &file, const char *help) {
    return {.name = "--output", .short_name = "-o", .value_name = "FILE", .target = file_reader(file), .help = help};
}

Argument no_pager_argument(bool &has_no_pager) {
    return {.name = "--no-pager",
            .target = &has_no_pager,
            .help = "Write long output straight to the terminal",
            .has_variable = true};
}

} // namespace cli
