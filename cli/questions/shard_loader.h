/** Sends rows to one server, and the marks of what is complete behind them. */
#pragma once

#include <array>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <set>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "cli/questions/column_block.h"
#include "cli/questions/engine_client.h"
#include "cli/questions/labels.h"
#include "cli/questions/load_mark.h"
#include "cli/questions/patience.h"

namespace cli {

/** The tables of rows that a load fills. */
enum class LoadTable { Reports, Scalar, Distribution, Records };

/** How many rows an insert has at least, except the last one of each table, unless something else is said. */
constexpr std::size_t kInsertRows = std::size_t{1} << 20;

/** It also ends with so many bytes of texts, which records have. */
constexpr std::size_t kInsertTextBytes = std::size_t{64} << 20;

/** The table of marks. */
constexpr const char *kMarkTable = "dumps_data";

/** The table of every value of the devices' labels. */
constexpr const char *kLabelData = "labels_data";

/**
 * The columns that rows are sent for. Of `reports` the last but one is `place`: where the report is in its dump, less
 * its number in the sequence, which is the same for all reports up to the next gap, so that it takes next to no space.
 * Of `records` it is `raw`: the bytes of a record without reports as hexadecimal digits, empty for the others.
 * The last of each table is `load`, which the loader fills.
 */
const std::vector<Column> &loaded_columns(LoadTable table);

/** What has become complete. */
struct LoadCounts {
    std::uint64_t dumps = 0;
    std::uint64_t record_files = 0;
    std::uint64_t stores = 0;
    std::uint64_t reports = 0; ///< of dumps and record files
    std::uint64_t mended = 0;  ///< of what was complete already: it has a new clock
    std::uint64_t inserts = 0; ///< of rows

    LoadCounts &operator+=(const LoadCounts &more);
};

/** Where a shard's rows go, and how. */
struct ShardTarget {
    HttpServer server;
    std::string database;
    std::size_t connections; ///< at least 1; each sends one insert at a time
    std::size_t insert_rows; ///< see `kInsertRows`
    Patience patience;
};

/**
 * Rows and marks for one server. What is added is sent in the background; an insert that fails is sent again under a
 * new number, because nobody knows what became of the first. When a server stays away, the rest is dropped, and what
 * has no mark is lost: `end` tells. One thread at a time calls it. At most `connections` inserts are on their way, and
 * one of each table is being filled.
 */
class ShardLoader {
public:
    /** Something of which rows are sent, until its mark is written. */
    class Pending;
    using Ticket = std::shared_ptr<Pending>;

    explicit ShardLoader(ShardTarget target);
    /** Drops what was not sent. */
    ~ShardLoader();
    ShardLoader(const ShardLoader &) = delete;
    ShardLoader &operator=(const ShardLoader &) = delete;

    /** All marks of these contents, in any order. @throws EngineFailure. */
    std::vector<LoadMark> marks_of(std::span<const ContentKey> keys);

    /**
     * Gives labels to devices. What they have already is not written again.
     * @return how many devices have got any. @throws EngineFailure.
     */
    std::size_t label(const std::set<std::string> &devices, const Labels &labels);

    /** Begins to send rows for a mark. @param mark  its `loads` are kept: rows that are there already. */
    Ticket begin(LoadMark mark);

    /**
     * Adds rows; waits while too much is on its way.
     * @param fill  adds `rows` rows to each column but the last.
     */
    void add(const Ticket &ticket, LoadTable table, std::size_t rows, const std::function<void(ColumnBlock &)> &fill);

    /** No more rows: the mark is written when all are in. Of a server that has failed it is not: see `has_failed`. */
    void finish(const Ticket &ticket);

    /** No mark: the rows that were added never count, and the loss is told elsewhere. */
    void abandon(const Ticket &ticket);

    /** Whether the server stays away, so that nothing more need be added: what is not finished is lost. Any thread. */
    bool has_failed();

    struct Outcome {
        LoadCounts counts;
        std::vector<std::string> lost; ///< the files without a mark, as marks name them
        std::string reason;            ///< why; empty when nothing is lost
    };

    /** Sends everything and waits for it. Nothing may be added afterwards. */
    Outcome end();

    const std::string &url() const { return _target.server.url; }

private:
    struct Segment {
        Ticket ticket;
        std::size_t rows;
    };
    struct Insert {
        LoadTable table;
        ColumnBlock rows;
        std::vector<Segment> segments;
    };

    void stop();
    void send(std::unique_ptr<Insert> insert);
    void work(EngineClient client);
    bool is_anything_due() const;
    void send_rows(EngineClient &client, Insert &insert);
    void send_marks(EngineClient &client, const std::vector<Ticket> &tickets);
    void fail(const std::string &reason);
    std::uint64_t random_number();

    ShardTarget _target;
    EngineClient _client;                         ///< of the caller's thread
    std::array<std::unique_ptr<Insert>, 4> _open; ///< by table: rows that are not enough yet

    std::mutex _mutex;
    std::condition_variable _changed;
    std::deque<std::unique_ptr<Insert>> _queue;
    std::set<Ticket> _unmarked;    ///< begun and neither marked nor abandoned
    std::vector<Ticket> _complete; ///< their marks are due
    std::size_t _busy = 0;         ///< threads that send
    bool _is_ending = false;
    bool _has_failed = false;
    Outcome _outcome;
    std::random_device _randomness;

    std::vector<std::thread> _threads; ///< last: they use all the others
};

} // namespace cli
