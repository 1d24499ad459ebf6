// What the handlers answer when state is captured.

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "cli/contract/check.h"
#include "cli/contract/setting.h"
#include "decoder/ProfileDescription.h"
#include "host/RvConnection.h"
#include "host/RvRegistry.h"
#include "host/TvValues.h"

namespace cli {
namespace {

/** The most reports that one entry reads. */
constexpr std::size_t kReportsPerEntry = 32;

/** The snapshots that answer an explicit request, each once, among the titles. */
void expect_snapshots(const std::vector<std::string> &titles, std::uint64_t times, const std::string &kind,
                      Findings &findings) {
    for (const char *snapshot : {"SSHB Statistics", "SSHB assets", "SensorInfo"}) {
        findings.expect_equal(std::string(snapshot) + " for " + kind,
                              static_cast<std::uint64_t>(std::count(titles.begin(), titles.end(), snapshot)), times);
    }
}

void check_capture_kinds(CheckedModule &module, Findings &findings) {
    const struct {
        std::uint32_t kind;
        bool answers_reports;
        bool answers_snapshots;
    } rows[] = {
        {0, false, false},
        {kRvStateCaptureError, false, false},
        {kRvStateCaptureFault, true, false},
        {kRvStateCaptureRequest, true, true},
        {4, true, false},
        {0x80000000, true, false},
        {0xFFFFFFFF, true, false},
    };
    for (const auto &row : rows) {
        const PlayedQor qor;
        ScheduledObject object(module);
        object.hand_over(qor.service({{0x000C, 0x0001}, {0xFF00, 0x0003}}));
        const std::vector<std::string> titles = captured_titles(row.kind);
        const std::string kind = "kind " + std::to_string(row.kind);
        const auto reports = std::count_if(
            titles.begin(), titles.end(), [](const std::string &title) { return title.rfind("ZEL Profile ", 0) == 0; });
        findings.expect_equal("records of reports for " + kind, static_cast<std::uint64_t>(reports),
                              row.answers_reports ? kRawDebugHandlers : 0);
        expect_snapshots(titles, row.answers_snapshots ? 1 : 0, kind, findings);
    }
}

void check_capture_order(CheckedModule &module, Findings &findings) {
    for (const std::size_t reports : {std::size_t{1}, 2 + module.random() % (kReportsPerEntry - 2), kReportsPerEntry}) {
        PlayedQor qor;
        qor.reports = reports;
        ScheduledObject object(module);
        object.hand_over(qor.service(kVendor));
        const std::vector<std::string> found = captured_titles(kRvStateCaptureFault);
        const std::vector<std::string> promised = raw_debug_titles(reports);
        for (std::size_t i = 0; i < std::min(found.size(), promised.size()); ++i) {
            findings.expect(found[i] == promised[i], "record " + std::to_string(i + 1) + " is titled \"" + found[i] +
                                                         "\", and \"" + promised[i] + "\" is promised");
        }
        findings.expect_equal("records for a fault", found.size(), promised.size());
    }
}

void expect_well_formed(const host::StateRecord &record, std::size_t reports, Findings &findings) {
    const std::string of = " of \"" + record.title + "\"";
    findings.expect_equal("the type code" + of, record.type_code, kRvStateCaptureTypeSerializedValue);
    findings.expect(record.decoder_plug_in.empty() && record.decoder_type.empty(),
                    "a decoder is named in the header" + of);
    findings.expect_equal("descriptions" + of, TvArrayGetCount(record.payload.get()), reports);
}

/** What the host holds for the module at one moment. */
struct Holdings {
    static Holdings now(const PlayedQor &qor) {
        return {host::live_values(), host::live_plug_in_references(),
                host::device_registry::reference_count(qor.driver_entry), host::open_connection_count(), held_bytes()};
    }

    std::size_t values;
    std::size_t plug_ins;
    std::size_t driver;
    std::size_t connections;
    std::optional<std::size_t> bytes;
};

void check_capture_records(CheckedModule &module, Findings &findings) {
    constexpr std::size_t kReports = 3;
    constexpr int kWarmUps = 3;
    constexpr int kRounds = 20;
    PlayedQor qor;
    qor.reports = kReports;
    ScheduledObject object(module);
    object.hand_over(qor.service(kVendor));
    for (const host::StateRecord &record : capture(kRvStateCaptureFault)) {
        expect_well_formed(record, kReports, findings);
    }
    // The host frees each record: one that is no block of its own, or handed out twice, ends the process here.
    for (int round = 0; round < kWarmUps; ++round) {
        capture(kRvStateCaptureFault);
    }
    const Holdings before = Holdings::now(qor);
    for (int round = 0; round < kRounds; ++round) {
        capture(kRvStateCaptureFault);
    }
    const Holdings after = Holdings::now(qor);
    const std::string more = " held after " + std::to_string(kRounds) + " captures more";
    findings.expect_equal("typed values" + more, after.values - before.values, 0);
    findings.expect_equal("references to plug-ins" + more, after.plug_ins - before.plug_ins, 0);
    findings.expect_equal("references to the driver" + more, after.driver - before.driver, 0);
    findings.expect_equal("open connections", after.connections, 0);
    if (before.bytes && after.bytes) {
        findings.expect_equal("bytes" + more, *after.bytes - *before.bytes, 0);
    }
}

void check_driver_lies(CheckedModule &module, Findings &findings) {
    const struct {
        const char *what;
        std::function<void(PlayedQor &)> lie;
        std::size_t records; ///< of reports
    } rows[] = {
        {"claims more than the room", [](PlayedQor &qor) { qor.claimed_size = 1'000'000; }, kRawDebugHandlers},
        {"claims the largest size", [](PlayedQor &qor) { qor.claimed_size = SIZE_MAX; }, kRawDebugHandlers},
        {"has nothing", [](PlayedQor &qor) { qor.bytes = 0; }, 0},
        {"has one byte less than a report", [](PlayedQor &qor) { qor.bytes = kQorProfileReportSize - 1; }, 0},
        {"has half a report more", [](PlayedQor &qor) { qor.bytes = 2 * kQorProfileReportSize + 24; },
         kRawDebugHandlers},
        {"fails", [](PlayedQor &qor) { qor.status = kRvStatusError; }, 0},
    };
    for (const auto &row : rows) {
        PlayedQor qor;
        ScheduledObject object(module);
        object.hand_over(qor.service({{0x000C, 0x0001}, {0xFF00, 0x0003}}));
        row.lie(qor);
        const std::vector<std::string> titles = captured_titles(kRvStateCaptureRequest);
        const auto reports = std::count_if(
            titles.begin(), titles.end(), [](const std::string &title) { return title.rfind("ZEL Profile ", 0) == 0; });
        findings.expect_equal(std::string("records of reports when the driver ") + row.what,
                              static_cast<std::uint64_t>(reports), row.records);
    }
}

} // namespace

const std::vector<ContractCheck> kCaptureChecks = {
    {"capture-kinds", "Handlers answer the kinds of request that they promise to", check_capture_kinds},
    {"capture-order", "A fault is answered by 104 records in their order", check_capture_order},
    {"capture-records", "Records are well formed, the host's to free, and leave nothing", check_capture_records},
    {"driver-lies", "What the driver claims leads no reading past its buffers", check_driver_lies},
};

} // namespace cli
