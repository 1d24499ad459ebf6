#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <regex.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "cli/arguments/hosting.h"
#include "cli/arguments/input_arguments.h"
#include "cli/arguments/invalid_value.h"
#include "cli/arguments/seconds.h"
#include "cli/arguments/whole_number.h"
#include "cli/arguments/wrong_use.h"
#include "cli/contract/check.h"
#include "cli/contract/child_process.h"
#include "cli/contract/report.h"
#include "cli/contract/setting.h"
#include "cli/terminal/output.h"
#include "cli/terminal/output_file.h"
#include "cli/terminal/shell_words.h"
#include "cli/verbs.h"
#include "host/error.h"
#include "host/module/file.h"
#include "host/module/platform_library.h"

namespace cli {
namespace {

constexpr std::uint64_t kDefaultSeed = 1;
constexpr double kDefaultTimeOut = 60;
constexpr double kShortestTimeOut = 0.001;
constexpr double kLongestTimeOut = 24 * 3600;

struct ValidateArguments {
    std::string module;
    std::string platform; ///< empty: the one of the program
    std::string only;
    std::optional<std::uint64_t> seed;
    std::optional<double> time_out; ///< in seconds
    bool lists = false;
    bool is_json = false;
    bool shows_reproduce = false;
    std::optional<std::string> output_file;
    std::optional<std::string> junit_file;
    std::string check_in_child; ///< set in the process of one check: the check's name

    std::uint64_t chosen_seed() const { return seed.value_or(kDefaultSeed); }
    double chosen_time_out() const { return time_out.value_or(kDefaultTimeOut); }
};

/** A POSIX extended regular expression, searched for anywhere in a text. */
class Pattern {
public:
    explicit Pattern(const std::string &text) {
        if (const int error = regcomp(&_pattern, text.c_str(), REG_EXTENDED | REG_NOSUB); error != 0) {
            char reason[256];
            regerror(error, &_pattern, reason, sizeof reason);
            throw WrongUse(invalid_value("--only", text) + ": not a regular expression: " + reason);
        }
    }
    ~Pattern() { regfree(&_pattern); }
    Pattern(const Pattern &) = delete;
    Pattern &operator=(const Pattern &) = delete;

