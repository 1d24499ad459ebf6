// The module's file, its loading, and its plain C entry points.

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

#include "cli/contract/check.h"
#include "decoder/ProfileDescription.h"
#include "host/TvValues.h"
#include "host/error.h"
#include "host/module/file.h"
#include "host/module/platform_library.h"
#include "platform/Owned.h"
#include "qor/categories.h"
#include "qor/report.h"

namespace cli {
namespace {

using Report = std::array<std::uint8_t, kQorProfileReportSize>;

constexpr std::array<const char *, 4> kPromisedExports = {kOndreQORHIDStatisticsFactoryName, "CopyProfileDescription",
                                                          "qor_profile_print", "_qor_profile_delta_enabled"};

void check_loading(CheckedModule &module, Findings &findings) {
    try {
        const host::Module first(module.path());
        const host::Module again(module.path());
        findings.expect(first.factory() == again.factory(), "a second load gives another factory");
    } catch (const host::Error &error) {
        findings.fail(error.reason());
    }
}

void check_platform(CheckedModule &module, Findings &findings) {
    if (const std::string difference = host::describe_other_platform(module.path()); !difference.empty()) {
        findings.warn("the module " + difference);
    }
}

bool is_promised_export(const std::string &name) {
    return std::find(kPromisedExports.begin(), kPromisedExports.end(), name) != kPromisedExports.end();
}

void check_exports(CheckedModule &module, Findings &findings) {
    const std::vector<std::string> exported = host::read_module_file(module.path()).exported;
    for (const char *promised : kPromisedExports) {
        findings.expect(std::binary_search(exported.begin(), exported.end(), promised),
                        std::string(promised) + " is not exported");
    }
    for (const std::string &name : exported) {
        if (is_promised_export(name)) {
            continue;
        }
        if (name.rfind("__", 0) == 0) { // reserved for compilers: sanitizers and coverage add such names
            findings.warn(name + " is also exported, added by the compiler");
        } else {
            findings.fail(name + " is also exported");
        }
    }
}

void check_protection(CheckedModule &module, Findings &findings) {
    const host::ModuleFile file = host::read_module_file(module.path());
    const struct {
        bool holds;
        const char *reason;
    } rows[] = {
        {file.is_read_only_after_relocation, "its relocated data stays writable: link with -z relro"},
        {file.is_bound_at_once, "its symbols are bound lazily: link with -z now"},
        {!file.relocates_code, "its code is relocated when it is loaded: compile with -fPIC"},
        {!file.wants_executable_stack, "it requests an executable stack: link with -z noexecstack"},
    };
    for (const auto &row : rows) {
        if (!row.holds) {
            findings.warn(row.reason);
        }
    }
}

/** Returns what `act` prints to standard output. No other thread may write there meanwhile. */
template <typename Act>
std::string capture_output(Act act) {
    std::fflush(stdout);
    const int kept = dup(STDOUT_FILENO);
    const int memory = memfd_create("printed", MFD_CLOEXEC);
    dup2(memory, STDOUT_FILENO);
    act();
    std::fflush(stdout);
    dup2(kept, STDOUT_FILENO);
    close(kept);
    std::string text(static_cast<std::size_t>(lseek(memory, 0, SEEK_END)), '\0');
    const ssize_t count = pread(memory, text.data(), text.size(), 0);
    close(memory);
    text.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
    return text;
}

/** The module's entry points for reports. */
struct EntryPoints {
    explicit EntryPoints(CheckedModule &module)
        : describe(reinterpret_cast<decltype(describe)>(symbol(module, "CopyProfileDescription"))),
          print(reinterpret_cast<decltype(print)>(symbol(module, "qor_profile_print"))),
          delta_enabled(static_cast<std::uint8_t *>(symbol(module, "_qor_profile_delta_enabled"))) {}

    /** The description of a report; "(null)" when there is none. */
    std::string describe_report(const void *report) const {
        const platform::OwnedValue line(describe(report));
        const char *text = TvStringGetCString(line.get());
        return text == nullptr ? "(null)" : text;
    }

