/** Recordings into ClickHouse: one server, or the shards of a cluster. */
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "cli/questions/labels.h"
#include "cli/questions/shard_loader.h"
#include "cli/questions/shards.h"
#include "cli/recordings/recordings.h"
#include "decoder/device_clock.h"
#include "host/state_records.h"
#include "host/store/analytics_store.h"

namespace cli {

/**
 * The content of a record as the column of `records` has it.
 * @param name  of the file. @param file  the bytes that the record was parsed from.
 */
using RecordWriter = std::function<std::string(const std::string &name, const host::StateRecord &record,
                                               std::span<const std::byte> file)>;

struct LoadOptions {
    EngineServers to;
    std::size_t connections = 2;           ///< to each server
    std::size_t insert_rows = kInsertRows; ///< at least 1
    std::optional<std::int64_t> taken;     ///< of all stores; nothing: when each was written
    Labels labels;                         ///< of the devices of all recordings, also of those there already
};

/** What a load has done. */
struct LoadSummary {
    LoadCounts counts;
    std::uint64_t known = 0;       ///< how many contents were there already
    std::uint64_t labelled = 0;    ///< how many devices have got labels that they did not have
    std::vector<std::string> lost; ///< the files that are not loaded because their server stayed away
    std::string reason;            ///< why: a URL and what is wrong; empty when nothing is lost
};

/** Loads recordings. One thread at a time. */
class Loader {
public:
    /**
     * Connects, and makes the tables where they are missing.
     * @param clock  what it has is stored in place of what the recordings bring.
     * @throws host::Error when no server can be used, or one of them is no such engine or refuses.
     */
    Loader(LoadOptions options, const decoder::device_clock &clock, RecordWriter write_record);

    /** Loads everything. What cannot be read is named by the sequence. @param progress  bytes read so far. */
    LoadSummary load(RecordingSequence &recordings, std::function<void(std::uint64_t)> progress);

private:
    /** A recording with the hash of its content, in the mark. */
    struct Hashed {
        Recording recording;
        LoadMark mark;
        std::optional<host::StoreContents> store;
        std::vector<std::byte> records; ///< of a record's file
    };

    /** A shard, and what cannot be loaded into it from now on. */
    struct Place {
        std::unique_ptr<ShardLoader> loader; ///< null when its server was away from the start
        std::string why_away;                ///< the URL and the reason; empty while it can be used
    };

    Hashed read_facts(RecordingSequence &recordings, OpenRecording open) const;
    void load_group(RecordingSequence &recordings, const std::vector<Hashed> &group);
    void load_all(RecordingSequence &recordings, Place &place, const std::vector<const Hashed *> &group);
    void add_labels(ShardLoader &shard, const std::vector<const Hashed *> &group);
    void load_one(ShardLoader &shard, const Hashed &hashed, const std::vector<LoadMark> &marks);
    void send_records(ShardLoader &shard, const ShardLoader::Ticket &ticket, const Hashed &hashed);
    void send_reports(ShardLoader &shard, const ShardLoader::Ticket &ticket, const Hashed &hashed);
    void lose(const Hashed &hashed, const std::string &reason);
    void end(Place &place);

    LoadOptions _options;
    decoder::device_clock _clock; ///< what was given
    RecordWriter _write_record;
    std::set<std::string> _labelled; ///< the devices whose labels are in
    std::vector<Place> _places;      ///< by the numbers of the map
    std::optional<ShardMap> _map;
    std::set<std::pair<ContentKey, std::int64_t>>
        _seen; ///< and the time of a store: what is named twice is loaded once
    std::uint64_t _bytes_done = 0;
    std::function<void(std::uint64_t)> _progress;
    LoadSummary _summary;
};

} // namespace cli
