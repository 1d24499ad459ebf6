#include "cli/arguments/parser.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <string_view>
#include <utility>

#include <CLI/CLI.hpp>

#include "cli/arguments/invalid_value.h"
#include "cli/arguments/words.h"
#include "cli/arguments/wrong_use.h"

namespace cli {
namespace {

constexpr std::size_t kNameColumnWidth = 26;

/** What the library keeps as the value's name of an argument whose words are behind the separator. */
constexpr const char *kBehindSeparator = "--";

/** Fits a screen: arguments and options in one block, one line each, without the parser's own annotations. */
class HelpPage : public CLI::Formatter {
public:
    HelpPage() { column_width(kNameColumnWidth); }

    std::string make_group(std::string, bool is_positional, std::vector<const CLI::Option *> options) const override {
        std::string rows;
        for (const CLI::Option *const option : options) {
            rows += make_option(option, is_positional);
        }
        return rows;
    }

    std::string make_usage(const CLI::App *app, std::string name) const override {
        if (app->get_parent() == nullptr) {
            return "Usage: " + app->get_name() + " VERB [OPTIONS] [ARGUMENTS]\n";
        }
        std::string usage = "Usage: " + name + " [OPTIONS]";
        for (const CLI::Option *const argument :
             app->get_options([](const CLI::Option *o) { return o->get_positional(); })) {
            const bool is_behind = argument->get_option_text() == kBehindSeparator;
            const std::string word = (is_behind ? "-- " : "") + argument->get_name(true) +
                                     (is_behind || argument->get_expected_max() > 1 ? "..." : "");
            usage += argument->get_required() ? " " + word : " [" + word + "]";
        }
        return usage + "\n";
    }

