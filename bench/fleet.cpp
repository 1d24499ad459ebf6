#include "bench/fleet.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <system_error>

#include "host/error.h"
#include "qor/analytics.h"
#include "qor/categories.h"
#include "qor/report.h"

namespace bench {
namespace {

/** Numbers that qor/ has only in its tables of names: types, components of the button, subjects of its traces. */
enum Type : std::uint8_t {
    kStop,
    kLongData,
    kShortData,
    kEvent,
    kTrigger,
    kFunction,
    kSensorInfo = 8,
    kExtFunction,
    kContext,
    kAnnotation,
    kDecimationInfo,
    kWakeRequest
};
enum ButtonPart : std::uint8_t { kButton, kPellox, kAmp, kLatency, kKiru };
enum Subject : std::uint32_t {
    kFingerChanged = 17,
    kButtonChanged = 18,
    kAssetBegin = 50,
    kAssetComplete = 51,
    kResetBegin = 100,
    kResetEnd = 101,
    kResetComplete = 102,
    kResetRequest = 103,
    kTimeout = 108
};

/** The function that `Planted::SlowerFunction` makes slower: the slowest that may be around others. */
constexpr std::uint32_t kSlowerFunction = 0x2144;

/** Numbers of one device and purpose, the same with every library. */
class Chance {
public:
    Chance(std::uint64_t seed, std::uint64_t device, std::uint64_t purpose)
        : _engine(seed * 1'000'003 + device * 16 + purpose) {}

