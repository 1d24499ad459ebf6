#include "cli/comparison/baseline.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/recordings/content_hash.h"
#include "cli/terminal/input.h"
#include "host/error.h"
#include "host/utf8.h"
#include "qor/meanings.h"

namespace cli {
namespace {

constexpr std::string_view kMark = "QORBASE\n";
constexpr std::uint64_t kVersion = 1;
constexpr std::size_t kHashSize = 8;
constexpr std::size_t kLongest = std::size_t{1} << 30;

/** Which parts of a measure's id follow. */
constexpr std::uint64_t kHasPath = 1;
constexpr std::uint64_t kHasNumber = 2;

std::uint64_t hash_of(std::string_view bytes) {
    ContentHash hash;
    hash.add(std::as_bytes(std::span(bytes)));
    return hash.value();
}

// ---- writing

class Writer {
public:
    void number(std::uint64_t number) {
        for (; number >= 0x80; number >>= 7) {
            _bytes += static_cast<char>((number & 0x7F) | 0x80);
        }
        _bytes += static_cast<char>(number);
    }

    void text(std::string_view text) {
        number(text.size());
        _bytes += text;
    }

    template <typename Counts>
    void counts(const Counts &counts) {
        number(counts.size());
        for (const auto &[key, count] : counts) {
            number(key);
            number(count);
        }
    }

    const std::string &bytes() const { return _bytes; }

private:
    std::string _bytes;
};

void write_device(Writer &out, const SideDevice &device) {
    out.text(device.name);
    for (const std::uint64_t number : {device.recordings, device.reports, device.gaps, device.missing, device.restarts,
                                       device.firmware_time, device.wakes}) {
        out.number(number);
    }
    out.counts(device.paths);
    out.counts(device.reasons);
}

void write_measure(Writer &out, const SideMeasure &measure) {
    const MeasureId &id = measure.id;
    out.number(static_cast<std::uint64_t>(id.kind));
    out.number((id.path ? kHasPath : 0) | (id.number ? kHasNumber : 0));
    if (id.path) {
        out.number(*id.path);
    }
    if (id.number) {
        out.number(*id.number);
    }
    out.text(id.layout);
    out.text(id.text);
    out.number(measure.devices.size());
    for (const DeviceCounts &counts : measure.devices) {
        out.number(counts.device);
        out.text(counts.values.bytes());
    }
}

// ---- reading

/** Takes a baseline apart. All of its functions throw host::Error at the byte that is wrong. */
class Reader {
public:
    Reader(std::string_view bytes, const std::string &name) : _bytes(bytes), _name(name) {}

    void pass_over(std::size_t count) { _at += count; }
    bool is_at_end() const { return _at == _bytes.size(); }

    [[noreturn]] void fail(const std::string &reason) const {
        throw host::Error(_name, "byte " + std::to_string(_at), reason);
    }

    void require(bool is_right, const char *reason) const {
        if (!is_right) {
            fail(reason);
        }
    }

    std::uint64_t number() {
        std::uint64_t number = 0;
        for (unsigned shift = 0;; shift += 7) {
            require(_at < _bytes.size(), "the baseline ends too early");
            const auto byte = static_cast<unsigned char>(_bytes[_at]);
            const std::uint64_t bits = byte & 0x7FU;
            require(shift < 64 && bits << shift >> shift == bits, "a number has more than 64 bits");
            number |= bits << shift;
            ++_at;
            if (byte < 0x80) {
                return number;
            }
        }
    }

    /** How many of something follow, each of which has a byte at least. */
    std::size_t count() {
        const std::uint64_t count = number();
        require(count <= _bytes.size() - _at, "the baseline ends too early");
        return static_cast<std::size_t>(count);
    }

    std::string text() {
        const std::size_t size = count();
        std::string text(_bytes.substr(_at, size));
        _at += size;
        return text;
    }

