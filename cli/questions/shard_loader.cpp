#include "cli/questions/shard_loader.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <exception>
#include <iterator>
#include <limits>
#include <map>
#include <utility>

#include "cli/dumps/input.h"
#include "cli/questions/native_block.h"
#include "cli/questions/row_binary.h"
#include "cli/questions/schema_text.h"

namespace cli {

class ShardLoader::Pending {
public:
    explicit Pending(LoadMark of) : mark(std::move(of)), is_known(mark.version != 0) {}

    LoadMark mark;       ///< its loads and version change with the loader's mutex held
    const bool is_known; ///< there is an older mark

    // With the mutex held:
    std::size_t open_inserts = 0; ///< that have rows of it and are not in
    bool is_read = false;
};

namespace {

/** Marks that wait for company: an insert of a single row costs the server as much as one of many. */
constexpr std::size_t kManyMarks = 256;

/** Of a question in bytes: servers take 256 KiB. */
constexpr std::size_t kLongestListOfDevices = std::size_t{64} << 10;

constexpr const char *kMarkColumns = "device, dump, kind, file, taken, reports, first_timestamp, last_timestamp, gaps, "
                                     "missing, trailing_bytes, sync_qor, sync_calendar, boot_timestamp, loads, version";

constexpr Column kPlaceOfReport = {"place", ColumnType::Unsigned64, false, qor::kNoUnit, "where the report is"};
constexpr Column kRawRecord = {"raw", ColumnType::Text, false, qor::kNoUnit, "the bytes of the record"};
constexpr Column kNumberOfLoad = {"load", ColumnType::Unsigned64, false, qor::kNoUnit, "the insert that has the row"};

std::vector<Column> with_load(std::vector<Column> columns) {
    columns.push_back(kNumberOfLoad);
    return columns;
}

std::vector<Column> columns_of_reports() {
    std::vector<Column> columns = exported_columns(table_named("reports"));
    std::ranges::find(columns, "dump", &Column::name)->type = ColumnType::Unsigned64; // the hash as a number
    columns.push_back(kPlaceOfReport);
    return columns;
}

std::vector<Column> columns_of_records() {
    std::vector<Column> columns(std::begin(kRecordColumns), std::end(kRecordColumns));
    columns.push_back(kRawRecord);
    return columns;
}

const char *name_of(LoadTable table) {
    switch (table) {
    case LoadTable::Reports:
        return "reports_data";
    case LoadTable::Scalar:
        return "scalar_data";
    case LoadTable::Distribution:
        return "distribution_data";
    case LoadTable::Records:
        break;
    }
    return "records_data";
}

/** The pieces of a block, one after another. */
BodyReader reader_of(const std::vector<std::string_view> &pieces) {
    return [&pieces, index = std::size_t{0}, taken = std::size_t{0}](std::span<std::byte> room) mutable {
        std::size_t filled = 0;
        while (filled < room.size() && index < pieces.size()) {
            const std::string_view left = pieces[index].substr(taken);
            const std::size_t count = std::min(room.size() - filled, left.size());
            std::memcpy(room.data() + filled, left.data(), count);
            filled += count;
            taken += count;
            if (taken == pieces[index].size()) {
                ++index;
                taken = 0;
            }
        }
        return filled;
    };
}

void add_mark(RowBinary &rows, const LoadMark &mark) {
    const DumpFacts &facts = mark.facts;
    rows.add(mark.device);
    rows.add(facts.hash);
    rows.add(static_cast<std::uint8_t>(mark.kind));
    rows.add(mark.file);
    rows.add(mark.taken);
    rows.add(facts.reports);
    rows.add(facts.first_timestamp);
    rows.add(facts.last_timestamp);
    rows.add(facts.gaps);
    rows.add(facts.missing);
    rows.add(static_cast<std::uint8_t>(facts.trailing_bytes));
    const std::optional<decoder::time_sync> &sync = facts.clock.sync;
    rows.add(sync ? std::optional(sync->qor) : std::nullopt);
    rows.add(sync ? std::optional(sync->calendar) : std::nullopt);
    rows.add(facts.clock.boot_time);
    rows.add(std::span<const std::uint64_t>(mark.loads));
    rows.add(mark.version);
}

std::uint64_t nanoseconds_now() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(now).count());
}

