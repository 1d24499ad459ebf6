#include "cli/questions/shards.h"

#include <algorithm>
#include <numeric>
#include <set>
#include <utility>

#include "cli/questions/engine_schema.h"
#include "cli/questions/sip_hash.h"
#include "host/error.h"

namespace cli {
namespace {

/** What a server says of the cluster that it is in. */
struct Membership {
    std::vector<std::uint64_t> weights; ///< of all shards
    std::vector<std::size_t> own;       ///< the shards that the server itself is a replica of, from 0
};

/** @throws EngineFailure when the server does not know the cluster. */
Membership membership_of(EngineClient &client, const std::string &cluster) {
    const AnswerRows rows =
        client.ask("SELECT shard_num, any(shard_weight), max(is_local) FROM system.clusters WHERE cluster = " +
                       text_literal(cluster) + " GROUP BY shard_num ORDER BY shard_num",
                   3);
    if (rows.empty()) {
        constexpr std::size_t kLongestList = 300;
        std::string known;
        for (const auto &row : client.ask("SELECT DISTINCT cluster FROM system.clusters ORDER BY cluster", 1)) {
            known += (known.empty() ? "" : ", ") + row.front();
        }
        if (known.size() > kLongestList) {
            known.resize(kLongestList);
            known += "[...]";
        }
        throw EngineFailure("the server knows no cluster " + host::in_quotes(cluster) + "; it knows " +
                                (known.empty() ? "none" : known),
                            false);
    }
    Membership membership;
    for (const std::vector<std::string> &row : rows) {
        if (number_in<std::uint64_t>(row[2]) != 0) {
            membership.own.push_back(membership.weights.size());
        }
        membership.weights.push_back(number_in<std::uint64_t>(row[1]));
    }
    if (std::accumulate(membership.weights.begin(), membership.weights.end(), std::uint64_t{0}) == 0) {
        throw EngineFailure("no shard of the cluster " + host::in_quotes(cluster) + " has a weight", false);
    }
    return membership;
}

/** What a statement of the schema makes: the name behind the database's; empty for the database itself. */
std::string made_by(const std::string &statement, const std::string &database) {
    const std::size_t start = statement.find(" " + database + ".");
    if (start == std::string::npos) {
        return "";
    }
    const std::size_t name = start + database.size() + 2;
    return statement.substr(name, statement.find_first_of(" (\n", name) - name);
}

/** Runs the statements of the schema for what the server lacks. A user who may not make tables needs no more. */
void make_tables(EngineClient &client, const std::string &database, const std::string &cluster) {
    std::set<std::string> present;
    for (const auto &row : client.ask("SELECT name FROM system.tables WHERE database = " + text_literal(database), 1)) {
        present.insert(row.front());
    }
    if (!present.empty()) {
        present.insert("");
    }
    for (const std::string &statement : clickhouse_statements({database, cluster})) {
        if (present.count(made_by(statement, database)) == 0) {
            client.run(statement);
        }
    }
}

} // namespace

ShardMap::ShardMap(std::vector<std::uint64_t> weights)
    : _weights(std::move(weights)), _sum(std::accumulate(_weights.begin(), _weights.end(), std::uint64_t{0})) {}

std::size_t ShardMap::shard_of(std::string_view device) const {
    std::uint64_t slot = sip_hash(device) % _sum;
    std::size_t shard = 0;
    for (; slot >= _weights[shard]; ++shard) {
        slot -= _weights[shard];
    }
    return shard;
}

Patience EngineServers::patience_with(const std::string &url) const {
    return {patience, [tell = tell, url](const std::string &reason) { tell(url + ": " + reason + "; trying again"); }};
}

ClusterShards open_shards(const EngineServers &servers, MissingTables missing_tables) {
    const std::optional<std::string> &cluster = servers.cluster;
    std::vector<std::pair<std::string, std::string>> away; // URL and reason
    std::optional<ClusterShards> all;
    std::vector<std::uint64_t> weights = {1};
    for (const HttpServer &server : servers.servers) {
        try {
            EngineClient client(server);
            const Patience patience = servers.patience_with(server.url);
            try_again(patience, [&] { client.require_engine(); });
            Membership membership = {{1}, {0}};
            if (cluster) {
                membership = try_again(patience, [&] { return membership_of(client, *cluster); });
            }
            if (all && membership.weights != weights) {
                throw EngineFailure("the server describes the cluster otherwise than " + servers.servers.front().url,
                                    false);
            }
            if (!all) {
                weights = membership.weights;
                all = ClusterShards{ShardMap(weights), std::vector<Shard>(weights.size())};
            }
            if (membership.own.size() != 1) {
                throw EngineFailure("the server is not in one shard of the cluster, but in " +
                                        std::to_string(membership.own.size()),
                                    false);
            }
            Shard &shard = all->shards[membership.own.front()];
            if (!shard.url.empty()) {
                throw EngineFailure("the server is in the same shard as " + shard.url, false);
            }
            if (missing_tables == MissingTables::Make) {
                try_again(patience, [&] { make_tables(client, servers.database, cluster.value_or("")); });
            }
            shard.url = server.url;
        } catch (const EngineFailure &failure) {
            if (!failure.may_pass()) {
                throw host::Error(server.url, "", failure.what());
            }
            away.emplace_back(server.url, failure.what());
        }
    }
    if (!all) {
        throw host::Error(away.front().first, "", away.front().second);
    }
    const auto missing = static_cast<std::size_t>(
        std::count_if(all->shards.begin(), all->shards.end(), [](const Shard &shard) { return shard.url.empty(); }));
    if (missing != away.size()) {
        throw host::Error("", "",
                          "the cluster " + host::in_quotes(*cluster) + " has " + std::to_string(all->shards.size()) +
                              " shards: " + servers.option + " must name a server of each");
    }
    for (Shard &shard : all->shards) {
        if (shard.url.empty()) {
            shard.why_away = away.front().first + ": " + away.front().second; // which of several is which is not known
        }
    }
    return *all;
}

} // namespace cli
