#include "cli/questions/recording_tables.h"

#include <algorithm>
#include <cstddef>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "cli/dumps/recorded_input.h"
#include "host/utf8.h"

namespace cli {
namespace {

/** The number of a column of a table. Does not compile for an unknown name. */
consteval int column_in(std::span<const Column> columns, std::string_view name) {
    for (std::size_t i = 0; i < columns.size(); ++i) {
        if (columns[i].name == name) {
            return static_cast<int>(i);
        }
    }
    throw "no such column";
}

constexpr int kDevice = 0;
static_assert(column_in(kDumpColumns, "device") == kDevice && column_in(kScalarColumns, "device") == kDevice &&
                  column_in(kDistributionColumns, "device") == kDevice &&
                  column_in(kRecordColumns, "device") == kDevice,
              "scans use conditions on it");

void put_optional(sqlite3_context *context, const std::optional<std::uint64_t> &number) {
    if (number) {
        put_unsigned(context, *number);
    }
}

/**
 * The rows of a scan over recordings, one after another. `Rows` is what one recording has:
 *
 *     static bool has_rows(const Recording &recording);
 *     void read(const QuestionContext &context, std::size_t index, std::uint64_t columns); // throws host::Error
 *     std::size_t count() const;
 *     void put(sqlite3_context *context, std::size_t row, int column); // any but the device
 */
template <typename Rows>
class RecordingCursor : public TableCursor {
public:
    RecordingCursor(const QuestionContext &context, Rows rows) : _context(context), _rows(std::move(rows)) {}

    void start(const ScanRequest &request) override {
        _columns = request.columns;
        _devices.clear();
        for (const ColumnCondition &condition : request.conditions) {
            _devices.push_back(condition);
        }
        _opened = 0;
        _row = 0;
        _count = 0;
        find_row();
    }

    void next() override {
        ++_row;
        find_row();
    }

    void put_column(sqlite3_context *context, int column) override {
        if (column == kDevice) {
            put_lasting_text(context, _context.recordings[_opened - 1].device);
        } else {
            _rows.put(context, _row, column);
        }
    }

    std::int64_t row_number() const override {
        return static_cast<std::int64_t>((std::uint64_t{_opened} << 40) + _row);
    }

private:
    /** Goes to the next recording that has a row, unless this one has. */
    void find_row() {
        while (_row == _count && _opened < _context.recordings.size()) {
            _context.look();
            const std::size_t index = _opened++;
            const Recording &recording = _context.recordings[index];
            _row = 0;
            _count = 0;
            const bool is_wanted = std::ranges::all_of(
                _devices, [&](const ColumnCondition &condition) { return may_hold(condition, recording.device); });
            if (!is_wanted || !Rows::has_rows(recording)) {
                continue;
            }
            try {
                _rows.read(_context, index, _columns);
                _count = _rows.count();
            } catch (const host::Error &error) {
                _context.recordings.report(index, error);
            }
        }
        _is_at_end = _row == _count;
    }

    const QuestionContext &_context;
    Rows _rows;
    std::uint64_t _columns = 0;
    std::vector<ColumnCondition> _devices;
    std::size_t _opened = 0; ///< so many recordings
    std::size_t _row = 0;    ///< of the last of these
    std::size_t _count = 0;  ///< of its rows
};

template <typename Rows>
class RecordingTable : public SqliteTable {
public:
    RecordingTable(const QueryTable &description, const QuestionContext &context, Rows rows)
        : SqliteTable(description), _context(context), _rows(std::move(rows)) {}

    bool uses(const PlannedCondition &condition) const override {
        return condition.column == kDevice && condition.comparison == Comparison::Equal;
    }

    /** Each recording is read anew in each scan, which costs far more than a row. */
    ScanEstimate estimate(std::span<const PlannedCondition> conditions) const override {
        constexpr double kCost = 1000;
        double recordings = 1;
        for (std::size_t i = 0; i < _context.recordings.size(); ++i) {
            recordings += Rows::has_rows(_context.recordings[i]) ? 1 : 0;
        }
        recordings = conditions.empty() ? recordings : 1;
        return {kCost * recordings, 10 * recordings};
    }

