// Reads any dump under any selection: exactly the reports that pass are read. What becomes of them is for the target
// `forms`.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "cli/arguments/wrong_use.h"
#include "cli/dumps/open_input.h"
#include "cli/inputs/content.h"
#include "cli/reports/statistics.h"
#include "cli/reports/stream.h"
#include "decoder/name_tables.h"
#include "fuzz/input.h"
#include "fuzz/named_bytes.h"

namespace {

using fuzz::Input;
using fuzz::require;
using Dump = fuzz::NamedBytes;
using Reports = std::vector<_QorProfileReport>;

/** One condition of the filter: as passed to the program, and as interpreted here. */
struct Condition {
    enum Kind { kCategory, kComponent, kEvent, kType } kind;
    std::string list; ///< words with commas between them

    bool holds(const _QorProfileReport &report) const {
        std::istringstream words(list);
        for (std::string word; std::getline(words, word, ',');) {
            if (means(word, report)) {
                return true;
            }
        }
        return false;
    }

private:
    bool means(const std::string &word, const _QorProfileReport &report) const {
        switch (kind) {
        case kCategory:
            return is_id(word, report.category_id()) || word == decoder::category_name(report.category_id());
        case kComponent:
            return is_id(word, report.component_id()) ||
                   word == decoder::component_name(report.category_id(), report.component_id());
        case kEvent:
            return is_id(word, report.event_id());
        default:
            return is_id(word, report.type_id()) || word == decoder::type_name(report.type_id());
        }
    }

    /** In decimal, or in hexadecimal after 0x; with any zeros before it. */
    static bool is_id(std::string word, unsigned id) {
        const bool is_hexadecimal = word.starts_with("0x") || word.starts_with("0X");
        word.erase(0, is_hexadecimal ? 2 : 0);
        std::ranges::transform(word, word.begin(), [](char c) { return 'A' <= c && c <= 'F' ? c + ('a' - 'A') : c; });
        word.erase(0, std::min(word.find_first_not_of('0'), word.size() - 1));
        std::ostringstream digits;
        digits << (is_hexadecimal ? std::hex : std::dec) << id;
        return word == digits.str();
    }
};

/** The request that the input encodes. */
struct Wish {
    explicit Wish(Input &input) {
        const unsigned flags = input.byte();
        is_pipe = (flags & 1) != 0;
        is_observed = (flags & 2) != 0;
        if (flags & 4) {
            selection.first = input.byte();
        }
        if (flags & 8) {
            selection.last = input.byte();
        }
        if (flags & 16) {
            since = input.number();
            until = input.number();
            selection.filter.since = cli::FirmwareTime{since};
            selection.filter.until = cli::FirmwareTime{until};
        }
        for (unsigned left = input.byte() % 4; left > 0; --left) {
            ask_for(static_cast<Condition::Kind>(input.byte() % 4), input);
        }
    }

    bool passes(const _QorProfileReport &report) const {
        for (const Condition::Kind kind :
             {Condition::kCategory, Condition::kComponent, Condition::kEvent, Condition::kType}) {
            const auto is_of_kind = [kind](const Condition &condition) { return condition.kind == kind; };
            const auto holds = [&](const Condition &condition) {
                return is_of_kind(condition) && condition.holds(report);
            };
            if (std::ranges::any_of(conditions, is_of_kind) && std::ranges::none_of(conditions, holds)) {
                return false;
            }
        }
        return since <= report.timestamp() && report.timestamp() <= until;
    }

    bool is_unfiltered() const { return conditions.empty() && !selection.filter.since && !selection.filter.until; }

