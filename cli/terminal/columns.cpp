#include "cli/terminal/columns.h"

#include <algorithm>

#include "host/utf8.h"

namespace cli {
namespace {

std::vector<std::size_t> column_widths(const std::vector<std::vector<std::string>> &rows, std::size_t count) {
    std::vector<std::size_t> widths(count, 0);
    for (const std::vector<std::string> &row : rows) {
        for (std::size_t i = 0; i < count; ++i) {
            widths[i] = std::max(widths[i], host::character_count(row[i]));
        }
    }
    return widths;
}

std::string pad(const std::string &cell, std::size_t width, Align align) {
    const std::string spaces(width - host::character_count(cell), ' ');
    return align == Align::Left ? cell + spaces : spaces + cell;
}

} // namespace

std::vector<std::string> align_rows(const std::vector<std::vector<std::string>> &rows,
                                    const std::vector<Align> &columns, std::string_view gap) {
    const std::vector<std::size_t> widths = column_widths(rows, columns.size());
    std::vector<std::string> lines;
    for (const std::vector<std::string> &row : rows) {
        std::string line;
        for (std::size_t i = 0; i < columns.size(); ++i) {
            line += std::string(i == 0 ? "" : gap) + pad(row[i], widths[i], columns[i]);
        }
        lines.push_back(std::move(line));
    }
    return lines;
}

std::vector<std::string> words_of(std::string_view text) {
    std::vector<std::string> words;
    while (true) {
        text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
        if (text.empty()) {
            return words;
        }
        words.emplace_back(text.substr(0, text.find(' ')));
        text.remove_prefix(words.back().size());
    }
}

std::vector<std::string> wrap_words(const std::vector<std::string> &words, std::string_view separator,
                                    std::size_t width) {
    std::vector<std::string> lines;
    std::size_t used = 0;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string word = words[i] + std::string(i + 1 == words.size() ? "" : separator);
        const std::size_t length = host::character_count(word);
        if (lines.empty() || used + 1 + length > width) {
            lines.push_back(word);
            used = length;
        } else {
            lines.back() += " " + word;
            used += 1 + length;
        }
    }
    return lines;
}

} // namespace cli
