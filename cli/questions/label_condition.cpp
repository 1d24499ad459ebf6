#include "cli/questions/label_condition.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "cli/arguments/invalid_value.h"
#include "cli/arguments/wrong_use.h"

namespace cli {

/** Reads a condition from its first byte to its last. */
class LabelCondition::Parser {
public:
    Parser(const std::string &option, const std::string &text) : _option(option), _text(text) { advance(); }

    std::vector<Node> parse() {
        read_or();
        if (_kind != Kind::End) {
            fail("expected AND, OR or the end");
        }
        return std::move(_nodes);
    }

private:
    enum class Kind { Word, Quoted, Sign, End };

    static constexpr unsigned kDeepest = 100;

    [[noreturn]] void fail(const std::string &reason) const {
        throw WrongUse(invalid_value(_option, _text) + ": " + reason + " at byte " + std::to_string(_start));
    }

    static bool is_in_word(char c) {
        return ('a' <= c && c <= 'z') || ('A' <= c && c <= 'Z') || ('0' <= c && c <= '9') ||
               std::string_view("_-.:+/").find(c) != std::string_view::npos;
    }

    /** Reads the next token: `_token` has the text of a word, of a quoted value without its quotes, or a sign. */
    void advance() {
        while (_next < _text.size() && (_text[_next] == ' ' || _text[_next] == '\t' || _text[_next] == '\n')) {
            ++_next;
        }
        _start = _next;
        _token.clear();
        if (_next == _text.size()) {
            _kind = Kind::End;
        } else if (is_in_word(_text[_next])) {
            _kind = Kind::Word;
            while (_next < _text.size() && is_in_word(_text[_next])) {
                _token += _text[_next++];
            }
        } else if (_text[_next] == '\'') {
            read_quoted();
        } else {
            _kind = Kind::Sign;
            _token = _text[_next++];
            if (_token == "!" && _next < _text.size() && _text[_next] == '=') {
                _token += _text[_next++];
            }
        }
    }

    void read_quoted() {
        _kind = Kind::Quoted;
        for (++_next; _next < _text.size(); ++_next) {
            if (_text[_next] == '\'') {
                ++_next;
                if (_next == _text.size() || _text[_next] != '\'') {
                    return;
                }
            }
            _token += _text[_next];
        }
        fail("the quoted value has no end");
    }

    bool is_sign(std::string_view sign) const { return _kind == Kind::Sign && _token == sign; }

    /** @param word  in capitals. */
    bool is_word(std::string_view word) const { return _kind == Kind::Word && is_word_of_conditions(_token, word); }

    bool skip_word(std::string_view word) {
        const bool is_there = is_word(word);
        if (is_there) {
            advance();
        }
        return is_there;
    }

    void skip_sign(std::string_view sign) {
        if (!is_sign(sign)) {
            fail("expected " + std::string(sign));
        }
        advance();
    }

    std::size_t add(Node node) {
        _nodes.push_back(std::move(node));
        return _nodes.size() - 1;
    }

    std::size_t read_or() {
        std::size_t left = read_and();
        while (skip_word("OR")) {
            const std::size_t right = read_and();
            left = add({Operation::Or, {}, {}, left, right});
        }
        return left;
    }

    std::size_t read_and() {
        std::size_t left = read_not();
        while (skip_word("AND")) {
            const std::size_t right = read_not();
            left = add({Operation::And, {}, {}, left, right});
        }
        return left;
    }

    std::size_t read_not() {
        if (++_depth > kDeepest) {
            fail("more than " + std::to_string(kDeepest) + " parts are inside one another");
        }
        std::size_t node = 0;
        if (skip_word("NOT")) {
            node = add({Operation::Not, {}, {}, read_not(), 0});
        } else if (is_sign("(")) {
            advance();
            node = read_or();
            skip_sign(")");
        } else {
            node = read_comparison();
        }
        --_depth;
        return node;
    }

    std::size_t read_comparison() {
        if (_kind != Kind::Word || !is_label_key(_token)) {
            fail("expected a key, NOT or (");
        }
        Node node{Operation::In, _token, {}, 0, 0};
        advance();
        if (is_sign("=") || is_sign("!=")) {
            node.operation = is_sign("=") ? Operation::In : Operation::NotIn;
            advance();
            node.values.push_back(read_value());
            return add(std::move(node));
        }
        node.operation = skip_word("NOT") ? Operation::NotIn : Operation::In;
        if (!skip_word("IN")) {
            fail(node.operation == Operation::NotIn ? "expected IN" : "expected =, != or IN");
        }
        skip_sign("(");
        node.values.push_back(read_value());
        while (is_sign(",")) {
            advance();
            node.values.push_back(read_value());
        }
        skip_sign(")");
        return add(std::move(node));
    }

    std::string read_value() {
        if (_kind != Kind::Quoted && (_kind != Kind::Word || is_any_word_of_conditions(_token))) {
            fail("expected a value");
        }
        if (!is_label_value(_token)) {
            fail("a label cannot have this value");
        }
        std::string value = std::move(_token);
        advance();
        return value;
    }

    const std::string &_option;
    const std::string &_text;
    std::vector<Node> _nodes;
    std::size_t _next = 0;  ///< the byte behind the token
    std::size_t _start = 0; ///< its first byte
    Kind _kind = Kind::End;
    std::string _token;
    unsigned _depth = 0;
};

LabelCondition::LabelCondition(const std::string &option, const std::string &text)
    : _nodes(Parser(option, text).parse()) {}

bool LabelCondition::holds(const Labels &labels) const {
    std::vector<bool> holding;
    for (const Node &node : _nodes) {
        const auto label = labels.find(node.key);
        const auto is_in = [&] { return std::ranges::find(node.values, label->second) != node.values.end(); };
        switch (node.operation) {
        case Operation::In:
            holding.push_back(label != labels.end() && is_in());
            break;
        case Operation::NotIn:
            holding.push_back(label != labels.end() && !is_in());
            break;
        case Operation::Not:
            holding.push_back(!holding[node.left]);
            break;
        case Operation::And:
            holding.push_back(holding[node.left] && holding[node.right]);
            break;
        case Operation::Or:
            holding.push_back(holding[node.left] || holding[node.right]);
            break;
        }
    }
    return holding.back();
}

} // namespace cli