std::optional<std::uint64_t> optional_number_in(std::string_view text) {
    return text == "\\N" ? std::nullopt : std::optional(number_in<std::uint64_t>(text));
}

void count(LoadCounts &counts, const LoadMark &mark, bool is_known) {
    if (is_known) {
        ++counts.mended;
        return;
    }
    counts.dumps += mark.kind == RecordingKind::Dump ? 1 : 0;
    counts.record_files += mark.kind == RecordingKind::Record ? 1 : 0;
    counts.stores += mark.kind == RecordingKind::Store ? 1 : 0;
    counts.reports += mark.facts.reports;
}

LoadMark mark_in(const std::vector<std::string> &row) {
    LoadMark mark;
    mark.kind = kind_in(row[0]);
    mark.device = row[1];
    mark.facts.hash = number_in<std::uint64_t>(row[2]);
    mark.taken = number_in<std::int64_t>(row[3]);
    const std::optional<std::uint64_t> qor = optional_number_in(row[4]);
    const std::optional<std::uint64_t> calendar = optional_number_in(row[5]);
    if (qor && calendar) {
        mark.facts.clock.sync = {*qor, *calendar};
    }
    mark.facts.clock.boot_time = optional_number_in(row[6]);
    mark.loads = numbers_in(row[7]);
    mark.version = number_in<std::uint64_t>(row[8]);
    return mark;
}

} // namespace

LoadCounts &LoadCounts::operator+=(const LoadCounts &more) {
    dumps += more.dumps;
    record_files += more.record_files;
    stores += more.stores;
    reports += more.reports;
    mended += more.mended;
    inserts += more.inserts;
    return *this;
}

const std::vector<Column> &loaded_columns(LoadTable table) {
    static const std::vector<Column> reports = with_load(columns_of_reports());
    static const std::vector<Column> scalar = with_load({std::begin(kScalarColumns), std::end(kScalarColumns)});
    static const std::vector<Column> distribution =
        with_load({std::begin(kDistributionColumns), std::end(kDistributionColumns)});
    static const std::vector<Column> records = with_load(columns_of_records());
    switch (table) {
    case LoadTable::Reports:
        return reports;
    case LoadTable::Scalar:
        return scalar;
    case LoadTable::Distribution:
        return distribution;
    case LoadTable::Records:
        break;
    }
    return records;
}

ShardLoader::ShardLoader(ShardTarget target) : _target(std::move(target)), _client(_target.server) {
    try {
        for (std::size_t number = 0; number < _target.connections; ++number) {
            _threads.emplace_back([this, client = EngineClient(_target.server)]() mutable { work(std::move(client)); });
        }
    } catch (...) {
        stop(); // those that run
        throw;
    }
}

ShardLoader::~ShardLoader() { stop(); }

void ShardLoader::stop() {
    {
        const std::lock_guard lock(_mutex);
        _is_ending = true;
        _queue.clear();
        _complete.clear();
    }
    _changed.notify_all();
    for (std::thread &thread : _threads) {
        if (thread.joinable()) {
            thread.join();
        }
    }
}

std::vector<LoadMark> ShardLoader::marks_of(std::span<const ContentKey> keys) {
    std::vector<LoadMark> marks;
    if (keys.empty()) {
        return marks;
    }
    std::string query =
        "SELECT kind, device, dump, taken, sync_qor, sync_calendar, boot_timestamp, loads, version FROM " +
        _target.database + "." + kMarkTable + " WHERE dump IN (";
    for (const ContentKey &key : keys) {
        query += std::to_string(key.hash) + ",";
    }
    query.back() = ')';
    const AnswerRows rows = try_again(_target.patience, [&] { return _client.ask(query, 9); });
    for (const std::vector<std::string> &row : rows) {
        marks.push_back(mark_in(row));
    }
    return marks;
}

