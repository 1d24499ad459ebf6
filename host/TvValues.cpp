#include "host/TvValues.h"

#include <algorithm>
#include <atomic>
#include <clocale>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "host/RvAllocator.h"
#include "host/binary_encoding.h"
#include "host/fault_points.h"
#include "host/utf8.h"

namespace {

enum class Kind : TvTypeID { String = 1, Number, Boolean, Data, Array, Dictionary };

} // namespace

/** The common head of all values; the structure of each kind adds the rest. */
struct TvValue {
    explicit constexpr TvValue(Kind value_kind) : kind(value_kind) {}

    mutable std::atomic<std::uint32_t> references{1};
    const Kind kind;
    TvValue *next_dead = nullptr; ///< links values that are about to be freed, so that freeing does not recurse
};

namespace {

/** Containers inside values live in the default allocator's memory like the values themselves. */
template <typename T>
struct DefaultMemory {
    using value_type = T;

    DefaultMemory() = default;
    template <typename Other>
    DefaultMemory(const DefaultMemory<Other> &) {} // NOLINT(google-explicit-constructor): allocators convert

    T *allocate(std::size_t count) {
        if (count > std::numeric_limits<std::size_t>::max() / sizeof(T)) {
            throw std::bad_alloc();
        }
        if (void *storage = RvAllocatorGetDefault()->allocate(count * sizeof(T))) {
            return static_cast<T *>(storage);
        }
        throw std::bad_alloc();
    }
    void deallocate(T *storage, std::size_t) { RvAllocatorGetDefault()->deallocate(storage); }

    friend bool operator==(const DefaultMemory &, const DefaultMemory &) { return true; }
};

/** Followed in memory by its bytes and, for a string, by a terminating zero. */
struct BytesValue : TvValue {
    BytesValue(Kind value_kind, std::size_t value_length) : TvValue(value_kind), length(value_length) {}

    char *bytes() { return reinterpret_cast<char *>(this + 1); }
    const char *bytes() const { return reinterpret_cast<const char *>(this + 1); }
    std::string_view view() const { return {bytes(), length}; }

    const std::size_t length;
};

struct StringValue : BytesValue {
    static constexpr Kind kKind = Kind::String;
    using BytesValue::BytesValue;
};

struct DataValue : BytesValue {
    static constexpr Kind kKind = Kind::Data;
    using BytesValue::BytesValue;
};

struct NumberValue : TvValue {
    static constexpr Kind kKind = Kind::Number;
    NumberValue(std::int64_t number, int number_width) : TvValue(kKind), value(number), width(number_width) {}

    const std::int64_t value;
    const int width;
};

struct BooleanValue : TvValue {
    static constexpr Kind kKind = Kind::Boolean;
    explicit constexpr BooleanValue(bool boolean) : TvValue(kKind), value(boolean) {}

    const bool value;
};

struct ArrayValue : TvValue {
    static constexpr Kind kKind = Kind::Array;
    ArrayValue() : TvValue(kKind) {}

    std::vector<TvRef, DefaultMemory<TvRef>> values;
};

struct ByText {
    using is_transparent = void;

    static std::string_view text(std::string_view key) { return key; }
    static std::string_view text(const StringValue *key) { return key->view(); }

    template <typename A, typename B>
    bool operator()(const A &a, const B &b) const {
        return text(a) < text(b);
    }
};

struct DictionaryValue : TvValue {
    static constexpr Kind kKind = Kind::Dictionary;
    DictionaryValue() : TvValue(kKind) {}

