/** What `validate` prints. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "cli/contract/check.h"
#include "cli/terminal/text_style.h"

namespace cli {

/** One check's result, with what the module printed meanwhile. */
struct CheckReport {
    ContractCheck check;
    CheckResult result;
    std::string messages;  ///< standard output and standard error of the check's process
    std::string reproduce; ///< a command for the shell that runs this check alone, as it was run
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

/** One line: status, name, promise; below it the reasons and, where the check did not pass, what was printed. */
std::string report_text(const CheckReport &report, bool shows_reproduce, const TextStyle &style);

/** The last line. */
std::string totals_text(const Validation &validation);

std::string validation_json(const Validation &validation);

/** `--list`: one line or one object for each check. */
std::string list_text(std::span<const ContractCheck> checks);
std::string list_json(std::span<const ContractCheck> checks);

/** `words` as a shell reads them back. */
std::string shell_command(const std::vector<std::string> &words);

} // namespace cli