std::size_t ShardLoader::label(const std::set<std::string> &devices, const Labels &labels) {
    std::map<std::pair<std::string, std::string>, std::pair<std::uint64_t, std::string>> newest; // of device and key
    const auto look_up = [&](const std::string &list) {
        const std::string query = "SELECT device, key, value, version FROM " + _target.database + "." + kLabelData +
                                  " WHERE device IN (" + list + ")";
        for (const std::vector<std::string> &row : try_again(_target.patience, [&] { return _client.ask(query, 4); })) {
            auto &known = newest[{row[0], row[1]}];
            known = std::max(known, {number_in<std::uint64_t>(row[3]), row[2]});
        }
    };
    std::string list;
    for (const std::string &device : devices) {
        list += (list.empty() ? "" : ",") + text_literal(device);
        if (list.size() > kLongestListOfDevices) {
            look_up(list);
            list.clear();
        }
    }
    if (!list.empty()) {
        look_up(list);
    }

    RowBinary rows;
    std::size_t labelled = 0;
    for (const std::string &device : devices) {
        bool is_new = false;
        for (const auto &[key, value] : labels) {
            const auto &[version, known] = newest[{device, key}];
            if (version != 0 && known == value) {
                continue;
            }
            is_new = true;
            rows.add(std::string_view(device));
            rows.add(std::string_view(key));
            rows.add(std::string_view(value));
            rows.add(std::max(nanoseconds_now(), version + 1));
        }
        labelled += is_new ? 1 : 0;
    }
    if (labelled != 0) {
        const std::vector<std::string_view> pieces = {rows.bytes()};
        const std::string statement =
            "INSERT INTO " + _target.database + "." + kLabelData + " (device, key, value, version) FORMAT RowBinary";
        // A label that is written twice is the same label.
        try_again(_target.patience, [&] { _client.insert(statement, reader_of(pieces)); });
    }
    return labelled;
}

ShardLoader::Ticket ShardLoader::begin(LoadMark mark) {
    auto ticket = std::make_shared<Pending>(std::move(mark));
    const std::lock_guard lock(_mutex);
    _unmarked.insert(ticket);
    return ticket;
}

void ShardLoader::add(const Ticket &ticket, LoadTable table, std::size_t rows,
                      const std::function<void(ColumnBlock &)> &fill) {
    std::unique_ptr<Insert> &open = _open.at(static_cast<std::size_t>(table));
    if (!open) {
        open = std::make_unique<Insert>(Insert{table, ColumnBlock(loaded_columns(table)), {}});
        if (table == LoadTable::Reports) {
            // Columns that grow leave holes in the heap, as large as the rows.
            open->rows.reserve(std::min(_target.insert_rows, kInsertRows) + ReportInput::kPieceReports);
        }
    }
    if (open->segments.empty() || open->segments.back().ticket != ticket) {
        open->segments.push_back({ticket, 0});
        const std::lock_guard lock(_mutex);
        ++ticket->open_inserts;
    }
    open->segments.back().rows += rows;
    fill(open->rows);
    if (open->rows.rows() >= _target.insert_rows || open->rows.text_bytes() >= kInsertTextBytes) {
        send(std::move(open));
    }
}

void ShardLoader::finish(const Ticket &ticket) {
    {
        const std::lock_guard lock(_mutex);
        if (_has_failed) {
            return; // rows may be missing, and a thread whose insert is still on its way would write the mark
        }
        ticket->is_read = true;
        if (ticket->open_inserts == 0) {
            _complete.push_back(ticket);
        }
    }
    _changed.notify_all();
}

void ShardLoader::abandon(const Ticket &ticket) {
    const std::lock_guard lock(_mutex);
    _unmarked.erase(ticket);
}

bool ShardLoader::has_failed() {
    const std::lock_guard lock(_mutex);
    return _has_failed;
}

ShardLoader::Outcome ShardLoader::end() {
    for (std::unique_ptr<Insert> &open : _open) {
        if (open) {
            send(std::move(open));
        }
    }
    {
        const std::lock_guard lock(_mutex);
        _is_ending = true;
    }
    _changed.notify_all();
    for (std::thread &thread : _threads) {
        thread.join();
    }
    for (const Ticket &ticket : _unmarked) {
        _outcome.lost.push_back(ticket->mark.file);
    }
    std::ranges::sort(_outcome.lost);
    return std::move(_outcome);
}

