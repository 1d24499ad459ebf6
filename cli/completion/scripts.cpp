#include "cli/completion/scripts.h"

#include "cli/completion/declared_words.h"

namespace cli {

std::vector<std::string> completed_shells() { return {"bash", "zsh", "fish"}; }

std::string completion_script(const Program &program, const std::string &shell) {
    if (shell == "bash") {
        return bash_script(program);
    }
    return shell == "zsh" ? zsh_script(program) : fish_script(program);
}

} // namespace cli
