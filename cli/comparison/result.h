/** What a comparison of two sides has found. Table, JSON and page are made of it. */
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/comparison/measure.h"

namespace cli {

/** What was read of a side. */
struct SideSummary {
    std::size_t devices = 0;
    std::size_t recordings = 0;
    std::uint64_t reports = 0;
};

/** A side of a finding. */
struct SideValues {
    std::size_t devices = 0;        ///< that have the measure
    std::uint64_t count = 0;        ///< of values, of all these devices
    std::optional<double> median{}; ///< nearest rank; nothing without a value
    std::optional<double> p99{};
};

/** How far the devices of b are from those of a. */
struct Shift {
    double estimate; ///< the median of all differences of two devices' medians, b's less a's
    double low;      ///< of the 95 % confidence interval
    double high;
};

enum class FindingKind : std::uint8_t {
    Group,      ///< the sides differ
    OneDevice,  ///< one device differs from all others
    Difference, ///< the sides' recordings differ; there are too few devices to test whether that is chance
    None        ///< nothing was found; kept only when everything is wanted
};

/** A place of a distribution function. */
struct CurvePoint {
    double value;
    double share; ///< of values up to `value`, 0 to 1
};

/** A device of a finding, for drawing. */
struct DeviceValue {
    std::string device;
    bool is_of_b;
    double median;
    double distance; ///< from the mean of all other devices, 0 to 1
    bool has_moved;  ///< only of b
};

struct Finding {
    FindingKind kind = FindingKind::Group;
    MeasureId measure{};
    std::vector<AboutEntry> about{};
    std::string label{};
    std::string_view unit{};
    SideValues a{};
    SideValues b{};
    double distance = 0;                        ///< 0 to 1; of one device its own, from the mean of all others
    std::optional<double> p{};                  ///< nothing where it was not tested
    std::optional<double> q{};                  ///< after control of false discoveries
    std::optional<std::size_t> devices_moved{}; ///< of b's; nothing with less than three devices of a
    std::optional<Shift> shift{};
    std::string device{}; ///< of one device
    bool is_of_b = false; ///< that device

    /** For drawing, of the first `kMostDrawn` findings: at most `kMostPoints` of each side. */
    std::vector<CurvePoint> curve_a{};
    std::vector<CurvePoint> curve_b{};
    /** At most `kMostDevices`: where there are more, those that are farthest from all others. */
    std::vector<DeviceValue> devices{};
};

/** A text of a setting, and how many devices of a side have it. */
struct SettingText {
    std::string text; ///< UTF-8
    std::size_t devices;
};

/** A setting that most devices of b have otherwise than most of a. */
struct ChangedSetting {
    MeasureId measure;
    std::string name;
    SettingText a; ///< the most common one
    SettingText b;
    std::size_t devices_a; ///< that have the setting
    std::size_t devices_b;
};

struct ComparisonResult {
    static constexpr std::size_t kMostDrawn = 100;
    static constexpr std::size_t kMostPoints = 200;
    static constexpr std::size_t kMostDevices = 1000;

    SideSummary a{};
    SideSummary b{};
    std::uint64_t seed = 1;
    double level = 0.05;
    bool is_paired = false;         ///< both sides have the same devices
    std::size_t compared = 0;       ///< measures that devices of both sides have; settings are not counted
    std::size_t tested = 0;         ///< those of them where devices differ and are enough
    std::uint64_t not_compared = 0; ///< reports of id paths, functions and wake reasons beyond the limits
    /** Nothing when anything could be tested; else how many devices a side would need, if both had as many. */
    std::optional<std::size_t> devices_needed{};
    /** Nothing when a single difference could be seen; else how many devices a side would need for that. */
    std::optional<std::size_t> devices_for_one{};
    std::vector<Finding> findings{}; ///< the most important first
    std::vector<ChangedSetting> settings{};
};

} // namespace cli