/** Waits for a thread that is free, so that no more inserts are held than are sent. */
void ShardLoader::send(std::unique_ptr<Insert> insert) {
    std::unique_lock lock(_mutex);
    _changed.wait(lock, [this] { return _has_failed || _queue.size() + _busy < _target.connections; });
    if (!_has_failed) {
        _queue.push_back(std::move(insert));
        lock.unlock();
        _changed.notify_all();
    }
}

/** With the mutex held. */
bool ShardLoader::is_anything_due() const {
    return !_queue.empty() || _complete.size() >= kManyMarks || (_is_ending && !_complete.empty());
}

void ShardLoader::work(EngineClient client) {
    std::unique_lock lock(_mutex);
    for (;;) {
        // The last one to send may complete what others then write the marks of.
        _changed.wait(lock, [this] { return _has_failed || is_anything_due() || (_is_ending && _busy == 0); });
        if (_has_failed || !is_anything_due()) {
            return;
        }
        std::unique_ptr<Insert> insert;
        if (!_queue.empty()) {
            insert = std::move(_queue.front());
            _queue.pop_front();
        }
        ++_busy;
        lock.unlock();
        _changed.notify_all();
        try {
            if (insert) {
                send_rows(client, *insert);
            }
            std::vector<Ticket> tickets;
            {
                const std::lock_guard held(_mutex);
                tickets.swap(_complete);
            }
            send_marks(client, tickets);
        } catch (const std::exception &error) {
            fail(error.what());
        }
        insert.reset();
        lock.lock();
        --_busy;
        _changed.notify_all();
    }
}

void ShardLoader::send_rows(EngineClient &client, Insert &insert) {
    const std::vector<Column> &columns = insert.rows.columns();
    std::string statement = "INSERT INTO " + _target.database + "." + name_of(insert.table) + " (";
    for (const Column &column : columns) {
        statement += std::string(column.name) + (&column == &columns.back() ? ") FORMAT Native" : ", ");
    }
    std::vector<std::uint64_t> numbers(insert.segments.size());
    try_again(_target.patience, [&] {
        insert.rows.clear_column(columns.size() - 1);
        for (std::size_t segment = 0; segment < numbers.size(); ++segment) {
            numbers[segment] = random_number();
            insert.rows.add_number(columns.size() - 1, numbers[segment], insert.segments[segment].rows);
        }
        const NativeBlock block(insert.rows);
        client.insert(statement, reader_of(block.pieces()));
    });
    const std::lock_guard lock(_mutex);
    ++_outcome.counts.inserts;
    for (std::size_t segment = 0; segment < numbers.size(); ++segment) {
        Pending &pending = *insert.segments[segment].ticket;
        pending.mark.loads.push_back(numbers[segment]);
        if (--pending.open_inserts == 0 && pending.is_read) {
            _complete.push_back(insert.segments[segment].ticket);
        }
    }
}

void ShardLoader::send_marks(EngineClient &client, const std::vector<Ticket> &tickets) {
    if (tickets.empty()) {
        return;
    }
    RowBinary rows;
    for (const Ticket &ticket : tickets) {
        LoadMark &mark = ticket->mark; // complete: nobody else changes it
        mark.version = std::max(nanoseconds_now(), mark.version + 1);
        add_mark(rows, mark);
    }
    const std::vector<std::string_view> pieces = {rows.bytes()};
    const std::string statement =
        "INSERT INTO " + _target.database + "." + kMarkTable + " (" + kMarkColumns + ") FORMAT RowBinary";
    // A mark that is written twice is the same mark.
    try_again(_target.patience, [&] { client.insert(statement, reader_of(pieces)); });
    const std::lock_guard lock(_mutex);
    for (const Ticket &ticket : tickets) {
        _unmarked.erase(ticket);
        count(_outcome.counts, ticket->mark, ticket->is_known);
    }
}

void ShardLoader::fail(const std::string &reason) {
    const std::lock_guard lock(_mutex);
    if (!_has_failed) {
        _has_failed = true;
        _outcome.reason = reason;
    }
    _queue.clear();
}

/** Of an insert: unlike all others, also those of other programs. */
std::uint64_t ShardLoader::random_number() {
    const std::lock_guard lock(_mutex);
    std::uniform_int_distribution<std::uint64_t> any;
    return any(_randomness);
}

} // namespace cli
