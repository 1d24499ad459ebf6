#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "cli/arguments/words.h"
#include "cli/arguments/wrong_use.h"
#include "cli/program.h"
#include "cli/terminal/output.h"
#include "cli/verbs.h"

namespace cli {
namespace {

void require_verb(const std::string &word) {
    std::vector<std::string> names;
    for (const VerbEntry &entry : program().verbs) {
        names.emplace_back(entry.name);
    }
    if (std::ranges::find(names, word) == names.end()) {
        throw WrongUse("unknown verb \"" + word + "\"" + suggest_word(word, names));
    }
}

int print_help(const std::optional<std::string> &verb) {
    std::vector<const char *> words = {program().name};
    if (verb) {
        require_verb(*verb);
        words.push_back(verb->c_str());
    }
    words.push_back("--help");
    Output output = standard_output();
    output.write(std::get<std::string>(parse_command_line(program(), static_cast<int>(words.size()), words.data())));
    output.flush();
    return kExitOk;
}

} // namespace

Verb declare_help() {
    const auto verb = std::make_shared<std::optional<std::string>>();
    return {.arguments = {{.name = "VERB",
                           .target = verb.get(),
                           .help = "Of this verb; default: of the program",
                           .kind = ValueKind::Verb}},
            .notes = "Below \"Variables\" a page lists variables of the environment that set the options\n"
                     "of the same names: QORSTAT_LOG_LEVEL=error is --log-level error. The command\n"
                     "line wins. For a flag a variable is 1, yes or true, or 0, no or false.",
            .examples = {"qorstat help decode", "qorstat help run | grep Variables"},
            .run = [verb] { return print_help(*verb); }};
}

} // namespace cli
