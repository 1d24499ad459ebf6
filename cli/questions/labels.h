/** Labels of devices: what is known of a device besides its recordings, such as its firmware. */
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

/** The values by their keys. */
using Labels = std::map<std::string, std::string>;

/** Whether `text` is `word` but for the case of its letters. @param word  in capitals. */
bool is_word_of_conditions(std::string_view text, std::string_view word);

/** Whether it is AND, OR, NOT or IN, in any case. */
bool is_any_word_of_conditions(std::string_view text);

/**
 * Whether a text can be a key: a letter or '_', then letters, digits, '_', '-' and '.', at most 64, and none of the
 * words AND, OR, NOT and IN, which conditions consist of.
 */
bool is_label_key(std::string_view text);

/** What a key is, for messages. */
std::string label_key_rule();

/** Whether a text can be a value: 1 to 256 bytes of UTF-8 without control characters. */
bool is_label_value(std::string_view text);

/**
 * Labels of a command line.
 * @param texts  each KEY=VALUE. @param option  for messages.
 * @throws WrongUse for a text that is no label, and for a key that is given twice.
 */
Labels read_labels(const std::string &option, const std::vector<std::string> &texts);

} // namespace cli