    decltype(&CopyProfileDescription) describe;
    decltype(&qor_profile_print) print;
    std::uint8_t *delta_enabled;

private:
    static void *symbol(CheckedModule &module, const char *name) {
        void *found = module.load().symbol(name);
        if (found == nullptr) {
            throw SkippedCheck(std::string(name) + " is not exported", "exports");
        }
        return found;
    }
};

/** Random bytes, with a known category or one just beyond. */
std::vector<Report> random_reports(CheckedModule &module, std::size_t count) {
    std::vector<Report> reports(count);
    for (Report &report : reports) {
        for (std::uint8_t &byte : report) {
            byte = static_cast<std::uint8_t>(module.random());
        }
        // Most would be unknown otherwise.
        std::uint8_t &category = report[qor::header::kCategoryId.offset];
        category = static_cast<std::uint8_t>(category % (std::size(qor::kCategories) + 1));
    }
    return reports;
}

bool is_one_line(const std::string &line) {
    return line == "(null)" || (line.rfind("{ ", 0) == 0 && line.back() == '}' && line.find('\n') == std::string::npos);
}

void check_report_entry_points(CheckedModule &module, Findings &findings) {
    const EntryPoints entry(module);
    findings.expect(entry.describe_report(nullptr) == "(null)", "CopyProfileDescription describes a null report");
    const std::string printed_for_null = capture_output([&] { entry.print(nullptr); });
    findings.expect(printed_for_null.empty(), "qor_profile_print prints for a null report: " + printed_for_null);
    findings.expect_equal("_qor_profile_delta_enabled at load", *entry.delta_enabled, 0);

    const Report zeros{};
    const std::string line = entry.describe_report(zeros.data());
    findings.expect(line != "(null)" && is_one_line(line), "a report of zeros is described as: " + line);
    const std::string printed = capture_output([&] { entry.print(zeros.data()); });
    findings.expect(printed == line + "\n", "qor_profile_print does not print the description and a newline");
    *entry.delta_enabled = 1;
    findings.expect(entry.describe_report(zeros.data()) == line, "_qor_profile_delta_enabled changes a description");
    *entry.delta_enabled = 0;
}

void check_any_report(CheckedModule &module, Findings &findings) {
    constexpr std::size_t kReports = 300;
    const EntryPoints entry(module);
    const std::vector<Report> reports = random_reports(module, kReports);
    std::vector<std::byte> odd(1 + sizeof(Report)); // room for a report at an odd address
    entry.describe_report(reports.front().data());
    const std::size_t values_before = host::live_values();
    for (const Report &report : reports) {
        const std::string line = entry.describe_report(report.data());
        findings.expect(is_one_line(line), "a report is described as: " + line);
        std::memcpy(odd.data() + 1, report.data(), sizeof report);
        findings.expect(entry.describe_report(odd.data() + 1) == line,
                        "the same report at another address is described as: " + entry.describe_report(odd.data() + 1));
        findings.expect(std::memcmp(odd.data() + 1, report.data(), sizeof report) == 0, "a report was written to");
    }
    findings.expect_equal("values left after the descriptions were released", host::live_values() - values_before, 0);
}

void check_threads(CheckedModule &module, Findings &findings) {
    constexpr std::size_t kReports = 100;
    constexpr int kThreads = 4;
    const EntryPoints entry(module);
    const std::vector<Report> reports = random_reports(module, kReports);
    std::vector<std::string> lines;
    for (const Report &report : reports) {
        lines.push_back(entry.describe_report(report.data()));
    }
    std::array<int, kThreads> differences{};
    std::vector<std::thread> threads;
    for (int &count : differences) {
        threads.emplace_back([&entry, &reports, &lines, &count] {
            for (std::size_t i = 0; i < reports.size(); ++i) {
                count += entry.describe_report(reports[i].data()) == lines[i] ? 0 : 1;
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    for (const int count : differences) {
        findings.expect_equal("descriptions that differ between threads", static_cast<std::uint64_t>(count), 0);
    }
}

} // namespace

const std::vector<ContractCheck> kFileChecks = {
    {"exports", "The module exports exactly the four promised symbols", check_exports},
    {"protection", "The module has RELRO, immediate binding and no writable code", check_protection},
    {"platform", "The platform is the build that the module was linked with, or that of --platform", check_platform},
    {"loading", "The module loads and has the same factory each time", check_loading},
    {"report-entry-points", "The entry points describe and print a report, and accept null", check_report_entry_points},
    {"any-report", "Any 48 bytes give one line or none, and are not modified", check_any_report},
    {"report-threads", "Several threads at once describe reports alike", check_threads},
};

} // namespace cli
