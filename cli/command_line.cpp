#include "cli/command_line.h"

#include <csignal>
#include <exception>
#include <new>
#include <string>
#include <variant>

#include <fcntl.h>
#include <unistd.h>

#include "cli/arguments/parser.h"
#include "cli/arguments/wrong_use.h"
#include "cli/terminal/interruption.h"
#include "cli/terminal/output.h"
#include "cli/verbs.h"
#include "cli/version.h"

namespace cli {
namespace {

constexpr VerbEntry kVerbs[] = {
    {"run", "Host the plug-in on a described device", declare_run},
    {"notify", "Post a notification to all your running hosts", declare_notify},
    {"capture", "Capture the state of a described device as records", declare_capture},
    {"show", "Show state-capture records", declare_show},
    {"decode", "Decode a dump of 48-byte reports", declare_decode},
    {"export", "Write reports or other tables for an engine, as one file", declare_export},
    {"names", "List every name of the system, and what it means", declare_names},
    {"metrics", "Show an analytics store, or add stores up", declare_metrics},
    {"publish", "Apply a batch of analytics through the plug-in", declare_publish},
    {"validate", "Check that a module keeps its contract with a host", declare_validate},
};

constexpr Program kProgram = {
    .name = "qorstat",
    .summary = "Hosts the QOR statistics plug-in and reads its output.",
    .version = version_text,
    .verbs = kVerbs,
    .notes = "Exit codes: 0 success, 1 failure, 2 wrong use. More: qorstat VERB --help",
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

int run(const ChosenVerb &verb) {
    try {
        return verb.run();
    } catch (const WrongUse &error) {
        throw WrongUse(verb.name + ": " + error.what());
    }
}

int parse_and_run(int argc, const char *const *argv) {
    const Request request = parse_command_line(kProgram, argc, argv);
    const auto *const verb = std::get_if<ChosenVerb>(&request);
    return verb != nullptr ? run(*verb) : print_to_standard_output(std::get<std::string>(request));
}

} // namespace

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
