/** Matches the lines that the plug-in logs when one of its assertions fails. */
#pragma once

#include <gmock/gmock.h>

#include <string>

namespace plug_in_tests {

/** The assertion line of a condition, whatever its line number. */
MATCHER_P3(IsAssertionLine, condition, value, error_text, "") {
    const std::string head =
        std::string(": Kelmarks: ") + condition + ", " + error_text + " file: plugin/OndreQORHIDStatistics.cpp, line: ";
    const std::string tail = std::string(" value:") + value;
    if (arg.size() <= head.size() + tail.size() || arg.compare(0, head.size(), head) != 0 ||
        arg.compare(arg.size() - tail.size(), tail.size(), tail) != 0) {
        return false;
    }
    const std::string line = arg.substr(head.size(), arg.size() - head.size() - tail.size());
    return line.find_first_not_of("0123456789") == std::string::npos;
}

inline auto assertion_line(const char *condition, const char *value = "0", const char *error_text = "") {
    return IsAssertionLine(condition, value, error_text);
}

} // namespace plug_in_tests
