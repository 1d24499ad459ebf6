/** Several analytics stores beside each other, for every form of `qorstat metrics`. */
#pragma once

#include <string>
#include <vector>

#include "cli/metrics/families.h"
#include "cli/terminal/text_style.h"
#include "host/store/analytics_store.h"

namespace cli {

/** The contents of a store, with the name that tells it from the others. */
struct NamedStore {
    std::string name; ///< UTF-8 without control characters; no two are the same
    host::StoreContents contents;
};

/** Adds a store. Its name is escaped, and gets a number when there is one of that name already. */
void add_store(std::vector<NamedStore> &stores, const std::string &name, host::StoreContents contents);

/**
 * For each subsystem: a line for each scalar with a column for each store, then for each distribution a line for each
 * store that has it. Where tables are folded, a key stands above these lines, and scalars whose columns are too many
 * for the width have a line for each store, too. Elsewhere each line has its key.
 */
std::string side_by_side_table(const std::vector<NamedStore> &stores, const TextStyle &style);

/** A JSON array of the objects of `metrics_json`, each with its store's name under "store", and a newline. */
std::string side_by_side_json(const std::vector<NamedStore> &stores);

/** The families of all stores: each series has its store's name in the label `store`. */
std::vector<MetricFamily> side_by_side_families(const std::vector<NamedStore> &stores);

} // namespace cli
