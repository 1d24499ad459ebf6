/** Statistics of a dump: counts, gaps and the time span. */
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "cli/dumps/owner_names.h"
#include "cli/dumps/sequence_break.h"
#include "cli/terminal/json_value.h"
#include "decoder/device_clock.h"
#include "qor/report.h"

namespace cli {

/** A place where the sequence number does not increase by one. */
struct SequenceGap {
    std::uint64_t offset; ///< of the report after the gap
    std::uint32_t before;
    std::uint32_t after;
    std::string file{}; ///< empty for the only input
};

/** Counts the breaks between successive reports of one input, and keeps the first gaps. One thread at a time. */
class SequenceWatch {
public:
    /** Further gaps are counted but not kept. */
    static constexpr std::size_t kGapsKept = 20;

    /** Goes on with the reports of another input, whose numbers do not follow those before. */
    void begin_input(const std::string &file);

    /** @param offset  of the first report in the dump. */
    void see(std::span<const _QorProfileReport> reports, std::uint64_t offset);

    const std::vector<SequenceGap> &first_gaps() const { return _first_gaps; }
    std::uint64_t gap_count() const { return _gap_count; }
    /** How many numbers were skipped. A number that goes back skips none. */
    std::uint64_t missing_count() const { return _missing_count; }
    /** How many time stamps are before the one that precedes them. */
    std::uint64_t time_back_count() const { return _time_back_count; }
    /** How often the coprocessor started anew. A restart is also a gap, and a time stamp that goes back. */
    std::uint64_t restart_count() const { return _restart_count; }

private:
    void see_break(const SequenceBreak &found, std::uint64_t offset);

    std::string _file;
    BreakWatch _watch;
    std::vector<SequenceGap> _first_gaps;
    std::uint64_t _gap_count = 0;
    std::uint64_t _missing_count = 0;
    std::uint64_t _time_back_count = 0;
    std::uint64_t _restart_count = 0;
};

/** Counts reports by category, component, event and type. One thread at a time. Memory is bounded. */
class DumpStatistics {
public:
    /** One counter, with its ids and names from the category down. */
    struct Count {
        std::vector<std::uint8_t> ids;
        std::vector<std::string_view> names;
        std::uint64_t count;
    };

    /** @param names  the owner's, which outlive the statistics; null for none. */
    explicit DumpStatistics(const OwnerNames *names = nullptr);

    void count(std::span<const _QorProfileReport> reports);

    /** A table for people, with wall-clock times when `clock` has a time synchronisation. */
    std::string text(const SequenceWatch &sequence, const decoder::device_clock &clock);
    /** The same for programs. */
    Json object(const SequenceWatch &sequence, const decoder::device_clock &clock);
    /** As text, with a newline. */
    std::string json(const SequenceWatch &sequence, const decoder::device_clock &clock);

private:
    /** Distinct (category, component, event) beyond these are counted together. */
    static constexpr std::size_t kEventsAtMost = 10'000;
    static constexpr unsigned kRecentBits = 10;

    /**
     * The reports of a recent header that the counters do not have yet. Most reports repeat a recent header, so that
     * counting one is a look at the header's place: 3 ns for the reports of `decoder_bench`.
     */
    struct RecentHeader {
        std::uint64_t key = 0; ///< of the header; 0 is the key of none
        std::uint64_t count = 0;
        std::uint64_t *component_counter = nullptr;
        std::uint64_t *event_counter = nullptr;
    };

    /** The counters above zero, in ascending order of the ids. */
    struct Counts {
        std::vector<Count> categories;
        std::vector<Count> components;
        std::vector<Count> events;
        std::vector<Count> types;
    };

    static constexpr std::uint64_t key_of(std::uint32_t header) { return std::uint64_t{header} + 1; }
    /** Adds what a recent header holds to its counters. */
    void settle(RecentHeader &recent);
    void replace(RecentHeader &recent, std::uint32_t header);
    std::uint64_t &component_counter(std::uint8_t category, std::uint8_t component);
    std::uint64_t &event_counter(std::uint32_t ids);
    Counts counts();
    /** Appends the counters of one category's components. */
    void append_components(std::vector<Count> &counts, std::uint8_t category) const;

    const OwnerNames &_names;
    std::uint64_t _reports = 0;
    std::uint64_t _earliest;
    std::uint64_t _latest = 0;
    std::array<std::uint64_t, 256> _types{};
    std::array<std::vector<std::uint64_t>, 256>
        _components; ///< by category and component; empty for an unseen category
    std::unordered_map<std::uint32_t, std::uint64_t> _events; ///< by category, component and event
    std::uint64_t _other_events = 0;                          ///< beyond `kEventsAtMost`
    std::vector<RecentHeader> _recent_headers;
};

} // namespace cli
