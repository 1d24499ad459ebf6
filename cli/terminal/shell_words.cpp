#include "cli/terminal/shell_words.h"

#include <string_view>

namespace cli {

std::string shell_command(const std::vector<std::string> &words) {
    constexpr std::string_view kPlain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_./=:,+";
    std::string command;
    for (const std::string &word : words) {
        command += command.empty() ? "" : " ";
        if (!word.empty() && word.find_first_not_of(kPlain) == std::string::npos) {
            command += word;
            continue;
        }
        command += '\'';
        for (const char c : word) {
            command += c == '\'' ? std::string("'\\''") : std::string(1, c);
        }
        command += '\'';
    }
    return command;
}

} // namespace cli
