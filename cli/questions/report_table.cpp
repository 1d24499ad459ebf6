#include "cli/questions/report_table.h"

#include <algorithm>
#include <array>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/dumps/wall_time.h"
#include "cli/terminal/hex.h"
#include "decoder/name_tables.h"
#include "decoder/payload_walk.h"
#include "host/utf8.h"

namespace cli {
namespace {

constexpr int kHeaderCount = static_cast<int>(kHeaderColumns.size());

// ---- values

void put_name_or_id(sqlite3_context *context, const decoder::name_table &names, std::uint32_t id) {
    if (const decoder::short_text *const name = names.find(id)) {
        put_lasting_text(context, decoder::strip_apostrophes(*name));
    } else {
        put_text(context, std::to_string(id));
    }
}

void put_characters(sqlite3_context *context, std::string_view text, bool wants_hex) {
    if (host::is_utf8(text) == wants_hex) {
        sqlite3_result_null(context);
    } else {
        put_text(context, wants_hex ? hex(text) : text);
    }
}

void put_field(sqlite3_context *context, const _QorProfileReport &report, const ViewColumn &column) {
    using qor::How;
    const qor::Field &field = *column.field;
    switch (field.how) {
    case How::Number:
    case How::Hexadecimal:
        return put_unsigned(context, qor::load_number(report.bytes, field));
    case How::Signed:
        return sqlite3_result_int64(context, qor::load_signed(report.bytes, field));
    case How::Constant:
        return sqlite3_result_int64(context, field.parameter);
    case How::FixedPoint:
        return sqlite3_result_double(context, qor::load_fixed_point(report.bytes, field));
    case How::Text:
        return put_characters(context, decoder::text_in(report, field), column.is_hex_of_text);
    case How::Bytes:
    case How::CountedBytes:
        return put_text(context, hex(std::as_bytes(decoder::bytes_in(report, field))));
    case How::Subject:
        return put_name_or_id(context, decoder::sshb_subtype_table(report.component_id()),
                              static_cast<std::uint32_t>(qor::load_number(report.bytes, field)));
    }
}

// ---- rows

class ReportCursor : public TableCursor {
public:
    ReportCursor(const QuestionContext &context, const PayloadView *view) : _context(context), _view(view) {}

    void start(const ScanRequest &request) override {
        std::vector<std::size_t> which = recordings_for(request);
        _scan.reset();
        _ordered.reset();
        _test.emplace(request.conditions, _view);
        if (request.order.empty()) {
            _scan.emplace(_context, std::move(which), *_test);
        } else {
            const bool only_groups = (request.columns & ~kGroupBits) == 0;
            _ordered.emplace(_context, std::move(which), *_test, request.order, only_groups);
        }
        _is_distinct = request.is_distinct;
        _number = -1;
        _is_at_end = false;
        read_rows();
    }

    void next() override {
        if (_times_left != 0) {
            --_times_left;
            ++_number;
        } else if (++_at != _rows.reports.size()) [[likely]] {
            _times_left = _rows.times - 1;
            ++_number;
        } else {
            read_rows();
        }
    }

    std::int64_t row_number() const override {
        // The place in the recording tells rows apart in every scan; in an order there is one scan only.
        return _scan ? static_cast<std::int64_t>((std::uint64_t{_rows.recording} << 40) + _rows.number_of(_at))
                     : _number;
    }

    void put_column(sqlite3_context *context, int column) override {
        const _QorProfileReport &report = _rows.reports[_at];
        switch (column) {
        case report_column("device"):
            return put_lasting_text(context, _context.recordings[_rows.recording].device);
        case report_column("dump"):
            return put_lasting_text(context, _context.recordings.dump(_rows.recording, _context.look));
        case report_column("category"):
            return put_lasting_text(context, decoder::category_name(report.category_id()));
        case report_column("category_id"):
            return sqlite3_result_int64(context, report.category_id());
        case report_column("component"):
            return put_lasting_text(context, decoder::component_name(report.category_id(), report.component_id()));
        case report_column("component_id"):
            return sqlite3_result_int64(context, report.component_id());
        case report_column("event"):
            return put_lasting_text(
                context, decoder::event_name(report.category_id(), report.component_id(), report.event_id()));
        case report_column("event_id"):
            return sqlite3_result_int64(context, report.event_id());
        case report_column("type"):
            return put_lasting_text(context, decoder::type_name(report.type_id()));
        case report_column("type_id"):
            return sqlite3_result_int64(context, report.type_id());
        case report_column("sequence_num"):
            return sqlite3_result_int64(context, report.sequence_num());
        case report_column("timestamp"):
            return put_unsigned(context, report.timestamp());
        case report_column("wall_time"):
            return put_wall_time(context, report);
        case report_column("boot_timestamp"):
            if (const std::optional<std::uint64_t> boot_time = clock().boot_time) {
                put_unsigned(context, *boot_time);
            }
            return;
        default:
            put_payload(context, report, static_cast<std::size_t>(column - kHeaderCount));
        }
    }

private:
    static constexpr std::uint64_t kGroupBits = [] {
        std::uint64_t bits = 0;
        for (int column = 0; column < kHeaderCount; ++column) {
            bits |= OrderedScan::orders_by(column) ? column_bit(column) : 0;
        }
        return bits;
    }();

