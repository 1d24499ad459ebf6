#include "cli/completion/declared_words.h"

namespace cli {
namespace {

constexpr const char *kStart = R"(# Completes the words of PROGRAM in fish; made by "PROGRAM completion fish".

# Whether the verb of the command line is this one, or there is none yet.
function __PROGRAM_verb
    set -l words (commandline -opc)
    for word in $words[2..-1]
        if not string match -q -- '-*' $word
            test "$word" = "$argv[1]"
            return
        end
    end
    test -z "$argv[1]"
end

# The words behind what stands before the last comma.
function __PROGRAM_list
    set -l before (commandline -ct | string replace -r '^-[^=]*=' '' | string replace -r '[^,]*$' '')
    printf '%s\n' "$before"$argv
end

complete -c PROGRAM -f
)";

/** In single quotes, as this shell reads them. */
std::string quoted(const std::string &text) {
    std::string quotes = "'";
    for (const char character : text) {
        quotes += character == '\'' || character == '\\' ? "\\" : "";
        quotes += character;
    }
    return quotes + "'";
}

std::string joined(const std::vector<std::string> &words) {
    std::string text;
    for (const std::string &word : words) {
        text += " " + word;
    }
    return text;
}

/** The options of `complete` for a value. @param requires_value  the one that says that a value follows; "" for none.
 */
std::string value_options(const DeclaredWord &word, const std::string &requires_value) {
    switch (word.completion) {
    case Completion::Words:
        return requires_value + " -a " + quoted(joined(word.words).substr(1));
    case Completion::WordList:
        return requires_value + " -a " + quoted("(__PROGRAM_list" + joined(word.words) + ")");
    case Completion::Files:
        return word.ending.empty()
                   ? " -r -F"
                   : requires_value + " -k -a " + quoted("(__fish_complete_suffix " + word.ending + ")");
    case Completion::Folders:
        return requires_value + " -a '(__fish_complete_directories)'";
    case Completion::Text:
        return requires_value;
    default:
        return "";
    }
}

std::string option_line(const std::string &condition, const DeclaredWord &option) {
    std::string line = condition;
    for (const std::string &name : option.names) {
        line += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
    }
    return line + value_options(option, " -x") + " -d " + quoted(option.help) + "\n";
}

} // namespace

std::string fish_script(const Program &program) {
    std::string script = kStart;
    const std::string line_start = "complete -c PROGRAM -n ";
    const std::string no_verb = line_start + "__PROGRAM_verb";
    for (const DeclaredWord &option : options_of_program()) {
        script += option_line(no_verb, option);
    }
    for (const DeclaredVerbWords &verb : declared_words(program)) {
        script += no_verb + " -a " + quoted(verb.name) + " -d " + quoted(verb.summary) + "\n";
        const std::string condition = line_start + quoted("__PROGRAM_verb " + verb.name);
        for (const DeclaredWord &option : verb.options) {
            script += option_line(condition, option);
        }
        for (const DeclaredWord &place : verb.places) {
            if (place.completion != Completion::Text) {
                script += condition + value_options(place, "") + "\n";
            }
        }
    }
    return replace_all(script, "PROGRAM", program.name);
}

} // namespace cli
