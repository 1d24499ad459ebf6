/** The recordings of a fleet's devices, read back from the servers that they were loaded into. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "cli/questions/engine_client.h"
#include "cli/questions/labels.h"
#include "cli/questions/load_mark.h"
#include "cli/questions/patience.h"
#include "cli/questions/shards.h"
#include "host/state_records.h"
#include "host/store/analytics_store.h"
#include "qor/report.h"

namespace cli {

/** Takes recordings, one after another: those of a device follow one another. What is given is valid during the call.
 */
struct RecordingTaker {
    std::function<void(const std::string &device)> begin;
    /** The next reports of the recording that began last, in the order of its file. */
    std::function<void(std::span<const _QorProfileReport>)> add_reports;
    std::function<void(const host::StoreContents &)> add_store;
    /** The records without reports of a record file. @param taken  when the file was last written to. */
    std::function<void(const std::vector<host::StateRecord> &, std::int64_t taken)> add_records;
};

/** What is known of a device before its recordings are read. */
struct FleetDevice {
    std::uint64_t reports = 0;
    Labels labels;
};

/** Reads from one server, or from the shards of a cluster, and writes nothing. One thread at a time. */
class FleetReader {
public:
    /** @throws host::Error when a server cannot be used, is no such engine or refuses. */
    explicit FleetReader(EngineServers servers);

    /** All devices that have recordings, by name. @throws host::Error. */
    std::map<std::string, FleetDevice> devices();

    /**
     * Reads what counts of devices: every dump and record file, each content once, and the newest store of each. In
     * memory are at most the marks of the devices, the stores and records of some recordings, and a few reports.
     * @param names  as `devices` has them.
     * @throws host::Error naming the server, also for a recording whose reports are not all there; what `take` throws.
     */
    void read(const std::vector<std::string> &names, const RecordingTaker &take);

private:
    struct Server {
        EngineClient client;
        Patience patience;
    };

    using Stores = std::map<std::size_t, host::StoreContents>; ///< by the indexes of their marks
    using Records = std::map<std::size_t, std::vector<host::StateRecord>>;

    /** Gathers the rows of reports to recordings. */
    class ReportFeed;

    void ask(Server &server, const std::string &query, std::size_t columns, const RowTaker &take) const;
    void require_whole_tables(Server &server) const;
    std::vector<LoadMark> marks_of(Server &server, const std::string &names) const;
    void read_marks(Server &server, std::span<const LoadMark> marks, const RecordingTaker &take) const;
    Stores stores_of(Server &server, std::span<const LoadMark> marks) const;
    Records records_of(Server &server, std::span<const LoadMark> marks) const;
    void read_batch(Server &server, std::span<const LoadMark> marks, const RecordingTaker &take) const;
    std::string table(const char *name) const { return _servers.database + "." + name; }

    EngineServers _servers;
    ShardMap _map;
    std::vector<Server> _shards; ///< by the numbers of the map
};

} // namespace cli
