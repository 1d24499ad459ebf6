#include "cli/questions/tab_choices.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <set>
#include <utility>

namespace cli {
namespace {

/** What questions are made of; the words of statements that would be refused are left out. */
constexpr std::array kKeywords = std::to_array<std::string_view>(
    {"ALL",     "AND",       "AS",        "ASC",      "BETWEEN",   "BY",    "CASE",   "CAST",   "COLLATE",
     "CROSS",   "CURRENT",   "DESC",      "DISTINCT", "ELSE",      "END",   "EXCEPT", "EXISTS", "EXPLAIN",
     "FILTER",  "FIRST",     "FOLLOWING", "FROM",     "FULL",      "GLOB",  "GROUP",  "HAVING", "IN",
     "INNER",   "INTERSECT", "IS",        "JOIN",     "LAST",      "LEFT",  "LIKE",   "LIMIT",  "MATERIALIZED",
     "NATURAL", "NOT",       "NULL",      "NULLS",    "OFFSET",    "ON",    "OR",     "ORDER",  "OUTER",
     "OVER",    "PARTITION", "PRECEDING", "RANGE",    "RECURSIVE", "RIGHT", "ROW",    "ROWS",   "SELECT",
     "THEN",    "UNBOUNDED", "UNION",     "USING",    "VALUES",    "WHEN",  "WHERE",  "WINDOW", "WITH"});

/** Followed by an opening bracket. */
constexpr std::array kFunctions = std::to_array<std::string_view>(
    {"abs(",    "avg(",   "coalesce(", "count(",      "dense_rank(", "first_value(", "hex(",        "histogram_text(",
     "ifnull(", "iif(",   "lag(",      "last_value(", "lead(",       "length(",      "lower(",      "max(",
     "min(",    "ntile(", "printf(",   "quantile(",   "rank(",       "round(",       "row_number(", "substr(",
     "sum(",    "upper("});

char lower(char character) { return static_cast<char>(std::tolower(static_cast<unsigned char>(character))); }

bool is_word_character(char character) {
    return std::isalnum(static_cast<unsigned char>(character)) != 0 || character == '_';
}

bool starts_with(std::string_view text, std::string_view start) {
    return text.size() >= start.size() &&
           std::equal(start.begin(), start.end(), text.begin(), [](char a, char b) { return lower(a) == lower(b); });
}

bool is_same(std::string_view a, std::string_view b) { return a.size() == b.size() && starts_with(a, b); }

/** The words of a statement outside quotes and comments, and whether its end lies within one of these. */
class Words {
public:
    explicit Words(std::string_view text) {
        for (std::size_t at = 0; at < text.size();) {
            at = is_word_character(text[at]) ? take_word(text, at) : pass(text, at);
        }
    }

    bool ends_in_text() const { return _ends_in_text; }

    bool have(std::string_view word) const {
        return std::any_of(_words.begin(), _words.end(), [&](std::string_view one) { return is_same(one, word); });
    }

private:
    std::size_t take_word(std::string_view text, std::size_t start) {
        std::size_t end = start;
        while (end < text.size() && is_word_character(text[end])) {
            ++end;
        }
        _words.push_back(text.substr(start, end - start));
        return end;
    }

    /** @return behind a text in quotes, a comment, or one character. */
    std::size_t pass(std::string_view text, std::size_t start) {
        const std::string_view rest = text.substr(start);
        const auto behind = [&](std::string_view closing, std::size_t opening_length) {
            const std::size_t end = text.find(closing, start + opening_length);
            _ends_in_text = end == std::string_view::npos;
            return _ends_in_text ? text.size() : end + closing.size();
        };
        if (rest.front() == '\'' || rest.front() == '"') {
            return behind(rest.substr(0, 1), 1);
        }
        return rest.starts_with("--") ? behind("\n", 2) : rest.starts_with("/*") ? behind("*/", 2) : start + 1;
    }

    std::vector<std::string_view> _words;
    bool _ends_in_text = false;
};

/** Collects what begins with a word. */
class Choices {
public:
    explicit Choices(std::string_view word) : _word(word) {}

    void offer(std::string_view name) {
        if (starts_with(name, _word)) {
            _found.emplace(name);
        }
    }

    /** In small letters where the word has them. */
    void offer_keyword(std::string_view keyword) {
        std::string text(keyword);
        if (std::any_of(_word.begin(), _word.end(), [](char one) { return std::islower(one) != 0; })) {
            std::transform(text.begin(), text.end(), text.begin(), lower);
        }
        offer(text);
    }

    template <typename Names>
    void offer_all(const Names &names) {
        for (const auto &name : names) {
            offer(name);
        }
    }

    TabChoices found() const { return {_word.size(), {_found.begin(), _found.end()}}; }

private:
    std::string_view _word;
    std::set<std::string> _found;
};

TabChoices find_in_command(std::string_view before, const OfferedNames &names) {
    const std::size_t space = before.find(' ');
    if (space == std::string_view::npos) {
        Choices choices(before);
        choices.offer_all(names.commands);
        return choices.found();
    }
    const std::string_view command = before.substr(0, space);
    Choices choices(before.substr(before.rfind(' ') + 1));
    if (command == ".schema") {
        for (const OfferedTable &table : names.tables) {
            choices.offer(table.name);
        }
    } else if (command == ".format") {
        choices.offer_all(names.formats);
    }
    return choices.found();
}

std::size_t start_of_word(std::string_view text) {
    std::size_t start = text.size();
    while (start > 0 && is_word_character(text[start - 1])) {
        --start;
    }
    return start;
}

/** The columns of a table, or of all for a name that is an alias. */
void offer_columns_of(std::string_view name, const OfferedNames &names, Choices &choices) {
    const auto is_named = [&](const OfferedTable &table) { return is_same(table.name, name); };
    const bool is_known = std::any_of(names.tables.begin(), names.tables.end(), is_named);
    for (const OfferedTable &table : names.tables) {
        if (!is_known || is_named(table)) {
            choices.offer_all(table.columns);
        }
    }
}

void offer_words_of_statement(const Words &words, const OfferedNames &names, Choices &choices) {
    const auto is_used = [&](const OfferedTable &table) { return words.have(table.name); };
    const bool uses_any = std::any_of(names.tables.begin(), names.tables.end(), is_used);
    for (const OfferedTable &table : names.tables) {
        choices.offer(table.name);
        if (!uses_any || is_used(table)) {
            choices.offer_all(table.columns);
        }
    }
    for (const std::string_view keyword : kKeywords) {
        choices.offer_keyword(keyword);
    }
    choices.offer_all(kFunctions);
}

} // namespace

TabChoices find_choices(std::string_view before, const OfferedNames &names) {
    if (before.starts_with('.')) {
        return find_in_command(before, names);
    }
    const std::size_t start = start_of_word(before);
    const std::string_view word = before.substr(start);
    const Words words(before.substr(0, start));
    Choices choices(word);
    if (words.ends_in_text()) {
        return choices.found();
    }
    if (start > 0 && before[start - 1] == '.') {
        const std::string_view left = before.substr(0, start - 1);
        offer_columns_of(left.substr(start_of_word(left)), names, choices);
    } else {
        offer_words_of_statement(words, names, choices);
    }
    return choices.found();
}

std::string common_start(const std::vector<std::string> &choices) {
    std::size_t length = choices.front().size();
    for (const std::string &choice : choices) {
        length = std::min(length, choice.size());
        while (!starts_with(choice, std::string_view(choices.front()).substr(0, length))) {
            --length;
        }
    }
    return choices.front().substr(0, length);
}

} // namespace cli
