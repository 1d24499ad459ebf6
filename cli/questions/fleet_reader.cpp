#include "cli/questions/fleet_reader.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <tuple>
#include <utility>

#include "host/error.h"

namespace cli {
namespace {

/** What one question is about at most: servers sort its rows in memory, and take questions of 256 KiB. */
constexpr std::size_t kMarksAtOnce = 128;
constexpr std::size_t kLoadsAtOnce = 1000;
constexpr std::uint64_t kReportsAtOnce = std::uint64_t{1} << 21;
constexpr std::size_t kNamesAtOnce = std::size_t{64} << 10; ///< in bytes

constexpr std::size_t kReportsOfPiece = 4096;

/** The columns of a report's row, and how many bytes each has in the report, in its order. */
constexpr const char *kReportColumnsInOrder =
    "type_id, event_id, component_id, category_id, sequence_num, timestamp, w0, w1, w2, w3, w4, w5, w6, w7";
constexpr std::array<std::size_t, 14> kSizes = {1, 1, 1, 1, 4, 8, 4, 4, 4, 4, 4, 4, 4, 4};
/** Before these: the number of the mark, and the report's place. */
constexpr std::size_t kColumnsBefore = 2;

EngineFailure unusable(const LoadMark &mark, const std::string &reason) {
    return {host::in_quotes(mark.file) + " of the device " + host::in_quotes(mark.device) + ": " + reason, false};
}

_QorProfileReport report_in(std::span<const std::string_view> cells) {
    _QorProfileReport report{};
    std::uint8_t *place = report.bytes;
    for (std::size_t index = 0; index < kSizes.size(); ++index) {
        const auto number = number_in<std::uint64_t>(cells[index]);
        if (kSizes[index] < sizeof number && number >> (8 * kSizes[index]) != 0) {
            throw EngineFailure("the server answers with a number that is too great for its column", false);
        }
        qor::store_little_endian(place, number, kSizes[index]);
        place += kSizes[index];
    }
    return report;
}

unsigned digit_in(char c) {
    if ('0' <= c && c <= '9') {
        return static_cast<unsigned>(c - '0');
    }
    if ('a' <= c && c <= 'f') {
        return static_cast<unsigned>(c - 'a' + 10);
    }
    throw EngineFailure("the server answers with something else than hexadecimal digits", false);
}

std::vector<std::byte> bytes_in(std::string_view digits) {
    if (digits.size() % 2 != 0) {
        throw EngineFailure("the server answers with something else than hexadecimal digits", false);
    }
    std::vector<std::byte> bytes;
    bytes.reserve(digits.size() / 2);
    for (std::size_t place = 0; place < digits.size(); place += 2) {
        bytes.push_back(static_cast<std::byte>(16 * digit_in(digits[place]) + digit_in(digits[place + 1])));
    }
    return bytes;
}

/** A value of a distribution: not NaN, which has no place among the others, and not -0. */
double value_in(std::string_view cell) {
    const auto value = number_in<double>(cell);
    if (std::isnan(value)) {
        throw EngineFailure("the server answers with a value that is not a number", false);
    }
    return value + 0.0; // adding 0 turns -0 into 0
}

/** How often a value is there. */
std::uint64_t count_in(std::string_view cell) {
    const auto count = number_in<std::int64_t>(cell);
    if (count < 1) {
        throw EngineFailure("the server answers with a value that is there " + std::to_string(count) + " times", false);
    }
    return static_cast<std::uint64_t>(count);
}

/** Where marks are from, by the numbers of their inserts. */
using MarksByLoad = std::map<std::uint64_t, std::size_t>;

MarksByLoad marks_by_load(std::span<const LoadMark> marks, RecordingKind kind) {
    MarksByLoad found;
    for (std::size_t index = 0; index < marks.size(); ++index) {
        if (marks[index].kind == kind) {
            for (const std::uint64_t load : marks[index].loads) {
                found[load] = index;
            }
        }
    }
    return found;
}

std::size_t mark_of(const MarksByLoad &marks, std::string_view load) {
    const auto found = marks.find(number_in<std::uint64_t>(load));
    if (found == marks.end()) {
        throw EngineFailure("the server answers with rows that were not asked for", false);
    }
    return found->second;
}

void add_to_list(std::string &list, const std::string &entry) { list.append(list.empty() ? "" : ",").append(entry); }

std::string list_of(const MarksByLoad &marks) {
    std::string list;
    for (const auto &[load, mark] : marks) {
        add_to_list(list, std::to_string(load));
    }
    return list;
}

/** The marks that count: of each content the newest one, of each device's stores the one that was taken last. */
std::vector<LoadMark> newest(std::vector<LoadMark> marks) {
    std::map<std::pair<std::string, std::uint64_t>, LoadMark> contents;
    std::map<std::string, LoadMark> stores;
    for (LoadMark &mark : marks) {
        const bool is_store = mark.kind == RecordingKind::Store;
        LoadMark &known = is_store ? stores[mark.device] : contents[{mark.device, mark.facts.hash}];
        const auto age = [is_store](const LoadMark &one) { return std::tuple(is_store ? one.taken : 0, one.version); };
        if (known.version == 0 || age(known) < age(mark)) {
            known = std::move(mark);
        }
    }
    std::vector<LoadMark> counting;
    for (auto &[key, mark] : contents) {
        counting.push_back(std::move(mark));
    }
    for (auto &[device, mark] : stores) {
        counting.push_back(std::move(mark));
    }
    std::ranges::sort(counting, {}, [](const LoadMark &mark) {
        return std::tie(mark.device, mark.kind, mark.taken, mark.file, mark.facts.hash);
    });
    return counting;
}

} // namespace

/** Recordings in the order of their marks, of which the reports come as rows. */
class FleetReader::ReportFeed {
public:
    ReportFeed(std::span<const LoadMark> marks, const RecordingTaker &take,
               std::function<void(std::size_t mark)> add_others)
        : _marks(marks), _take(take), _add_others(std::move(add_others)) {
        if (!_marks.empty()) {
            _take.begin(_marks.front().device);
        }
    }