    std::map<const StringValue *, TvRef, ByText, DefaultMemory<std::pair<const StringValue *const, TvRef>>> entries;
};

/** Booleans are not counted: they live as long as the process. */
constinit std::atomic<std::size_t> live_value_count{0};

constinit BooleanValue false_value(false);
constinit BooleanValue true_value(true);

/** The value as the structure of one kind; null for null and for any other kind. */
template <typename T>
const T *as(TvRef value) {
    return value != nullptr && value->kind == T::kKind ? static_cast<const T *>(value) : nullptr;
}

template <typename T>
T *as(TvValue *value) {
    return value != nullptr && value->kind == T::kKind ? static_cast<T *>(value) : nullptr;
}

/** Creates a value with one reference, followed by `extra` bytes; null when memory is exhausted. */
template <typename T, typename... Arguments>
T *make(std::size_t extra, Arguments... arguments) {
    if (extra > std::numeric_limits<std::size_t>::max() - sizeof(T)) {
        return nullptr;
    }
    void *storage = RvAllocatorGetDefault()->allocate(sizeof(T) + extra);
    if (storage == nullptr) {
        return nullptr;
    }
    live_value_count.fetch_add(1, std::memory_order_relaxed);
    return new (storage) T(arguments...);
}

/** Releases one reference; a value without references is added to the list of dead values. */
void drop(TvRef value, TvValue *&dead) {
    // Booleans live as long as the process.
    if (value == nullptr || value->kind == Kind::Boolean) {
        return;
    }
    // The only reference needs no atomic decrement: no one else can be counting.
    if (value->references.load(std::memory_order_acquire) == 1 ||
        value->references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        // There is no other reference to the value now, and it was allocated mutable.
        auto *last = const_cast<TvValue *>(value);
        last->next_dead = dead;
        dead = last;
    }
}

void free_storage(TvValue *value) {
    RvAllocatorGetDefault()->deallocate(value);
    live_value_count.fetch_sub(1, std::memory_order_relaxed);
}

template <typename T>
void destroy(T *value) {
    std::destroy_at(value);
    free_storage(value);
}

/** Frees a dead value and releases what it held. */
void bury(TvValue *value, TvValue *&dead) {
    if (auto *array = as<ArrayValue>(value)) {
        for (TvRef held : array->values) {
            drop(held, dead);
        }
        destroy(array);
    } else if (auto *dictionary = as<DictionaryValue>(value)) {
        for (const auto &[key, held] : dictionary->entries) {
            drop(held, dead);
            drop(key, dead);
        }
        destroy(dictionary);
    } else {
        // The structures of the other kinds have nothing to destroy.
        free_storage(value);
    }
}

bool is_valid(std::string_view text, TvStringEncoding encoding) {
    if (text.find('\0') != std::string_view::npos) {
        return false;
    }
    return encoding == kTvStringEncodingASCII ? host::is_ascii(text) : host::is_utf8(text);
}

template <typename T>
T *make_bytes(std::string_view content, std::size_t extra) {
    T *value = content.size() > std::numeric_limits<std::size_t>::max() - extra
                   ? nullptr
                   : make<T>(content.size() + extra, T::kKind, content.size());
    if (value != nullptr && !content.empty()) {
        std::memcpy(value->bytes(), content.data(), content.size());
    }
    return value;
}

StringValue *make_string(std::string_view text, TvStringEncoding encoding) {
    if (!is_valid(text, encoding)) {
        return nullptr;
    }
    StringValue *string = make_bytes<StringValue>(text, 1);
    if (string != nullptr) {
        string->bytes()[text.size()] = '\0';
    }
    return string;
}

/** Made when the library is loaded: a first use that makes it could be cut in half by a fork. */
const locale_t kCLocale = newlocale(LC_ALL_MASK, "C", nullptr);

/** Switches the calling thread to the C locale, whatever the locale of the process or the thread is. */
class CLocaleScope {
public:
    CLocaleScope() : _previous(uselocale(kCLocale)) {}
    ~CLocaleScope() { uselocale(_previous); }
    CLocaleScope(const CLocaleScope &) = delete;
    CLocaleScope &operator=(const CLocaleScope &) = delete;

private:
    locale_t _previous;
};

StringValue *make_formatted(const char *format, va_list arguments) {
    const CLocaleScope c_locale;
    char small[512];
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(small, sizeof small, format, arguments);
    StringValue *string = nullptr;
    if (length >= 0 && static_cast<std::size_t>(length) < sizeof small) {
        string = make_string({small, static_cast<std::size_t>(length)}, kTvStringEncodingUTF8);
    } else if (length >= 0) {
        std::vector<char, DefaultMemory<char>> large(static_cast<std::size_t>(length) + 1);
        if (std::vsnprintf(large.data(), large.size(), format, again) == length) {
            string = make_string({large.data(), static_cast<std::size_t>(length)}, kTvStringEncodingUTF8);
        }
    }
    va_end(again);
    return string;
}

bool equal_arrays(const ArrayValue &a, const ArrayValue &b) {
    return std::equal(a.values.begin(), a.values.end(), b.values.begin(), b.values.end(), TvEqual);
}

bool equal_dictionaries(const DictionaryValue &a, const DictionaryValue &b) {
    return std::equal(a.entries.begin(), a.entries.end(), b.entries.begin(), b.entries.end(),
                      [](const auto &one, const auto &other) {
                          return one.first->view() == other.first->view() && TvEqual(one.second, other.second);
                      });
}

/** Retains both. */
bool put(DictionaryValue *dictionary, const StringValue *key, TvRef value) {
    try {
        const auto [place, added] = dictionary->entries.try_emplace(key, value);
        TvRetain(value);
        if (added) {
            TvRetain(key);
        } else {
            TvRelease(std::exchange(place->second, value));
        }
        return true;
    } catch (const std::bad_alloc &) {
        return false;
    }
}

host::FaultPoint string_c_string_fault("TvStringCreateWithCString");
host::FaultPoint string_bytes_fault("TvStringCreateWithBytes");
host::FaultPoint string_format_fault("TvStringCreateWithFormat");
host::FaultPoint number_32_fault("TvNumberCreateSInt32");
host::FaultPoint number_64_fault("TvNumberCreateSInt64");
host::FaultPoint data_fault("TvDataCreate");
host::FaultPoint array_fault("TvArrayCreateMutable");
host::FaultPoint array_append_fault("TvArrayAppend");
host::FaultPoint dictionary_fault("TvDictionaryCreateMutable");
host::FaultPoint dictionary_set_fault("TvDictionarySetValue");
host::FaultPoint encoding_fault("TvCreateBinaryEncoding");

} // namespace

