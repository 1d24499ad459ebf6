#include "cli/arguments/words.h"

#include <algorithm>

#include "cli/arguments/invalid_value.h"
#include "cli/arguments/wrong_use.h"
#include "host/nearest_word.h"

namespace cli {
namespace {

std::string list_words(const std::vector<std::string> &words) {
    std::string list;
    for (const std::string &word : words) {
        list += (list.empty() ? "" : ", ") + word;
    }
    return list;
}

} // namespace

OneOfWords word_reader(std::string &word, const std::vector<std::string> &words) { return {&word, words}; }

void read_word(const OneOfWords &target, const std::string &name, const std::string &text) {
    if (std::find(target.words.begin(), target.words.end(), text) == target.words.end()) {
        throw WrongUse(invalid_value(name, text) + ": expected one of " + list_words(target.words) +
                       suggest_word(text, target.words));
    }
    *target.word = text;
}

std::string suggest_word(std::string_view word, const std::vector<std::string> &words) {
    return host::suggestion(word, {words.begin(), words.end()});
}

} // namespace cli
