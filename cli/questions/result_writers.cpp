#include "cli/questions/result_writers.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <set>
#include <string_view>
#include <utility>

#include "cli/terminal/columns.h"
#include "cli/terminal/csv_field.h"
#include "cli/terminal/display_width.h"
#include "cli/terminal/hex.h"
#include "cli/terminal/json_values.h"
#include "host/utf8.h"

namespace cli {
namespace {

using Type = QueryValue::Type;

/** The shortest text that reads back as the number. */
std::string real_text(double number) {
    if (std::isinf(number)) {
        return number > 0 ? "Infinity" : "-Infinity";
    }
    char text[32];
    return {text, std::to_chars(text, text + sizeof text, number).ptr};
}

/** Nothing for a null, bytes in hexadecimal. */
std::string text_of(const QueryValue &value) {
    switch (value.type) {
    case Type::Integer:
        return std::to_string(value.integer);
    case Type::Real:
        return real_text(value.real);
    case Type::Text:
        return std::string(value.text);
    case Type::Bytes:
        return hex(value.text);
    case Type::Null:
        break;
    }
    return "";
}

// ---- in columns

/**
 * Rows whose columns depend on those of the other rows. So many are kept for that; the rest is written as it comes, in
 * the same columns.
 */
class ColumnWriter : public QuerySink {
public:
    explicit ColumnWriter(Output &output) : _output(output) {}

    void begin(const std::vector<std::string> &columns) override {
        if (std::exchange(_has_begun, true)) {
            _output.write("\n");
        }
        _titles.clear();
        for (const std::string &column : columns) {
            _titles.push_back(cell(column));
        }
        _align.assign(columns.size(), Align::Right);
        _has_value.assign(columns.size(), false);
        _kept.clear();
        _kept_bytes = 0;
        _has_titles = false;
    }

    void add(std::span<const QueryValue> row) override {
        std::vector<std::string> cells;
        for (std::size_t i = 0; i < row.size(); ++i) {
            cells.push_back(cell(text_of(row[i])));
            if (!_has_titles && row[i].type != Type::Null) {
                _has_value[i] = true;
                const bool is_number = row[i].type == Type::Integer || row[i].type == Type::Real;
                _align[i] = is_number ? _align[i] : Align::Left;
            }
            _kept_bytes += cells.back().size();
        }
        if (_has_titles) {
            write_row(cells);
            return;
        }
        _kept.push_back(std::move(cells));
        if (_kept.size() == kMostKept || _kept_bytes > kMostKeptBytes) {
            write_kept();
        }
    }

    void end() override {
        if (!_has_titles) {
            write_kept();
        }
    }

protected:
    /** A text as it stands in a row, which is one line. */
    virtual std::string cell(const std::string &text) const { return escape_controls(text); }
    /** @param rows  those that determine the columns. */
    virtual void write_titles(const std::vector<std::string> &titles,
                              const std::vector<std::vector<std::string>> &rows) = 0;
    virtual void write_row(const std::vector<std::string> &cells) = 0;

    Output &output() { return _output; }
    const std::vector<Align> &align() const { return _align; }

private:
    static constexpr std::size_t kMostKept = 1000;
    static constexpr std::size_t kMostKeptBytes = std::size_t{1} << 20;

    void write_kept() {
        for (std::size_t i = 0; i < _align.size(); ++i) {
            _align[i] = _has_value[i] ? _align[i] : Align::Left;
        }
        _has_titles = true;
        write_titles(_titles, _kept);
        for (const std::vector<std::string> &cells : _kept) {
            write_row(cells);
        }
        _kept.clear();
    }

    Output &_output;
    bool _has_begun = false;
    bool _has_titles = false; ///< written, so that the columns are fixed
    std::vector<std::string> _titles;
    std::vector<Align> _align;
    std::vector<bool> _has_value;
    std::vector<std::vector<std::string>> _kept;
    std::size_t _kept_bytes = 0;
};

class TableWriter : public ColumnWriter {
public:
    using ColumnWriter::ColumnWriter;

protected:
    void write_titles(const std::vector<std::string> &titles,
                      const std::vector<std::vector<std::string>> &rows) override {
        _widths.clear();
        for (std::size_t i = 0; i < titles.size(); ++i) {
            _widths.push_back(display_width(titles[i]));
            for (const std::vector<std::string> &row : rows) {
                _widths.back() = std::max(_widths.back(), display_width(row[i]));
            }
        }
        output().write_styled(output().style().dim(line_of(titles)) + "\n");
    }

    void write_row(const std::vector<std::string> &cells) override { output().write(line_of(cells) + "\n"); }

private:
    std::string line_of(const std::vector<std::string> &cells) const {
        std::string line;
        for (std::size_t i = 0; i < cells.size(); ++i) {
            const std::size_t width = display_width(cells[i]);
            const std::string room(_widths[i] - std::min(width, _widths[i]), ' ');
            line += (i == 0 ? "" : "  ") + (align()[i] == Align::Right ? room + cells[i] : cells[i] + room);
        }
        return line.substr(0, line.find_last_not_of(' ') + 1);
    }

