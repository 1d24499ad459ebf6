#include "cli/questions/loader.h"

#include <algorithm>
#include <bit>
#include <iterator>
#include <map>
#include <span>
#include <string_view>
#include <utility>

#include "cli/dumps/open_input.h"
#include "cli/dumps/recorded_input.h"
#include "cli/questions/table_rows.h"
#include "cli/recordings/content_hash.h"
#include "cli/terminal/hex.h"
#include "host/error.h"

namespace cli {
namespace {

/**
 * The marks of so many recordings, or of so many rows, are asked for at once. The rows of stores and records are held
 * meanwhile, reports are read again.
 */
constexpr std::size_t kGroup = 512;
constexpr std::size_t kRowsOfGroup = std::size_t{4} << 20;
constexpr std::size_t kBytesHeldByGroup = std::size_t{64} << 20;

/** Hashes numbers as they are in memory, and texts with their length. */
class ValueHash {
public:
    void add(std::uint64_t number) { _hash.add(std::as_bytes(std::span(&number, 1))); }
    void add(const std::string &text) {
        add(text.size());
        _hash.add(std::as_bytes(std::span(text)));
    }
    std::uint64_t value() const { return _hash.value(); }

private:
    ContentHash _hash;
};

/** Of what a store has, not of its file, which changes without that. */
std::uint64_t hash_of(const host::StoreContents &contents) {
    ValueHash hash;
    hash.add(contents.scalars.size());
    for (const auto &[key, value] : contents.scalars) {
        hash.add(key);
        hash.add(static_cast<std::uint64_t>(value));
    }
    for (const auto &[key, distribution] : contents.distributions) {
        hash.add(key);
        hash.add(distribution.size());
        for (const auto &[value, count] : distribution) {
            hash.add(std::bit_cast<std::uint64_t>(value));
            hash.add(count);
        }
    }
    return hash.value();
}

std::size_t bytes_of(const host::StoreContents &contents) {
    constexpr std::size_t kBytesOfNode = 64;
    std::size_t bytes = contents.scalars.size() * kBytesOfNode;
    for (const auto &[key, distribution] : contents.distributions) {
        bytes += key.size() + distribution.size() * kBytesOfNode;
    }
    return bytes;
}

void send_store(ShardLoader &shard, const ShardLoader::Ticket &ticket, const Recording &recording,
                const host::StoreContents &contents) {
    if (!contents.scalars.empty()) {
        shard.add(ticket, LoadTable::Scalar, contents.scalars.size(),
                  [&](ColumnBlock &block) { add_scalars(block, recording, contents); });
    }
    for (const auto &[key, distribution] : contents.distributions) {
        shard.add(ticket, LoadTable::Distribution, distribution.size(),
                  [&, &name = key, &values = distribution](ColumnBlock &block) {
                      add_distribution(block, recording, name, values);
                  });
    }
}

/** @param place  of the first report in its dump. */
void add_places(ColumnBlock &block, std::size_t column, std::span<const _QorProfileReport> reports,
                std::uint64_t place) {
    std::size_t begin = 0;
    for (std::size_t end = 1; end <= reports.size(); ++end) {
        const std::uint64_t first = place + begin - reports[begin].sequence_num();
        if (end == reports.size() || place + end - reports[end].sequence_num() != first) {
            block.add_number(column, first, end - begin);
            begin = end;
        }
    }
}

bool is_same(const decoder::device_clock &one, const decoder::device_clock &other) {
    const bool is_same_sync =
        one.sync.has_value() == other.sync.has_value() &&
        (!one.sync || (one.sync->qor == other.sync->qor && one.sync->calendar == other.sync->calendar));
    return is_same_sync && one.boot_time == other.boot_time;
}

/** `given`, and `other` where that has nothing. */
decoder::device_clock clock_of(const decoder::device_clock &given, const decoder::device_clock &other) {
    return {given.sync ? given.sync : other.sync, given.boot_time ? given.boot_time : other.boot_time};
}

/** Whether nothing is new: of a dump the content, of a store also its time. */
bool is_known(const LoadMark &now, const std::vector<LoadMark> &marks) {
    return std::ranges::any_of(
        marks, [&](const LoadMark &mark) { return mark.kind != RecordingKind::Store || mark.taken == now.taken; });
}

/**
 * The mark to write for a dump that has marks: the same rows with another clock.
 * @param marks  of the dump, at least one. @return nothing when the newest of them has that clock.
 */
std::optional<LoadMark> mended(const LoadMark &now, const decoder::device_clock &given,
                               const std::vector<LoadMark> &marks) {
    const LoadMark &newest = *std::ranges::max_element(marks, {}, &LoadMark::version);
    LoadMark mark = now;
    mark.loads = newest.loads;
    mark.version = newest.version;
    mark.facts.clock = clock_of(given, newest.facts.clock);
    return is_same(mark.facts.clock, newest.facts.clock) ? std::nullopt : std::optional(std::move(mark));
}

} // namespace

Loader::Loader(LoadOptions options, const decoder::device_clock &clock, RecordWriter write_record)
    : _options(std::move(options)), _clock(clock), _write_record(std::move(write_record)) {
    ClusterShards shards = open_shards(_options.to, MissingTables::Make);
    _map = shards.map;
    for (const Shard &shard : shards.shards) {
        Place &place = _places.emplace_back(Place{nullptr, shard.why_away});
        if (shard.why_away.empty()) {
            HttpServer server = _options.to.servers.front();
            server.url = shard.url;
            place.loader =
                std::make_unique<ShardLoader>(ShardTarget{std::move(server), _options.to.database, _options.connections,
                                                          _options.insert_rows, _options.to.patience_with(shard.url)});
        }
    }
}

LoadSummary Loader::load(RecordingSequence &recordings, std::function<void(std::uint64_t)> progress) {
    _progress = std::move(progress);
    std::vector<Hashed> group;
    std::size_t rows = 0;
    std::size_t bytes = 0;
    while (std::optional<OpenRecording> open = recordings.next()) {
        try {
            group.push_back(read_facts(recordings, std::move(*open)));
        } catch (const host::Error &error) {
            recordings.report(error);
            continue;
        }
        rows += group.back().mark.facts.reports;
        bytes += (group.back().store ? bytes_of(*group.back().store) : 0) + group.back().records.size();
        if (group.size() == kGroup || rows >= kRowsOfGroup || bytes >= kBytesHeldByGroup) {
            load_group(recordings, std::exchange(group, {}));
            rows = 0;
            bytes = 0;
        }
    }
    load_group(recordings, group);
    for (Place &place : _places) {
        end(place);
    }
    return std::move(_summary);
}

Loader::Hashed Loader::read_facts(RecordingSequence &recordings, OpenRecording open) const {
    Hashed hashed;
    hashed.recording = recordings.keep(std::move(open));
    const Recording &recording = hashed.recording;
    if (recording.kind == RecordingKind::Store) {
        hashed.recording.taken = _options.taken.value_or(recording.taken);
    }
    hashed.mark = {.kind = recording.kind,
                   .device = recording.device,
                   .file = recording.file,
                   .taken = recording.taken,
                   .facts = {},
                   .loads = {},
                   .version = 0};
    if (recording.kind == RecordingKind::Store) {
        hashed.store = read_store(recording);
        hashed.mark.facts.hash = hash_of(*hashed.store);
        return hashed;
    }
    if (recording.kind == RecordingKind::Record) {
        hashed.records = read_record_file(recording);
        ContentHash hash;
        hash.add(hashed.records);
        hashed.mark.facts.hash = hash.value();
    }
    if (recording.has_reports) {
        ReportPass pass(recording);
        while (pass.next()) {
        }
        hashed.mark.facts = pass.facts();
        report_trailing_bytes(pass.name(), pass.trailing_bytes());
    }
    hashed.mark.facts.clock = clock_of(_clock, hashed.mark.facts.clock);
    return hashed;
}

void Loader::load_group(RecordingSequence &recordings, const std::vector<Hashed> &group) {
    std::vector<std::vector<const Hashed *>> of_places(_places.size());
    for (const Hashed &hashed : group) {
        const std::int64_t time = hashed.store ? hashed.mark.taken : 0;
        if (_seen.insert({key_of(hashed.mark), time}).second) {
            of_places[_map->shard_of(hashed.mark.device)].push_back(&hashed);
        } else {
            ++_summary.known;
        }
    }
    for (std::size_t place = 0; place < _places.size(); ++place) {
        load_all(recordings, _places[place], of_places[place]);
    }
}

void Loader::load_all(RecordingSequence &recordings, Place &place, const std::vector<const Hashed *> &group) {
    std::vector<ContentKey> keys;
    std::ranges::transform(group, std::back_inserter(keys), [](const Hashed *hashed) { return key_of(hashed->mark); });
    std::map<ContentKey, std::vector<LoadMark>> marks;
    if (place.why_away.empty()) {
        try {
            for (LoadMark &mark : place.loader->marks_of(keys)) {
                marks[key_of(mark)].push_back(std::move(mark));
            }
            add_labels(*place.loader, group);
        } catch (const EngineFailure &failure) {
            place.why_away = place.loader->url() + ": " + failure.what();
        }
    }
    for (const Hashed *hashed : group) {
        if (!place.why_away.empty()) {
            lose(*hashed, place.why_away);
        } else {
            try {
                load_one(*place.loader, *hashed, marks[key_of(hashed->mark)]);
            } catch (const host::Error &error) {
                recordings.report(error);
            }
        }
        _bytes_done += hashed->recording.size;
        _progress(_bytes_done);
    }
}

void Loader::add_labels(ShardLoader &shard, const std::vector<const Hashed *> &group) {
    std::set<std::string> devices;
    for (const Hashed *hashed : group) {
        if (!_options.labels.empty() && !_labelled.contains(hashed->mark.device)) {
            devices.insert(hashed->mark.device);
        }
    }
    if (!devices.empty()) {
        _summary.labelled += shard.label(devices, _options.labels);
        _labelled.merge(devices);
    }
}

void Loader::load_one(ShardLoader &shard, const Hashed &hashed, const std::vector<LoadMark> &marks) {
    if (is_known(hashed.mark, marks)) {
        const std::optional<LoadMark> mark = hashed.store ? std::nullopt : mended(hashed.mark, _clock, marks);
        if (mark) {
            shard.finish(shard.begin(*mark));
        } else {
            ++_summary.known;
        }
        return;
    }
    const ShardLoader::Ticket ticket = shard.begin(hashed.mark);
    try {
        if (hashed.store) {
            send_store(shard, ticket, hashed.recording, *hashed.store);
        }
        if (hashed.recording.kind == RecordingKind::Record) {
            send_records(shard, ticket, hashed);
        }
        if (hashed.recording.has_reports) {
            send_reports(shard, ticket, hashed);
        }
    } catch (const host::Error &) {
        shard.abandon(ticket); // told by its own message
        throw;
    }
    shard.finish(ticket);
}

void Loader::send_records(ShardLoader &shard, const ShardLoader::Ticket &ticket, const Hashed &hashed) {
    const std::string &name = hashed.recording.name;
    const std::size_t raw_column = loaded_columns(LoadTable::Records).size() - 2;
    std::size_t number = 0;
    for (const host::StateRecord &record : host::parse_records(hashed.records, name)) {
        ++number;
        shard.add(ticket, LoadTable::Records, 1, [&](ColumnBlock &block) {
            add_record(block, hashed.recording, number, record, _write_record(name, record, hashed.records));
            const auto bytes = std::span(hashed.records).subspan(record.offset, record.size);
            block.add_text(raw_column, count_reports(record) == 0 ? hex(bytes) : "");
        });
    }
}

void Loader::send_reports(ShardLoader &shard, const ShardLoader::Ticket &ticket, const Hashed &hashed) {
    ReportPass pass(hashed.recording);
    const LoadMark &mark = hashed.mark;
    const std::size_t place_column = loaded_columns(LoadTable::Reports).size() - 2;
    std::uint64_t place = 0;
    while (const std::optional<ReportPiece> piece = pass.next()) {
        if (shard.has_failed()) {
            return;
        }
        shard.add(ticket, LoadTable::Reports, piece->count(), [&](ColumnBlock &block) {
            block.add_text(0, mark.device, piece->count());
            block.add_number(1, mark.facts.hash, piece->count()); // here as a number, not as a text
            block.add_reports(2, piece->reports);
            add_places(block, place_column, piece->reports, place);
        });
        place += piece->count();
        _progress(_bytes_done + pass.bytes_read());
    }
    if (pass.facts().hash != mark.facts.hash) {
        throw host::Error(hashed.recording.name, "", "changed while it was loaded");
    }
}

void Loader::lose(const Hashed &hashed, const std::string &reason) {
    _summary.lost.push_back(hashed.mark.file);
    _summary.reason = reason;
}

void Loader::end(Place &place) {
    if (!place.loader) {
        return;
    }
    const ShardLoader::Outcome outcome = place.loader->end();
    _summary.counts += outcome.counts;
    if (!outcome.lost.empty()) {
        _summary.lost.insert(_summary.lost.end(), outcome.lost.begin(), outcome.lost.end());
        _summary.reason = place.loader->url() + ": " + outcome.reason;
    }
}

} // namespace cli
