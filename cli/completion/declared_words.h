/** What the scripts of all shells are made from. */
#pragma once

#include <string>
#include <vector>

#include "cli/arguments/parser.h"

namespace cli {

/** What follows an option, or stands in a place. */
enum class Completion {
    Flag,     ///< nothing follows
    Words,    ///< one of a few
    WordList, ///< some of a few, with commas between them
    Files,
    Folders,
    Text ///< something that only the user knows
};

/** An argument as shells see it. */
struct DeclaredWord {
    std::vector<std::string> names; ///< "-f" and "--format"; of a positional argument its name
    std::string value_name;
    std::string help; ///< on one line
    Completion completion;
    std::vector<std::string> words;    ///< of `Words` and `WordList`
    std::string ending;                ///< of `Files`: ".toml"; empty for all
    bool may_be_repeated;              ///< the option, or the positional argument
    std::vector<std::string> excluded; ///< the names of the options that may not stand beside it, without its own
};

struct DeclaredVerbWords {
    std::string name;
    std::string summary;
    std::vector<DeclaredWord> options;
    std::vector<DeclaredWord> places; ///< the positional arguments in their order
};

/** Declares every verb and looks at what it says. */
std::vector<DeclaredVerbWords> declared_words(const Program &program);

/** What the program takes without a verb. */
std::vector<DeclaredWord> options_of_program();

/** `text` with `what` replaced wherever it occurs. */
std::string replace_all(std::string text, const std::string &what, const std::string &by);

/** The scripts. */
std::string bash_script(const Program &program);
std::string zsh_script(const Program &program);
std::string fish_script(const Program &program);

} // namespace cli