    void add_row(std::span<const std::string_view> cells) {
        const auto mark = number_in<std::uint64_t>(cells[0]);
        if (mark < _mark || mark >= _marks.size()) {
            throw EngineFailure("the server answers with rows that were not asked for, or in another order", false);
        }
        while (_mark < mark) {
            go_on();
        }
        if (number_in<std::uint64_t>(cells[1]) != _row || _row == _marks[_mark].facts.reports) {
            throw unusable(_marks[_mark], "report " + std::to_string(_row) + " is not there, or twice");
        }
        ++_row;
        ++_rows;
        _piece.push_back(report_in(cells.subspan(kColumnsBefore)));
        if (_piece.size() == kReportsOfPiece) {
            give();
        }
    }

    /** How many have come, of all recordings. */
    std::uint64_t rows() const { return _rows; }

    void end() {
        while (_mark < _marks.size()) {
            go_on();
        }
    }

private:
    void give() {
        if (!_piece.empty()) {
            _take.add_reports(_piece);
            _piece.clear();
        }
    }

    /** Ends a recording and begins the next. */
    void go_on() {
        if (_row != _marks[_mark].facts.reports) {
            throw unusable(_marks[_mark], "only " + std::to_string(_row) + " of its " +
                                              std::to_string(_marks[_mark].facts.reports) + " reports are there");
        }
        give();
        _add_others(_mark);
        ++_mark;
        _row = 0;
        if (_mark < _marks.size()) {
            _take.begin(_marks[_mark].device);
        }
    }

