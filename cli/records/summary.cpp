#include "cli/records/summary.h"

#include <algorithm>
#include <cstring>

#include "cli/terminal/json_text.h"
#include "host/count_text.h"
#include "host/error.h"
#include "host/state_records.h"
#include "host/utf8.h"

namespace cli {
namespace {

/** The title in the header. Works for damaged records, too. */
std::string title_of(const host::RecordBytes &record) {
    RvStateCaptureRecord header{};
    std::memcpy(&header, record.data(), std::min(record.size(), sizeof header));
    return std::string(header.title, strnlen(header.title, sizeof header.title));
}

std::string reports_text(const SummaryRow &row) {
    if (!row.damage.empty()) {
        return "damaged";
    }
    return row.reports ? std::to_string(*row.reports) : "-";
}

std::string pad_left(const std::string &text, std::size_t width) {
    return std::string(width - std::min(width, text.size()), ' ') + text;
}

std::string totals(const std::vector<SummaryRow> &rows) {
    std::size_t reports = 0;
    std::size_t bytes = 0;
    for (const SummaryRow &row : rows) {
        reports += row.reports.value_or(0);
        bytes += row.bytes;
    }
    return host::count_text(rows.size(), "record") + ", " + host::count_text(reports, "report") + ", " +
           host::count_text(bytes, "byte");
}

} // namespace

SummaryRow summarise(const host::RecordBytes &record) {
    SummaryRow row{title_of(record), std::nullopt, record.size(), ""};
    try {
        for (const host::StateRecord &read_back : host::parse_records(record, "")) {
            if (TvGetTypeID(read_back.payload.get()) == TvArrayGetTypeID()) {
                row.reports = TvArrayGetCount(read_back.payload.get());
            }
        }
    } catch (const host::Error &error) {
        row.damage = error.what();
    }
    return row;
}

std::string summary_table(const std::vector<SummaryRow> &rows, const TextStyle &style) {
    constexpr std::size_t kReportsWidth = 7;
    constexpr std::size_t kBytesWidth = 9;
    std::size_t title_width = std::string_view("title").size();
    for (const SummaryRow &row : rows) {
        title_width = std::max(title_width, host::character_count(style.show(row.title)));
    }
    const auto line = [&](const std::string &title, const std::string &reports, const std::string &bytes) {
        return title + std::string(title_width - host::character_count(title), ' ') + "  " +
               pad_left(reports, kReportsWidth) + "  " + pad_left(bytes, kBytesWidth);
    };
    std::string table;
    if (!rows.empty()) {
        table = style.heading(line("title", "reports", "bytes")) + "\n";
    }
    for (const SummaryRow &row : rows) {
        table += line(style.show(row.title), reports_text(row), std::to_string(row.bytes)) + "\n";
    }
    return table + totals(rows) + "\n";
}

std::string summary_json(const std::vector<SummaryRow> &rows) {
    Json json = Json::array();
    for (const SummaryRow &row : rows) {
        Json entry;
        put_text(entry, "title", row.title);
        if (row.reports) {
            entry["reports"] = *row.reports;
        }
        entry["bytes"] = row.bytes;
        if (!row.damage.empty()) {
            put_text(entry, "damage", row.damage);
        }
        json.push_back(std::move(entry));
    }
    return json_lines(json);
}

} // namespace cli
