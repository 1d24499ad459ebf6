#include "cli/terminal/json_text.h"

#include "cli/terminal/hex.h"
#include "host/utf8.h"

namespace cli {

void put_text(nlohmann::ordered_json &object, const std::string &key, std::string_view text) {
    if (host::is_utf8(text)) {
        object[key] = text;
    } else {
        object[key + "_hex"] = hex(text);
    }
}

} // namespace cli