    std::vector<std::size_t> recordings_for(const ScanRequest &request) const {
        std::vector<std::size_t> which;
        for (std::size_t i = 0; i < _context.recordings.size(); ++i) {
            const bool may_have_rows = std::ranges::all_of(request.conditions, [&](const ColumnCondition &condition) {
                return (condition.column != report_column("device") ||
                        may_hold(condition, _context.recordings[i].device)) &&
                       (condition.column != report_column("dump") || !_context.recordings[i].has_reports ||
                        may_hold(condition, _context.recordings.dump(i, _context.look)));
            });
            if (_context.recordings[i].has_reports && may_have_rows) {
                which.push_back(i);
            }
        }
        return which;
    }

    void read_rows() {
        _at = 0;
        _rows.times = 1;
        const bool has_rows = _scan ? _scan->next(_rows) : _ordered->next(_rows);
        if (!has_rows) {
            _is_at_end = true;
            return;
        }
        _rows.times = _is_distinct ? 1 : _rows.times;
        _times_left = _rows.times - 1;
        ++_number;
    }

    decoder::device_clock clock() const {
        return _context.clock.now_or(_rows.clocks.empty() ? decoder::device_clock{} : _rows.clocks[_at]);
    }

    void put_wall_time(sqlite3_context *context, const _QorProfileReport &report) const {
        const std::optional<decoder::time_sync> sync = clock().sync;
        if (!sync) {
            return;
        }
        std::array<char, kIsoWallTimeRoom> text;
        const char *const end = put_iso_wall_time(text.data(), report.timestamp(), *sync);
        if (end != text.data()) {
            put_text(context, {text.data(), static_cast<std::size_t>(end - text.data())});
        }
    }

    void put_payload(sqlite3_context *context, const _QorProfileReport &report, std::size_t index) const {
        if (_view != nullptr) {
            put_field(context, report, _view->columns[index]);
        } else {
            sqlite3_result_int64(context, report.at<std::uint32_t>(qor::kPayloadOffset + 4 * index));
        }
    }

    const QuestionContext &_context;
    const PayloadView *_view;
    std::optional<ReportTest> _test;
    std::optional<ReportScan> _scan;
    std::optional<OrderedScan> _ordered; ///< instead of `_scan`, when there is an order
    bool _is_distinct = false;
    ReportRows _rows;
    std::size_t _at = 0;           ///< the current row
    std::uint64_t _times_left = 0; ///< how often it comes again
    std::int64_t _number = 0;
};

class ReportTable : public SqliteTable {
public:
    ReportTable(const QueryTable &description, const QuestionContext &context, const PayloadView *view)
        : SqliteTable(description), _context(context), _view(view) {
        constexpr double kPackedTo = 4; // unpacked, a packed dump has about so many times its bytes
        for (std::size_t i = 0; i < context.recordings.size(); ++i) {
            const Recording &recording = context.recordings[i];
            _dumps += recording.has_reports ? 1 : 0;
            _reports += recording.has_reports ? kPackedTo * static_cast<double>(recording.size) / qor::kReportSize : 0;
        }
    }

    bool uses(const PlannedCondition &condition) const override {
        const bool is_of_recording =
            condition.column == report_column("device") || condition.column == report_column("dump");
        return is_of_recording
                   ? condition.comparison == Comparison::Equal
                   : condition.column < kHeaderCount && ReportTest::uses(condition.column, condition.comparison);
    }

    /** What is read of rows that are read again in another order must not differ between recordings. */
    bool keeps_order(std::span<const OrderTerm> order, std::uint64_t columns) const override {
        constexpr std::uint64_t kDevice = column_bit(report_column("device"));
        constexpr std::uint64_t kDump = column_bit(report_column("dump"));
        constexpr std::uint64_t kOfClocks =
            column_bit(report_column("wall_time")) | column_bit(report_column("boot_timestamp"));
        std::uint64_t ordered = 0;
        for (const OrderTerm &term : order) {
            if (!OrderedScan::orders_by(term.column)) {
                return false;
            }
            ordered |= column_bit(term.column);
        }
        const bool tells_recordings =
            _dumps <= 1 || (columns & (kDevice | kDump)) == 0 || (ordered & (kDevice | kDump)) != 0;
        return (columns & kOfClocks) == 0 && tells_recordings;
    }

    ScanEstimate estimate(std::span<const PlannedCondition> conditions) const override {
        double cost = 0.1 * _reports + 100;
        double rows = _reports + 100;
        for (const PlannedCondition &condition : conditions) {
            if (condition.column == report_column("device") || condition.column == report_column("dump")) {
                cost /= std::max(1.0, static_cast<double>(_dumps));
                rows /= std::max(1.0, static_cast<double>(_dumps));
            } else if (condition.comparison != Comparison::Equal) {
                rows /= 4;
            } else {
                const bool is_number =
                    condition.column == report_column("sequence_num") || condition.column == report_column("timestamp");
                rows = is_number ? 1 : rows / 10;
            }
        }
        return {cost + rows, std::max(1.0, rows)};
    }

    std::unique_ptr<TableCursor> open() override { return std::make_unique<ReportCursor>(_context, _view); }

private:
    const QuestionContext &_context;
    const PayloadView *_view;
    std::size_t _dumps = 0;
    double _reports = 0; ///< about how many there are
};

} // namespace

std::unique_ptr<SqliteTable> make_report_table(const QueryTable &description, const QuestionContext &context,
                                               const PayloadView *view) {
    return std::make_unique<ReportTable>(description, context, view);
}

} // namespace cli
