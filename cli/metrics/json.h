/** The contents of an analytics store as JSON. */
#pragma once

#include <string>

#include "cli/terminal/json_value.h"
#include "host/store/analytics_store.h"

namespace cli {

/**
 * A JSON object and a newline: scalars and distributions in the order of their keys, with every distinct value and
 * its count. Numbers read back exactly. Numbers that are not finite are strings.
 */
std::string metrics_json(const host::StoreContents &contents);

/** Adds the members of that object to another one. */
void put_metrics(Json &json, const host::StoreContents &contents);

} // namespace cli
