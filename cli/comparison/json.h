/** A comparison for programs; docs/compare.md has the schema. */
#pragma once

#include <string>

#include "cli/comparison/result.h"
#include "cli/terminal/json_value.h"

namespace cli {

/** The object. */
Json comparison_object(const ComparisonResult &result);

/** The same as text, with a newline at its end. */
std::string comparison_json(const ComparisonResult &result);

} // namespace cli
