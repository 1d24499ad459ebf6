// The records that the handlers return when state is captured.

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "cli/contract/check.h"
#include "cli/contract/setting.h"
#include "decoder/ProfileDescription.h"
#include "host/RvConnection.h"
#include "host/RvRegistry.h"
#include "host/TvValues.h"
#include "host/device/played_qor.h"
#include "qor/driver.h"
#include "qor/services.h"

namespace cli {
namespace {

constexpr std::size_t kReportsPerEntry = qor::driver::kReportsPerEntry;

/** Expects each snapshot `times` times among the titles: once for an explicit request, otherwise never. */
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
        const host::PlayedQor qor({.reports = 1});
        ScheduledObject object(module);
        object.hand_over(qor.service({qor::services::kConsumerControl, qor::services::kAccelerometer}));
        const std::vector<std::string> titles = capture_titles(row.kind);
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
        const host::PlayedQor qor({.reports = reports});
        ScheduledObject object(module);
        object.hand_over(qor.service(host::kVendor));
        const std::vector<std::string> found = capture_titles(kRvStateCaptureFault);
        const std::vector<std::string> promised = raw_debug_titles(reports);
        for (std::size_t i = 0; i < std::min(found.size(), promised.size()); ++i) {
            findings.expect(found[i] == promised[i], "record " + std::to_string(i + 1) + " has the title \"" +
                                                         found[i] + "\", expected \"" + promised[i] + "\"");
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

/** The objects that the host holds for the module at one moment. */
struct Holdings {
    static Holdings count(const host::PlayedQor &qor) {
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
    host::PlayedQor qor({.reports = kReports});
    ScheduledObject object(module);
    object.hand_over(qor.service(host::kVendor));
    for (const host::StateRecord &record : capture(kRvStateCaptureFault)) {
        expect_well_formed(record, kReports, findings);
    }
    const auto capture_once = [&qor] {
        capture(kRvStateCaptureFault);
        qor.firmware_reports.methods.clear(); // their room stays, so that recorded calls take no more memory
        qor.driver_reports.methods.clear();
    };
    // The host frees each record: one that is no block of its own, or handed out twice, ends the process here.
    for (int round = 0; round < kWarmUps; ++round) {
        capture_once();
    }
    const Holdings before = Holdings::count(qor);
    for (int round = 0; round < kRounds; ++round) {
        capture_once();
    }
    const Holdings after = Holdings::count(qor);
    const std::string more = " held after " + std::to_string(kRounds) + " more captures";
    findings.expect_equal("typed values" + more, after.values - before.values, 0);
    findings.expect_equal("references to plug-ins" + more, after.plug_ins - before.plug_ins, 0);
    findings.expect_equal("references to the driver" + more, after.driver - before.driver, 0);
    findings.expect_equal("open connections", after.connections, 0);
    if (before.bytes && after.bytes) {
        findings.expect_equal("bytes" + more, *after.bytes - *before.bytes, 0);
    }
}

void check_driver_lies(CheckedModule &module, Findings &findings) {
    constexpr std::size_t kReport = kQorProfileReportSize;
    const struct {
        const char *what;
        std::size_t bytes; ///< of each report service
        std::optional<std::size_t> claimed_size;
        RvStatus status;
        std::size_t records; ///< of reports
    } rows[] = {
        {"claims more than the room", kReport, 1'000'000, kRvStatusSuccess, kRawDebugHandlers},
        {"claims the largest size", kReport, SIZE_MAX, kRvStatusSuccess, kRawDebugHandlers},
        {"has nothing", 0, std::nullopt, kRvStatusSuccess, 0},
        {"has one byte less than a report", kReport - 1, std::nullopt, kRvStatusSuccess, 0},
        {"has half a report more", 2 * kReport + 24, std::nullopt, kRvStatusSuccess, kRawDebugHandlers},
        {"fails", kReport, std::nullopt, kRvStatusError, 0},
    };
    for (const auto &row : rows) {
        host::PlayedQor qor;
        ScheduledObject object(module);
        object.hand_over(qor.service({qor::services::kConsumerControl, qor::services::kAccelerometer}));
        qor.reported_size = row.claimed_size;
        qor.status = row.status;
        for (host::PlayedReportService *service : {&qor.firmware_reports, &qor.driver_reports}) {
            service->bytes = host::control_reports(row.bytes / kReport);
            service->bytes.resize(row.bytes);
            service->reported_size = row.claimed_size;
            service->status = row.status;
        }
        const std::vector<std::string> titles = capture_titles(kRvStateCaptureRequest);
        const auto reports = std::count_if(
            titles.begin(), titles.end(), [](const std::string &title) { return title.rfind("ZEL Profile ", 0) == 0; });
        findings.expect_equal(std::string("records of reports when the driver ") + row.what,
                              static_cast<std::uint64_t>(reports), row.records);
    }
}

} // namespace

const std::vector<ContractCheck> kCaptureChecks = {
    {"capture-kinds", "Handlers answer exactly the promised kinds of request", check_capture_kinds, kNeedsHost},
    {"capture-order", "A fault yields 104 records in the promised order", check_capture_order, kNeedsHost},
    {"capture-records", "Records are well formed, owned by the host, and nothing leaks", check_capture_records,
     kNeedsHost},
    {"driver-lies", "False sizes from the driver cause no read past a buffer", check_driver_lies, kNeedsHost},
};

} // namespace cli
