#include "host/device/toml_texts.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "host/device/description_table.h"

namespace host {
namespace {

/** A text and its position, by which texts are put in order: the parser sorts keys by their names. */
struct PlacedText {
    TomlText text;
    toml::source_position position;
};

class TextReader {
public:
    explicit TextReader(const DescriptionFile &file) : _file(file) {}

    std::vector<TomlText> read() {
        collect(_file.root);
        std::ranges::sort(_found, {}, [](const PlacedText &placed) {
            return std::tuple(placed.position.line, placed.position.column);
        });
        std::vector<TomlText> texts;
        for (PlacedText &placed : _found) {
            texts.push_back(std::move(placed.text));
        }
        return texts;
    }

private:
    /** The depth of tables is limited: by the parser, and by `require_short_keys`. */
    void collect(const toml::table &table) { // NOLINT(misc-no-recursion)
        for (const auto &[key, node] : table) {
            _path.emplace_back(key.str());
            if (const toml::table *inner = node.as_table()) {
                collect(*inner);
            } else {
                const DescriptionValue value(_file, node, _path.back());
                _found.push_back({{_path, value.text(), value.error("").place()}, node.source().begin});
            }
            _path.pop_back();
        }
    }

    const DescriptionFile &_file;
    std::vector<std::string> _path;
    std::vector<PlacedText> _found;
};

std::vector<TomlText> texts_of(const DescriptionFile &file, const std::string &what,
                               const std::vector<std::string_view> &keys) {
    const DescriptionTable check_of_keys(file, file.root, what, keys);
    return TextReader(file).read();
}

} // namespace

std::vector<TomlText> read_toml_texts(const std::string &file, const std::string &what,
                                      const std::vector<std::string_view> &keys) {
    return texts_of(parse_description_file(file, std::nullopt), what, keys);
}

std::vector<TomlText> parse_toml_texts(std::string_view toml, const std::string &name, const std::string &what,
                                       const std::vector<std::string_view> &keys) {
    return texts_of(parse_description_text(toml, name), what, keys);
}

} // namespace host