    std::span<const LoadMark> _marks;
    const RecordingTaker &_take;
    std::function<void(std::size_t)> _add_others;
    std::size_t _mark = 0;
    std::uint64_t _row = 0;  ///< of the mark's recording: so many have come
    std::uint64_t _rows = 0; ///< of all
    std::vector<_QorProfileReport> _piece;
};

FleetReader::FleetReader(EngineServers servers) : _servers(std::move(servers)), _map({1}) {
    const ClusterShards shards = open_shards(_servers, MissingTables::Leave);
    _map = shards.map;
    for (const Shard &shard : shards.shards) {
        if (!shard.why_away.empty()) {
            throw host::Error("", "", shard.why_away);
        }
        HttpServer server = _servers.servers.front();
        server.url = shard.url;
        _shards.push_back({EngineClient(std::move(server)), _servers.patience_with(shard.url)});
    }
    for (Server &server : _shards) {
        require_whole_tables(server);
    }
}

/** What a failed attempt gave is not given again. @param query  its rows have an order. */
void FleetReader::ask(Server &server, const std::string &query, std::size_t columns, const RowTaker &take) const {
    std::uint64_t taken = 0;
    try {
        try_again(server.patience, [&] {
            std::uint64_t row = 0;
            server.client.read(query, columns, [&](std::span<const std::string_view> cells) {
                if (row++ == taken) {
                    ++taken;
                    take(cells);
                }
            });
        });
    } catch (const EngineFailure &failure) {
        throw host::Error(server.client.url(), "", failure.what());
    }
}

/** A server alone of a cluster would give its own devices and say nothing of the others. */
void FleetReader::require_whole_tables(Server &server) const {
    std::string engine;
    ask(server,
        "SELECT engine FROM system.tables WHERE database = " + text_literal(_servers.database) +
            " AND name = 'dumps' ORDER BY engine",
        1, [&engine](std::span<const std::string_view> cells) { engine = cells[0]; });
    if (engine.empty()) {
        throw host::Error(server.client.url(), "",
                          "nothing was loaded into the database " + host::in_quotes(_servers.database));
    }
    if (engine == "Distributed" && !_servers.cluster) {
        throw host::Error(server.client.url(), "",
                          std::string("the tables are those of a cluster: name it with --cluster, and a server of each "
                                      "of its shards with ") +
                              _servers.option);
    }
}

std::map<std::string, FleetDevice> FleetReader::devices() {
    std::map<std::string, FleetDevice> devices;
    for (std::size_t shard = 0; shard < _shards.size(); ++shard) {
        Server &server = _shards[shard];
        ask(server,
            "SELECT device, sum(most) FROM (SELECT device, dump, max(reports) AS most FROM " + table("dumps_data") +
                " GROUP BY device, dump) AS contents GROUP BY device ORDER BY device",
            2, [&](std::span<const std::string_view> cells) {
                const std::string name = unescape(cells[0]);
                if (_map.shard_of(name) != shard) {
                    throw EngineFailure("the device " + host::in_quotes(name) + " is not in its shard of the cluster",
                                        false);
                }
                devices[name].reports = number_in<std::uint64_t>(cells[1]);
            });
        ask(server,
            "SELECT device, key, argMax(value, version) FROM " + table("labels_data") +
                " GROUP BY device, key ORDER BY device, key",
            3, [&](std::span<const std::string_view> cells) {
                const auto device = devices.find(unescape(cells[0]));
                if (device != devices.end()) {
                    device->second.labels[unescape(cells[1])] = unescape(cells[2]);
                }
            });
    }
    return devices;
}

void FleetReader::read(const std::vector<std::string> &names, const RecordingTaker &take) {
    for (std::size_t shard = 0; shard < _shards.size(); ++shard) {
        Server &server = _shards[shard];
        std::string list;
        const auto read_list = [&] {
            read_marks(server, marks_of(server, list), take);
            list.clear();
        };
        for (const std::string &name : names) {
            if (_map.shard_of(name) == shard) {
                add_to_list(list, text_literal(name));
            }
            if (list.size() >= kNamesAtOnce) {
                read_list();
            }
        }
        if (!list.empty()) {
            read_list();
        }
    }
}

/** @param names  of devices, quoted, with commas. */
std::vector<LoadMark> FleetReader::marks_of(Server &server, const std::string &names) const {
    std::vector<LoadMark> marks;
    ask(server,
        "SELECT kind, device, dump, file, taken, reports, loads, version FROM " + table("dumps_data") +
            " WHERE device IN (" + names + ") ORDER BY device, dump, version, kind",
        8, [&marks](std::span<const std::string_view> cells) {
            LoadMark &mark = marks.emplace_back();
            mark.kind = kind_in(cells[0]);
            mark.device = unescape(cells[1]);
            mark.facts.hash = number_in<std::uint64_t>(cells[2]);
            mark.file = unescape(cells[3]);
            mark.taken = number_in<std::int64_t>(cells[4]);
            mark.facts.reports = number_in<std::uint64_t>(cells[5]);
            mark.loads = numbers_in(cells[6]);
            mark.version = number_in<std::uint64_t>(cells[7]);
        });
    return newest(std::move(marks));
}

void FleetReader::read_marks(Server &server, std::span<const LoadMark> marks, const RecordingTaker &take) const {
    while (!marks.empty()) {
        std::size_t count = 0;
        std::size_t loads = 0;
        std::uint64_t reports = 0;
        do {
            loads += marks[count].loads.size();
            reports += std::min(marks[count].facts.reports, kReportsAtOnce);
            ++count;
        } while (count < std::min(marks.size(), kMarksAtOnce) && loads + marks[count].loads.size() <= kLoadsAtOnce &&
                 reports + std::min(marks[count].facts.reports, kReportsAtOnce) <= kReportsAtOnce);
        read_batch(server, marks.first(count), take);
        marks = marks.subspan(count);
    }
}

FleetReader::Stores FleetReader::stores_of(Server &server, std::span<const LoadMark> marks) const {
    Stores stores;
    if (const MarksByLoad loads = marks_by_load(marks, RecordingKind::Store); !loads.empty()) {
        const std::string where = " WHERE load IN (" + list_of(loads) + ") ORDER BY load, key";
        ask(server, "SELECT load, key, value FROM " + table("scalar_data") + where, 3,
            [&](std::span<const std::string_view> cells) {
                stores[mark_of(loads, cells[0])].scalars[unescape(cells[1])] = number_in<std::int64_t>(cells[2]);
            });
        ask(server, "SELECT load, key, value, count FROM " + table("distribution_data") + where + ", value", 4,
            [&](std::span<const std::string_view> cells) {
                stores[mark_of(loads, cells[0])].distributions[unescape(cells[1])][value_in(cells[2])] =
                    count_in(cells[3]);
            });
    }
    return stores;
}

FleetReader::Records FleetReader::records_of(Server &server, std::span<const LoadMark> marks) const {
    Records records;
    if (const MarksByLoad loads = marks_by_load(marks, RecordingKind::Record); !loads.empty()) {
        ask(server,
            "SELECT load, number, raw FROM " + table("records_data") + " WHERE load IN (" + list_of(loads) +
                ") AND raw != '' ORDER BY load, number",
            3, [&](std::span<const std::string_view> cells) {
                const std::size_t mark = mark_of(loads, cells[0]);
                try {
                    std::ranges::move(host::parse_records(bytes_in(cells[2]), marks[mark].file),
                                      std::back_inserter(records[mark]));
                } catch (const host::Error &error) {
                    throw EngineFailure(error.what(), false);
                }
            });
    }
    return records;
}

void FleetReader::read_batch(Server &server, std::span<const LoadMark> marks, const RecordingTaker &take) const {
    Stores stores = stores_of(server, marks);
    Records records = records_of(server, marks);
    ReportFeed feed(marks, take, [&](std::size_t mark) {
        if (marks[mark].kind == RecordingKind::Store) {
            take.add_store(stores[mark]);
        } else if (marks[mark].kind == RecordingKind::Record) {
            take.add_records(records[mark], marks[mark].taken);
        }
    });
    std::string names;
    std::string hashes;
    std::string loads;
    std::string numbers;
    std::uint64_t reports = 0;
    for (std::size_t index = 0; index < marks.size(); ++index) {
        const LoadMark &mark = marks[index];
        if (mark.facts.reports == 0) {
            continue;
        }
        reports = std::max(reports, mark.facts.reports);
        add_to_list(names, text_literal(mark.device));
        add_to_list(hashes, std::to_string(mark.facts.hash));
        for (const std::uint64_t load : mark.loads) {
            add_to_list(loads, std::to_string(load));
            add_to_list(numbers, std::to_string(index));
        }
    }
    // Of a recording that is read in parts there is no next part when one is not whole: `end` says what is missing.
    for (std::uint64_t first = 0; first < reports && first == feed.rows() && !loads.empty(); first += kReportsAtOnce) {
        std::string query = "SELECT transform(load, [";
        query.append(loads).append("], [").append(numbers).append("], ");
        query.append(std::to_string(marks.size())).append(") AS mark, place + sequence_num AS row, ");
        query.append(kReportColumnsInOrder).append(" FROM ").append(table("reports_data"));
        query.append(" WHERE device IN (").append(names).append(") AND dump IN (").append(hashes);
        query.append(") AND load IN (").append(loads).append(")");
        if (reports > kReportsAtOnce) {
            query.append(" AND place + sequence_num BETWEEN ").append(std::to_string(first)).append(" AND ");
            query.append(std::to_string(first + kReportsAtOnce - 1));
        }
        ask(server, query.append(" ORDER BY mark, row"), kColumnsBefore + kSizes.size(),
            [&feed](std::span<const std::string_view> cells) { feed.add_row(cells); });
    }
    try {
        feed.end();
    } catch (const EngineFailure &failure) {
        throw host::Error(server.client.url(), "", failure.what());
    }
}

} // namespace cli
