// Feeds any batches of analytics entries to the plug-in's callback: the store and the log equal those of an independent
// model.

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/input.h"
#include "host/RvLog.h"
#include "host/RvQueue.h"
#include "host/TallybookStore.h"
#include "host/device/played_qor.h"
#include "plugin/OndreQORHIDStatistics.h"
#include "qor/analytics.h"

namespace {

using fuzz::Input;
using fuzz::require;

/** An independent model of the entries' effects. */
class Model {
public:
    void apply(const std::vector<std::uint8_t> &batch) {
        for (std::size_t at = 0; at + 7 <= batch.size(); at += 7) {
            apply_entry(&batch[at]);
        }
    }

    const host::StoreContents &contents() const { return _contents; }
    const std::vector<std::string> &lines() const { return _lines; }

private:
    /** A number as C's "%#x" writes it: zero has no prefix. */
    static std::string hex(std::uint8_t number) {
        constexpr std::string_view kDigits = "0123456789abcdef";
        std::string text = number == 0 ? "" : "0x";
        if (number >= 16) {
            text += kDigits[number / 16];
        }
        return text + kDigits[number % 16];
    }

    /** A value in 65536ths, rounded to the 24 significant bits of single precision, ties to even. */
    static double distribution_value(std::int64_t sixty_fives) {
        const bool is_negative = sixty_fives < 0;
        auto magnitude = static_cast<std::uint64_t>(is_negative ? -sixty_fives : sixty_fives);
        const int excess = std::max(0, static_cast<int>(std::bit_width(magnitude)) - 24);
        const std::uint64_t lost = magnitude & ((std::uint64_t{1} << excess) - 1);
        const std::uint64_t half = excess == 0 ? 1 : std::uint64_t{1} << (excess - 1);
        magnitude >>= excess;
        magnitude += (lost > half || (lost == half && magnitude % 2 == 1)) ? 1 : 0;
        const double scaled = std::ldexp(static_cast<double>(magnitude), excess - 16);
        return is_negative ? -scaled : scaled;
    }

    void apply_entry(const std::uint8_t *entry) {
        if (entry[0] != 58) {
            _lines.push_back("publishTBData qortbkkeys version mismatch (" + hex(entry[0]) + "/0x3a)");
            return;
        }
        const std::string key = entry[2] < 58 ? qor::analytics::kKeys[entry[2]] : "com.ondre.zel.unknown";
        if (entry[2] >= 58) {
            _lines.emplace_back(": Kelmarks: key < kQORTbkKey_Count,  file: plugin/OndreQORHIDStatistics.cpp, "
                                "line: 434 value:0");
        }
        _lines.push_back("publishTBData op=" + hex(entry[1]) + " '" + key + "' (" + hex(entry[2]) + ")");
        std::int64_t value = entry[3] + 256 * (entry[4] + 256 * (entry[5] + std::int64_t{256} * entry[6]));
        if (value > std::numeric_limits<std::int32_t>::max()) {
            value -= std::int64_t{1} << 32;
        }
        perform(entry[1], key, value);
    }

    void perform(unsigned operation, const std::string &key, std::int64_t value) {
        if (operation == 1) {
            _contents.scalars.erase(key);
        } else if (operation == 2) {
            _contents.scalars[key] = value;
        } else if (operation == 3) {
            _contents.scalars[key] += value; // an input is too short to overflow 64 bits
        } else if (operation == 4) {
            _contents.distributions.erase(key);
        } else if (operation == 5) {
            _contents.distributions[key] = {{distribution_value(value), 1}};
        } else if (operation > 5) {
            _contents.distributions[key][distribution_value(value)] += operation - 5;
        }
    }

    host::StoreContents _contents;
    std::vector<std::string> _lines;
};

/** The plug-in with one service that delivers analytics. Created once; inputs differ in their batches only. */
struct Hosted {
    Hosted() {
        queue.run([this] {
            plug_in->open(nullptr, 0);
            plug_in->scheduleWithDispatchQueue(queue.handle());
            const RvHIDService service = qor.tallybook_service({});
            plug_in->registerService(&service);
        });
        require(qor.device->has_callback(), "the callback is installed");
    }

    host::SerialQueue queue;
    host::PlayedQor qor;
    OndreQORHIDStatistics *plug_in = OndreQORHIDStatistics::alloc(RvAllocatorGetDefault());
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static auto &hosted = *new Hosted;
    static auto &log = *new host::LogRecorder;
    host::clear_store();
    log.clear();

    Model model;
    Input input(data, size);
    // Runs on the queue itself, since waking its thread takes longer than a batch.
    hosted.queue.run([&] {
        while (!input.is_empty()) {
            const std::vector<std::uint8_t> batch = input.bytes(input.byte());
            require(hosted.qor.device->deliver_batch(std::as_bytes(std::span(batch))), "a batch is delivered");
            model.apply(batch);
        }
    });

    require(host::store_contents() == model.contents(), "the store equals the model's");
    require(log.lines() == model.lines(), "the log equals the model's");
    return 0;
}
