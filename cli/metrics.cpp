#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/arguments/hosting.h"
#include "cli/arguments/invalid_value.h"
#include "cli/arguments/wrong_use.h"
#include "cli/metrics/families.h"
#include "cli/metrics/json.h"
#include "cli/metrics/openmetrics.h"
#include "cli/metrics/table.h"
#include "cli/terminal/interruption.h"
#include "cli/terminal/output.h"
#include "cli/verbs.h"
#include "host/TallybookStore.h"
#include "host/count_text.h"
#include "host/store/analytics_store.h"

namespace cli {
namespace {

struct MetricsArguments {
    std::optional<std::string> store; ///< empty: the default store
    bool is_json = false;
    bool is_openmetrics = false;
    bool has_no_pager = false;
    std::vector<std::string> merged;
    std::string merged_into;
};

void check_use(const MetricsArguments &arguments) {
    const bool merges = !arguments.merged.empty();
    if (merges && arguments.merged_into.empty()) {
        throw WrongUse("--merge requires -o FILE for the sum");
    }
    if (arguments.merged_into == "-" || arguments.merged_into == host::kStoreInMemory) {
        throw WrongUse(invalid_value("-o", arguments.merged_into) + ": the sum is written to a file");
    }
    if (merges && (arguments.store || arguments.is_json || arguments.is_openmetrics)) {
        throw WrongUse("--merge prints no store: only -o FILE can be combined with it");
    }
    if (!merges && !arguments.merged_into.empty()) {
        throw WrongUse("-o FILE requires --merge");
    }
    if (arguments.is_json && arguments.is_openmetrics) {
        throw WrongUse("--json excludes --openmetrics");
    }
}

std::string merge(const MetricsArguments &arguments) {
    host::StoreContents sum;
    for (const std::string &store : arguments.merged) {
        host::merge_into(sum, host::read_analytics_store(store));
    }
    const Interruption interruption; // reading may end at any moment, the new file is written as a whole
    host::write_new_analytics_store(arguments.merged_into, sum);
    return "written to " + arguments.merged_into + ": " + host::count_text(sum.scalars.size(), "scalar") + ", " +
           host::count_text(sum.distributions.size(), "distribution") + "\n";
}

void write_contents(const MetricsArguments &arguments, Output &output) {
    const host::StoreContents contents =
        host::read_analytics_store(arguments.store ? *arguments.store : default_store_file());
    if (arguments.is_json) {
        output.write(metrics_json(contents));
    } else if (arguments.is_openmetrics) {
        output.write(openmetrics_text(families_of(contents)));
    } else {
        output.write_styled(metrics_table(contents, output.style()));
    }
}

int metrics(const MetricsArguments &arguments) {
    check_use(arguments);
    if (!arguments.merged.empty()) {
        print_outcome(merge(arguments));
        return kExitOk;
    }
    Output output = standard_output();
    if (!arguments.has_no_pager) {
        output.page_when_long();
    }
    write_contents(arguments, output);
    output.finish();
    return kExitOk;
}

} // namespace

Verb declare_metrics() {
    const auto arguments = std::make_shared<MetricsArguments>();
    return {.arguments = {{.name = "STORE",
                           .target = &arguments->store,
                           .help = "Analytics store; default: the one of qorstat run"},
                          {.name = "--json",
                           .target = &arguments->is_json,
                           .help = "Print JSON: exact numbers, every distinct value"},
                          {.name = "--openmetrics",
                           .target = &arguments->is_openmetrics,
                           .help = "Print the OpenMetrics text format"},
                          {.name = "--merge",
                           .value_name = "STORE...",
                           .target = &arguments->merged,
                           .help = "Add stores up: scalars by value, others by count;\none store is copied, also while "
                                   "hosts write to it"},
                          {.name = "-o",
                           .value_name = "FILE",
                           .target = &arguments->merged_into,
                           .help = "New file for the result of --merge"},
                          {.name = "--no-pager",
                           .target = &arguments->has_no_pager,
                           .help = "Write long output straight to the terminal"}},
            .notes = "Tables show six significant digits. Percentiles are nearest-rank: the smallest\n"
                     "value such that at least that share of all values is less or equal.",
            .examples = {"qorstat metrics", "qorstat metrics --merge monday.db tuesday.db -o both.db"},
            .run = [arguments] { return metrics(*arguments); }};
}

} // namespace cli