    bool matches(const char *text) const { return regexec(&_pattern, text, 0, nullptr, 0) == 0; }

private:
    regex_t _pattern{};
};

std::vector<ContractCheck> choose_checks(const std::string &only) {
    const Pattern pattern(only);
    std::vector<ContractCheck> chosen;
    for (const ContractCheck &check : contract_checks()) {
        if (pattern.matches(check.name)) {
            chosen.push_back(check);
        }
    }
    if (chosen.empty()) {
        throw WrongUse(invalid_value("--only", only) + ": no check has such a name; --list shows the names");
    }
    return chosen;
}

// ---- in the process of one check

/** The form in which a result is passed to the parent: one JSON object. */
std::string encode_result(const CheckResult &result) {
    const nlohmann::json json = {{"status", static_cast<int>(result.status)},
                                 {"reasons", result.reasons},
                                 {"explained_by", result.explained_by}};
    return json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

int check_in_child(const ValidateArguments &arguments) {
    if (!is_child()) {
        throw WrongUse("--check-in-child is for internal use only");
    }
    become_child();
    if (!arguments.platform.empty() && !host::OtherPlatform::is_in_use(arguments.platform)) {
        throw host::Error(arguments.platform, "", "the loader does not use this platform");
    }
    for (const ContractCheck &check : contract_checks()) {
        if (arguments.check_in_child == check.name) {
            const std::string result = encode_result(run_check(check, arguments.module, arguments.chosen_seed()));
            write_fully(kResultDescriptor, std::as_bytes(std::span(result)), "the pipe to the parent");
            return kExitOk;
        }
    }
    throw WrongUse("there is no check \"" + arguments.check_in_child + "\"");
}

// ---- in the process that the user started

/** Reads `encode_result`'s form; empty when `text` is anything else. */
std::optional<CheckResult> decode_result(const std::string &text) {
    const nlohmann::json json = nlohmann::json::parse(text, nullptr, false);
    if (!json.is_object() || !json.contains("status") || !json["status"].is_number_unsigned() ||
        !json.contains("reasons") || !json["reasons"].is_array() || !json.contains("explained_by") ||
        !json["explained_by"].is_string()) {
        return std::nullopt;
    }
    const auto status = json["status"].get<std::uint64_t>();
    if (status > static_cast<std::uint64_t>(CheckStatus::Warning)) {
        return std::nullopt;
    }
    CheckResult result{static_cast<CheckStatus>(status), {}, json["explained_by"].get<std::string>()};
    for (const nlohmann::json &reason : json["reasons"]) {
        if (!reason.is_string()) {
            return std::nullopt;
        }
        result.reasons.push_back(reason.get<std::string>());
    }
    return result;
}

std::string seconds_text(double seconds) {
    const std::string number = seconds_argument(seconds);
    return number + (number == "1" ? " second" : " seconds");
}

std::string signal_text(int signal) {
    const char *name = sigabbrev_np(signal);
    const char *description = sigdescr_np(signal);
    return "killed by signal " + std::to_string(signal) +
           (name == nullptr ? "" : " (SIG" + std::string(name) + ", " + description + ")");
}

/** The result of a check, from the way its process ended. */
CheckResult judge(const ChildOutcome &outcome, double time_out) {
    const auto crashed = [](const std::string &reason) { return CheckResult{CheckStatus::Crashed, {reason}}; };
    if (outcome.timed_out) {
        return crashed("timed out after " + seconds_text(time_out));
    }
    const std::optional<CheckResult> result = decode_result(outcome.result);
    const std::string when = result ? ", after the check's result" : ", without a result";
    if (outcome.signal != 0) {
        return crashed(signal_text(outcome.signal) + when);
    }
    if (!result || outcome.exit_status != kExitOk) {
        return crashed("ended with exit status " + std::to_string(outcome.exit_status) + when);
    }
    if (result->status == CheckStatus::Passed && !outcome.messages.empty()) {
        return {CheckStatus::Warning, {"the module writes to standard output or standard error"}};
    }
    return *result;
}

/** A path in a form that cannot be mistaken for an option. */
std::string path_argument(const std::string &path) { return (path.front() == '-' ? "./" : "") + path; }

/**
 * The words with which the program validates the same module again.
 * @param choice  of a check: an option and its value.
 */
std::vector<std::string> words_for(const ValidateArguments &arguments, const std::array<std::string, 2> &choice) {
    std::vector<std::string> words = {"validate", path_argument(arguments.module),        choice[0], choice[1],
                                      "--seed",   std::to_string(arguments.chosen_seed())};
    if (!arguments.platform.empty()) {
        words.insert(words.end(), {"--platform", path_argument(arguments.platform)});
    }
    return words;
}

/** The command that runs one check alone with these arguments. */
std::string reproduction_command(const ContractCheck &check, const ValidateArguments &arguments) {
    std::vector<std::string> words = words_for(arguments, {"--only", "^" + std::string(check.name) + "$"});
    words.insert(words.begin(), "qorstat");
    if (arguments.chosen_time_out() != kDefaultTimeOut) {
        words.insert(words.end(), {"--timeout", seconds_argument(arguments.chosen_time_out())});
    }
    return shell_command(words);
}

/** The environment of every check's process. @param platform  null: the one of the program. */
std::vector<std::pair<std::string, std::string>> check_environment(const host::OtherPlatform *platform) {
    std::vector<std::pair<std::string, std::string>> variables = exact_memory_environment();
    if (platform != nullptr) {
        const auto more = platform->environment();
        variables.insert(variables.end(), more.begin(), more.end());
    }
    return variables;
}

CheckReport run_in_child(const ContractCheck &check, const ValidateArguments &arguments,
                         const host::OtherPlatform *platform) {
    const auto time_out = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::duration<double>(arguments.chosen_time_out()));
    const ChildOutcome outcome =
        run_child(words_for(arguments, {"--check-in-child", check.name}), check_environment(platform), time_out);
    return {check, judge(outcome, arguments.chosen_time_out()), outcome.messages,
            reproduction_command(check, arguments)};
}

/** Whether this is the failed loading check. The later checks would only repeat its result. */
bool shows_load_failure(const CheckReport &report) {
    return report.check.name == std::string_view("loading") &&
           (report.result.status == CheckStatus::Failed || report.result.status == CheckStatus::Crashed);
}

/** Adds the check of this name unless it is in `checks`. */
void add_check(std::vector<ContractCheck> &checks, std::string_view name) {
    const auto has_name = [name](const ContractCheck &check) { return check.name == name; };
    if (std::any_of(checks.begin(), checks.end(), has_name)) {
        return;
    }
    const std::vector<ContractCheck> all = contract_checks();
    if (const auto found = std::find_if(all.begin(), all.end(), has_name); found != all.end()) {
        checks.push_back(*found);
    }
}

CheckReport skip(const ContractCheck &check, const std::string &reason) {
    return {check, {CheckStatus::Skipped, {reason}}, "", ""};
}

/** A choice of checks of which none can run must not pass as a sound module. */
void require_check_for(const host::OtherPlatform &platform, const std::vector<ContractCheck> &checks,
                       const ValidateArguments &arguments) {
    if (!platform.has_host() && std::all_of(checks.begin(), checks.end(), std::mem_fn(&ContractCheck::needs_host))) {
        throw WrongUse(invalid_value("--only", arguments.only) +
                       ": these checks need a host's side, which the library of --platform lacks");
    }
}

int list(const ValidateArguments &arguments) {
    const std::vector<ContractCheck> checks = choose_checks(arguments.only);
    OutputFile file(arguments.output_file);
    file.output().write(arguments.is_json ? list_json(checks) : list_text(checks));
    file.finish();
    return kExitOk;
}

int validate_module(const ValidateArguments &arguments) {
    std::vector<ContractCheck> checks = choose_checks(arguments.only);
    host::read_module_file(arguments.module); // throws before anything runs when the file is not a module
    std::optional<host::OtherPlatform> other;
    if (!arguments.platform.empty()) {
        require_check_for(other.emplace(arguments.platform, arguments.module), checks, arguments);
    }
    const host::OtherPlatform *const platform = other ? &*other : nullptr;
    Validation validation{arguments.module, arguments.chosen_seed(), {}};
    OutputFile file(arguments.output_file);
    std::optional<OutputFile> junit; // opened before anything runs, since one that cannot be written is an error
    if (arguments.junit_file) {
        junit.emplace(arguments.junit_file);
    }
    Output &output = file.output();
    bool loads = true;
    for (std::size_t i = 0; i < checks.size(); ++i) {
        const ContractCheck check = checks[i];
        const auto make_report = [&] {
            if (!loads) {
                return skip(check, "the module does not load");
            }
            if (check.needs_host && platform != nullptr && !platform->has_host()) {
                return skip(check, "the check needs a host's side, which the library of --platform lacks");
            }
            return run_in_child(check, arguments, platform);
        };
        const CheckReport &report = validation.reports.emplace_back(make_report());
        loads = loads && !shows_load_failure(report);
        // A choice of checks that are all skipped must not pass as a sound module.
        add_check(checks, report.result.explained_by);
        if (!arguments.is_json) {
            output.write_styled(report_text(report, arguments.shows_reproduce, output.style()));
            output.flush();
        }
    }
    output.write(arguments.is_json ? validation_json(validation) : totals_text(validation));
    file.finish();
    if (junit) {
        junit->output().write(validation_junit(validation));
        junit->finish();
    }
    return validation.has_failed() ? kExitFailed : kExitOk;
}

int validate(const ValidateArguments &arguments) {
    if (arguments.lists) {
        if (!arguments.module.empty() || arguments.seed || arguments.time_out || arguments.shows_reproduce ||
            arguments.junit_file || !arguments.platform.empty()) {
            throw WrongUse("only --only and --json can be combined with --list");
        }
        return list(arguments);
    }
    if (arguments.module.empty()) {
        throw WrongUse("PLUGIN.so is required");
    }
    if (arguments.junit_file &&
        (*arguments.junit_file == "-" || *arguments.junit_file == arguments.output_file.value_or("-"))) {
        throw WrongUse(invalid_value("--junit", *arguments.junit_file) + ": expected a file of its own");
    }
    return arguments.check_in_child.empty() ? validate_module(arguments) : check_in_child(arguments);
}

/** A file like that of `--output`. */
Argument junit_argument(std::optional<std::string> &file) {
    Argument argument = output_argument(file, "Also write the results as JUnit XML");
    argument.name = "--junit";
    argument.short_name = "";
    return argument;
}

} // namespace

Verb declare_validate() {
    const auto arguments = std::make_shared<ValidateArguments>();
    return {.arguments = {{.name = "PLUGIN.so", .target = &arguments->module, .help = "Module to check"},
                          platform_option(arguments->platform),
                          {.name = "--list",
                           .target = &arguments->lists,
                           .help = "List the checks and what each one promises"},
                          {.name = "--only",
                           .value_name = "REGEX",
                           .target = &arguments->only,
                           .help = "Run checks whose names match (POSIX extended)",
                           .kind = ValueKind::Other},
                          {.name = "--seed",
                           .value_name = "N",
                           .target = whole_number_reader(arguments->seed),
                           .help = "Seed of the checks' random numbers; default: 1",
                           .kind = ValueKind::Other},
                          {.name = "--timeout",
                           .value_name = "SECONDS",
                           .target = seconds_reader(arguments->time_out, {kShortestTimeOut, kLongestTimeOut}),
                           .help = "Time limit of each check; default: 60",
                           .kind = ValueKind::Other},
                          {.name = "--reproduce",
                           .target = &arguments->shows_reproduce,
                           .help = "Print a command that repeats each failed check"},
                          {.name = "--json", .target = &arguments->is_json, .help = "Print JSON"},
                          output_argument(arguments->output_file),
                          junit_argument(arguments->junit_file),
                          {.name = "--check-in-child", .target = &arguments->check_in_child, .is_internal = true}},
            .notes = "Each check runs in its own process: a crash or a hang is a result. Statuses:\n"
                     "passed, failed, crashed, skipped, warning; failed or crashed exits with 1.\n"
                     "A check that explains a skipped one runs even if --only excludes it.",
            .examples = {"qorstat validate build/release/bin/OndreQORHIDStatistics.so",
                         "qorstat validate plugin.so --only '^(factory|query)-' --reproduce"},
            .run = [arguments] { return validate(*arguments); }};
}

} // namespace cli
