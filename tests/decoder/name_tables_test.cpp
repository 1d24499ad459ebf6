#include "decoder/name_tables.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "decoder/ZELLogDecoder.h"
#include "tests/decoder/oracle.h"

namespace {

using Names = std::vector<std::pair<unsigned, const char *>>;

/** Expects exactly these ids to have names, among all that a report can hold and some that it cannot. */
template <typename Lookup>
void expect_names(const Names &names, Lookup name_of) {
    std::vector<std::string> expected;
    for (unsigned id = 0; id < 600; ++id) {
        expected.push_back(std::to_string(id));
    }
    for (const auto &[id, name] : names) {
        expected.at(id) = name;
    }
    for (unsigned id = 0; id < expected.size(); ++id) {
        EXPECT_EQ(name_of(id), expected[id]) << id;
    }
    EXPECT_EQ(name_of(std::numeric_limits<unsigned>::max()), "4294967295");
}

struct ComponentRow {
    const char *meaning;
    const profile_decoder *decoder;
    Names names;
};

const ComponentRow kComponents[] = {
    {"execution",
     &ZELLogDecoder::_exec,
     {{0, "scheduler"}, {1, "function"}, {2, "workloop"}, {3, "command"}, {4, "extfunction"}, {5, "timing"}}},
    {"trace", &ZELLogDecoder::_trace, {{0, "remoteq"}, {1, "endpoint"}, {2, "systick"}, {3, "interrupt"}}},
    {"sensor",
     &ZELLogDecoder::_sensor,
     {{0, "accel"}, {1, "gyro"}, {2, "compass"}, {3, "pressure"}, {4, "norvat"}, {5, "als"}, {6, "temperature"}}},
    {"quoril", &ZELLogDecoder::_quoril, {{0, "quoril"}}},
    {"vastrel", &ZELLogDecoder::_vastrel, {{0, "vastrel"}}},
    {"interrupt", &ZELLogDecoder::_interrupt, {{0, "gpio"}}},
    {"uart", &ZELLogDecoder::_uart, {{0, "uart0"}, {1, "uart1"}, {2, "uart2"}}},
    {"sshb",
     &ZELLogDecoder::_sshb,
     {{0, "sshb"}, {1, "pellox"}, {2, "amp"}, {3, "latency"}, {4, "kiru"}, {5, "zelaudio"}, {6, "zelvoicetrigger"}}},
    {"scm",
     &ZELLogDecoder::_scm,
     {{0, "spi0"}, {1, "smb0"}, {2, "smb1"}, {3, "i2cm0"}, {4, "i2c_ctrl0"}, {5, "i2c_ctrl1"}}},
    {"wake", &ZELLogDecoder::_wake, {{0, "wake"}}},
    {"control", &ZELLogDecoder::_control, {}},
    {"no category", &ZELLogDecoder::_default, {}},
};

TEST(NameTables, ComponentsPrintByNameOrNumber) {
    for (const ComponentRow &row : kComponents) {
        SCOPED_TRACE(row.meaning);
        expect_names(row.names, [&](unsigned component) { return row.decoder->component_name(component); });
    }
}

struct EventRow {
    const char *meaning;
    const profile_decoder *decoder;
    std::vector<unsigned> components;
    Names names;
};

const std::vector<unsigned> kAnyComponent{0, 1, 2, 3, 4, 5, 6, 200, 4294967295};
const Names kCheckpoints{{0, "ckp_SSHBFingerON"}, {1, "ckp_SSHBFingerOFF"},  {2, "ckp_SSHBButtonDown"},
                         {3, "ckp_SSHBButtonUp"}, {4, "ckp_RIVTurnOn"},      {5, "ckp_PelloxStartHaptics"},
                         {6, "ckp_RIVReady"},     {7, "ckp_PelloxPlayAsset"}};

const EventRow kEvents[] = {
    {"scheduler", &ZELLogDecoder::_exec, {0}, {{0, "context-switch"}, {1, "prevent-nap"}, {2, "thread-state"}}},
    {"function", &ZELLogDecoder::_exec, {1}, {{0, "function"}}},
    {"workloop", &ZELLogDecoder::_exec, {2}, {{0, "action"}, {1, "signal"}}},
    {"command",
     &ZELLogDecoder::_exec,
     {3},
     {{0, "start"},
      {1, "finalize"},
      {2, "new-packet"},
      {3, "receive"},
      {4, "timeout"},
      {5, "live-report"},
      {6, "hist-report"},
      {7, "user-report"}}},
    {"extfunction", &ZELLogDecoder::_exec, {4}, {{0, "extfunction"}}},
    {"timing, which has a name and no events, and the components above it",
     &ZELLogDecoder::_exec,
     {5, 6, 255, 4294967295},
     {}},
    {"trace", &ZELLogDecoder::_trace, kAnyComponent, {}},
    {"sensor",
     &ZELLogDecoder::_sensor,
     kAnyComponent,
     {{0, "latency"},
      {1, "rawdata"},
      {2, "data"},
      {3, "filtdata"},
      {4, "apdata"},
      {5, "regwrite"},
      {6, "regread"},
      {7, "update"},
      {8, "filter-state"},
      {9, "sensor-info"},
      {10, "annotation"},
      {16, "trigger-magnitude"},
      {17, "trigger-latency"}}},
    {"quoril", &ZELLogDecoder::_quoril, kAnyComponent, {{0, "latency"}, {1, "monitor"}, {17, "trigger-latency"}}},
    {"vastrel", &ZELLogDecoder::_vastrel, kAnyComponent, {{0, "data-in"}, {1, "data-out"}}},
    {"interrupt", &ZELLogDecoder::_interrupt, kAnyComponent, {{0, "latency"}}},
    {"uart",
     &ZELLogDecoder::_uart,
     kAnyComponent,
     {{0, "preamble"},
      {1, "sw-handshake"},
      {2, "hw-handshake"},
      {3, "trace"},
      {4, "packet"},
      {5, "baseband"},
      {6, "transport"},
      {7, "zel-test"}}},
    {"sshb checkpoints", &ZELLogDecoder::_sshb, {3}, kCheckpoints},
    {"sshb, other components",
     &ZELLogDecoder::_sshb,
     {0, 1, 2, 4, 5, 6, 200},
     {{0, "trace"},
      {1, "context"},
      {2, "input-packet"},
      {3, "status-event"},
      {16, "trigger-fingeron"},
      {17, "trigger-fingeroff"},
      {18, "trigger-clickon"},
      {19, "trigger-clickoff"}}},
    {"scm", &ZELLogDecoder::_scm, kAnyComponent, {}},
    {"wake",
     &ZELLogDecoder::_wake,
     kAnyComponent,
     {{0, "wake-req-stats"}, {1, "wake-req-info"}, {2, "wake-event-info"}}},
    {"control", &ZELLogDecoder::_control, kAnyComponent, {}},
};

TEST(NameTables, EventsPrintByNameOrNumber) {
    for (const EventRow &row : kEvents) {
        for (unsigned component : row.components) {
            SCOPED_TRACE(row.meaning);
            expect_names(row.names, [&](unsigned event) { return row.decoder->event_name(component, event); });
        }
    }
}

TEST(NameTables, CategoriesPrintByNameOrNumber) {
    expect_names({{0, "exec"},
                  {1, "trace"},
                  {2, "sensor"},
                  {3, "quoril"},
                  {4, "vastrel"},
                  {5, "interrupt"},
                  {6, "uart"},
                  {7, "sshb"},
                  {8, "control"},
                  {9, "scm"},
                  {10, "wake"}},
                 [](unsigned category) { return ZELLogDecoder::_default.category_name(category); });
}

TEST(NameTables, TypesPrintByNameOrNumber) {
    expect_names({{0, "stop"},
                  {1, "long-data"},
                  {2, "short-data"},
                  {3, "event"},
                  {4, "trigger"},
                  {5, "function"},
                  {6, "sshb-context1"},
                  {7, "sshb-context2"},
                  {8, "sensorinfo"},
                  {9, "extfunction"},
                  {10, "sshb-context"},
                  {11, "annotation"},
                  {12, "decimationinfo"}},
                 profile_decoder::type_name);
}

TEST(NameTables, SSHBSubtypesPrintByNameOrNumber) {
    for (unsigned kind : {0u, 1u, 2u, 4u}) {
        unsigned names = 0;
        for (unsigned id = 0; id < 600; ++id) {
            const std::string name = ZELLogDecoder::_sshb.subtype_name(kind, id);
            EXPECT_EQ(name, oracle::sshb_trace_name(kind, id)) << kind << ", " << id;
            names += name != std::to_string(id) ? 1 : 0;
        }
        EXPECT_EQ(names, 113u);
        EXPECT_EQ(ZELLogDecoder::_sshb.subtype_name(kind, std::numeric_limits<unsigned>::max()), "4294967295");
    }
}

TEST(NameTables, SSHBSubtypesOfTheLatencyComponentAreCheckpoints) {
    expect_names(kCheckpoints, [](unsigned id) { return ZELLogDecoder::_sshb.subtype_name(3, id); });
}

TEST(NameTables, SSHBSubtypesOfOtherComponentsAreNumbers) {
    for (unsigned kind : {5u, 6u, 7u, 255u, 256u, 4294967295u}) {
        expect_names({}, [&](unsigned id) { return ZELLogDecoder::_sshb.subtype_name(kind, id); });
    }
}

TEST(NameTables, ViewsAreTheDecodersNames) {
    for (unsigned category = 0; category < 256; ++category) {
        const auto category_id = static_cast<std::uint8_t>(category);
        const profile_decoder *own = ZELLogDecoder::decoder_of(category);
        const profile_decoder &decoder = own != nullptr ? *own : ZELLogDecoder::_default;
        EXPECT_EQ(decoder::category_name(category_id), decoder.category_name(category));
        for (unsigned id = 0; id < 256; ++id) {
            const auto byte = static_cast<std::uint8_t>(id);
            EXPECT_EQ(decoder::component_name(category_id, byte), decoder.component_name(id));
            for (unsigned component : {0u, 3u, 5u, 255u}) {
                EXPECT_EQ(decoder::event_name(category_id, static_cast<std::uint8_t>(component), byte),
                          decoder.event_name(component, id));
            }
            EXPECT_EQ(decoder::type_name(byte), profile_decoder::type_name(id));
        }
    }
}

/** Between quotation marks, where a line has apostrophes. */
std::string as_json(const decoder::short_text &quoted) {
    return '"' + std::string(decoder::strip_apostrophes(quoted)) + '"';
}

TEST(NameTables, NamesAndNumbersOfJsonAreThoseOfLines) {
    for (unsigned category = 0; category < 13; ++category) {
        const decoder::category_names &names = decoder::names_of_category(category);
        for (unsigned id = 0; id < 256; ++id) {
            const auto byte = static_cast<std::uint8_t>(id);
            for (const decoder::name_table *table :
                 {&names.components, &names.events(0), &names.events(3), &decoder::kTypeTable}) {
                EXPECT_EQ(decoder::json_name(*table, byte).view(), as_json(decoder::quoted_name(*table, byte)));
            }
        }
    }
}

TEST(NameTables, SubjectsHaveTheNamesOfLinesInJson) {
    for (unsigned kind = 0; kind < 8; ++kind) {
        const decoder::name_table &subjects = decoder::sshb_subtype_table(kind);
        for (std::uint32_t id = 0; id < 600; ++id) {
            const decoder::short_text *const name = subjects.find(id);
            const decoder::short_text *const json = subjects.find_json(id);

            ASSERT_EQ(name == nullptr, json == nullptr) << id;
            EXPECT_TRUE(name == nullptr || json->view() == as_json(*name)) << id;
        }
    }
}

} // namespace
