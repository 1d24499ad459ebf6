#include "cli/records/profile.h"

#include <cstddef>
#include <string_view>
#include <tuple>

#include "cli/records/dictionary_reader.h"
#include "cli/terminal/category_colours.h"
#include "decoder/ZELLogDecoder.h"

namespace cli {
namespace {

static_assert(kCategoryColours.size() == std::tuple_size_v<decltype(ZELLogDecoder::_decoders)>);

/** The position of a category's quoted value in a line. */
struct Place {
    std::size_t begin;
    std::size_t length;
};

std::optional<Place> category_place(std::string_view line) {
    constexpr std::string_view kKey = "'category':";
    const std::size_t key = line.find(kKey);
    if (key == std::string_view::npos) {
        return std::nullopt;
    }
    const std::size_t begin = line.find_first_not_of(' ', key + kKey.size());
    if (begin == std::string_view::npos || line[begin] != '\'') {
        return std::nullopt;
    }
    const std::size_t end = line.find('\'', begin + 1);
    if (end == std::string_view::npos) {
        return std::nullopt;
    }
    return Place{begin, end + 1 - begin};
}

std::optional<int> colour_of(std::string_view quoted_category) {
    const std::string_view name = quoted_category.substr(1, quoted_category.size() - 2);
    for (unsigned category = 0; category < kCategoryColours.size(); ++category) {
        if (name == ZELLogDecoder::category_to_string(category)) {
            return colour_of_category(category);
        }
    }
    return std::nullopt;
}

std::string line_text(std::string_view line, const TextStyle &style) {
    const std::optional<Place> place = category_place(line);
    if (!place) {
        return style.show(line);
    }
    const std::string_view category = line.substr(place->begin, place->length);
    const std::optional<int> colour = colour_of(category);
    if (!colour) {
        return style.show(line);
    }
    return style.show(line.substr(0, place->begin)) + style.colour(category, *colour) +
           style.show(line.substr(place->begin + place->length));
}

} // namespace

std::optional<std::string> profile_text(TvRef payload, const TextStyle &style) {
    if (TvArrayGetCount(payload) == 0) {
        return std::nullopt;
    }
    std::string text;
    for (std::size_t i = 0; i < TvArrayGetCount(payload); ++i) {
        const std::optional<std::string_view> line = text_of(TvArrayGetValue(payload, i));
        if (!line) {
            return std::nullopt;
        }
        text += line_text(*line, style) + "\n";
    }
    return text;
}

} // namespace cli
