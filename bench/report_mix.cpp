#include "bench/report_mix.h"

#include <random>

#include "qor/report.h"

namespace bench {

namespace {

class Generator {
public:
    explicit Generator(std::vector<std::uint8_t> &out) : _out(out) {}

    void next() {
        const std::uint64_t kind = below(10);
        if (kind < 4) {
            report(5, below(8), below(6), 0);
        } else if (kind < 7) {
            report(3, below(10), below(7), below(4));
        } else if (kind < 8) {
            sshb_report();
        } else if (kind < 9) {
            report(below(2) == 0 ? 1 : 2, below(10), below(7), 2);
        } else {
            other_report();
        }
    }

private:
    std::uint64_t below(std::uint64_t bound) { return _engine() % bound; }

    void append(std::uint64_t value, unsigned size) {
        for (unsigned byte = 0; byte < size; ++byte) {
            _out.push_back(static_cast<std::uint8_t>(value >> (8 * byte)));
        }
    }

    std::uint32_t number_of_random_length() {
        const std::uint64_t bits = below(33);
        return static_cast<std::uint32_t>(below(std::uint64_t{1} << bits));
    }

    void report(std::uint64_t type, std::uint64_t event, std::uint64_t component, std::uint64_t category) {
        append(type | event << 8 | component << 16 | category << 24, 4);
        append(_sequence++, 4);
        append(_time += below(80), 8);
        for (unsigned word = 0; word < 8; ++word) {
            append(number_of_random_length(), 4);
        }
    }

    /** Traces, button and click-status reports and contexts in equal shares. */
    void sshb_report() {
        constexpr std::uint64_t kVersions[] = {3, 4, 5, 7};
        const std::uint64_t kind = below(3);
        if (kind == 0) {
            report(3, below(4), below(5), 7);
            _out[_out.size() - 32] = static_cast<std::uint8_t>(below(52));
            _out[_out.size() - 31] = _out[_out.size() - 30] = _out[_out.size() - 29] = 0;
        } else if (kind == 1) {
            report(2, 2 + below(2), 0, 7);
        } else {
            report(10, 1, 0, 7);
            _out[_out.size() - 32] = static_cast<std::uint8_t>(kVersions[below(4)]);
            _out[_out.size() - 31] = 0;
        }
    }

    /** Triggers, annotations, sensor and decimation info, ext-functions, vectors, wakes, and unknown categories. */
    void other_report() {
        switch (below(8)) {
        case 0:
            return report(4, 16 + below(2), below(7), 2);
        case 1:
            return report(11, 10, below(7), 2);
        case 2:
            return report(8, 9, below(7), 2);
        case 3:
            return report(12, 9, below(7), 2);
        case 4:
            return report(9, 0, 4, 0);
        case 5:
            return report(3, below(2), 0, 4);
        case 6:
            return report(13, 1, 0, 10);
        default:
            return report(below(20), below(20), below(10), 11 + below(100));
        }
    }

    std::vector<std::uint8_t> &_out;
    std::mt19937_64 _engine{20'240'229};
    std::uint64_t _sequence = 1'000'000;
    std::uint64_t _time = 3'600'000'000;
};

} // namespace

std::vector<std::uint8_t> report_mix(std::size_t count) {
    std::vector<std::uint8_t> reports;
    reports.reserve(count * _QorProfileReport::kSize);
    Generator generator(reports);
    for (std::size_t report = 0; report < count; ++report) {
        generator.next();
    }
    return reports;
}

} // namespace bench
