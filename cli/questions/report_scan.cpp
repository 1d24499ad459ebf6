#include "cli/questions/report_scan.h"

#include <algorithm>
#include <set>
#include <string>
#include <string_view>

#include "decoder/name_tables.h"
#include "host/error.h"

namespace cli {

// ---- in the order of files

bool ReportScan::next(ReportRows &rows) {
    rows.clear();
    while (rows.reports.empty()) {
        _context.look();
        if (!_input && !open_next()) {
            return false;
        }
        rows.recording = _which[_opened - 1];
        try {
            read(rows);
        } catch (const host::Error &error) {
            rows.clear();
            _input.reset();
            _context.recordings.report(rows.recording, error);
        }
    }
    return true;
}

/** @return false when there is no further recording. */
bool ReportScan::open_next() {
    while (_opened < _which.size()) {
        const std::size_t index = _which[_opened++];
        try {
            _input = open_reports(_context.recordings[index]);
            return true;
        } catch (const host::Error &error) {
            _context.recordings.report(index, error);
        }
    }
    return false;
}

void ReportScan::read(ReportRows &rows) {
    const std::optional<ReportPiece> piece = _input->read_next();
    if (!piece) {
        _context.recordings.report_trailing(rows.recording, _input->trailing_bytes());
        _input.reset();
        return;
    }
    take(*piece, rows);
    if (!_input->keeps_last_piece()) {
        rows.clear(); // what is still there comes with the next piece
    }
}

void ReportScan::take(const ReportPiece &piece, ReportRows &rows) {
    rows.first = piece.offset / _QorProfileReport::kSize;
    if (_test.is_open()) {
        rows.reports.assign(piece.reports.begin(), piece.reports.end());
        rows.clocks.assign(piece.clocks.begin(), piece.clocks.end());
        return;
    }
    for (std::size_t i = 0; i < piece.count(); ++i) {
        if (!_test.passes(piece.report(i))) {
            continue;
        }
        rows.reports.push_back(piece.report(i));
        rows.numbers.push_back(rows.first + i);
        if (!piece.clocks.empty()) {
            rows.clocks.push_back(piece.clocks[i]);
        }
    }
}

// ---- by ids

namespace {

/** What a group has in a column: a text, or a number. */
struct GroupValue {
    std::string_view text;
    std::uint8_t number = 0;

