#include "cli/completion/declared_words.h"
#include "cli/terminal/shell_words.h"

namespace cli {
namespace {

/** What is the same for every program. PROGRAM stands for its name. */
constexpr const char *kStart = R"(# Completes the words of PROGRAM in bash; made by "PROGRAM completion bash".

# Those of the words that begin like the current one.
_PROGRAM_words() {
    local word
    for word; do
        [[ $word == "$cur"* ]] && COMPREPLY+=("$word")
    done
    return 0
}

# The same behind the last comma of the current word.
_PROGRAM_list() {
    local word before=
    [[ $cur == *,* ]] && before=${cur%,*},
    for word; do
        [[ $before$word == "$cur"* ]] && COMPREPLY+=("$before$word")
    done
    compopt -o nospace
}

# Files with this ending, and folders; all files where there are none.
_PROGRAM_files() {
    compopt -o filenames -o default
    [[ -z $1 ]] || mapfile -t COMPREPLY < <(compgen -f -X "!*$1" -- "$cur"; compgen -d -- "$cur")
}

_PROGRAM_folders() {
    compopt -o filenames -o dirnames
}

)";

/** The search for the verb, the option before the current word, and the place of the current word. */
constexpr const char *kSearch = R"(
_PROGRAM() {
    local cur=${COMP_WORDS[COMP_CWORD]} option='' verb='' word='' ended='' place=0 i
    COMPREPLY=()
    # An "=" is a word of its own.
    for ((i = 1; i <= COMP_CWORD; ++i)); do
        word=${COMP_WORDS[i]}
        if [[ -n $option && $word == = ]]; then
            ((i == COMP_CWORD)) && cur=''
        elif ((i == COMP_CWORD)); then
            break
        elif [[ -n $option ]] && _PROGRAM_takes_value "$verb $option"; then
            option=''
        elif [[ -z $ended && $word == -- ]]; then
            ended=1 option=''
        elif [[ -z $ended && $word == -* ]]; then
            option=$word
        elif [[ -z $verb ]]; then
            verb=$word
        else
            option='' place=$((place + 1))
        fi
    done
)";

std::string quoted(const std::vector<std::string> &words) { return shell_command(words); }

/** The names of options as patterns of `case`: 'decode -f' | 'decode --format'. */
std::string patterns(const DeclaredVerbWords &verb, const DeclaredWord &option) {
    std::string text;
    for (const std::string &name : option.names) {
        text += (text.empty() ? "" : " | ") + quoted({verb.name + " " + name});
    }
    return text;
}

/** The command that completes a value. */
std::string command(const DeclaredWord &word) {
    switch (word.completion) {
    case Completion::Words:
        return "_PROGRAM_words " + quoted(word.words);
    case Completion::WordList:
        return "_PROGRAM_list " + quoted(word.words);
    case Completion::Files:
        return "_PROGRAM_files " + quoted({word.ending});
    case Completion::Folders:
        return "_PROGRAM_folders";
    default:
        return ":";
    }
}

std::string names_of_all(const std::vector<DeclaredWord> &options) {
    std::vector<std::string> names;
    for (const DeclaredWord &option : options) {
        names.insert(names.end(), option.names.begin(), option.names.end());
    }
    return quoted(names);
}

/** Tells options that take a value. */
std::string value_takers(const std::vector<DeclaredVerbWords> &verbs) {
    std::string text = "_PROGRAM_takes_value() {\n    case $1 in\n";
    for (const DeclaredVerbWords &verb : verbs) {
        for (const DeclaredWord &option : verb.options) {
            if (option.completion != Completion::Flag) {
                text += "    " + patterns(verb, option) + ") return 0 ;;\n";
            }
        }
    }
    return text + "    esac\n    return 1\n}\n";
}

std::string values_of_options(const std::vector<DeclaredVerbWords> &verbs) {
    std::string text = "    case \"$verb $option\" in\n";
    for (const DeclaredVerbWords &verb : verbs) {
        for (const DeclaredWord &option : verb.options) {
            if (option.completion != Completion::Flag) {
                text += "    " + patterns(verb, option) + ") " + command(option) + "; return ;;\n";
            }
        }
    }
    return text + "    esac\n";
}

std::string options_of_verbs(const Program &program, const std::vector<DeclaredVerbWords> &verbs) {
    std::string text = "    if [[ -z $ended && $cur == -* ]]; then\n        case $verb in\n";
    text += "        '') _PROGRAM_words " + names_of_all(options_of_program()) + " ;;\n";
    for (const DeclaredVerbWords &verb : verbs) {
        text += "        " + quoted({verb.name}) + ") _PROGRAM_words " + names_of_all(verb.options) + " ;;\n";
    }
    text += "        esac\n        return\n    fi\n    case \"$verb $place\" in\n    ' 0') _PROGRAM_words";
    for (const VerbEntry &entry : program.verbs) {
        text += " " + quoted({entry.name});
    }
    return text + " ;;\n";
}

std::string places_of_verbs(const std::vector<DeclaredVerbWords> &verbs) {
    std::string text;
    for (const DeclaredVerbWords &verb : verbs) {
        for (std::size_t place = 0; place < verb.places.size(); ++place) {
            const DeclaredWord &word = verb.places[place];
            // One that may be repeated is in every place.
            const std::string where = word.may_be_repeated ? quoted({verb.name + " "}) + "*"
                                                           : quoted({verb.name + " " + std::to_string(place)});
            text += "    " + where + ") " + command(word) + " ;;\n";
        }
    }
    return text + "    esac\n}\n\ncomplete -F _PROGRAM PROGRAM\n";
}

} // namespace

std::string bash_script(const Program &program) {
    const std::vector<DeclaredVerbWords> verbs = declared_words(program);
    return replace_all(kStart + value_takers(verbs) + kSearch + values_of_options(verbs) +
                           options_of_verbs(program, verbs) + places_of_verbs(verbs),
                       "PROGRAM", program.name);
}

} // namespace cli
