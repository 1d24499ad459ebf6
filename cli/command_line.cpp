#include "cli/command_line.h"

#include <cctype>
#include <csignal>
#include <exception>
#include <new>
#include <stdexcept>
#include <string>
#include <variant>

#include <fcntl.h>
#include <unistd.h>

#include "cli/arguments/parser.h"
#include "cli/arguments/wrong_use.h"
#include "cli/program.h"
#include "cli/terminal/interruption.h"
#include "cli/terminal/output.h"
#include "cli/verbs.h"
#include "cli/version.h"
#include "host/error.h"

namespace cli {
namespace {

constexpr VerbEntry kVerbs[] = {
    {"run", "Host the plug-in on a described device", declare_run},
    {"notify", "Post a notification to all your running hosts", declare_notify},
    {"capture", "Capture the state of a described device as records", declare_capture},
    {"show", "Show state-capture records", declare_show},
    {"decode", "Decode a dump of 48-byte reports", declare_decode},
    {"query", "Ask dumps, records and stores in SQL", declare_query},
    {"compare", "Find what differs between two sides of recordings", declare_compare},
    {"export", "Write reports or other tables for an engine to read", declare_export},
    {"load", "Load dumps, records and stores into ClickHouse", declare_load},
    {"schema", "Print the tables of questions for another engine", declare_schema},
    {"report", "Write a page that shows recordings in a browser", declare_report},
    {"names", "List every name of the system, and what it means", declare_names},
    {"metrics", "Show an analytics store, or add stores up", declare_metrics},
    {"publish", "Apply a batch of analytics through the plug-in", declare_publish},
    {"validate", "Check that a module keeps its contract with a host", declare_validate},
    {"completion", "Print the completion of a shell's words", declare_completion},
    {"help", "Print the help of a verb", declare_help},
};

constexpr Program kProgram = {
    .name = "qorstat",
    .summary = "Hosts the QOR statistics plug-in and reads its output.",
    .version = version_text,
    .verbs = kVerbs,
    .notes = "Exit codes: 0 success, 1 failure, 2 wrong use. More: qorstat help VERB",
    .examples = {"qorstat run examples/phone.toml", "qorstat capture examples/phone.toml --kind fault"},
};

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

int print_to_standard_output(const std::string &text) {
    Output output = standard_output();
    output.write(text);
    output.flush();
    return kExitOk;
}

/** Whether `message` has `text`, and not as a part of a longer word. */
bool mentions(const std::string &message, const std::string &text) {
    const auto is_letter = [&message](std::size_t place) {
        return place < message.size() && std::isalnum(static_cast<unsigned char>(message[place])) != 0;
    };
    for (std::size_t place = message.find(text); place != std::string::npos; place = message.find(text, place + 1)) {
        if ((place == 0 || !is_letter(place - 1)) && !is_letter(place + text.size())) {
            return true;
        }
    }
    return false;
}

/** The message of a verb; it names the variable that gave what it mentions, since the command line does not show that.
 */
std::string with_variables(const ChosenVerb &verb, const std::string &message) {
    std::string text = message;
    for (const TextOfVariable &given : verb.texts_of_variables) {
        text += mentions(message, given.text) ? " (" + given.variable + ")" : "";
    }
    return text;
}

int run(const ChosenVerb &verb) {
    try {
        return verb.run();
    } catch (const WrongUse &error) {
        throw WrongUse(verb.name + ": " + with_variables(verb, error.what()));
    } catch (const host::Error &error) {
        throw std::runtime_error(with_variables(verb, error.what()));
    }
}

int parse_and_run(int argc, const char *const *argv) {
    const Request request = parse_command_line(program(), argc, argv);
    const auto *const verb = std::get_if<ChosenVerb>(&request);
    return verb != nullptr ? run(*verb) : print_to_standard_output(std::get<std::string>(request));
}

} // namespace

const Program &program() { return kProgram; }

int run_command_line(int argc, const char *const *argv) {
    occupy_standard_streams();
    std::signal(SIGPIPE, SIG_IGN);
    try {
        return parse_and_run(argc, argv);
    } catch (const ReaderHasGone &) {
        return kExitOk;
    } catch (const Interrupted &) {
        return kExitOk;
    } catch (const WrongUse &error) {
        print_error(error.what());
        return kExitWrongUse;
    } catch (const std::bad_alloc &) {
        print_error("out of memory");
        return kExitFailed;
    } catch (const std::exception &error) {
        print_error(error.what());
        return kExitFailed;
    }
}

} // namespace cli
