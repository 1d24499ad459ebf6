/** Text that may be anything, in JSON. */
#pragma once

#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace cli {

/** Puts `text` under `key`; what is not UTF-8 goes as hex under `key` with "_hex" at its end instead. */
void put_text(nlohmann::ordered_json &object, const std::string &key, std::string_view text);

} // namespace cli
