#include "cli/terminal/csv_field.h"

namespace cli {

std::string csv_field(const std::string &text) {
    if (text.find_first_of("\",\r\n") == std::string::npos) {
        return text;
    }
    std::string field = "\"";
    for (const char c : text) {
        field.append(c == '"' ? 2 : 1, c);
    }
    return field + "\"";
}

} // namespace cli
