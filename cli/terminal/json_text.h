/** Arbitrary text in JSON. */
#pragma once

#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace cli {

/** Stores `text` under `key`. Text that is not UTF-8 is stored in hex, under `key` with "_hex" appended. */
void put_text(nlohmann::ordered_json &object, const std::string &key, std::string_view text);

} // namespace cli
