#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <sys/stat.h>

#include "cli/arguments/hosting.h"
#include "cli/arguments/input_arguments.h"
#include "cli/arguments/invalid_value.h"
#include "cli/arguments/wrong_use.h"
#include "cli/inputs/input_sequence.h"
#include "cli/inputs/store_input.h"
#include "cli/metrics/families.h"
#include "cli/metrics/json.h"
#include "cli/metrics/openmetrics.h"
#include "cli/metrics/side_by_side.h"
#include "cli/metrics/table.h"
#include "cli/terminal/interruption.h"
#include "cli/terminal/output.h"
#include "cli/terminal/output_file.h"
#include "cli/verbs.h"
#include "host/TallybookStore.h"
#include "host/count_text.h"
#include "host/error.h"
#include "host/store/analytics_store.h"

namespace cli {
namespace {

struct MetricsArguments {
    std::vector<std::string> stores; ///< none, and no list: the default store
    std::optional<std::string> files_from;
    bool is_json = false;
    bool is_openmetrics = false;
    bool has_no_pager = false;
    std::vector<std::string> merged;
    bool merges_same = false;
    std::optional<std::string> output_file;
};

void check_use(const MetricsArguments &arguments) {
    const bool merges = !arguments.merged.empty();
    if (merges && !arguments.output_file) {
        throw WrongUse("--merge requires -o FILE for the sum");
    }
    if (merges && (*arguments.output_file == "-" || *arguments.output_file == host::kStoreInMemory)) {
        throw WrongUse(invalid_value("-o", *arguments.output_file) + ": the sum is written to a file");
    }
    if (merges && (!arguments.stores.empty() || arguments.is_json || arguments.is_openmetrics)) {
        throw WrongUse("--merge prints no store: only -o FILE can be combined with it");
    }
    if (arguments.is_json && arguments.is_openmetrics) {
        throw WrongUse("--json excludes --openmetrics");
    }
}

/** A store that was read, and the file that it is. */
struct ReadStore {
    std::string name;
    std::optional<std::pair<dev_t, ino_t>> file; ///< nothing for one from a pipe
    host::StoreContents contents;
};

ReadStore read_named(std::unique_ptr<ByteStream> stream) {
    ReadStore store{stream->name(), std::nullopt, {}};
    struct stat status {};
    if (fstat(stream->descriptor(), &status) == 0 && S_ISREG(status.st_mode)) {
        store.file = {status.st_dev, status.st_ino};
    }
    store.contents = read_store(std::move(stream));
    return store;
}

/** The next store that can be read; the others are named. */
std::optional<ReadStore> next_store(InputSequence &inputs) {
    while (std::optional<Input> input = inputs.next()) {
        try {
            return read_named(std::move(input->stream));
        } catch (const host::Error &error) {
            inputs.report(error);
        }
    }
    return std::nullopt;
}

InputSequence stores_among(const std::vector<std::string> &arguments, const std::optional<std::string> &files_from) {
    // A file that is nothing else may be a damaged store: reading it says so.
    return {arguments,
            files_from,
            {{ContentKind::Store, ContentKind::Dump, ContentKind::Empty}, {ContentKind::Store}, "an analytics store"}};
}

/** Tells the stores of a merge from each other, without keeping their contents. */
class DistinctStores {
public:
    /** @throws host::Error when the store is one of the others, or a copy of one; two empty ones are no copies. */
    void add(const ReadStore &store) {
        const Known known{store.name, store.file, std::hash<std::string>{}(metrics_json(store.contents))};
        const bool is_empty = store.contents == host::StoreContents{};
        for (const Known &other : _known) {
            const bool is_same_file = known.file && known.file == other.file;
            if (is_same_file || (!is_empty && known.hash == other.hash)) {
                throw host::Error(store.name, "",
                                  std::string(is_same_file ? "is the same file as " : "has the same contents as ") +
                                      other.name + "; --same-twice adds it all the same");
            }
        }
        _known.push_back(known);
    }

private:
    struct Known {
        std::string name;
        std::optional<std::pair<dev_t, ino_t>> file;
        std::size_t hash;
    };

