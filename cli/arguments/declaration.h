/**
 * What a verb accepts on its command line, as plain data. Only cli/arguments/parser.cpp knows the library that reads
 * it: its headers cost more time to compile than all verbs together.
 */
#pragma once

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace cli {

/**
 * Checks the text of a value and stores what it says. Called once, after all words are sorted out.
 * @param name  the option, for messages. @throws WrongUse when the text is no such value.
 */
using ValueReader = std::function<void(const std::string &name, const std::string &text)>;

/** Exactly one text, which is one of a few. */
struct OneOfWords {
    std::string *word;
    std::vector<std::string> words;
};

/** Where a value goes. A target keeps what it has when the argument is not given, and outlives the parsing. */
using ValueTarget = std::variant<bool *,                       // a flag, which takes no value
                                 std::string *,                // exactly one text
                                 std::optional<std::string> *, // the same; an empty text leaves it empty
                                 std::vector<std::string> *,   // any number of texts
                                 OneOfWords,                   // one of a closed list
                                 ValueReader>;

/** What the texts of a value are, where they are of no closed list: what a shell completes them with. */
enum class ValueKind {
    File, ///< with the ending of the value's name, such as ".toml", when that has one
    Folder,
    Category,
    Component,
    Event,
    Type, ///< of reports
    Verb,
    Other ///< a number, a time, a text
};

/** An option (`--name`) or, when its name has no hyphen, a positional argument. All texts are literals. */
struct Argument {
    const char *name = "";
    const char *short_name = ""; ///< one letter after a hyphen, such as "-n", beside the name; "" for none
    const char *value_name = ""; ///< what the help page calls an option's value
    ValueTarget target = {};
    const char *help = ""; ///< lines end with '\n'; the help page aligns them
    bool is_required = false;
    bool is_repeated = false;         ///< many texts are given by repeating the option, each with one
    bool has_value_or_none = false;   ///< `--name` gives a `std::string` "true", and `--name=VALUE` gives it VALUE
    bool is_behind_separator = false; ///< its many texts are all words behind the first "--", whatever they begin with
    bool is_internal = false;         ///< for the program itself: neither on the help page nor completed
    bool is_unlisted = false;         ///< another line of the help page tells of it
    const char *excludes = "";        ///< an option declared before it that may not be given beside it; "" for none
    const char *needs = "";           ///< an option declared before it that must be given beside it; "" for none
    ValueKind kind = ValueKind::File; ///< of a value that is no word of a closed list
    /**
     * Whether a variable of the environment sets it too: `--time-zone` of the program "qorstat" is QORSTAT_TIME_ZONE.
     * It counts only when neither the option nor one that excludes it is given, and what the option needs is. A flag's
     * variable is one of the words "1", "yes", "true", "0", "no" and "false". An empty variable counts as none.
     */
    bool has_variable = false;
};

/** A verb: its arguments, and the function to call when they are parsed. */
struct Verb {
    std::vector<Argument> arguments = {}; ///< in the order of the help page
    const char *notes = "";               ///< paragraphs between the arguments and the examples; "" for none
    std::array<const char *, 2> examples = {};
    /** @return the exit code. @throws host::Error, ReaderHasGone, WrongUse. */
    std::function<int()> run = {};
};

} // namespace cli
