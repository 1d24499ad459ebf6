#include "cli/arguments/words.h"

#include <algorithm>

#include "host/nearest_word.h"

namespace cli {

CLI::Validator one_of(const std::vector<std::string> &words) {
    const auto check = [words](const std::string &word) {
        if (std::find(words.begin(), words.end(), word) != words.end()) {
            return std::string();
        }
        return "\"" + word + "\" is none of " + CLI::detail::join(words, ", ") + near_word(word, words);
    };
    return CLI::Validator(check, "");
}

std::string near_word(std::string_view word, const std::vector<std::string> &words) {
    return host::suggestion(word, {words.begin(), words.end()});
}

} // namespace cli
