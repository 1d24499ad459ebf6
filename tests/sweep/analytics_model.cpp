#include "tests/sweep/analytics_model.h"

#include <cmath>
#include <cstdio>
#include <cstring>

#include "qor/analytics.h"

namespace sweep {
namespace {

constexpr char kUnknownKey[] = "com.ondre.zel.unknown";

class Model {
public:
    Model(const LeftOut &left_out, bool has_fallback_key) : _left_out(left_out), _has_fallback_key(has_fallback_key) {}

    void apply(const unsigned char *entry) {
        const unsigned version = entry[0];
        const unsigned operation = entry[1];
        const unsigned key_index = entry[2];
        if (version != qor::analytics::kVersion) {
            say("publishTBData qortbkkeys version mismatch (%#x/%#x)", version, unsigned{qor::analytics::kVersion});
            return;
        }
        const std::string key = key_of(key_index);
        say("publishTBData op=%#x '%s' (%#x)", operation, key.empty() ? "(null)" : key.c_str(), key_index);
        std::int32_t value = 0;
        std::memcpy(&value, entry + 3, sizeof value);
        perform(operation, key, value);
    }

    AnalyticsOutcome take() { return std::move(_outcome); }

private:
    template <typename... Arguments>
    void say(const char *format, Arguments... arguments) {
        char text[512];
        std::snprintf(text, sizeof text, format, arguments...);
        _outcome.lines.emplace_back(text);
    }

    bool works(const char *operation) {
        if (_left_out.operation != operation) {
            return true;
        }
        const std::uint64_t call = _calls++;
        return _left_out.strikes == host::Strikes::Once ? call != _left_out.call : call < _left_out.call;
    }

    /** Empty if there is none. */
    std::string key_of(unsigned index) {
        if (index < qor::analytics::kKeyCount) {
            return qor::analytics::kKeys[index];
        }
        say("%s: Kelmarks: %s, %s file: %s, line: %d value:%x", "", "key < kQORTbkKey_Count", "",
            "plugin/OndreQORHIDStatistics.cpp", 434, 0U);
        _has_fallback_key = _has_fallback_key || works("TvStringCreateWithCString");
        return _has_fallback_key ? kUnknownKey : "";
    }

    void perform(unsigned operation, const std::string &key, std::int32_t value) {
        auto &scalars = _outcome.contents.scalars;
        auto &distributions = _outcome.contents.distributions;
        // Rounds to single precision first; the scaling is exact.
        const double fraction = std::ldexp(static_cast<double>(static_cast<float>(value)), -16);
        const auto when = [&](const char *name, auto change) {
            if (works(name) && !key.empty()) {
                change();
            }
        };
        switch (operation) {
        case 0:
            break;
        case 1:
            when("TallybookScalarClear", [&] { scalars.erase(key); });
            break;
        case 2:
            when("TallybookScalarSet", [&] { scalars[key] = value; });
            break;
        case 3:
            when("TallybookScalarAdd", [&] { scalars[key] += value; });
            break;
        case 4:
            when("TallybookDistributionClear", [&] { distributions.erase(key); });
            break;
        case 5:
            when("TallybookDistributionSet", [&] { distributions[key] = {{fraction, 1}}; });
            break;
        default:
            for (unsigned push = 5; push < operation; ++push) {
                when("TallybookDistributionPush", [&] { ++distributions[key][fraction]; });
            }
            break;
        }
    }

    const LeftOut &_left_out;
    bool _has_fallback_key;
    std::uint64_t _calls = 0;
    AnalyticsOutcome _outcome;
};

} // namespace

AnalyticsOutcome expected_analytics(std::span<const std::byte> entries, const LeftOut &left_out,
                                    bool has_fallback_key) {
    Model model(left_out, has_fallback_key);
    for (std::size_t at = 0; at + qor::analytics::kEntrySize <= entries.size(); at += qor::analytics::kEntrySize) {
        model.apply(reinterpret_cast<const unsigned char *>(entries.data() + at));
    }
    return model.take();
}

} // namespace sweep