    std::string make_option_opts(const CLI::Option *option) const override {
        const std::string &text = option->get_option_text();
        return text.empty() || text == kBehindSeparator ? "" : " " + text;
    }
};

/** The variables of a verb's options as a paragraph; empty when it has none. */
std::string variables_paragraph(const Program &program, const std::vector<Argument> &arguments) {
    constexpr std::size_t kLineWidth = 79;
    std::string paragraph;
    std::size_t width = 0;
    for (const Argument &argument : arguments) {
        if (argument.has_variable) {
            const std::string name = variable_of(program, argument);
            paragraph += paragraph.empty() ? "Variables:" : ",";
            const bool fits = width + name.size() + 3 <= kLineWidth; // with a blank and a comma
            paragraph += (fits ? " " : "\n") + name;
            width = paragraph.size() - (paragraph.rfind('\n') + 1);
        }
    }
    return paragraph;
}

/** The last lines of a verb's help page but for the examples. */
std::string verb_notes(const Program &program, const Verb &verb) {
    const std::string variables = variables_paragraph(program, verb.arguments);
    return std::string(verb.notes) + (*verb.notes == '\0' || variables.empty() ? "" : "\n\n") + variables;
}

/** The last lines of a help page. */
std::string page_end(const std::string &notes, const std::array<const char *, 2> &examples) {
    return notes + (notes.empty() ? "" : "\n\n") + "Examples:\n  " + examples[0] + "\n  " + examples[1];
}

/** Both names of an option, as the library takes them. */
std::string names_of(const Argument &argument) {
    return *argument.short_name == '\0' ? argument.name : std::string(argument.short_name) + "," + argument.name;
}

CLI::Option *add_target(CLI::App &app, const Argument &argument, bool *flag) {
    return app.add_flag(names_of(argument), *flag, argument.help);
}

CLI::Option *add_target(CLI::App &app, const Argument &argument, std::string *text) {
    return argument.has_value_or_none ? app.add_flag(names_of(argument), *text, argument.help)
                                      : app.add_option(names_of(argument), *text, argument.help);
}

template <typename Texts>
CLI::Option *add_target(CLI::App &app, const Argument &argument, Texts *texts) {
    return app.add_option(names_of(argument), *texts, argument.help);
}

CLI::Option *add_reader(CLI::App &app, const Argument &argument, const std::function<void(const std::string &)> &read) {
    const auto take = [read](const std::string &text) {
        try {
            read(text);
        } catch (const WrongUse &error) {
            throw CLI::ValidationError(error.what());
        }
    };
    return app.add_option_function<std::string>(names_of(argument), take, argument.help);
}

CLI::Option *add_target(CLI::App &app, const Argument &argument, const ValueReader &reader) {
    return add_reader(app, argument,
                      [name = std::string(argument.name), reader](const std::string &text) { reader(name, text); });
}

CLI::Option *add_target(CLI::App &app, const Argument &argument, const OneOfWords &words) {
    return add_reader(app, argument, [name = std::string(argument.name), words](const std::string &text) {
        read_word(words, name, text);
    });
}

void add_argument(CLI::App &app, const Argument &argument) {
    CLI::Option *const option =
        std::visit([&](const auto &target) { return add_target(app, argument, target); }, argument.target);
    option->option_text(argument.is_behind_separator ? kBehindSeparator : argument.value_name)
        ->required(argument.is_required);
    if (argument.is_behind_separator) {
        option->expected(0, 1); // the library gets none of them, and knows but one endless list
    }
    if (argument.is_repeated) {
        option->allow_extra_args(false);
    }
    if (argument.is_internal || argument.is_unlisted) {
        option->group("");
    }
    if (*argument.excludes != '\0') {
        option->excludes(app.get_option(argument.excludes));
    }
    if (*argument.needs != '\0') {
        option->needs(app.get_option(argument.needs));
    }
}

/** The arguments of a verb cost time at every start, so only a verb that is named has them. */
bool is_named(const VerbEntry &entry, std::span<const char *const> words) {
    return std::find(words.begin(), words.end(), std::string_view(entry.name)) != words.end();
}

/** A verb with its arguments. */
struct DeclaredVerb {
    CLI::App *app; ///< owned by the program's
    Verb verb;
};

/** Adds all verbs. @return those that are named. */
std::vector<DeclaredVerb> add_verbs(CLI::App &app, const Program &program, std::span<const char *const> words) {
    std::vector<DeclaredVerb> named;
    for (const VerbEntry &entry : program.verbs) {
        CLI::App *const verb_app = app.add_subcommand(entry.name, entry.summary)->group("Verbs");
        if (!is_named(entry, words)) {
            continue;
        }
        verb_app->get_help_ptr()->group(""); // accepted, but not listed on the page of a verb
        const DeclaredVerb &added = named.emplace_back(DeclaredVerb{verb_app, entry.declare()});
        for (const Argument &argument : added.verb.arguments) {
            add_argument(*verb_app, argument);
        }
        verb_app->footer(page_end(verb_notes(program, added.verb), added.verb.examples));
    }
    return named;
}

/** The argument of the verb to run that has the words behind the first "--"; null for none. */
const Argument *argument_behind_separator(const std::vector<DeclaredVerb> &named, std::span<const char *const> words) {
    const auto verb = std::find_if(words.begin() + (words.empty() ? 0 : 1), words.end(),
                                   [](const char *word) { return *word != '-'; });
    for (const DeclaredVerb &declared : named) {
        for (const Argument &argument : declared.verb.arguments) {
            if (argument.is_behind_separator && verb != words.end() && declared.app->get_name() == *verb) {
                return &argument;
            }
        }
    }
    return nullptr;
}

/** Gives such an argument its words. @return the others, for the library, which would take them for one list. */
std::span<const char *const> take_words_behind_separator(const std::vector<DeclaredVerb> &named,
                                                         std::span<const char *const> words) {
    const Argument *const argument = argument_behind_separator(named, words);
    const auto separator =
        std::find_if(words.begin(), words.end(), [](const char *word) { return std::string_view(word) == "--"; });
    if (argument == nullptr || separator == words.end()) {
        return words;
    }
    std::get<std::vector<std::string> *>(argument->target)->assign(std::next(separator), words.end());
    return words.first(static_cast<std::size_t>(separator - words.begin()));
}

std::vector<std::string> verb_names(const Program &program) {
    std::vector<std::string> names;
    for (const VerbEntry &entry : program.verbs) {
        names.emplace_back(entry.name);
    }
    return names;
}

std::vector<std::string> option_names(const CLI::App &app) {
    std::vector<std::string> names;
    for (const CLI::Option *const option : app.get_options()) {
        for (const std::string &name : option->get_lnames()) {
            names.push_back("--" + name);
        }
    }
    return names;
}

std::string describe_unexpected_argument(const std::string &word) { return "unexpected argument \"" + word + "\""; }

/** The message for the first word that the parser could not place. */
std::string describe_unexpected_word(const CLI::App &app, const Program &program, const std::string &word) {
    const std::vector<CLI::App *> chosen = app.get_subcommands();
    const CLI::App &reader = chosen.empty() ? app : *chosen.front();
    const std::string quoted = "\"" + word + "\"";
    if (word.size() > 1 && word.front() == '-') {
        return "unknown option " + quoted + suggest_word(word.substr(0, word.find('=')), option_names(reader));
    }
    if (chosen.empty()) {
        return "unknown verb " + quoted + suggest_word(word, verb_names(program));
    }
    return describe_unexpected_argument(word);
}

/** The parts before and after the first `mark`. Without a mark, the first part is all of `text`. */
std::pair<std::string, std::string> split_at(const std::string &text, std::string_view mark) {
    const std::size_t place = text.find(mark);
    return place == std::string::npos ? std::pair(text, std::string())
                                      : std::pair(text.substr(0, place), text.substr(place + mark.size()));
}

/** The parser's message, reworded where it exposes the parser's own types and conversions. */
std::string reword(const CLI::ParseError &error) {
    std::string message = error.what();
    if (error.get_name() == "ValidationError") {
        return message; // ours
    }
    const auto [about, problem] = split_at(message, ": ");
    if (problem.starts_with("At Most 1 required")) {
        return about + " was given more than once";
    }
    if (problem.starts_with("1 required ")) {
        return about + " needs a value";
    }
    if (about == "Could not convert") {
        const auto [option, value] = split_at(problem, " = ");
        return invalid_value(option, value);
    }
    return message;
}

std::string describe_wrong_use(const CLI::App &app, const Program &program, const CLI::ParseError &error) {
    const std::vector<CLI::App *> chosen = app.get_subcommands();
    const std::string verb = chosen.empty() ? std::string() : chosen.front()->get_name() + ": ";
    if (const std::vector<std::string> left = app.remaining(true); !left.empty()) {
        // After "--" nothing is an option.
        return verb + (left.front() == "--" && left.size() > 1 ? describe_unexpected_argument(left[1])
                                                               : describe_unexpected_word(app, program, left.front()));
    }
    if (chosen.empty()) {
        return "no verb given; " + app.get_name() + " --help lists the verbs";
    }
    return verb + reword(error);
}

void read_flag(bool &flag, const std::string &name, const std::string &text) {
    const bool is_set = text == "1" || text == "yes" || text == "true";
    if (!is_set && text != "0" && text != "no" && text != "false") {
        throw WrongUse(invalid_value(name, text) + ": expected 1, yes or true, or 0, no or false");
    }
    flag = is_set;
}

/** Gives options the texts of variables, as if these were on the command line. */
class VariableTarget {
public:
    VariableTarget(const std::string &variable, const std::string &text) : _variable(variable), _text(text) {}