    std::vector<Known> _known;
};

int merge(const MetricsArguments &arguments) {
    InputSequence inputs = stores_among(arguments.merged, arguments.files_from);
    DistinctStores distinct;
    host::StoreContents sum;
    while (const std::optional<ReadStore> store = next_store(inputs)) {
        if (!arguments.merges_same) {
            distinct.add(*store);
        }
        host::merge_into(sum, store->contents);
    }
    if (inputs.has_failed()) {
        return kExitFailed; // a sum without one of its stores would be wrong
    }
    const std::string &file = *arguments.output_file;
    {
        const Interruption interruption; // reading may end at any moment, the file is written as a whole or not at all
        host::write_new_analytics_store(file, sum, [&] { interruption.throw_if_requested(); });
    }
    print_outcome("written to " + file + ": " + host::count_text(sum.scalars.size(), "scalar") + ", " +
                  host::count_text(sum.distributions.size(), "distribution") + "\n");
    return kExitOk;
}

void write_one(const host::StoreContents &contents, const MetricsArguments &arguments, Output &output) {
    if (arguments.is_json) {
        output.write(metrics_json(contents));
    } else if (arguments.is_openmetrics) {
        output.write(openmetrics_text(families_of(contents)));
    } else {
        output.write_styled(metrics_table(contents, output.style()));
    }
}

void write_many(const std::vector<NamedStore> &stores, const MetricsArguments &arguments, Output &output) {
    if (arguments.is_json) {
        output.write(side_by_side_json(stores));
    } else if (arguments.is_openmetrics) {
        output.write(openmetrics_text(side_by_side_families(stores)));
    } else {
        output.write_styled(side_by_side_table(stores, output.style()));
    }
}

int show_stores(const MetricsArguments &arguments) {
    const bool is_default = arguments.stores.empty() && !arguments.files_from;
    InputSequence inputs =
        stores_among(is_default ? std::vector{default_store_file()} : arguments.stores, arguments.files_from);
    const bool is_one_file = inputs.is_one_file();
    OutputFile file(arguments.output_file);
    std::vector<NamedStore> stores;
    while (std::optional<ReadStore> store = next_store(inputs)) {
        add_store(stores, store->name, std::move(store->contents));
    }
    if (!stores.empty()) {
        if (!arguments.has_no_pager) {
            file.output().page_when_long();
        }
        if (is_one_file) {
            write_one(stores.front().contents, arguments, file.output());
        } else {
            write_many(stores, arguments, file.output());
        }
        file.finish();
    }
    return inputs.has_failed() ? kExitFailed : kExitOk;
}

int metrics(const MetricsArguments &arguments) {
    check_use(arguments);
    return arguments.merged.empty() ? show_stores(arguments) : merge(arguments);
}

} // namespace

Verb declare_metrics() {
    const auto arguments = std::make_shared<MetricsArguments>();
    return {
        .arguments = {{.name = "STORE",
                       .target = &arguments->stores,
                       .help = "Stores, folders of them, -; several: side by side;\n"
                               "default: the one of qorstat run"},
                      files_from_argument(arguments->files_from),
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
                      {.name = "--same-twice",
                       .target = &arguments->merges_same,
                       .help = "With --merge: also add a store to itself or a copy",
                       .needs = "--merge"},
                      output_argument(arguments->output_file, "File for the output; of --merge: a new store"),
                      no_pager_argument(arguments->has_no_pager)},
        .notes = "Tables show six significant digits. Percentiles are nearest-rank: the smallest\n"
                 "value such that at least that share of all values is less or equal.",
        .examples = {"qorstat metrics monday.db tuesday.db", "qorstat metrics --merge monday.db tuesday.db -o both.db"},
        .run = [arguments] { return metrics(*arguments); }};
}

} // namespace cli