// ---- every kind

TvRef TvRetain(TvRef value) {
    if (value != nullptr && value->kind != Kind::Boolean) {
        value->references.fetch_add(1, std::memory_order_relaxed);
    }
    return value;
}

void TvRelease(TvRef value) {
    TvValue *dead = nullptr;
    drop(value, dead);
    while (dead != nullptr) {
        TvValue *next = std::exchange(dead, dead->next_dead);
        bury(next, dead);
    }
}

TvTypeID TvGetTypeID(TvRef value) { return value == nullptr ? 0 : static_cast<TvTypeID>(value->kind); }

TvTypeID TvStringGetTypeID(void) { return static_cast<TvTypeID>(Kind::String); }
TvTypeID TvNumberGetTypeID(void) { return static_cast<TvTypeID>(Kind::Number); }
TvTypeID TvBooleanGetTypeID(void) { return static_cast<TvTypeID>(Kind::Boolean); }
TvTypeID TvDataGetTypeID(void) { return static_cast<TvTypeID>(Kind::Data); }
TvTypeID TvArrayGetTypeID(void) { return static_cast<TvTypeID>(Kind::Array); }
TvTypeID TvDictionaryGetTypeID(void) { return static_cast<TvTypeID>(Kind::Dictionary); }

bool TvEqual(TvRef a, TvRef b) {
    if (a == nullptr || b == nullptr || a->kind != b->kind) {
        return false;
    }
    if (a == b) {
        return true;
    }
    switch (a->kind) {
    case Kind::String:
    case Kind::Data:
        return static_cast<const BytesValue *>(a)->view() == static_cast<const BytesValue *>(b)->view();
    case Kind::Number:
        return as<NumberValue>(a)->value == as<NumberValue>(b)->value;
    case Kind::Boolean:
        return false;
    case Kind::Array:
        return equal_arrays(*as<ArrayValue>(a), *as<ArrayValue>(b));
    case Kind::Dictionary:
        return equal_dictionaries(*as<DictionaryValue>(a), *as<DictionaryValue>(b));
    }
    return false;
}

// ---- strings

TvStringRef TvStringCreateWithCString(const char *text, TvStringEncoding encoding) {
    if (string_c_string_fault.strikes() || text == nullptr) {
        return nullptr;
    }
    return make_string(text, encoding);
}

TvStringRef TvStringCreateWithBytes(const void *bytes, size_t length, TvStringEncoding encoding) {
    if (string_bytes_fault.strikes() || (bytes == nullptr && length != 0)) {
        return nullptr;
    }
    return make_string({static_cast<const char *>(bytes), length}, encoding);
}

TvStringRef TvStringCreateWithFormat(const char *format, ...) {
    if (string_format_fault.strikes() || format == nullptr) {
        return nullptr;
    }
    va_list arguments;
    va_start(arguments, format);
    TvStringRef string = nullptr;
    try {
        string = make_formatted(format, arguments);
    } catch (const std::bad_alloc &) {
        string = nullptr;
    }
    va_end(arguments);
    return string;
}

const char *TvStringGetCString(TvStringRef string) {
    const auto *value = as<StringValue>(string);
    return value == nullptr ? nullptr : value->bytes();
}

size_t TvStringGetLength(TvStringRef string) {
    const auto *value = as<StringValue>(string);
    return value == nullptr ? 0 : value->length;
}

// ---- numbers and booleans

TvNumberRef TvNumberCreateSInt32(int32_t value) {
    return number_32_fault.strikes() ? nullptr : make<NumberValue>(0, std::int64_t{value}, 32);
}

TvNumberRef TvNumberCreateSInt64(int64_t value) {
    return number_64_fault.strikes() ? nullptr : make<NumberValue>(0, value, 64);
}

