#include <gtest/gtest.h>

#include "decoder/ZELLogDecoder.h"
#include "tests/decoder/report_builder.h"

namespace {

constexpr std::uint8_t kSSHB = 7;
constexpr std::uint8_t kShortData = 2;
constexpr std::uint8_t kTrace = 3;
constexpr std::uint8_t kContext = 10;

ReportBuilder trace(std::uint8_t component, std::uint32_t subject) {
    ReportBuilder report(kTrace, 0, component, kSSHB);
    return report.u32(16, subject);
}

ReportBuilder context(std::uint16_t version) {
    ReportBuilder report(kContext, 1, 0, kSSHB);
    return report.counting(16, 47).u16(16, version);
}

std::string sshb_text(const _QorProfileReport &report) { return payload_text(ZELLogDecoder::_sshb, report); }

/** The text of the base decoder for the same report. */
std::string generic_text(const _QorProfileReport &report) { return payload_text(ZELLogDecoder::_default, report); }

const PayloadRow kReports[] = {
    {"button report: byte 21, here 9, is skipped, and so are 16 and 17",
     ReportBuilder(kShortData, 2, 0, kSSHB)
         .u16(16, 0xFFFF)
         .bytes(18, {1, 0, 1, 9, 3, 0, 1, 2, 5})
         .u32(27, 1000)
         .u32(31, 70000),
     " 'reportID':         1, 'buttonState':         0, 'fingerDetect':         1, 'pressCount':         3,"
     " 'longPress':         0, 'terminalEvent':         1, 'speed':         2, 'stage':         5,"
     " 'stageProgress':      1000, 'force':     70000,"},
    {"click status: the time stamp is a 32-bit word, bytes 22 to 25 and 32 are skipped",
     ReportBuilder(kShortData, 3, 0, kSSHB)
         .u32(18, 0xFFFFFFFF)
         .bytes(22, {9, 9, 9, 9})
         .bytes(26, {1, 2})
         .u32(28, 4294967295)
         .u8(32, 9)
         .bytes(33, {255, 4, 5, 6}),
     " 'status-timestamp':4294967295, 'fingerState':         1, 'buttonState':         2,"
     " 'buttonProgress':4294967295, 'clickCount':       255, 'clickCountIsTerminal':         4,"
     " 'clickIsLong':         5, 'clickSpeed':         6,"},
    {"trace of a named subject", trace(0, 7).u32(20, 11).u32(24, 1).u32(28, 22).u32(32, 333).u32(36, 4444),
     " 'trace':             'EnableSshb', 'thread':        11, 'arg1':         1, 'arg2':        22,"
     " 'arg3':       333, 'arg4':      4444,"},
};

TEST(SSHBPayload, OwnFieldsComeBeforeTheGenericText) {
    for (const PayloadRow &row : kReports) {
        SCOPED_TRACE(row.meaning);
        ASSERT_FALSE(generic_text(row.report).empty());

        EXPECT_EQ(sshb_text(row.report), row.text + generic_text(row.report));
    }
}

TEST(SSHBPayload, TraceShowsArg1OfBothLayouts) {
    const std::string text = sshb_text(trace(0, 7).u32(24, 1));

    EXPECT_NE(text.find(" 'arg1':         1,"), std::string::npos);
    EXPECT_NE(text.find(" 'arg1':         7,"), std::string::npos);
    EXPECT_LT(text.find(" 'arg1':         1,"), text.find(" 'arg1':         7,"));
}

struct SubjectRow {
    const char *meaning;
    std::uint8_t component;
    std::uint32_t subject;
    const char *field;
};

const SubjectRow kSubjects[] = {
    {"a component whose subjects have no names", 5, 42, " 'trace':                     '42',"},
    {"the same with the highest id", 6, 0xFFFFFFFF, " 'trace':             '4294967295',"},
    {"the last component without names", 255, 0, " 'trace':                      '0',"},
    {"the button", 0, 7, " 'trace':             'EnableSshb',"},
    {"the haptic engine", 1, 0, " 'trace':           'Notification',"},
    {"the amplifiers", 2, 200, " 'trace':               'SetState',"},
    {"the latency component: checkpoints", 3, 4, " 'trace':          'ckp_RIVTurnOn',"},
    {"a checkpoint that does not exist", 3, 8, " 'trace':                      '8',"},
    {"the clock", 4, 409, " 'trace':         'SimulatedEvent',"},
    {"an id in a gap", 0, 307, " 'trace':                    '307',"},
    {"an id past the table", 0, 410, " 'trace':                    '410',"},
    {"an id whose low byte would be in the table", 0, 256 + 7, " 'trace':                    '263',"},
    {"a name as wide as the field", 0, 28, " 'trace':'AmpRequestCompleteStep5',"},
    {"a name wider than the field, in full", 0, 305, " 'trace':'kSetHapticAudioAssertionReturn',"},
};

TEST(SSHBPayload, TraceNamesItsSubject) {
    for (const SubjectRow &row : kSubjects) {
        SCOPED_TRACE(row.meaning);
        const std::string text = sshb_text(trace(row.component, row.subject));

        EXPECT_EQ(text.substr(0, text.find(',') + 1), row.field);
    }
}

TEST(SSHBPayload, OtherShortDataPrintsTheGenericTextTwice) {
    for (unsigned event = 0; event < 256; ++event) {
        if (event == 2 || event == 3) {
            continue;
        }
        const _QorProfileReport report =
            ReportBuilder(kShortData, static_cast<std::uint8_t>(event), 0, kSSHB).counting(16, 47);

        EXPECT_EQ(sshb_text(report), generic_text(report) + generic_text(report)) << event;
    }
}

const PayloadRow kContexts[] = {
    {"version 3: four 32-bit words after the opening", context(3).u32(22, 4294967295).u32(34, 0),
     " 'context-version':3, 'currentContext0':3, 'currentContext1':4, 'ampsEnabled':5, 'enabled':6,"
     " 'mode':4294967295, 'scan_time':235736075, 'active_scan_interval':303108111, 'background_scan_interval':0,"
     " 'fingerDetect':23, 'buttonState':24, 'pressCount':25, 'longPress':26, 'terminalEvent':27, 'speed':28,"
     " 'stage':29,"},
    {"version 4: 28 bytes in ascending order", context(4).u8(18, 255).u8(45, 0),
     " 'context-version':4, 'mclk_zel_enabled':255, 'mclk_ap_enabled':4, 'pellox_zel_enabled':5,"
     " 'pellox_ap_enabled':6, 'pelloxBusy':7, 'enableRIV':8, 'enableSpkr':9, 'mclk_on':10, 'pellox_on':11,"
     " 'pelloxPending':12, 'ampsEnabling':13, 'kiru_ready':14, 'ampsPrewarming':15, 'ampsDisabling':16,"
     " 'ampsPending':17, 'clickState':18, 'clickSpeed':19, 'test_mode':20, 'cl_enable':21, 'cl_zel_enable':22,"
     " 'cl_ap_enable':23, 'pellox_ready':24, 'apState0':25, 'apState1':26, 'zelState0':27, 'zelState1':28,"
     " 'state0':29, 'state1':0,"},
    {"version 5: the scan period in the place of the mode, and no scan intervals", context(5).u32(22, 100000),
     " 'context-version':5, 'currentContext0':3, 'currentContext1':4, 'ampsEnabled':5, 'enabled':6,"
     " 'scan_period':100000, 'scan_time':235736075, 'fingerDetect':15, 'buttonState':16, 'pressCount':17,"
     " 'longPress':18, 'terminalEvent':19, 'speed':20, 'stage':21,"},
    {"version 7: 25 bytes, one state for all amplifiers", context(7),
     " 'context-version':7, 'mclk_zel_enabled':3, 'mclk_ap_enabled':4, 'pellox_zel_enabled':5,"
     " 'pellox_ap_enabled':6, 'pelloxBusy':7, 'enableRIV':8, 'enableSpkr':9, 'mclk_on':10, 'pellox_on':11,"
     " 'pelloxPending':12, 'kiru_ready':13, 'ampsState':14, 'clickState':15, 'clickSpeed':16, 'test_mode':17,"
     " 'cl_enable':18, 'cl_zel_enable':19, 'cl_ap_enable':20, 'pellox_ready':21, 'apState0':22, 'apState1':23,"
     " 'zelState0':24, 'zelState1':25, 'state0':26, 'state1':27,"},
};

TEST(SSHBPayload, ContextPrintsItsVersionsFieldsAndNoMore) {
    for (const PayloadRow &row : kContexts) {
        SCOPED_TRACE(row.meaning);

        EXPECT_EQ(sshb_text(row.report), row.text);
    }
}

TEST(SSHBPayload, OtherContextVersionsPrintNothing) {
    for (const std::uint16_t version :
         std::initializer_list<std::uint16_t>{0, 1, 2, 6, 8, 0x0103, 0x0104, 0x0300, 0x0700, 0xFFFF}) {
        EXPECT_EQ(sshb_text(context(version)), "") << version;
    }
}

TEST(SSHBPayload, OtherTypesPrintTheGenericText) {
    for (unsigned type = 0; type < 256; ++type) {
        if (type == kShortData || type == kTrace || type == kContext) {
            continue;
        }
        const _QorProfileReport report =
            ReportBuilder(static_cast<std::uint8_t>(type), 2, 0, kSSHB).counting(16, 47).u16(16, 3);

        EXPECT_EQ(sshb_text(report), generic_text(report)) << type;
    }
}

} // namespace
