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
 * Asks the servers which shards of the cluster they are, and makes the tables on each where they are missing.
 * @param cluster  nothing: there is one server.
 * @throws host::Error for what is no such engine, for a cluster that it does not know, for a shard without a server
 *         and for two servers of one shard. Servers that stay away may be in between, if at least one answers.
 */
ClusterShards open_shards(const std::vector<HttpServer> &servers, const std::string &database,
                          const std::optional<std::string> &cluster,
                          const std::function<Patience(const std::string &url)> &patience_with);

} // namespace cli