    /** @param most_key  of the keys. @param most  of the counts. */
    template <typename Key>
    std::map<Key, std::uint64_t> counts(std::uint64_t most) {
        std::map<Key, std::uint64_t> counts;
        for (std::size_t left = count(); left != 0; --left) {
            const std::uint64_t key = number();
            require(key <= std::numeric_limits<Key>::max(), "an id is too large");
            require(counts.empty() || key > counts.rbegin()->first, "ids are not in ascending order");
            const std::uint64_t times = number();
            require(times != 0 && times <= most, "a count is not possible");
            counts.emplace_hint(counts.end(), static_cast<Key>(key), times);
        }
        return counts;
    }

private:
    std::string_view _bytes;
    const std::string &_name;
    std::size_t _at = 0;
};

SideDevice read_device(Reader &in) {
    SideDevice device;
    device.name = in.text();
    in.require(host::is_utf8(device.name), "a device's name is not UTF-8");
    for (std::uint64_t *const number : {&device.recordings, &device.reports, &device.gaps, &device.missing,
                                        &device.restarts, &device.firmware_time, &device.wakes}) {
        *number = in.number();
    }
    const bool is_possible =
        device.gaps <= device.reports && device.restarts <= device.gaps && device.wakes <= device.reports;
    in.require(is_possible, "a count is not possible");
    device.paths = in.counts<std::uint32_t>(device.reports);
    device.reasons = in.counts<std::uint64_t>(device.wakes);
    return device;
}

bool is_field(const MeasureId &id) {
    for (const qor::LayoutMeaning &row : qor::kLayoutMeanings) {
        for (const qor::Field &field : row.layout->fields) {
            if (row.layout->name == id.layout && field.name == id.text) {
                return true;
            }
        }
    }
    return false;
}

/** Whether a measure of this kind is collected as values and has the parts that such have. */
bool is_collected(const MeasureId &id) {
    switch (id.kind) {
    case MeasureKind::FunctionDuration:
    case MeasureKind::FunctionNesting:
        return !id.path && id.layout.empty() && (!id.number || id.text.empty());
    case MeasureKind::Interval:
        return id.path && !id.number && id.layout.empty() && id.text.empty();
    case MeasureKind::PayloadField:
        return id.path && !id.number && is_field(id);
    case MeasureKind::Distribution:
    case MeasureKind::Scalar:
    case MeasureKind::Latency:
        return !id.path && !id.number && id.layout.empty();
    default:
        return false;
    }
}

MeasureId read_id(Reader &in) {
    const std::uint64_t kind = in.number();
    in.require(kind < kMeasureKinds, "a measure is of an unknown kind");
    MeasureId id{.kind = static_cast<MeasureKind>(kind)};
    const std::uint64_t parts = in.number();
    in.require(parts <= (kHasPath | kHasNumber), "a measure has unknown parts");
    if ((parts & kHasPath) != 0) {
        const std::uint64_t path = in.number();
        in.require(path <= std::numeric_limits<std::uint32_t>::max(), "an id is too large");
        id.path = static_cast<std::uint32_t>(path);
    }
    if ((parts & kHasNumber) != 0) {
        id.number = in.number();
    }
    id.layout = in.text();
    id.text = in.text();
    in.require(is_collected(id), "a measure does not have the parts of its kind");
    return id;
}

/** The device of the next values or text. @param before  the one before it. */
std::uint32_t read_device_number(Reader &in, std::size_t devices, const std::optional<std::uint32_t> &before) {
    const std::uint64_t device = in.number();
    in.require(device < devices && (!before || device > *before), "a device is not there, or not in ascending order");
    return static_cast<std::uint32_t>(device);
}

bool is_single(const CountedValues &values) {
    const std::vector<CountedValue> decoded = values.decoded();
    return decoded.size() == 1 && decoded.front().count == 1;
}

SideMeasure read_measure(Reader &in, std::size_t devices) {
    SideMeasure measure{read_id(in), {}};
    const ValueForm form = form_of(measure.id).form;
    std::optional<std::uint32_t> before;
    for (std::size_t left = in.count(); left != 0; --left) {
        before = read_device_number(in, devices, before);
        std::optional<CountedValues> values = CountedValues::from_bytes(in.text(), form);
        in.require(values.has_value(), "values are damaged");
        in.require(!has_one_value(measure.id.kind) || is_single(*values), "a device has several values");
        measure.devices.push_back({*before, *std::move(values)});
    }
    in.require(!measure.devices.empty(), "a measure has no values");
    return measure;
}

void read_settings(Reader &in, Side &side) {
    for (std::size_t left = in.count(); left != 0; --left) {
        const std::string name = in.text();
        auto &texts = side.settings[name];
        in.require(texts.empty(), "a setting is there twice");
        std::optional<std::uint32_t> before;
        for (std::size_t devices = in.count(); devices != 0; --devices) {
            before = read_device_number(in, side.devices.size(), before);
            texts.emplace_back(*before, in.text());
        }
        in.require(!texts.empty(), "a setting has no text");
    }
}

Side read_side(Reader &in) {
    Side side;
    for (std::size_t left = in.count(); left != 0; --left) {
        SideDevice device = read_device(in);
        in.require(side.devices.empty() || side.devices.back().name < device.name, "devices are not in order");
        side.devices.push_back(std::move(device));
    }
    in.require(!side.devices.empty(), "the baseline has no devices");
    for (std::size_t left = in.count(); left != 0; --left) {
        SideMeasure measure = read_measure(in, side.devices.size());
        in.require(side.measures.empty() || side.measures.back().id < measure.id, "measures are not in order");
        side.measures.push_back(std::move(measure));
    }
    read_settings(in, side);
    side.not_compared = in.number();
    in.require(in.is_at_end(), "something follows the baseline");
    return side;
}

} // namespace

void write_baseline(OutputFile &file, const Side &side) {
    Writer out;
    out.number(side.devices.size());
    for (const SideDevice &device : side.devices) {
        write_device(out, device);
    }
    out.number(side.measures.size());
    for (const SideMeasure &measure : side.measures) {
        write_measure(out, measure);
    }
    out.number(side.settings.size());
    for (const auto &[name, texts] : side.settings) {
        out.text(name);
        out.number(texts.size());
        for (const auto &[device, text] : texts) {
            out.number(device);
            out.text(text);
        }
    }
    out.number(side.not_compared);
    std::string head(kMark);
    head += static_cast<char>(kVersion);
    for (std::uint64_t hash = hash_of(out.bytes()), byte = 0; byte < kHashSize; ++byte) {
        head += static_cast<char>(hash >> (8 * byte));
    }
    file.output().write(head);
    file.output().write(out.bytes());
}

Side read_baseline(const std::string &file) {
    const std::vector<std::byte> read = read_input(file, kLongest);
    const std::string_view bytes(static_cast<const char *>(static_cast<const void *>(read.data())), read.size());
    const std::string name = input_name(file);
    if (!bytes.starts_with(kMark)) {
        throw host::Error(name, "", "is not a baseline of qorstat compare");
    }
    Reader in(bytes, name);
    in.pass_over(kMark.size());
    if (const std::uint64_t version = in.number(); version != kVersion) {
        throw host::Error(name, "",
                          "is a baseline of version " + std::to_string(version) + "; this program reads version " +
                              std::to_string(kVersion));
    }
    const std::size_t start = kMark.size() + 1 + kHashSize;
    in.require(bytes.size() >= start, "the baseline ends too early");
    const auto stored = qor::load_little_endian<std::uint64_t>(read.data() + start - kHashSize);
    if (stored != hash_of(bytes.substr(start))) {
        throw host::Error(name, "", "is damaged: its checksum is another");
    }
    in.pass_over(kHashSize);
    return read_side(in);
}

} // namespace cli
