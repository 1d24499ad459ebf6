/** The output of `validate`. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "cli/contract/check.h"
#include "cli/terminal/text_style.h"

namespace cli {

/** The result of one check, and what the module printed meanwhile. */
struct CheckReport {
    ContractCheck check;
    CheckResult result;
    std::string messages;  ///< standard output and standard error of the check's process
    std::string reproduce; ///< a shell command that repeats this check alone
};

struct Validation {
    std::string module;
    std::uint64_t seed;
    std::vector<CheckReport> reports;

    std::size_t count(CheckStatus status) const;
    /** Whether a check failed or crashed. */
    bool has_failed() const { return count(CheckStatus::Failed) + count(CheckStatus::Crashed) > 0; }
};

/** "passed", "failed", "crashed", "skipped", "warning" */
std::string name_of(CheckStatus status);

/** One line with status, name and promise; below it the reasons and, unless the check passed, the module's output. */
std::string report_text(const CheckReport &report, bool shows_reproduce, const TextStyle &style);

/** The last line: the number of checks by status. */
std::string totals_text(const Validation &validation);

std::string validation_json(const Validation &validation);

/** `--junit`: the form in which build servers show tests. Well-formed XML whatever the module's name and output are. */
std::string validation_junit(const Validation &validation);

/** `--list`: one line or one object for each check. */
std::string list_text(std::span<const ContractCheck> checks);
std::string list_json(std::span<const ContractCheck> checks);

} // namespace cli
