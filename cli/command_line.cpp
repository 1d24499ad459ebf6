#include "cli/command_line.h"

#include <csignal>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "cli/arguments/help_page.h"
#include "cli/arguments/invalid_value.h"
#include "cli/arguments/words.h"
#include "cli/arguments/wrong_use.h"
#include "cli/terminal/output.h"
#include "cli/verbs.h"

namespace cli {
namespace {

constexpr const char *kVersion = "qorstat " QORSTAT_VERSION;
constexpr const char *kDescription = "Hosts the QOR statistics plug-in and reads its output.";

/**
 * Occupies the descriptors of standard streams that the caller closed, so that no file opened later gets their numbers.
 * Each is opened for the opposite direction: using it still fails.
 */
void occupy_standard_streams() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) == -1) {
            (void)open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}

void print_error(const std::string &message) { print_message("qorstat: " + message); }

std::vector<std::string> verb_names(const std::vector<Verb> &verbs) {
    std::vector<std::string> names;
    for (const Verb &verb : verbs) {
        names.push_back(verb.arguments->get_name());
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
std::string describe_unexpected_word(const CLI::App &program, const std::vector<Verb> &verbs, const std::string &word) {
    const std::vector<CLI::App *> chosen = program.get_subcommands();
    const CLI::App &reader = chosen.empty() ? program : *chosen.front();
    const std::string quoted = "\"" + word + "\"";
    if (word.size() > 1 && word.front() == '-') {
        return "unknown option " + quoted + suggest_word(word.substr(0, word.find('=')), option_names(reader));
    }
    if (chosen.empty()) {
        return "unknown verb " + quoted + suggest_word(word, verb_names(verbs));
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

std::string describe_wrong_use(const CLI::App &program, const std::vector<Verb> &verbs, const CLI::ParseError &error) {
    const std::vector<CLI::App *> chosen = program.get_subcommands();
    const std::string verb = chosen.empty() ? std::string() : chosen.front()->get_name() + ": ";
    if (const std::vector<std::string> left = program.remaining(true); !left.empty()) {
        // After "--" nothing is an option.
        return verb + (left.front() == "--" && left.size() > 1
                           ? describe_unexpected_argument(left[1])
                           : describe_unexpected_word(program, verbs, left.front()));
    }
    if (chosen.empty()) {
        return "no verb given; qorstat --help lists the verbs";
    }
    return verb + reword(error);
}

int print_to_standard_output(const std::string &text) {
    Output output = standard_output();
    output.write(text);
    output.flush();
    return kExitOk;
}

int run(const Verb &verb) {
    try {
        return verb.run();
    } catch (const WrongUse &error) {
        print_error(verb.arguments->get_name() + ": " + error.what());
        return kExitWrongUse;
    }
}

int parse_and_run(int argc, const char *const *argv) {
    CLI::App program(kDescription, "qorstat");
    program.formatter(std::make_shared<HelpPage>());
    program.set_help_flag("-h,--help", "Print this help and exit");
    program.set_version_flag("--version", kVersion, "Print the version and exit");
    program.require_subcommand(1, 1);
    const std::vector<Verb> verbs = {add_run_verb(program),     add_notify_verb(program),  add_capture_verb(program),
                                     add_show_verb(program),    add_decode_verb(program),  add_metrics_verb(program),
                                     add_publish_verb(program), add_validate_verb(program)};
    program.footer("Exit codes: 0 success, 1 failure, 2 wrong use. More: qorstat VERB --help\n\n" +
                   examples("qorstat run examples/phone.toml", "qorstat capture examples/phone.toml --kind fault"));
    for (const Verb &verb : verbs) {
        verb.arguments->get_help_ptr()->group(""); // accepted, but not listed on the page of a verb
    }
    try {
        program.parse(argc, argv);
        for (const Verb &verb : verbs) {
            if (verb.arguments->parsed()) {
                return run(verb);
            }
        }
        return kExitWrongUse;
    } catch (const CLI::CallForHelp &) {
        return print_to_standard_output(program.help());
    } catch (const CLI::CallForVersion &) {
        return print_to_standard_output(std::string(kVersion) + "\n");
    } catch (const CLI::ParseError &error) {
        print_error(describe_wrong_use(program, verbs, error));
        return kExitWrongUse;
    }
}

} // namespace

int run_command_line(int argc, const char *const *argv) {
    occupy_standard_streams();
    std::signal(SIGPIPE, SIG_IGN);
    try {
        return parse_and_run(argc, argv);
    } catch (const ReaderHasGone &) {
        return kExitOk;
    } catch (const std::bad_alloc &) {
        print_error("out of memory");
        return kExitFailed;
    } catch (const std::exception &error) {
        print_error(error.what());
        return kExitFailed;
    }
}

} // namespace cli
