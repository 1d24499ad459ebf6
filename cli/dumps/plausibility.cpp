#include "cli/dumps/plausibility.h"

#include <algorithm>

#include "decoder/name_tables.h"

namespace cli {
namespace {

constexpr std::size_t kReportSize = _QorProfileReport::kSize;

/** What the reports of some bytes have. */
struct Score {
    std::size_t reports = 0;
    std::size_t follows = 0; ///< whose sequence number is one more than that before
    std::size_t rises = 0;   ///< whose time stamp is later than that before
    std::size_t named = 0;   ///< whose four ids have names

    bool follows_mostly() const { return 2 * follows >= reports; }
    bool is_certain() const { return follows_mostly() && 2 * named >= reports; }
    bool is_doubtful() const { return 16 * follows < reports && 4 * named < reports; }

    /** From 0 to 5. Names count less: many a dump has none, and the zeros in payloads have some. */
    double weight() const {
        return static_cast<double>(2 * follows + 2 * rises + named) / static_cast<double>(reports);
    }
};

/** The ids of zeros have names as well, but say nothing. */
bool is_named(const _QorProfileReport &report) {
    const decoder::category_names &names = decoder::names_of_category(report.category_id());
    return report.header() != 0 && decoder::kCategoryTable.find(report.category_id()) != nullptr &&
           decoder::kTypeTable.find(report.type_id()) != nullptr &&
           names.components.find(report.component_id()) != nullptr &&
           names.events(report.component_id()).find(report.event_id()) != nullptr;
}

/** @param bytes  of at least one report. */
Score score_of(std::span<const std::byte> bytes) {
    Score score;
    auto before = _QorProfileReport::copied_from(bytes.data());
    for (; bytes.size() >= kReportSize; bytes = bytes.subspan(kReportSize)) {
        const auto report = _QorProfileReport::copied_from(bytes.data());
        ++score.reports;
        score.follows += report.sequence_num() == static_cast<std::uint32_t>(before.sequence_num() + 1) ? 1 : 0;
        score.rises += report.timestamp() > before.timestamp() ? 1 : 0;
        score.named += is_named(report) ? 1 : 0;
        before = report;
    }
    return score;
}

/** Where reports begin whose numbers follow, far more likely than here; nothing when they do nowhere. */
std::optional<std::size_t> better_start(std::span<const std::byte> bytes, const Score &here) {
    constexpr double kFarMore = 1;
    std::optional<std::size_t> found;
    double best = here.weight() + kFarMore;
    for (std::size_t skip = 1; skip < kReportSize; ++skip) {
        const Score score = score_of(bytes.subspan(skip));
        if (score.follows_mostly() && score.weight() > best) {
            best = score.weight();
            found = skip;
        }
    }
    return found;
}

} // namespace

void Plausibility::add(std::span<const std::byte> bytes) {
    if (!wants_more()) {
        return;
    }
    const std::size_t room = kMostReports * kReportSize - _bytes.size();
    bytes = bytes.first(std::min(bytes.size(), room));
    _bytes.insert(_bytes.end(), bytes.begin(), bytes.end());
    if (_bytes.size() >= _next_look) {
        _is_plausible = score_of(_bytes).is_certain();
        _next_look = 2 * _bytes.size();
    }
    if (_is_plausible) {
        _bytes = {};
    }
}

std::optional<Doubt> Plausibility::doubt() const {
    if (_bytes.size() < kFewestReports * kReportSize) {
        return std::nullopt;
    }
    const Score score = score_of(_bytes);
    if (score.is_certain()) {
        return std::nullopt;
    }
    const std::optional<std::size_t> skip = better_start(_bytes, score);
    return skip || score.is_doubtful() ? std::optional(Doubt{skip}) : std::nullopt;
}

std::string doubt_text(const Doubt &doubt, std::uint64_t skipped) {
    return "does not look like a dump: sequence numbers do not follow one another and ids have no names" +
           (doubt.skip ? "; try --skip " + std::to_string(skipped + *doubt.skip) : std::string());
}

} // namespace cli
