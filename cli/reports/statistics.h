/** What a dump holds, counted. */
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "decoder/device_clock.h"
#include "qor/report.h"

namespace cli {

/** A place where sequence numbers do not go on by one. */
struct SequenceGap {
    std::uint64_t offset; ///< of the later report
    std::uint32_t before;
    std::uint32_t after;
};

/** The sequence numbers of reports that follow one another. One thread at a time. */
class SequenceWatch {
public:
    /** Gaps beyond these are counted, but not kept. */
    static constexpr std::size_t kGapsKept = 20;

    void see(const _QorProfileReport &report, std::uint64_t offset);

    const std::vector<SequenceGap> &first_gaps() const { return _first_gaps; }
    /** How many gaps there are. */
    std::uint64_t gap_count() const { return _gap_count; }
    /** How many numbers were passed over; a number that went back passes over none. */
    std::uint64_t missing_count() const { return _missing_count; }

private:
    std::optional<std::uint32_t> _last;
    std::vector<SequenceGap> _first_gaps;
    std::uint64_t _gap_count = 0;
    std::uint64_t _missing_count = 0;
};

/** Counts by category, component, event and type, and the time span. One thread at a time; memory is bounded. */
class DumpStatistics {
public:
    /** What was counted under one name, with its ids and names from the widest to the narrowest. */
    struct Count {
        std::vector<std::uint8_t> ids;
        std::vector<std::string_view> names;
        std::uint64_t count;
    };

    DumpStatistics();

    void count(const _QorProfileReport &report);

    /** As a table for people; wall-clock times where `clock` has a correspondence. */
    std::string text(const SequenceWatch &sequence, const decoder::device_clock &clock) const;
    /** As a JSON object and a newline. */
    std::string json(const SequenceWatch &sequence, const decoder::device_clock &clock) const;

private:
    /** Events of at most so many different (category, component, event) are told apart. */
    static constexpr std::size_t kEventsAtMost = 10'000;
    static constexpr std::size_t kRecentEvents = 1024;

    /** The counter of one event, found again without a look-up while neighbours repeat it. */
    struct RecentEvent {
        std::uint32_t ids;
        std::uint64_t *counter;
    };

    /** All that was counted, in ascending order of the ids; what never came is left out. */
    struct Counts {
        std::vector<Count> categories;
        std::vector<Count> components;
        std::vector<Count> events;
        std::vector<Count> types;
    };

    std::uint64_t &component_counter(std::uint8_t category, std::uint8_t component);
    std::uint64_t &event_counter(std::uint32_t ids);
    Counts counts() const;
    /** Adds the components of one category that came. */
    void append_components(std::vector<Count> &made, std::uint8_t category) const;

    std::uint64_t _reports = 0;
    std::uint64_t _earliest;
    std::uint64_t _latest = 0;
    std::array<std::uint64_t, 256> _types{};
    std::array<std::vector<std::uint64_t>, 256> _components;  ///< by category, and by component where it came
    std::unordered_map<std::uint32_t, std::uint64_t> _events; ///< by category, component and event
    std::uint64_t _other_events = 0;                          ///< of those beyond `kEventsAtMost`
    std::array<RecentEvent, kRecentEvents> _recent_events;
};

} // namespace cli