    bool is_pipe;
    bool is_observed; ///< as for counting
    cli::Selection selection;
    std::uint64_t since = 0;
    std::uint64_t until = UINT64_MAX;
    std::vector<Condition> conditions;

private:
    void ask_for(Condition::Kind kind, Input &input) {
        const std::size_t length = input.byte() % 24;
        std::string word = std::to_string(input.byte());
        // Looking up an event's name tries every name there is, which is too slow for a million runs.
        if (length != 0 && kind != Condition::kEvent) {
            const std::vector<std::uint8_t> bytes = input.bytes(length);
            word.assign(bytes.begin(), bytes.end());
        }
        cli::FilterWords &filter = selection.filter;
        std::array{&filter.categories, &filter.components, &filter.events, &filter.types}.at(kind)->push_back(word);
        conditions.push_back({kind, word});
    }
};

Reports reports_in(std::span<const std::uint8_t> dump) {
    Reports reports;
    for (; dump.size() >= _QorProfileReport::kSize; dump = dump.subspan(_QorProfileReport::kSize)) {
        reports.push_back(_QorProfileReport::copied_from(dump.data()));
    }
    return reports;
}

/** The reports that the selection lets pass. */
Reports select_reports(Reports reports, const Wish &wish) {
    std::erase_if(reports, [&wish](const _QorProfileReport &report) { return !wish.passes(report); });
    if (wish.selection.first && *wish.selection.first < reports.size()) {
        reports.resize(*wish.selection.first);
    }
    if (wish.selection.last && *wish.selection.last < reports.size()) {
        reports.erase(reports.begin(), reports.end() - static_cast<std::ptrdiff_t>(*wish.selection.last));
    }
    return reports;
}

std::uint64_t gaps_in(const Reports &reports) {
    std::uint64_t gaps = 0;
    for (std::size_t i = 1; i < reports.size(); ++i) {
        gaps += reports[i].sequence_num() - reports[i - 1].sequence_num() == 1 ? 0 : 1;
    }
    return gaps;
}

/** @param in_place  as for counting, where the source's observer sees what is read. */
Reports read_all(cli::ReportStream &stream, bool in_place) {
    Reports read;
    cli::ReportBlock room;
    const auto next = [&]() -> std::span<const _QorProfileReport> {
        if (in_place) {
            return stream.next_in_place(room).reports;
        }
        stream.next(room);
        return room.reports;
    };
    for (std::span<const _QorProfileReport> piece = next(); !piece.empty(); piece = next()) {
        read.insert(read.end(), piece.begin(), piece.end());
    }
    return read;
}

void decode(const Wish &wish, std::span<const std::uint8_t> bytes) {
    const Dump dump(bytes, wish.is_pipe);
    cli::ReportStream stream(cli::InputSequence({dump.name()}, std::nullopt, cli::wanted_by_decode()),
                             {.selection = wish.selection});
    cli::SequenceWatch sequence;
    if (wish.is_observed &&
        !stream.observe([&](const cli::ReportPiece &piece) { sequence.see(piece.reports, piece.offset); })) {
        return; // the last of a pipe that pass a filter
    }

    const Reports read = read_all(stream, wish.is_observed);
    const Reports expected = select_reports(reports_in(bytes), wish);
    const bool is_equal = std::ranges::equal(read, expected, [](const auto &a, const auto &b) {
        return std::memcmp(a.bytes, b.bytes, sizeof a.bytes) == 0;
    });
    require(is_equal, "exactly the reports that pass are read, in order");
    if (!wish.selection.first) {
        const std::size_t trailing = stream.trailing().empty() ? 0 : stream.trailing().front().bytes.count;
        require(trailing == bytes.size() % _QorProfileReport::kSize, "trailing bytes are reported");
    }
    if (wish.is_observed && wish.is_unfiltered()) {
        require(sequence.gap_count() == gaps_in(read), "every gap is counted");
    }
}

/** Whether the first bytes are not those of another file, which `decode` would refuse or unpack. */
bool are_a_dump(std::span<const std::uint8_t> bytes) {
    const std::span<const std::byte> first = std::as_bytes(bytes);
    const cli::ContentKind kind = cli::content_of(first, true).value().kind;
    return cli::packing_of(first, true) == cli::Packing::None &&
           (kind == cli::ContentKind::Dump || kind == cli::ContentKind::Empty);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    Input input(data, size);
    const Wish wish(input);
    if (input.rest().size() > Dump::kPipeHolds || !are_a_dump(input.rest())) {
        return 0; // the targets `inputs` and `records` have other files
    }
    try {
        decode(wish, input.rest());
    } catch (const cli::WrongUse &) {
        return 0; // a word that is not a name
    }
    return 0;
}
