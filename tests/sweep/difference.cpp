#include "tests/sweep/difference.h"

#include <algorithm>
#include <cstring>

#include "host/TvValues.h"
#include "host/state_records.h"

namespace sweep {
namespace {

std::string text_of(TvRef value) {
    std::int64_t number = 0;
    if (TvNumberGetSInt64(value, &number)) {
        return std::to_string(number);
    }
    const char *text = TvStringGetCString(value);
    return text != nullptr ? text : "(a whole value)";
}

class PayloadComparison {
public:
    explicit PayloadComparison(Differences &differences) : _differences(differences) {}

    void compare(TvRef before, TvRef after, const std::string &where) {
        if (TvGetTypeID(before) == TvDictionaryGetTypeID() && TvGetTypeID(after) == TvDictionaryGetTypeID()) {
            compare_dictionaries(before, after, where);
        } else if (TvGetTypeID(before) == TvArrayGetTypeID() && TvGetTypeID(after) == TvArrayGetTypeID()) {
            compare_sequences(elements(before), elements(after), where);
        } else if (!TvEqual(before, after)) {
            add({Difference::Changed, where, text_of(before), text_of(after)});
        }
    }

private:
    void add(Difference difference) { _differences.push_back(std::move(difference)); }

    static std::vector<TvRef> elements(TvArrayRef array) {
        std::vector<TvRef> all(TvArrayGetCount(array));
        for (std::size_t i = 0; i < all.size(); ++i) {
            all[i] = TvArrayGetValue(array, i);
        }
        return all;
    }

    /** A shorter list has lost some elements; the others keep their order. */
    void compare_sequences(const std::vector<TvRef> &before, const std::vector<TvRef> &after,
                           const std::string &where) {
        std::size_t next = 0;
        for (std::size_t i = 0; i < before.size(); ++i) {
            const std::string place = where + "/" + std::to_string(i);
            if (before.size() == after.size()) {
                compare(before[i], after[i], place);
                next = i + 1;
            } else if (next < after.size() && TvEqual(before[i], after[next])) {
                ++next;
            } else {
                add({Difference::Lost, place, text_of(before[i]), {}});
            }
        }
        for (; next < after.size(); ++next) {
            add({Difference::Gained, where + "/" + std::to_string(next), {}, text_of(after[next])});
        }
    }

    static bool is_numbered_extra(std::string_view key) { return key.substr(0, 5) == "extra"; }

    /** The extra lines of a sensor are numbered consecutively, so a lost line renumbers those after it. */
    static std::vector<TvRef> extras(TvDictionaryRef dictionary) {
        std::vector<TvRef> lines;
        host::for_each_entry(dictionary, [&](std::string_view key, TvRef) {
            if (is_numbered_extra(key)) {
                lines.push_back(nullptr);
            }
        });
        std::vector<TvRef> found;
        for (std::size_t number = 0; found.size() < lines.size() && number < 1000; ++number) {
            if (TvRef line = TvDictionaryGetValue(dictionary, ("extra" + std::to_string(number)).c_str())) {
                found.push_back(line);
            }
        }
        return found;
    }

    void compare_dictionaries(TvDictionaryRef before, TvDictionaryRef after, const std::string &where) {
        host::for_each_entry(before, [&](std::string_view key, TvRef value) {
            if (is_numbered_extra(key)) {
                return;
            }
            const std::string name(key);
            const std::string place = where + "/" + name;
            if (TvRef now = TvDictionaryGetValue(after, name.c_str())) {
                compare(value, now, place);
            } else {
                add({Difference::Lost, place, text_of(value), {}});
            }
        });
        host::for_each_entry(after, [&](std::string_view key, TvRef value) {
            if (!is_numbered_extra(key) && TvDictionaryGetValue(before, std::string(key).c_str()) == nullptr) {
                add({Difference::Gained, where + "/" + std::string(key), {}, text_of(value)});
            }
        });
        compare_sequences(extras(before), extras(after), where + "/extra");
    }

    Differences &_differences;
};

void compare_record(const std::string &title, const host::RecordBytes &before, const host::RecordBytes &after,
                    Differences &differences) {
    const auto old_record = host::parse_records(before, "undisturbed");
    const auto new_record = host::parse_records(after, "seen");
    PayloadComparison(differences).compare(old_record.at(0).payload.get(), new_record.at(0).payload.get(), title);
}

/** Records of one title: common records at the start and at the end are equal; the rest is paired in order. */
void compare_equally_titled(const std::string &title, const std::vector<host::RecordBytes> &before,
                            const std::vector<host::RecordBytes> &after, Differences &differences) {
    std::size_t begin = 0;
    const std::size_t shorter = std::min(before.size(), after.size());
    while (begin < shorter && before[begin] == after[begin]) {
        ++begin;
    }
    std::size_t end = 0;
    while (begin + end < shorter && before[before.size() - 1 - end] == after[after.size() - 1 - end]) {
        ++end;
    }
    std::size_t next = begin;
    for (std::size_t i = begin; i < before.size() - end; ++i) {
        if (next < after.size() - end) {
            compare_record(title, before[i], after[next++], differences);
        } else {
            differences.push_back({Difference::Lost, title});
        }
    }
    for (; next < after.size() - end; ++next) {
        differences.push_back({Difference::Gained, title});
    }
}

const std::vector<host::RecordBytes> &of_title(const Records &records, const std::string &title) {
    static const std::vector<host::RecordBytes> none;
    const auto found = records.find(title);
    return found == records.end() ? none : found->second;
}

constexpr std::size_t kTitleOffset = 136;

} // namespace

void compare(const Facts &undisturbed, const Facts &seen, Differences &differences) {
    for (const auto &[name, value] : undisturbed) {
        const auto found = seen.find(name);
        if (found == seen.end()) {
            differences.push_back({Difference::Lost, name, value, {}});
        } else if (found->second != value) {
            differences.push_back({Difference::Changed, name, value, found->second});
        }
    }
    for (const auto &[name, value] : seen) {
        if (!undisturbed.contains(name)) {
            differences.push_back({Difference::Gained, name, {}, value});
        }
    }
}

Records by_title(std::vector<host::RecordBytes> records) {
    Records sorted;
    for (host::RecordBytes &record : records) {
        const char *title = reinterpret_cast<const char *>(record.data()) + kTitleOffset;
        sorted[std::string(title, ::strnlen(title, 64))].push_back(std::move(record));
    }
    return sorted;
}

void compare(const Records &undisturbed, const Records &seen, Differences &differences) {
    for (const auto &[title, records] : undisturbed) {
        compare_equally_titled(title, records, of_title(seen, title), differences);
    }
    for (const auto &[title, records] : seen) {
        if (!undisturbed.contains(title)) {
            differences.push_back({Difference::Gained, title});
        }
    }
}

void compare_presence(const Records &undisturbed, const Records &seen, Differences &differences) {
    for (const auto &[title, records] : undisturbed) {
        const auto &now = of_title(seen, title);
        for (const host::RecordBytes &record : records) {
            if (std::find(now.begin(), now.end(), record) == now.end()) {
                differences.push_back({Difference::Lost, title});
            }
        }
    }
}

std::string to_string(const Difference &difference) {
    switch (difference.kind) {
    case Difference::Lost:
        return "lost: " + difference.where;
    case Difference::Changed:
        return "changed: " + difference.where + " from \"" + difference.before + "\" to \"" + difference.after + "\"";
    default:
        return "gained: " + difference.where + " \"" + difference.after + "\"";
    }
}

} // namespace sweep