    void operator()(bool *flag) const { read_flag(*flag, _variable, _text); }
    void operator()(std::string *text) const { *text = _text; }
    void operator()(std::optional<std::string> *text) const { *text = _text; }
    void operator()(std::vector<std::string> *texts) const { texts->push_back(_text); }
    void operator()(const OneOfWords &words) const { read_word(words, _variable, _text); }
    void operator()(const ValueReader &reader) const { reader(_variable, _text); }

private:
    const std::string &_variable;
    const std::string &_text;
};

/** Whether the command line leaves the option to its variable. */
bool is_left_to_variable(const CLI::Option &option) {
    const auto is_given = [](const CLI::Option *other) { return other->count() != 0; };
    return !is_given(&option) && std::ranges::none_of(option.get_excludes(), is_given) &&
           std::ranges::all_of(option.get_needs(), is_given);
}

/** Sets what the command line does not, and variables do. @return the texts that nothing has checked. @throws WrongUse.
 */
std::vector<TextOfVariable> take_variables(const Program &program, const DeclaredVerb &declared) {
    std::vector<TextOfVariable> texts;
    for (const Argument &argument : declared.verb.arguments) {
        if (!argument.has_variable || !is_left_to_variable(*declared.app->get_option(argument.name))) {
            continue;
        }
        const std::string name = variable_of(program, argument);
        const char *const text = std::getenv(name.c_str()); // NOLINT(concurrency-mt-unsafe): no thread has started
        if (text == nullptr || *text == '\0') {
            continue;
        }
        std::visit(VariableTarget(name, text), argument.target);
        if (!std::holds_alternative<bool *>(argument.target) && !std::holds_alternative<OneOfWords>(argument.target)) {
            texts.push_back({name, text});
        }
    }
    return texts;
}

} // namespace

std::string variable_of(const Program &program, const Argument &argument) {
    std::string name = std::string(program.name) + "_" + std::string(argument.name).substr(2);
    for (char &character : name) {
        const bool is_small = 'a' <= character && character <= 'z';
        character = character == '-' ? '_' : is_small ? static_cast<char>(character - 'a' + 'A') : character;
    }
    return name;
}

Request parse_command_line(const Program &program, int argc, const char *const *argv) {
    CLI::App app(program.summary, program.name);
    app.formatter(std::make_shared<HelpPage>());
    app.set_help_flag("-h,--help", "Print this help and exit");
    app.set_version_flag("-V,--version", program.version, "Print the version and exit");
    app.require_subcommand(1, 1);
    const std::span given(argv, static_cast<std::size_t>(argc));
    std::vector<DeclaredVerb> verbs = add_verbs(app, program, given);
    const std::span<const char *const> words = take_words_behind_separator(verbs, given);
    app.footer(page_end(program.notes, program.examples)); // last, because verbs inherit it
    try {
        app.parse(static_cast<int>(words.size()), words.data());
    } catch (const CLI::CallForHelp &) {
        return app.help();
    } catch (const CLI::CallForVersion &) {
        return program.version() + "\n";
    } catch (const CLI::ParseError &error) {
        throw WrongUse(describe_wrong_use(app, program, error));
    }
    const auto parsed =
        std::find_if(verbs.begin(), verbs.end(), [](const DeclaredVerb &declared) { return declared.app->parsed(); });
    const std::string name = parsed->app->get_name();
    try {
        std::vector<TextOfVariable> texts = take_variables(program, *parsed);
        return ChosenVerb{name, std::move(texts), std::move(parsed->verb.run)};
    } catch (const WrongUse &error) {
        throw WrongUse(name + ": " + error.what());
    }
}

} // namespace cli
