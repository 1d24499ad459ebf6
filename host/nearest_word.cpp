#include "host/nearest_word.h"

#include <algorithm>
#include <cstddef>

namespace host {
namespace {

/** A longer word is no slip of the hand, and comparing it would take time in the square of its length. */
constexpr std::size_t kLongestWord = 128;

/**
 * The edit distance with neighbours swapped counting as one edit.
 * @return `limit` when it is at least that.
 */
std::size_t distance(std::string_view a, std::string_view b, std::size_t limit) {
    if (std::max(a.size(), b.size()) - std::min(a.size(), b.size()) >= limit) {
        return limit;
    }
    // The rows of the table of distances between beginnings of the words: the one in work and the two before it.
    const std::size_t columns = b.size() + 1;
    std::vector<std::size_t> row(columns);
    std::vector<std::size_t> above(columns);
    std::vector<std::size_t> two_above(columns);
    for (std::size_t i = 0; i <= a.size(); ++i) {
        for (std::size_t j = 0; j <= b.size(); ++j) {
            if (i == 0 || j == 0) {
                row[j] = i + j;
                continue;
            }
            const std::size_t replaced = above[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            row[j] = std::min({above[j] + 1, row[j - 1] + 1, replaced});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                row[j] = std::min(row[j], two_above[j - 2] + 1);
            }
        }
        two_above.swap(above);
        above.swap(row);
    }
    return std::min(above[b.size()], limit);
}

} // namespace

std::optional<std::string> nearest_word(std::string_view word, const std::vector<std::string_view> &known) {
    std::optional<std::string> nearest;
    if (word.size() > kLongestWord) {
        return nearest;
    }
    std::size_t best = std::max<std::size_t>(2, word.size() / 3) + 1;
    for (const std::string_view candidate : known) {
        if (const std::size_t edits = distance(word, candidate, best); edits < best) {
            best = edits;
            nearest = candidate;
        }
    }
    return nearest;
}

std::string suggestion(std::string_view word, const std::vector<std::string_view> &known) {
    const std::optional<std::string> nearest = nearest_word(word, known);
    return nearest ? "; did you mean \"" + *nearest + "\"?" : std::string();
}

} // namespace host
