#include "cli/json_text.h"

#include "cli/hex.h"
#include "cli/utf8.h"

namespace cli {

void put_text(nlohmann::ordered_json &object, const std::string &key, std::string_view text) {
    if (is_utf8(text)) {
        object[key] = text;
    } else {
        object[key + "_hex"] = hex(text);
    }
}

} // namespace cli
