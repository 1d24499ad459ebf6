/** Which server has which device, and the tables on each. */
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/questions/engine_client.h"
#include "cli/questions/patience.h"

namespace cli {

/** The shards of a cluster, as the engine's Distributed tables see them. A single server is one shard. */
class ShardMap {
public:
    /** @param weights  of the shards in the order of their numbers; their sum is above zero. */
    explicit ShardMap(std::vector<std::uint64_t> weights);

    std::size_t count() const { return _weights.size(); }

    /** The shard of a device, from 0: that to which a Distributed table with the key `sipHash64(device)` sends its
     * rows. */
    std::size_t shard_of(std::string_view device) const;

private:
    std::vector<std::uint64_t> _weights;
    std::uint64_t _sum;
};

/** Servers, and how long to wait for them. */
struct EngineServers {
    const char *option = "--to";     ///< that names them, for messages
    std::vector<HttpServer> servers; ///< one, or one for each shard of the cluster
    std::string database;
    std::optional<std::string> cluster;
    std::chrono::milliseconds patience{};          ///< see `Patience::time`
    std::function<void(const std::string &)> tell; ///< says a line to the user. Any thread

    /** With a server. It tells when it tries again. */
    Patience patience_with(const std::string &url) const;
};

/** What to do about tables that a server lacks. */
enum class MissingTables { Make, Leave };

/** A server of a cluster. */
struct Shard {
    std::string url;      ///< empty for one that is away
    std::string why_away; ///< a URL and the reason; empty for one that can be used
};

struct ClusterShards {
    ShardMap map;
    std::vector<Shard> shards; ///< in the order of the map
};

/**
 * Asks the servers which shards of the cluster they are, if there is one.
 * @throws host::Error for what is no such engine, for a cluster that it does not know, for a shard without a server
 *         and for two servers of one shard. Servers that stay away may be in between, if at least one answers.
 */
ClusterShards open_shards(const EngineServers &servers, MissingTables missing_tables);

} // namespace cli
