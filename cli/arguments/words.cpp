#include "cli/arguments/words.h"

#include <algorithm>

#include "cli/arguments/invalid_value.h"
#include "host/nearest_word.h"

namespace cli {

CLI::Option *add_word(CLI::App &verb, const std::string &name, std::string &word, const std::vector<std::string> &words,
                      const std::string &description) {
    const auto take = [name, &word, words](const std::string &text) {
        if (std::find(words.begin(), words.end(), text) == words.end()) {
            throw CLI::ValidationError(invalid_value(name, text) + ": expected one of " +
                                       CLI::detail::join(words, ", ") + suggest_word(text, words));
        }
        word = text;
    };
    return verb.add_option_function<std::string>(name, take, description);
}

std::string suggest_word(std::string_view word, const std::vector<std::string> &words) {
    return host::suggestion(word, {words.begin(), words.end()});
}

} // namespace cli