    std::uint64_t bits() { return _engine(); }
    std::uint32_t below(std::uint32_t bound) { return static_cast<std::uint32_t>(_engine() % bound); }
    bool is_one_in(std::uint32_t count) { return below(count) == 0; }
    /** A time about `usual`, now and then up to 64 times as long. */
    std::uint32_t time_about(std::uint32_t usual) {
        const std::uint32_t time = usual / 2 + below(usual) + 1;
        return is_one_in(64) ? time << below(7) : time;
    }

private:
    std::mt19937_64 _engine;
};

/** How much of `what` a device has; 0 for one without it. */
std::uint32_t planted_size(const Fleet &fleet, std::size_t device, Planted what) {
    const bool is_planted = device - fleet.first < fleet.plant.devices;
    return is_planted && fleet.plant.what == what ? fleet.plant.size : 0;
}

using Words = std::array<std::uint32_t, 8>;

/** The firmware of one device, which reports what it does until it has made enough reports. */
class Firmware {
public:
    Firmware(const Fleet &fleet, std::size_t device)
        : _wanted(fleet.reports * qor::kReportSize), _chance(fleet.seed, device, 0), _planting(fleet.seed, device, 2),
          _client(0x1'0000'0A40 + device % 5), _restarts(device % 8 == 3), _gets_slow(device % 16 == 5),
          _slowness(planted_size(fleet, device, Planted::SlowerFunction)),
          _new_events(planted_size(fleet, device, Planted::NewEvent)),
          _losses(planted_size(fleet, device, Planted::LostReports)) {
        _out.reserve(_wanted + 64 * qor::kReportSize);
        _time = 60'000'000 + _chance.below(3'600'000'000);
        _sequence = _chance.below(1'000'000);
    }

    std::vector<std::uint8_t> run() {
        describe_sensors();
        while (_out.size() < _wanted) {
            if (_restarts && _out.size() > _wanted / 2) {
                restart();
            }
            do_something();
        }
        _out.resize(_wanted);
        return std::move(_out);
    }

private:
    bool is_late() const { return _out.size() > _wanted / 3 * 2; }

    void append(std::uint64_t value, unsigned size) {
        for (unsigned byte = 0; byte < size; ++byte) {
            _out.push_back(static_cast<std::uint8_t>(value >> (8 * byte)));
        }
    }

    void report(std::uint8_t type, std::uint8_t category, std::uint32_t component, std::uint32_t event,
                const Words &words) {
        append(type | event << 8 | component << 16 | std::uint32_t{category} << 24, 4);
        append(_sequence++, 4);
        append(_time, 8);
        for (const std::uint32_t word : words) {
            append(word, 4);
        }
    }

    void report_bytes(std::uint8_t type, std::uint8_t category, std::uint32_t component, std::uint32_t event,
                      std::span<const std::uint8_t> bytes) {
        Words words{};
        std::memcpy(words.data(), bytes.data(), std::min(bytes.size(), sizeof words));
        report(type, category, component, event, words);
    }

    void after(std::uint32_t microseconds) { _time += microseconds; }

    void do_something() {
        after(_chance.time_about(2'000));
        const std::uint32_t what = _chance.below(1000);
        if (what < 640) {
            tick();
        } else if (what < 870) {
            tick_of_sensors();
        } else if (what < 950) {
            send_data();
        } else if (what < 972) {
            annotate();
        } else if (what < 985) {
            press();
        } else if (what < 995) {
            wake();
        } else if (what < 998) {
            reset_kiru();
        } else if (what < 999) {
            describe_sensors();
        } else {
            report(20, 14, 3, 12, {_chance.below(9), 7}); // of newer firmware: type and category without names
        }
        if (_chance.is_one_in(2'000)) {
            lose(1 + _chance.below(300));
        }
        if (_new_events != 0 && _planting.below(1000) < _new_events) {
            report(kEvent, qor::kSensor, 6, 7, {_planting.below(90), _planting.below(3)});
        }
        if (_losses != 0 && _planting.below(1000) < _losses) {
            lose(1 + _planting.below(300));
        }
    }

    void lose(std::uint32_t reports) {
        _sequence += reports;
        after(1'000 * reports);
    }

    /** Functions of one thread, one within another, and what the scheduler says about it. */
    void tick() {
        const std::uint32_t thread = _chance.below(6);
        const std::uint32_t depth = 1 + _chance.below(3);
        std::uint32_t inner = 0;
        for (std::uint32_t level = depth; level > 0; --level) {
            const std::uint32_t id = 0x2100 + 0x40 * thread + 4 * level + _chance.below(3);
            std::uint32_t own = _chance.time_about(20 + 11 * (id % 17));
            if (_gets_slow && id == 0x2104 && is_late()) {
                own *= 8;
            }
            if (id == kSlowerFunction) {
                own += own * _slowness / 100;
            }
            inner += own;
            after(own);
            report(kFunction, qor::kExecution, 1, 0, {id, level == 1 ? 0 : id & 3, thread, inner, level, inner + own});
        }
        if (_chance.is_one_in(4)) {
            report(kEvent, qor::kExecution, 0, _chance.below(3), {thread, _chance.below(6), _chance.below(90)});
        }
        if (_chance.is_one_in(6)) {
            after(3);
            report(kEvent, qor::kInterrupt, 0, 0, {_chance.below(30), _ticks, 0});
        }
        if (_chance.is_one_in(12)) {
            call_external();
        }
        ++_ticks;
    }

    void call_external() {
        static constexpr std::string_view kNames[] = {"filter_update", "kiru_poll", "pellox_service", "uart_drain"};
        Words words = {1 + _chance.below(3), 2, _chance.time_about(120), _ticks};
        const std::string_view name = kNames[_chance.below(4)];
        std::memcpy(&words[4], name.data(), name.size());
        after(words[2]);
        report(kExtFunction, qor::kExecution, 4, 0, words);
    }

    void tick_of_sensors() {
        const std::uint32_t sensor = _chance.below(2);
        for (std::uint32_t &axis : _axes) {
            axis += _chance.below(81) - 40;
        }
        report(kEvent, qor::kSensor, sensor, 2, {_axes[0], _axes[1], _axes[2], 0, 0, _ticks});
        if (_chance.is_one_in(6)) {
            after(30);
            report(kTrigger, qor::kSensor, sensor, 16 + _chance.below(2), {1, _chance.below(90)});
        }
        if (_chance.is_one_in(4)) {
            after(140);
            report(kEvent, qor::kVastrel, 0, 0, {_axes[0] << 8, _axes[1] << 8, _axes[2] << 8, 1});
            after(90);
            report(kEvent, qor::kVastrel, 0, 1, {_axes[0] << 4, _axes[1] << 4, _axes[2] << 4, 1});
        }
        if (_chance.is_one_in(16)) {
            report(kEvent, qor::kQuoril, 0, 1, {_chance.below(9)});
        }
    }

    /** A packet of 40 bytes in two reports, or one of 20 bytes. */
    void send_data() {
        std::array<std::uint8_t, 32> bytes{};
        if (_chance.is_one_in(3)) {
            for (const std::uint8_t offset : {std::uint8_t{0}, std::uint8_t{24}}) {
                const std::uint8_t length = offset == 0 ? 24 : 16;
                bytes = {1, 0, 40, 0, length, 0, offset, 0};
                fill(std::span(bytes).subspan(8, length));
                report_bytes(kLongData, qor::kUart, 0, 4, bytes);
                after(1);
            }
        } else {
            bytes = {2, 0};
            fill(std::span(bytes).subspan(2, 18));
            report_bytes(kShortData, _chance.is_one_in(2) ? qor::kUart : qor::kSensor, _chance.below(3), 1, bytes);
        }
    }

    void fill(std::span<std::uint8_t> bytes) {
        for (std::uint8_t &byte : bytes) {
            byte = static_cast<std::uint8_t>(_chance.below(256));
        }
    }

    void annotate() {
        static constexpr std::string_view kEntries[] = {"pickup", "putdown", "overrun"};
        Words words = {++_annotations, 0, 0, 0, _chance.below(2), _chance.below(2'000)};
        const std::string_view entry = kEntries[_chance.below(3)];
        std::memcpy(&words[2], entry.data(), entry.size());
        report(kAnnotation, qor::kSensor, _chance.below(3), 10, words);
    }

    void describe_sensors() {
        static constexpr std::string_view kNames[] = {"accel", "gyro", "compass", "pressure"};
        for (std::uint32_t sensor = 0; sensor < 4; ++sensor) {
            const std::uint32_t interval = 10'000U << sensor;
            std::array<std::uint8_t, 32> bytes{};
            const std::uint32_t numbers[] = {interval, 4 * interval, 0, 0};
            std::memcpy(bytes.data(), numbers, sizeof numbers);
            bytes[16] = 1;
            bytes[17] = static_cast<std::uint8_t>(1 + sensor % 2);
            bytes[18] = sensor == 1 ? 1 : 0;
            std::memcpy(&bytes[19], kNames[sensor].data(), kNames[sensor].size());
            report_bytes(kSensorInfo, qor::kSensor, sensor, 9, bytes);
            after(30);
            const std::uint64_t next = _time + interval;
            Words words = {static_cast<std::uint32_t>(next), static_cast<std::uint32_t>(next >> 32), interval / 2,
                           interval, 4 * interval};
            std::memcpy(&words[5], kNames[sensor].data(), kNames[sensor].size());
            report(kDecimationInfo, qor::kSensor, sensor, 9, words);
            after(900);
        }
    }

    void trace(std::uint32_t part, Subject subject, std::uint32_t argument) {
        report(kEvent, qor::kSSHB, part, 0, {subject, 3 + part, argument});
    }

    void pass_checkpoint(std::uint32_t id, std::uint32_t since) {
        report(kEvent, qor::kSSHB, kLatency, id, {id, 3, since, _presses});
    }

    void report_button(bool is_down, bool is_touched, std::uint32_t force) {
        std::array<std::uint8_t, 32> bytes = {
            0, 0, 1, is_down, is_touched, 0, static_cast<std::uint8_t>(_presses % 4 + 1)};
        std::memcpy(&bytes[15], &force, sizeof force);
        report_bytes(kShortData, qor::kSSHB, kButton, 2, bytes);
    }

    /** From the finger on the button to the finger off it. */
    void press() {
        ++_presses;
        report(kTrigger, qor::kSSHB, kButton, 16, {1, _presses});
        pass_checkpoint(0, 40);
        trace(kButton, kFingerChanged, 1);
        after(_chance.time_about(60'000));
        pass_checkpoint(2, _chance.time_about(61'000));
        report_button(true, true, 60'000 + _chance.below(20'000));
        trace(kButton, kButtonChanged, 1);
        trace(kPellox, kAssetBegin, _presses);
        after(_chance.time_about(5'000));
        pass_checkpoint(7, _chance.time_about(62'000));
        trace(kPellox, kAssetComplete, _presses);
        report_context();
        after(_chance.time_about(80'000));
        pass_checkpoint(3, _chance.time_about(142'000));
        report_button(false, true, 20'000 + _chance.below(3'000));
        report_click();
        after(_chance.time_about(40'000));
        pass_checkpoint(1, _chance.time_about(180'000));
        report(kTrigger, qor::kSSHB, kButton, 17, {1, _presses});
    }

    void report_click() {
        std::array<std::uint8_t, 32> bytes{};
        const auto now = static_cast<std::uint32_t>(_time);
        std::memcpy(&bytes[2], &now, sizeof now);
        bytes[10] = 1;
        bytes[17] = static_cast<std::uint8_t>(1 + _presses % 3);
        bytes[18] = _chance.is_one_in(2);
        report_bytes(kShortData, qor::kSSHB, kButton, 3, bytes);
    }

    void report_context() {
        static constexpr std::uint8_t kVersions[] = {3, 4, 5, 7};
        std::array<std::uint8_t, 32> bytes{};
        bytes[0] = kVersions[_presses % 4];
        for (std::uint8_t &state : std::span(bytes).subspan(2, 16)) {
            state = static_cast<std::uint8_t>(_chance.below(2));
        }
        report_bytes(kContext, qor::kSSHB, kButton, 1, bytes);
    }

    /** A request to wake the host, and mostly the event that follows it. */
    void wake() {
        const std::uint32_t reason = 1 + _chance.below(5);
        report(kWakeRequest, qor::kWake, 0, 1,
               {reason, static_cast<std::uint32_t>(_client), static_cast<std::uint32_t>(_client >> 32)});
        if (!_chance.is_one_in(10)) {
            after(_chance.time_about(600));
            report(kEvent, qor::kWake, 0, 2, {reason, 0x40 + _chance.below(4)});
        }
    }

    void reset_kiru() {
        const std::uint32_t cause = 1 + _chance.below(3);
        trace(kKiru, kTimeout, cause);
        after(400);
        trace(kKiru, kResetRequest, cause);
        after(500);
        trace(kKiru, kResetBegin, cause);
        if (!_chance.is_one_in(4)) {
            after(_chance.time_about(88'000));
            trace(kKiru, kResetEnd, cause);
            after(3'500);
            trace(kKiru, kResetComplete, cause);
        }
    }

    void restart() {
        _restarts = false;
        report(kStop, qor::kExecution, 5, 0, {});
        _time = 180'000;
        _sequence = 0;
        describe_sensors();
    }

    std::size_t _wanted; ///< in bytes
    Chance _chance;
    Chance _planting;
    std::uint64_t _client; ///< whom requests to wake are for
    bool _restarts;        ///< later
    bool _gets_slow;
    std::uint32_t _slowness;   ///< of one function, in percent
    std::uint32_t _new_events; ///< in 1000 steps
    std::uint32_t _losses;     ///< in 1000 steps
    std::vector<std::uint8_t> _out;
    std::uint64_t _time = 0;
    std::uint32_t _sequence = 0;
    std::uint32_t _ticks = 0;
    std::uint32_t _presses = 0;
    std::uint32_t _annotations = 0;
    std::uint32_t _axes[3] = {};
};

std::string name_of(std::size_t device) {
    char name[32];
    std::snprintf(name, sizeof name, "device-%04zu", device);
    return name;
}

void write_file(const std::filesystem::path &path, const std::vector<std::uint8_t> &bytes) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file) {
        throw host::Error(path.string(), "", std::generic_category().message(errno));
    }
}

} // namespace

std::vector<std::uint8_t> dump_of(const Fleet &fleet, std::size_t device) { return Firmware(fleet, device).run(); }

host::StoreContents store_of(const Fleet &fleet, std::size_t device) {
    Chance chance(fleet.seed, device, 1);
    host::StoreContents store;
    for (const std::string_view key : qor::analytics::kKeys) {
        if (chance.is_one_in(6)) {
            continue; // this device had nothing of it
        }
        if (key.find("count") != std::string_view::npos || key.ends_with(".kcpss")) {
            store.scalars.emplace(key, chance.below(2'000));
            continue;
        }
        // Values of the firmware have 16 fraction bits; most keys use none or few of them.
        const std::uint32_t step = 65536U >> (chance.is_one_in(3) ? chance.below(17) : 0);
        const std::uint32_t values = 1 + chance.below(40);
        const double share = key == kShiftedKey ? 1 + planted_size(fleet, device, Planted::ShiftedStore) / 100.0 : 1;
        host::Distribution &distribution = store.distributions[std::string(key)];
        for (std::uint32_t i = 0; i < values; ++i) {
            distribution[step * (1.0 + chance.below(400)) / 65536 * share] += 1 + chance.below(50);
        }
    }
    return store;
}

void write_fleet(const Fleet &fleet, const std::filesystem::path &folder) {
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) {
        throw host::Error(folder.string(), "", error.message());
    }
    for (std::size_t device = fleet.first; device < fleet.first + fleet.devices; ++device) {
        const std::filesystem::path path = folder / name_of(device);
        write_file(path.string() + ".bin", dump_of(fleet, device));
        host::write_new_analytics_store(path.string() + ".db", store_of(fleet, device));
    }
}

} // namespace bench
