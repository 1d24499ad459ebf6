#include "host/nearest_word.h"

#include <algorithm>
#include <cstddef>

namespace host {
namespace {

/** The distance takes the product of two lengths, in time and in memory. A word longer than this is no slip. */
constexpr std::size_t kLongestWord = 64;

/** The edit distance with neighbours swapped counting as one edit. */
std::size_t distance(std::string_view a, std::string_view b) {
    std::vector<std::vector<std::size_t>> edits(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = 0; i <= a.size(); ++i) {
        for (std::size_t j = 0; j <= b.size(); ++j) {
            if (i == 0 || j == 0) {
                edits[i][j] = i + j;
                continue;
            }
            const std::size_t replaced = edits[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            edits[i][j] = std::min({edits[i - 1][j] + 1, edits[i][j - 1] + 1, replaced});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                edits[i][j] = std::min(edits[i][j], edits[i - 2][j - 2] + 1);
            }
        }
    }
    return edits[a.size()][b.size()];
}

} // namespace

std::optional<std::string> nearest_word(std::string_view word, const std::vector<std::string_view> &known) {
    std::optional<std::string> nearest;
    if (word.size() > kLongestWord) {
        return nearest;
    }
    std::size_t best = std::max<std::size_t>(2, word.size() / 3) + 1;
    for (const std::string_view candidate : known) {
        // The difference of the lengths is a lower bound of the distance.
        const std::size_t longer = std::max(word.size(), candidate.size());
        if (longer - std::min(word.size(), candidate.size()) >= best) {
            continue;
        }
        if (const std::size_t edits = distance(word, candidate); edits < best) {
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
