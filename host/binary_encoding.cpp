#include "host/binary_encoding.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <string_view>
#include <utility>

#include <cbor.h>

#include "host/TvValues.h"
#include "host/error.h"

namespace host {
namespace {

/** Marks data as CBOR and has no other meaning (RFC 8949, section 3.4.6). */
constexpr std::uint64_t kSelfDescribedTag = 55799;

/** The maximum nesting of arrays and dictionaries. */
constexpr int kMaxDepth = 64;

// ---- writing

/** Encodes a tree of values; `ok` is false when it is nested too deeply. */
class Encoder {
public:
    void write_tag(std::uint64_t tag) { write_head(cbor_encode_tag, tag); }
    void write(TvRef value, int depth);

    bool ok() const { return _ok; }
    const std::vector<unsigned char> &bytes() const { return _bytes; }

private:
    template <typename Encode, typename Argument>
    void write_head(Encode encode, Argument argument) {
        constexpr std::size_t kLongestHead = 9;
        std::array<unsigned char, kLongestHead> head;
        const std::size_t size = encode(argument, head.data(), head.size());
        _bytes.insert(_bytes.end(), head.begin(), head.begin() + static_cast<std::ptrdiff_t>(size));
    }

    void write_number(TvNumberRef number);
    void write_text(std::string_view text);
    void write_data(TvDataRef data);
    void write_array(TvArrayRef array, int depth);
    void write_dictionary(TvDictionaryRef dictionary, int depth);

    std::vector<unsigned char> _bytes;
    bool _ok = true;
};

void Encoder::write_number(TvNumberRef number) {
    std::int64_t value = 0;
    TvNumberGetSInt64(number, &value);
    if (value >= 0) {
        write_head(cbor_encode_uint, static_cast<std::uint64_t>(value));
    } else {
        // A negative number n is encoded as -1 - n, which is its bitwise complement.
        write_head(cbor_encode_negint, ~static_cast<std::uint64_t>(value));
    }
}

void Encoder::write_text(std::string_view text) {
    write_head(cbor_encode_string_start, text.size());
    _bytes.insert(_bytes.end(), text.begin(), text.end());
}

void Encoder::write_data(TvDataRef data) {
    const std::uint8_t *content = TvDataGetBytes(data);
    write_head(cbor_encode_bytestring_start, TvDataGetLength(data));
    _bytes.insert(_bytes.end(), content, content + TvDataGetLength(data));
}

void Encoder::write_array(TvArrayRef array, int depth) {
    const std::size_t count = TvArrayGetCount(array);
    write_head(cbor_encode_array_start, count);
    for (std::size_t index = 0; index < count; ++index) {
        write(TvArrayGetValue(array, index), depth);
    }
}

void Encoder::write_dictionary(TvDictionaryRef dictionary, int depth) {
    std::vector<std::pair<std::string_view, TvRef>> entries;
    entries.reserve(TvDictionaryGetCount(dictionary));
    for_each_entry(dictionary, [&](std::string_view key, TvRef value) { entries.emplace_back(key, value); });
    // The order is that of the encoded keys. They begin with their length, so shorter ones come first; keys of equal
    // length are already in order.
    std::stable_sort(entries.begin(), entries.end(),
                     [](const auto &a, const auto &b) { return a.first.size() < b.first.size(); });

    write_head(cbor_encode_map_start, entries.size());
    for (const auto &[key, value] : entries) {
        write_text(key);
        write(value, depth);
    }
}

void Encoder::write(TvRef value, int depth) {
    const TvTypeID type = TvGetTypeID(value);
    if (type == TvNumberGetTypeID()) {
        write_number(value);
    } else if (type == TvStringGetTypeID()) {
        write_text({TvStringGetCString(value), TvStringGetLength(value)});
    } else if (type == TvDataGetTypeID()) {
        write_data(value);
    } else if (type == TvBooleanGetTypeID()) {
        write_head(cbor_encode_bool, TvBooleanGetValue(value));
    } else if (depth == kMaxDepth) {
        _ok = false;
    } else if (type == TvArrayGetTypeID()) {
        write_array(value, depth + 1);
    } else {
        write_dictionary(value, depth + 1);
    }
}

// ---- reading

enum class Form { Unsigned, Negative, Bytes, Text, Array, Map, Tag, Boolean, Refused };

/** The head of an item, and the content of a byte or text string. */
struct Item {
    Form form = Form::Refused;
    std::uint64_t argument = 0;
    std::string_view content;
    const char *refusal = "an unknown item";
};

template <Form form, typename Argument>
void take_argument(void *item, Argument argument) {
    *static_cast<Item *>(item) = Item{form, static_cast<std::uint64_t>(argument), {}, ""};
}

template <Form form>
void take_content(void *item, cbor_data content, std::size_t length) {
    *static_cast<Item *>(item) = Item{form, length, {reinterpret_cast<const char *>(content), length}, ""};
}

void refuse(void *item, const char *refusal) { *static_cast<Item *>(item) = Item{Form::Refused, 0, {}, refusal}; }

void refuse_indefinite_length(void *item) { refuse(item, "an item of indefinite length"); }

template <typename Number>
void refuse_floating_point(void *item, Number) {
    refuse(item, "a floating-point number");
}

cbor_callbacks item_callbacks() {
    cbor_callbacks take{};
    take.uint8 = take_argument<Form::Unsigned, std::uint8_t>;
    take.uint16 = take_argument<Form::Unsigned, std::uint16_t>;
    take.uint32 = take_argument<Form::Unsigned, std::uint32_t>;
    take.uint64 = take_argument<Form::Unsigned, std::uint64_t>;
    take.negint8 = take_argument<Form::Negative, std::uint8_t>;
    take.negint16 = take_argument<Form::Negative, std::uint16_t>;
    take.negint32 = take_argument<Form::Negative, std::uint32_t>;
    take.negint64 = take_argument<Form::Negative, std::uint64_t>;
    take.byte_string = take_content<Form::Bytes>;
    take.string = take_content<Form::Text>;
    take.array_start = take_argument<Form::Array, std::size_t>;
    take.map_start = take_argument<Form::Map, std::size_t>;
    take.tag = take_argument<Form::Tag, std::uint64_t>;
    take.boolean = take_argument<Form::Boolean, bool>;
    take.byte_string_start = refuse_indefinite_length;
    take.string_start = refuse_indefinite_length;
    take.indef_array_start = refuse_indefinite_length;
    take.indef_map_start = refuse_indefinite_length;
    take.indef_break = [](void *item) { refuse(item, "a break code"); };
    take.float2 = refuse_floating_point<float>;
    take.float4 = refuse_floating_point<float>;
    take.float8 = refuse_floating_point<double>;
    take.null = [](void *item) { refuse(item, "a null"); };
    take.undefined = [](void *item) { refuse(item, "an undefined value"); };
    return take;
}

class Decoder {
public:
    Decoder(std::span<const std::byte> bytes, const std::string &file, std::size_t base)
        : _rest(bytes), _size(bytes.size()), _file(file), _base(base) {}