bool TvNumberGetSInt32(TvNumberRef number, int32_t *out) {
    const auto *value = as<NumberValue>(number);
    if (value == nullptr || out == nullptr || !std::in_range<std::int32_t>(value->value)) {
        return false;
    }
    *out = static_cast<std::int32_t>(value->value);
    return true;
}

bool TvNumberGetSInt64(TvNumberRef number, int64_t *out) {
    const auto *value = as<NumberValue>(number);
    if (value == nullptr || out == nullptr) {
        return false;
    }
    *out = value->value;
    return true;
}

TvBooleanRef TvBooleanGet(bool value) { return value ? &true_value : &false_value; }

bool TvBooleanGetValue(TvBooleanRef boolean) { return boolean == &true_value; }

// ---- data

TvDataRef TvDataCreate(const void *bytes, size_t length) {
    if (data_fault.strikes() || (bytes == nullptr && length != 0)) {
        return nullptr;
    }
    return make_bytes<DataValue>({static_cast<const char *>(bytes), length}, 0);
}

const uint8_t *TvDataGetBytes(TvDataRef data) {
    const auto *value = as<DataValue>(data);
    return value == nullptr ? nullptr : reinterpret_cast<const uint8_t *>(value->bytes());
}

size_t TvDataGetLength(TvDataRef data) {
    const auto *value = as<DataValue>(data);
    return value == nullptr ? 0 : value->length;
}

// ---- arrays

TvMutableArrayRef TvArrayCreateMutable(void) { return array_fault.strikes() ? nullptr : make<ArrayValue>(0); }

bool TvArrayAppend(TvMutableArrayRef array, TvRef value) {
    auto *target = as<ArrayValue>(array);
    if (array_append_fault.strikes() || target == nullptr || value == nullptr) {
        return false;
    }
    try {
        target->values.push_back(value);
    } catch (const std::bad_alloc &) {
        return false;
    }
    TvRetain(value);
    return true;
}

size_t TvArrayGetCount(TvArrayRef array) {
    const auto *value = as<ArrayValue>(array);
    return value == nullptr ? 0 : value->values.size();
}

TvRef TvArrayGetValue(TvArrayRef array, size_t index) {
    const auto *value = as<ArrayValue>(array);
    return value == nullptr || index >= value->values.size() ? nullptr : value->values[index];
}

// ---- dictionaries

TvMutableDictionaryRef TvDictionaryCreateMutable(void) {
    return dictionary_fault.strikes() ? nullptr : make<DictionaryValue>(0);
}

bool TvDictionarySetValue(TvMutableDictionaryRef dictionary, TvStringRef key, TvRef value) {
    auto *target = as<DictionaryValue>(dictionary);
    const auto *name = as<StringValue>(key);
    if (dictionary_set_fault.strikes() || target == nullptr || name == nullptr || value == nullptr) {
        return false;
    }
    return put(target, name, value);
}

size_t TvDictionaryGetCount(TvDictionaryRef dictionary) {
    const auto *value = as<DictionaryValue>(dictionary);
    return value == nullptr ? 0 : value->entries.size();
}

TvRef TvDictionaryGetValue(TvDictionaryRef dictionary, const char *key) {
    const auto *value = as<DictionaryValue>(dictionary);
    if (value == nullptr || key == nullptr) {
        return nullptr;
    }
    const auto found = value->entries.find(std::string_view(key));
    return found == value->entries.end() ? nullptr : found->second;
}

// ---- the binary encoding

TvDataRef TvCreateBinaryEncoding(TvRef value) {
    if (encoding_fault.strikes() || value == nullptr) {
        return nullptr;
    }
    try {
        const auto bytes = host::encode_binary_encoding(value);
        return bytes ? TvDataCreate(bytes->data(), bytes->size()) : nullptr;
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

// ---- the host's own operations

namespace host {

bool is_string_text(std::string_view text) { return is_valid(text, kTvStringEncodingUTF8); }

void for_each_entry(TvDictionaryRef dictionary, const std::function<void(std::string_view key, TvRef value)> &visit) {
    if (const auto *value = as<DictionaryValue>(dictionary)) {
        for (const auto &[key, held] : value->entries) {
            visit(key->view(), held);
        }
    }
}

std::size_t live_values() { return live_value_count.load(std::memory_order_relaxed); }

int number_width(TvNumberRef number) {
    const auto *value = as<NumberValue>(number);
    return value == nullptr ? 0 : value->width;
}

bool set_value(TvMutableDictionaryRef dictionary, std::string_view key, platform::OwnedValue value) {
    auto *target = as<DictionaryValue>(dictionary);
    if (target == nullptr || !value) {
        return false;
    }
    const platform::OwnedValue name(make_string(key, kTvStringEncodingUTF8));
    return name && put(target, as<StringValue>(name.get()), value.get());
}

} // namespace host
