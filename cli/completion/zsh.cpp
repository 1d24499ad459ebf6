#include "cli/completion/declared_words.h"
#include "cli/terminal/shell_words.h"

namespace cli {
namespace {

constexpr const char *kStart = R"(#compdef PROGRAM
# Completes the words of PROGRAM in zsh; made by "PROGRAM completion zsh".

_PROGRAM() {
    local curcontext=$curcontext state line ret=1
    local -A opt_args
    _arguments -C \
)";

/** `text` with a backslash before each of `characters` and before backslashes. */
std::string escape(const std::string &text, const std::string &characters) {
    std::string escaped;
    for (const char character : text) {
        escaped += character == '\\' || characters.find(character) != std::string::npos ? "\\" : "";
        escaped += character;
    }
    return escaped;
}

std::string joined(const std::vector<std::string> &words) {
    std::string text;
    for (const std::string &word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

/** How a value is completed, as `_arguments` takes it. */
std::string action(const DeclaredWord &word) {
    switch (word.completion) {
    case Completion::Words:
        return "(" + escape(joined(word.words), ":()") + ")";
    case Completion::WordList:
        // The words between this call's own options and those that the list adds.
        return "{local -a names=(" + joined(word.words) + "); _sequence compadd - -a names}";
    case Completion::Files:
        return word.ending.empty() ? "_files" : "_files -g \"*" + word.ending + "\"";
    case Completion::Folders:
        return "_files -/";
    default:
        return " ";
    }
}

/** A line that tells the shell one name of an option. */
std::string option_line(const DeclaredWord &option, const std::string &name) {
    std::vector<std::string> excluded = option.excluded;
    if (!option.may_be_repeated) {
        excluded.insert(excluded.end(), option.names.begin(), option.names.end());
    }
    std::string told = excluded.empty() ? "" : "(" + joined(excluded) + ")";
    told += option.may_be_repeated ? "*" : "";
    told += name;
    if (option.completion != Completion::Flag) {
        told += name.starts_with("--") ? "=" : "+";
    }
    told += "[" + escape(option.help, "[]") + "]";
    if (option.completion != Completion::Flag) {
        told += ":" + escape(option.value_name, ":") + ":" + action(option);
    }
    return shell_command({told}) + " \\\n";
}

std::string option_lines(const std::vector<DeclaredWord> &options, const std::string &indent) {
    std::string lines;
    for (const DeclaredWord &option : options) {
        for (const std::string &name : option.names) {
            lines += indent + option_line(option, name);
        }
    }
    return lines;
}

std::string verb_case(const DeclaredVerbWords &verb) {
    std::string text = "        " + shell_command({verb.name}) + ")\n            _arguments -s -S \\\n";
    text += option_lines(verb.options, "                ");
    for (std::size_t place = 0; place < verb.places.size(); ++place) {
        const DeclaredWord &word = verb.places[place];
        text += "                " +
                shell_command({(word.may_be_repeated ? "*" : std::to_string(place + 1)) + ":" +
                               escape(word.names.front(), ":") + ":" + action(word)}) +
                " \\\n";
    }
    return text + "                && ret=0 ;;\n";
}

} // namespace

std::string zsh_script(const Program &program) {
    const std::vector<DeclaredVerbWords> verbs = declared_words(program);
    std::string script = kStart + option_lines(options_of_program(), "        ") +
                         "        '1:verb:->verb' \\\n        '*::argument:->argument' && ret=0\n"
                         "    case $state in\n    verb)\n        local -a verbs=(\n";
    for (const DeclaredVerbWords &verb : verbs) {
        script += "            " + shell_command({escape(verb.name, ":") + ":" + verb.summary}) + "\n";
    }
    script += "        )\n        _describe -t verbs verb verbs && ret=0 ;;\n    argument)\n"
              "        curcontext=\"${curcontext%:*:*}:PROGRAM-$line[1]:\"\n        case $line[1] in\n";
    for (const DeclaredVerbWords &verb : verbs) {
        script += verb_case(verb);
    }
    script += "        esac ;;\n    esac\n    return ret\n}\n\n"
              "# Where it is loaded by itself, this call completes; where it is sourced, it is told to the shell.\n"
              "if [[ $zsh_eval_context[-1] == loadautofunc ]]; then\n    _PROGRAM \"$@\"\nelse\n"
              "    compdef _PROGRAM PROGRAM\nfi\n";
    return replace_all(script, "PROGRAM", program.name);
}

} // namespace cli