    auto operator<=>(const GroupValue &) const = default;
};

} // namespace

OrderedScan::OrderedScan(QuestionContext context, std::vector<std::size_t> which, ReportTest &test,
                         const std::vector<OrderTerm> &order, bool only_groups)
    : _context(context), _which(std::move(which)), _test(test),
      _has_recordings(std::ranges::any_of(order, is_of_recording, &OrderTerm::column)), _only_groups(only_groups) {
    count_groups();
    sort_groups(order);
}

void OrderedScan::count_groups() {
    ReportScan scan(_context, _which, _test);
    ReportRows rows;
    while (scan.next(rows)) {
        for (const _QorProfileReport &report : rows.reports) {
            const Key key = key_of(rows.recording, report);
            if (const std::size_t *const known = _index.find(key)) {
                ++_groups[*known].count;
                continue;
            }
            // About as much as the groups and their index take.
            if (_groups.size() * 4 * sizeof(Group) > _context.memory) {
                throw host::Error("", "", "the reports have too many different ids for the query's limit of memory");
            }
            _index.add(key, _groups.size());
            _groups.push_back({key.first, key.second, 1});
        }
    }
}

void OrderedScan::sort_groups(const std::vector<OrderTerm> &order) {
    const auto value_of = [this](const Group &group, int column) -> GroupValue {
        const auto type = static_cast<std::uint8_t>(group.header);
        const auto event = static_cast<std::uint8_t>(group.header >> 8);
        const auto component = static_cast<std::uint8_t>(group.header >> 16);
        const auto category = static_cast<std::uint8_t>(group.header >> 24);
        switch (column) {
        case report_column("device"):
            return {_context.recordings[group.recording].device};
        case report_column("dump"):
            return {_context.recordings.dump(group.recording, _context.look)};
        case report_column("category"):
            return {decoder::category_name(category)};
        case report_column("category_id"):
            return {{}, category};
        case report_column("component"):
            return {decoder::component_name(category, component)};
        case report_column("component_id"):
            return {{}, component};
        case report_column("event"):
            return {decoder::event_name(category, component, event)};
        case report_column("event_id"):
            return {{}, event};
        case report_column("type"):
            return {decoder::type_name(type)};
        default:
            return {{}, type};
        }
    };
    std::ranges::stable_sort(_groups, [&](const Group &a, const Group &b) {
        for (const OrderTerm &term : order) {
            const GroupValue value_of_a = value_of(a, term.column);
            const GroupValue value_of_b = value_of(b, term.column);
            if (value_of_a != value_of_b) {
                return (value_of_a < value_of_b) != term.is_descending;
            }
        }
        return false;
    });
    for (std::size_t i = 0; i < _groups.size(); ++i) {
        *_index.find({_groups[i].recording, _groups[i].header}) = i;
    }
}

bool OrderedScan::next(ReportRows &rows) {
    rows.clear();
    while (_large) {
        if (!_large->next(rows)) {
            _large.reset();
            break;
        }
        const Group &group = _groups[_next - 1];
        std::erase_if(rows.reports, [&](const _QorProfileReport &report) { return report.header() != group.header; });
        if (!rows.reports.empty()) {
            return true;
        }
    }
    while (_next < _groups.size()) {
        if (_only_groups) {
            const Group &group = _groups[_next++];
            _QorProfileReport report{};
            qor::store_little_endian(report.bytes, group.header, sizeof group.header);
            rows.recording = _has_recordings ? group.recording : _which.front();
            rows.reports.push_back(report);
            rows.times = group.count;
            return true;
        }
        if (_next == _batch_end) {
            read_batch();
            if (_large) {
                return next(rows);
            }
        }
        Group &group = _groups[_next++];
        rows.recording = _has_recordings ? group.recording : _which.front();
        rows.reports = std::exchange(group.reports, {});
        if (!rows.reports.empty()) {
            return true;
        }
    }
    return false;
}

/** Reads the next groups for which there is room; a large one is then read while it is given. */
void OrderedScan::read_batch() {
    const std::uint64_t most = std::max<std::uint64_t>(1, _context.memory / _QorProfileReport::kSize);
    std::uint64_t count = 0;
    while (_batch_end < _groups.size() && count + _groups[_batch_end].count <= most) {
        count += _groups[_batch_end++].count;
    }
    if (_batch_end == _next) {
        ++_batch_end;
        const Group &group = _groups[_next++];
        _large.emplace(_context, _has_recordings ? std::vector{group.recording} : _which, _test);
        return;
    }
    std::set<std::size_t> recordings(_which.begin(), _which.end());
    if (_has_recordings) {
        recordings.clear();
        for (std::size_t i = _next; i < _batch_end; ++i) {
            recordings.insert(_groups[i].recording);
        }
    }
    ReportScan scan(_context, {recordings.begin(), recordings.end()}, _test);
    ReportRows rows;
    while (scan.next(rows)) {
        for (const _QorProfileReport &report : rows.reports) {
            const std::size_t *const known = _index.find(key_of(rows.recording, report));
            if (known == nullptr || *known < _next || *known >= _batch_end) {
                continue;
            }
            // A file that has grown since has no more than were counted.
            if (Group &group = _groups[*known]; group.reports.size() < group.count) {
                group.reports.push_back(report);
            }
        }
    }
}

void OrderedScan::Index::add(const Key &key, std::size_t number) {
    if (++_used * 2 > _slots.size()) {
        const std::vector<Slot> old = std::exchange(_slots, std::vector<Slot>(_slots.size() * 2));
        for (const Slot &slot : old) {
            if (slot.number != kNoNumber) {
                *slot_of(slot.key) = slot;
            }
        }
    }
    *slot_of(key) = {key, number};
}

/** That of the key, or the one where it belongs. */
OrderedScan::Index::Slot *OrderedScan::Index::slot_of(const Key &key) {
    std::uint64_t hash = (key.first * 0x9E37'79B9'7F4A'7C15U) ^ (key.second * 0xC2B2'AE3D'27D4'EB4FU);
    hash ^= hash >> 29;
    std::size_t place = hash & (_slots.size() - 1);
    while (_slots[place].number != kNoNumber && _slots[place].key != key) {
        place = (place + 1) & (_slots.size() - 1);
    }
    return &_slots[place];
}

} // namespace cli