    platform::OwnedValue read_all() {
        skip_self_described_tag();
        platform::OwnedValue value = read_value(0);
        if (!_rest.empty()) {
            fail(position(), std::to_string(_rest.size()) + " bytes follow the value");
        }
        return value;
    }

private:
    std::size_t position() const { return _size - _rest.size(); }

    [[noreturn]] void fail(std::size_t at, const std::string &reason) const {
        throw Error(_file, "byte " + std::to_string(_base + at), reason);
    }

    /** Returns `value`, which was created for the item at `at`; fails when that ran out of memory. */
    template <typename Value>
    Value require_memory(std::size_t at, Value value) const {
        if (!value) {
            fail(at, "out of memory");
        }
        return value;
    }

    Item read_item();
    void skip_self_described_tag();
    platform::OwnedValue read_value(int depth);
    platform::OwnedValue read_number(std::size_t at, const Item &item);
    platform::OwnedValue make_text(std::size_t at, const Item &item);
    platform::OwnedValue read_array(std::size_t at, std::uint64_t count, int depth);
    platform::OwnedValue read_map(std::size_t at, std::uint64_t count, int depth);

    std::span<const std::byte> _rest;
    std::size_t _size;
    const std::string &_file;
    std::size_t _base;
};

/** Consumes the next head, with the content of a string. */
Item Decoder::read_item() {
    static const cbor_callbacks take = item_callbacks();
    Item item;
    const cbor_decoder_result result =
        cbor_stream_decode(reinterpret_cast<cbor_data>(_rest.data()), _rest.size(), &take, &item);
    if (result.status == CBOR_DECODER_NEDATA) {
        fail(position(), "the item is cut short: only " + std::to_string(_rest.size()) + " bytes remain");
    }
    if (result.status != CBOR_DECODER_FINISHED) {
        fail(position(), "not a CBOR item");
    }
    if (item.form == Form::Refused) {
        fail(position(), std::string(item.refusal) + " is not supported");
    }
    _rest = _rest.subspan(result.read);
    return item;
}

void Decoder::skip_self_described_tag() {
    const std::size_t at = position();
    const auto start = _rest;
    const Item item = read_item();
    if (item.form != Form::Tag) {
        _rest = start;
    } else if (item.argument != kSelfDescribedTag) {
        fail(at, "a tag other than the self-described one");
    }
}

platform::OwnedValue Decoder::read_value(int depth) {
    const std::size_t at = position();
    const Item item = read_item();
    switch (item.form) {
    case Form::Unsigned:
    case Form::Negative:
        return read_number(at, item);
    case Form::Bytes:
        return require_memory(at, platform::OwnedValue(TvDataCreate(item.content.data(), item.content.size())));
    case Form::Text:
        return make_text(at, item);
    case Form::Boolean:
        return platform::OwnedValue(TvRetain(TvBooleanGet(item.argument != 0)));
    case Form::Array:
    case Form::Map:
        if (depth == kMaxDepth) {
            fail(at, "nested deeper than " + std::to_string(kMaxDepth));
        }
        return item.form == Form::Array ? read_array(at, item.argument, depth + 1)
                                        : read_map(at, item.argument, depth + 1);
    case Form::Tag:
    case Form::Refused:
        break;
    }
    fail(at, "a tag inside the value");
}

platform::OwnedValue Decoder::read_number(std::size_t at, const Item &item) {
    if (item.argument > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
        fail(at, "an integer that 64 signed bits cannot hold");
    }
    const auto argument = static_cast<std::int64_t>(item.argument);
    const std::int64_t number = item.form == Form::Unsigned ? argument : -1 - argument;
    return require_memory(at, platform::OwnedValue(TvNumberCreateSInt64(number)));
}

platform::OwnedValue Decoder::make_text(std::size_t at, const Item &item) {
    platform::OwnedValue text(TvStringCreateWithBytes(item.content.data(), item.content.size(), kTvStringEncodingUTF8));
    if (!text) {
        fail(at, "text that is not well-formed UTF-8 or contains a zero byte");
    }
    return text;
}

platform::OwnedValue Decoder::read_array(std::size_t at, std::uint64_t count, int depth) {
    if (count > _rest.size()) {
        fail(at, "an array of " + std::to_string(count) + " values in " + std::to_string(_rest.size()) + " bytes");
    }
    platform::OwnedMutableValue array = require_memory(at, platform::OwnedMutableValue(TvArrayCreateMutable()));
    for (std::uint64_t index = 0; index < count; ++index) {
        const platform::OwnedValue value = read_value(depth);
        require_memory(at, TvArrayAppend(array.get(), value.get()));
    }
    return platform::OwnedValue(array.detach());
}

platform::OwnedValue Decoder::read_map(std::size_t at, std::uint64_t count, int depth) {
    // Each entry takes at least two bytes.
    if (count > _rest.size() / 2) {
        fail(at, "a map of " + std::to_string(count) + " entries in " + std::to_string(_rest.size()) + " bytes");
    }
    platform::OwnedMutableValue map = require_memory(at, platform::OwnedMutableValue(TvDictionaryCreateMutable()));
    for (std::uint64_t index = 0; index < count; ++index) {
        const std::size_t key_at = position();
        const Item item = read_item();
        if (item.form != Form::Text) {
            fail(key_at, "a key that is not text");
        }
        const platform::OwnedValue key = make_text(key_at, item);
        if (TvDictionaryGetValue(map.get(), TvStringGetCString(key.get())) != nullptr) {
            fail(key_at, "a duplicate key in a map");
        }
        const platform::OwnedValue value = read_value(depth);
        require_memory(at, TvDictionarySetValue(map.get(), key.get(), value.get()));
    }
    return platform::OwnedValue(map.detach());
}

} // namespace

std::optional<std::vector<unsigned char>> encode_binary_encoding(TvRef value) {
    Encoder encoder;
    encoder.write_tag(kSelfDescribedTag);
    encoder.write(value, 0);
    return encoder.ok() ? std::optional(encoder.bytes()) : std::nullopt;
}

platform::OwnedValue decode_binary_encoding(std::span<const std::byte> bytes, const std::string &file,
                                            std::size_t base) {
    return Decoder(bytes, file, base).read_all();
}

} // namespace host