    std::vector<std::size_t> _widths;
};

class MarkdownWriter : public ColumnWriter {
public:
    using ColumnWriter::ColumnWriter;

protected:
    std::string cell(const std::string &text) const override {
        std::string escaped;
        for (const char c : ColumnWriter::cell(text)) {
            escaped += c == '|' ? "\\|" : std::string(1, c);
        }
        return escaped;
    }

    void write_titles(const std::vector<std::string> &titles, const std::vector<std::vector<std::string>> &) override {
        write_row(titles);
        std::string line = "|";
        for (const Align each : align()) {
            line += each == Align::Right ? "---:|" : "---|";
        }
        output().write(line + "\n");
    }

    void write_row(const std::vector<std::string> &cells) override {
        std::string line = "|";
        for (const std::string &text : cells) {
            line += " " + text + " |";
        }
        output().write(line + "\n");
    }
};

// ---- for programs

class CsvWriter : public QuerySink {
public:
    explicit CsvWriter(Output &output) : _output(output) {}

    void begin(const std::vector<std::string> &columns) override {
        if (std::exchange(_has_begun, true)) {
            _output.write("\r\n");
        }
        std::string line;
        for (std::size_t i = 0; i < columns.size(); ++i) {
            line += (i == 0 ? "" : ",") + csv_field(columns[i]);
        }
        _output.write(line + "\r\n");
    }

    void add(std::span<const QueryValue> row) override {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            line += (i == 0 ? "" : ",") + csv_field(text_of(row[i]));
        }
        _output.write(line + "\r\n");
    }

    void end() override {}

private:
    Output &_output;
    bool _has_begun = false;
};

std::string json_string(std::string_view text) { return '"' + json_text_or_hex(text) + '"'; }

class JsonLinesWriter : public QuerySink {
public:
    explicit JsonLinesWriter(Output &output) : _output(output) {}

    /**
     * A key is unique in its object: the second column of a name has "_2" appended, and so on. So has the key of a text
     * that is not UTF-8, "NAME_hex", where a column has that name.
     */
    void begin(const std::vector<std::string> &columns) override {
        _keys.clear();
        _hex_keys.clear();
        std::set<std::string> taken;
        for (const std::string &column : columns) {
            _keys.push_back(take_key(taken, column));
        }
        for (const std::string &key : _keys) {
            _hex_keys.push_back(take_key(taken, key + "_hex"));
        }
    }

    void add(std::span<const QueryValue> row) override {
        std::string line = "{";
        for (std::size_t i = 0; i < row.size(); ++i) {
            const QueryValue &value = row[i];
            const bool is_hex = value.type == Type::Text && !host::is_utf8(value.text);
            line += (i == 0 ? "" : ",") + json_string((is_hex ? _hex_keys : _keys)[i]) + ":" + json_of(value);
        }
        _output.write(line + "}\n");
    }

    void end() override {}

private:
    static std::string take_key(std::set<std::string> &taken, const std::string &name) {
        std::string key = name;
        for (int number = 2; !taken.insert(key).second; ++number) {
            key = name + "_" + std::to_string(number);
        }
        return key;
    }

    static std::string json_of(const QueryValue &value) {
        switch (value.type) {
        case Type::Null:
            return "null";
        case Type::Integer:
            return text_of(value);
        case Type::Real:
            return std::isfinite(value.real) ? text_of(value) : json_string(text_of(value));
        default:
            return json_string(value.type == Type::Bytes ? text_of(value) : value.text);
        }
    }

    Output &_output;
    std::vector<std::string> _keys;
    std::vector<std::string> _hex_keys; ///< of texts that are not UTF-8
};

// ---- the schema

std::string table_text(const QueryTable &table, const TextStyle &style) {
    std::vector<std::vector<std::string>> rows;
    for (const QueryTable::Column &column : table.columns) {
        const bool has_unit = column.unit != qor::kNoUnit && column.unit != qor::kNotStated;
        rows.push_back({"  " + column.name, std::string(sqlite_type(column.type)),
                        has_unit ? std::string(column.unit) : "", column.meaning});
    }
    std::string text = style.heading(table.name) + "\n  " + std::string(table.meaning) + "\n";
    for (const std::string &line : align_rows(rows, {Align::Left, Align::Left, Align::Left, Align::Left})) {
        text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
    }
    return text;
}

} // namespace

std::unique_ptr<QuerySink> make_result_writer(const std::string &format, Output &output) {
    if (format == "csv") {
        return std::make_unique<CsvWriter>(output);
    }
    if (format == "jsonl") {
        return std::make_unique<JsonLinesWriter>(output);
    }
    if (format == "markdown") {
        return std::make_unique<MarkdownWriter>(output);
    }
    return std::make_unique<TableWriter>(output);
}

std::string schema_text(const std::string &name, const TextStyle &style) {
    if (!name.empty()) {
        return table_text(find_query_table(name), style);
    }
    std::string text;
    for (const QueryTable &table : query_tables()) {
        text += (text.empty() ? "" : "\n") + table_text(table, style);
    }
    return text;
}

} // namespace cli