    std::unique_ptr<TableCursor> open() override { return std::make_unique<RecordingCursor<Rows>>(_context, _rows); }

private:
    const QuestionContext &_context;
    Rows _rows;
};

// ---- dumps

class DumpRows {
public:
    static bool has_rows(const Recording &recording) { return recording.has_reports; }

    void read(const QuestionContext &context, std::size_t index, std::uint64_t columns) {
        constexpr std::uint64_t kOfNames = column_bit(kDevice) | column_bit(column_in(kDumpColumns, "file"));
        _file = &context.recordings[index].file;
        if ((columns & ~kOfNames) != 0) {
            _facts = &context.recordings.facts(index, context.look);
            _hash = &context.recordings.dump(index, context.look);
            _clock = context.clock.now_or(_facts->clock);
        }
    }

    static std::size_t count() { return 1; }

    void put(sqlite3_context *context, std::size_t, int column) const {
        switch (column) {
        case column_in(kDumpColumns, "dump"):
            return put_lasting_text(context, *_hash);
        case column_in(kDumpColumns, "file"):
            return put_lasting_text(context, *_file);
        case column_in(kDumpColumns, "reports"):
            return put_unsigned(context, _facts->reports);
        case column_in(kDumpColumns, "first_timestamp"):
            return put_optional(context, _facts->first_timestamp);
        case column_in(kDumpColumns, "last_timestamp"):
            return put_optional(context, _facts->last_timestamp);
        case column_in(kDumpColumns, "gaps"):
            return put_unsigned(context, _facts->gaps);
        case column_in(kDumpColumns, "missing"):
            return put_unsigned(context, _facts->missing);
        case column_in(kDumpColumns, "trailing_bytes"):
            return put_unsigned(context, _facts->trailing_bytes);
        case column_in(kDumpColumns, "sync_qor"):
            return put_optional(context, _clock.sync ? std::optional(_clock.sync->qor) : std::nullopt);
        case column_in(kDumpColumns, "sync_calendar"):
            return put_optional(context, _clock.sync ? std::optional(_clock.sync->calendar) : std::nullopt);
        default:
            return put_optional(context, _clock.boot_time);
        }
    }

private:
    const std::string *_file = nullptr;
    const DumpFacts *_facts = nullptr;
    const std::string *_hash = nullptr;
    decoder::device_clock _clock;
};

// ---- stores

constexpr int kStore = column_in(kScalarColumns, "store");
constexpr int kTaken = column_in(kScalarColumns, "taken");
constexpr int kKey = column_in(kScalarColumns, "key");
constexpr int kValue = column_in(kScalarColumns, "value");
static_assert(column_in(kDistributionColumns, "store") == kStore &&
              column_in(kDistributionColumns, "taken") == kTaken && column_in(kDistributionColumns, "key") == kKey &&
              column_in(kDistributionColumns, "value") == kValue);

void put_of_store(sqlite3_context *context, const Recording &store, int column) {
    if (column == kStore) {
        put_lasting_text(context, store.file);
    } else {
        sqlite3_result_int64(context, store.taken);
    }
}

class ScalarRows {
public:
    static bool has_rows(const Recording &recording) { return recording.kind == RecordingKind::Store; }

    void read(const QuestionContext &context, std::size_t index, std::uint64_t) {
        _store = &context.recordings[index];
        const host::StoreContents contents = read_store(*_store);
        _scalars.assign(contents.scalars.begin(), contents.scalars.end());
    }

    std::size_t count() const { return _scalars.size(); }

