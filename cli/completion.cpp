#include <memory>
#include <string>

#include "cli/arguments/input_arguments.h"
#include "cli/arguments/words.h"
#include "cli/completion/scripts.h"
#include "cli/program.h"
#include "cli/terminal/output_file.h"
#include "cli/verbs.h"

namespace cli {
namespace {

struct CompletionArguments {
    std::string shell;
    std::optional<std::string> output_file;
};

int print_completion(const CompletionArguments &arguments) {
    OutputFile file(arguments.output_file);
    file.output().write(completion_script(program(), arguments.shell));
    file.finish();
    return kExitOk;
}

} // namespace

Verb declare_completion() {
    const auto arguments = std::make_shared<CompletionArguments>();
    return {.arguments = {{.name = "SHELL",
                           .target = word_reader(arguments->shell, completed_shells()),
                           .help = "bash, zsh or fish",
                           .is_required = true},
                          output_argument(arguments->output_file)},
            .notes = "bash: source <(qorstat completion bash) in ~/.bashrc. zsh: a file _qorstat in a\n"
                     "folder of $fpath. fish: ~/.config/fish/completions/qorstat.fish.",
            .examples = {"qorstat completion zsh -o ~/.zfunc/_qorstat",
                         "qorstat completion fish -o ~/.config/fish/completions/qorstat.fish"},
            .run = [arguments] { return print_completion(*arguments); }};
}

} // namespace cli