    void put(sqlite3_context *context, std::size_t row, int column) const {
        if (column == kKey) {
            put_text(context, _scalars[row].first);
        } else if (column == kValue) {
            sqlite3_result_int64(context, _scalars[row].second);
        } else {
            put_of_store(context, *_store, column);
        }
    }

private:
    const Recording *_store = nullptr;
    std::vector<std::pair<std::string, std::int64_t>> _scalars;
};

class DistributionRows {
public:
    static bool has_rows(const Recording &recording) { return recording.kind == RecordingKind::Store; }

    void read(const QuestionContext &context, std::size_t index, std::uint64_t) {
        _store = &context.recordings[index];
        const host::StoreContents contents = read_store(*_store);
        _keys.clear();
        _values.clear();
        for (const auto &[key, distribution] : contents.distributions) {
            for (const auto &[value, times] : distribution) {
                _values.push_back({_keys.size(), value, times});
            }
            _keys.push_back(key);
        }
    }

    std::size_t count() const { return _values.size(); }

    void put(sqlite3_context *context, std::size_t row, int column) const {
        const Value &value = _values[row];
        if (column == kKey) {
            put_text(context, _keys[value.key]);
        } else if (column == kValue) {
            sqlite3_result_double(context, value.value);
        } else if (column == column_in(kDistributionColumns, "count")) {
            put_unsigned(context, value.count);
        } else {
            put_of_store(context, *_store, column);
        }
    }

private:
    struct Value {
        std::size_t key;
        double value;
        std::uint64_t count;
    };

    const Recording *_store = nullptr;
    std::vector<std::string> _keys;
    std::vector<Value> _values;
};

// ---- records

class RecordRows {
public:
    explicit RecordRows(const RecordText &content_of) : _content_of(&content_of) {}

    static bool has_rows(const Recording &recording) { return recording.kind == RecordingKind::Record; }

    void read(const QuestionContext &context, std::size_t index, std::uint64_t) {
        _recording = &context.recordings[index];
        _bytes = read_record_file(*_recording);
        _records =
            std::make_shared<const std::vector<host::StateRecord>>(host::parse_records(_bytes, _recording->name));
    }

    std::size_t count() const { return _records->size(); }

    void put(sqlite3_context *context, std::size_t row, int column) const {
        const host::StateRecord &record = (*_records)[row];
        switch (column) {
        case column_in(kRecordColumns, "file"):
            return put_lasting_text(context, _recording->file);
        case column_in(kRecordColumns, "number"):
            return put_unsigned(context, row + 1);
        case column_in(kRecordColumns, "title"):
            return host::is_utf8(record.title) ? put_text(context, record.title) : sqlite3_result_null(context);
        case column_in(kRecordColumns, "reports"):
            return put_unsigned(context, count_reports(record));
        default:
            return put_text(context, (*_content_of)(_recording->name, record, _bytes));
        }
    }

private:
    const RecordText *_content_of;
    const Recording *_recording = nullptr;
    std::vector<std::byte> _bytes;
    std::shared_ptr<const std::vector<host::StateRecord>> _records; ///< cannot be copied themselves
};

template <typename Rows>
std::unique_ptr<SqliteTable> make_table(const QueryTable &description, const QuestionContext &context, Rows rows) {
    return std::make_unique<RecordingTable<Rows>>(description, context, std::move(rows));
}

} // namespace

std::unique_ptr<SqliteTable> make_dump_table(const QueryTable &description, const QuestionContext &context) {
    return make_table(description, context, DumpRows());
}

std::unique_ptr<SqliteTable> make_scalar_table(const QueryTable &description, const QuestionContext &context) {
    return make_table(description, context, ScalarRows());
}

std::unique_ptr<SqliteTable> make_distribution_table(const QueryTable &description, const QuestionContext &context) {
    return make_table(description, context, DistributionRows());
}

std::unique_ptr<SqliteTable> make_record_table(const QueryTable &description, const QuestionContext &context,
                                               const RecordText &content_of) {
    return make_table(description, context, RecordRows(content_of));
}

} // namespace cli
