#include "tests/cli/reports/plain_forms.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <ctime>
#include <iomanip>
#include <map>
#include <sstream>
#include <vector>

#include <nlohmann/json.hpp>

#include "decoder/name_tables.h"
#include "decoder/payload_choice.h"
#include "tests/decoder/oracle.h"

namespace plain {
namespace {

using qor::How;

/** One field of a payload, read. */
struct Value {
    std::string key; ///< told apart from equal ones before it
    std::string name;
    How how;
    std::uint64_t number = 0;
    double real = 0;
    std::string text; ///< characters, bytes, or the name of a subject
};

std::vector<Value> values_of(const _QorProfileReport &report) {
    std::vector<Value> values;
    std::map<std::string_view, int> seen;
    for (const qor::Layout *layout : decoder::kPayloads[decoder::payload_index(report)]) {
        for (const qor::Field &row : layout->fields) {
            Value value{std::string(row.name), std::string(row.name), row.how, 0, 0, ""};
            if (const int count = ++seen[row.name]; count > 1) {
                value.key += "_" + std::to_string(count);
            }
            std::string bytes(report.bytes + row.offset, report.bytes + row.offset + row.size);
            for (std::size_t i = std::min<std::size_t>(bytes.size(), 8); i > 0; --i) {
                value.number = value.number << 8 | static_cast<unsigned char>(bytes[i - 1]);
            }
            if (row.how == How::Constant) {
                value.number = row.parameter;
            } else if (row.how == How::FixedPoint) {
                value.real = static_cast<std::int32_t>(value.number) / static_cast<double>(1 << row.parameter);
            } else if (row.how == How::Text) {
                value.text = bytes.substr(0, bytes.find('\0'));
            } else if (row.how == How::Subject) {
                value.text = oracle::sshb_trace_name(report.component_id(), static_cast<std::uint32_t>(value.number));
            } else if (row.how == How::CountedBytes) {
                const int count = report.bytes[row.parameter] + 256 * report.bytes[row.parameter + 1];
                value.text = bytes.substr(0, static_cast<std::size_t>(count));
            } else if (row.how == How::Bytes) {
                value.text = bytes;
            }
            values.push_back(value);
        }
    }
    return values;
}

bool is_utf8(const std::string &text) {
    try {
        return !nlohmann::json(text).dump().empty();
    } catch (const nlohmann::json::exception &) {
        return false;
    }
}

std::string hex_digits(const std::string &bytes) {
    std::ostringstream text;
    for (const char byte : bytes) {
        text << std::hex << std::setw(2) << std::setfill('0') << unsigned{static_cast<unsigned char>(byte)};
    }
    return text.str();
}

/** With every control character as an escape. */
std::string json_string(const std::string &text) {
    std::string inside;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const bool is_high_control = byte == 0xC2 && static_cast<unsigned char>(text[i + 1]) < 0xA0;
        if (byte < 0x20 || byte == 0x7F || is_high_control) {
            i += is_high_control ? 1 : 0;
            inside += "\\u00" + hex_digits(text.substr(i, 1));
        } else {
            inside += byte == '"' || byte == '\\' ? "\\" : "";
            inside += text[i];
        }
    }
    return "\"" + inside + "\"";
}

/** The shortest text that reads back, as the standard library defines it. */
std::string real_text(double real) {
    char text[64];
    return std::string(text, std::to_chars(text, text + sizeof text, real).ptr);
}

std::string payload(const _QorProfileReport &report, const std::vector<Value> &values, bool has_big_numbers) {
    if (values.empty()) {
        return "{\"raw\":\"" + hex_digits({report.bytes + 16, report.bytes + 48}) + "\"}";
    }
    std::ostringstream object;
    const char *before = "{";
    for (const Value &value : values) {
        const bool is_raw_text = value.how == How::Text && !is_utf8(value.text);
        object << before << "\"" << value.key << (is_raw_text ? "_hex" : "") << "\":";
        before = ",";
        if (value.how == How::Bytes || value.how == How::CountedBytes || is_raw_text) {
            object << "\"" << hex_digits(value.text) << "\"";
        } else if (value.how == How::Text || value.how == How::Subject) {
            object << json_string(value.text);
        } else if (value.how == How::FixedPoint) {
            object << real_text(value.real);
        } else if (!has_big_numbers && value.number > 9'007'199'254'740'992) {
            object << "\"" << value.number << "\"";
        } else {
            object << value.number;
        }
    }
    object << "}";
    return object.str();
}

std::string time_text(const char *format, const std::tm &time) {
    std::ostringstream text;
    text << std::put_time(&time, format);
    return text.str();
}

std::string wall_time(const _QorProfileReport &report, const decoder::time_sync &sync) {
    const std::uint64_t microseconds = (report.timestamp() * 1000 - sync.qor + sync.calendar) / 1000;
    const auto second = static_cast<std::time_t>(microseconds / 1'000'000);
    std::tm time{};
    localtime_r(&second, &time);
    std::string zone = time_text("%z", time);
    zone.insert(3, ":");
    if (time.tm_gmtoff % 60 != 0) {
        gmtime_r(&second, &time);
        zone = "Z";
    }
    std::ostringstream text;
    text << time_text("%Y-%m-%dT%H:%M:%S", time) << "." << std::setw(6) << std::setfill('0') << microseconds % 1'000'000
         << zone;
    return text.str();
}

struct Names {
    std::string category, component, event, type;
};

Names names_of(const _QorProfileReport &report) {
    const std::uint8_t category = report.category_id();
    const std::uint8_t component = report.component_id();
    return {std::string(decoder::category_name(category)), std::string(decoder::component_name(category, component)),
            std::string(decoder::event_name(category, component, report.event_id())),
            std::string(decoder::type_name(report.type_id()))};
}

/** An event up to its arguments. */
std::string event_start(const std::string &phase, const std::string &quoted_name, std::uint64_t time,
                        const std::string &between, std::uint64_t process, std::uint64_t thread) {
    std::ostringstream text;
    text << ",\n{\"ph\":\"" << phase << "\",\"name\":" << quoted_name << ",\"ts\":" << time << between
         << ",\"pid\":" << process << ",\"tid\":" << thread << ",\"args\":";
    return text.str();
}

const Value *find(const std::vector<Value> &values, const std::string &key) {
    const auto found = std::find_if(values.begin(), values.end(), [&](const Value &value) { return value.key == key; });
    return found != values.end() ? &*found : nullptr;
}

std::string slice(const _QorProfileReport &report, const std::vector<Value> &values) {
    const Value *function = find(values, "function");
    std::string name = "function " + std::to_string(report.type_id() == 5 ? find(values, "function-id")->number : 0);
    if (function != nullptr) {
        name = is_utf8(function->text) ? function->text : hex_digits(function->text);
    }
    const std::uint64_t duration = std::min(find(values, "duration")->number, report.timestamp());
    return event_start("X", json_string(name), report.timestamp() - duration, ",\"dur\":" + std::to_string(duration), 1,
                       find(values, function != nullptr ? "thread" : "thread-id")->number) +
           payload(report, values, false) + "}";
}

std::string counters(const _QorProfileReport &report, const std::vector<Value> &values) {
    const Names names = names_of(report);
    const How wanted = find(values, "x") != nullptr ? How::FixedPoint : How::Number;
    std::string events;
    for (const Value &value : values) {
        if (value.how == wanted || (wanted == How::Number && value.how == How::Constant)) {
            const std::string text = wanted == How::FixedPoint
                                         ? real_text(value.real)
                                         : std::to_string(static_cast<std::int32_t>(value.number & 0xFFFFFFFF));
            events += event_start("C", "\"" + names.component + " " + names.event + " " + value.name + "\"",
                                  report.timestamp(), "", 10U + report.category_id(), report.component_id()) +
                      "{\"" + value.name + "\":" + text + "}}";
        }
    }
    return events;
}

std::string instant(const _QorProfileReport &report, const std::vector<Value> &values) {
    const Names names = names_of(report);
    const bool is_trigger = report.type_id() == 4;
    std::string name = is_trigger ? names.component + " " + names.event : names.event;
    if (const Value *subject = find(values, "trace"); subject != nullptr && !is_trigger) {
        const bool has_name = subject->text != std::to_string(subject->number);
        name = has_name ? subject->text : "trace " + subject->text;
    }
    return event_start("i", json_string(name), report.timestamp(), is_trigger ? ",\"s\":\"p\"" : ",\"s\":\"t\"",
                       10U + report.category_id(), report.component_id()) +
           payload(report, values, false) + "}";
}

} // namespace

std::string json_line(const _QorProfileReport &report, const decoder::device_clock &clock) {
    const Names names = names_of(report);
    std::ostringstream line;
    line << "{\"category\":\"" << names.category << "\",\"category_id\":" << unsigned{report.category_id()}
         << ",\"component\":\"" << names.component << "\",\"component_id\":" << unsigned{report.component_id()}
         << ",\"event\":\"" << names.event << "\",\"event_id\":" << unsigned{report.event_id()} << ",\"type\":\""
         << names.type << "\",\"type_id\":" << unsigned{report.type_id()}
         << ",\"sequence_num\":" << report.sequence_num() << ",\"timestamp\":" << report.timestamp();
    if (clock.sync) {
        line << ",\"wall_time\":\"" << wall_time(report, *clock.sync) << "\"";
    }
    if (clock.boot_time) {
        line << ",\"boot_timestamp\":" << *clock.boot_time;
    }
    line << ",\"payload\":" << payload(report, values_of(report), true) << "}\n";
    return line.str();
}

std::string csv_line(const _QorProfileReport &report, const decoder::device_clock &clock) {
    const Names names = names_of(report);
    std::ostringstream line;
    line << names.category << "," << unsigned{report.category_id()} << "," << names.component << ","
         << unsigned{report.component_id()} << "," << names.event << "," << unsigned{report.event_id()} << ","
         << names.type << "," << unsigned{report.type_id()} << "," << report.sequence_num() << "," << report.timestamp()
         << "," << (clock.sync ? wall_time(report, *clock.sync) : "") << ","
         << (clock.boot_time ? std::to_string(*clock.boot_time) : "") << ","
         << std::quoted(payload(report, values_of(report), true), '"', '"') << "\r\n";
    return line.str();
}

std::string trace_events(const _QorProfileReport &report) {
    const std::vector<Value> values = values_of(report);
    const std::uint8_t type = report.type_id();
    if (type == 5 || type == 9) {
        return slice(report, values);
    }
    const bool is_sensor_value = type == 3 && (report.category_id() == 2 || report.category_id() == 4);
    return is_sensor_value ? counters(report, values) : instant(report, values);
}

namespace {

/** The keys that a brief line leaves out because another one of the payload shows the same, by the first layout. */
const std::map<std::string_view, std::vector<std::string>> kRepeats = {
    {"event", {"xarg1", "xarg2", "xarg3", "xarg4", "xarg5", "xarg6"}},
    {"short-data", {"subtype_2", "raw-data_2"}},
    {"trigger", {"arg"}},
    {"sshb-trace",
     {"arg1_2", "arg2_2", "arg3_2", "arg4_2", "arg5", "arg6", "xarg1", "xarg2", "xarg3", "xarg4", "xarg5", "xarg6"}},
    {"sshb-button", {"raw-data"}},
    {"sshb-click-status", {"raw-data"}},
    {"vastrel-data-in",
     {"arg1", "arg2", "arg3", "arg1_2", "arg2_2", "arg3_2", "arg4_2", "arg5_2", "arg6_2", "xarg1", "xarg2", "xarg3",
      "xarg4", "xarg5", "xarg6"}},
    {"vastrel-data-out", {"arg1", "arg2", "arg3"}},
};

/** The tag of an annotation is a text when it looks like one, otherwise the number in the same bytes. */
bool has_legible_tag(const _QorProfileReport &report) {
    const std::string tag(report.bytes + 24, report.bytes + 32);
    const std::size_t size = std::min(tag.find('\0'), tag.size());
    const auto is_printable = [](char character) { return character >= 0x20 && character < 0x7F; };
    return size >= 2 && std::all_of(tag.begin(), tag.begin() + static_cast<std::ptrdiff_t>(size), is_printable) &&
           tag.find_first_not_of('\0', size) == std::string::npos;
}

bool is_left_out(std::string_view layout, const Value &value, const _QorProfileReport &report) {
    const auto repeats = kRepeats.find(layout);
    if (repeats != kRepeats.end() &&
        std::find(repeats->second.begin(), repeats->second.end(), value.key) != repeats->second.end()) {
        return true;
    }
    return value.how == How::Constant ||
           (layout == "annotation" && value.key == (has_legible_tag(report) ? "entry-id" : "entry"));
}

/** Each character that a terminal could obey, and each byte that is no character, as an escape. */
std::string escaped(const std::string &text) {
    std::string result;
    for (std::size_t i = 0; i < text.size();) {
        std::size_t size = 1;
        while (size <= 4 && !is_utf8(text.substr(i, size))) {
            ++size;
        }
        const auto byte = static_cast<unsigned char>(text[i]);
        if (size == 2 && byte == 0xC2 && static_cast<unsigned char>(text[i + 1]) < 0xA0) {
            result += "\\u00" + hex_digits(text.substr(i + 1, 1));
        } else if (size > 4 || byte < 0x20 || byte == 0x7F) {
            size = 1;
            result += "\\x" + hex_digits(text.substr(i, 1));
        } else {
            result += text.substr(i, size);
        }
        i += size;
    }
    return result;
}

/** Nothing when the value is zero or empty. */
std::string brief_value(const Value &value, const _QorProfileReport &report) {
    std::ostringstream text;
    switch (value.how) {
    case How::Text:
        return value.text.empty() ? "" : "'" + escaped(value.text) + "'";
    case How::Bytes:
    case How::CountedBytes:
        return value.text.find_first_not_of('\0') == std::string::npos ? "" : hex_digits(value.text);
    case How::Subject:
        return value.number == 0 && report.component_id() > 4 ? "" : value.text;
    case How::FixedPoint:
        text << value.real;
        return value.real == 0 ? "" : text.str();
    default:
        return value.number == 0 ? "" : std::to_string(value.number);
    }
}

std::string brief_type(const std::string &type, bool has_name, bool has_layout, std::string place) {
    place.erase(std::remove(place.begin(), place.end(), '-'), place.end());
    if (!has_name) {
        return has_layout ? "" : " [type " + type + "]";
    }
    std::istringstream words(type);
    for (std::string word; std::getline(words, word, '-');) {
        if (type != "event" && place.find(word) == std::string::npos) {
            return " [" + type + "]";
        }
    }
    return "";
}

std::string brief_time(const _QorProfileReport &report, const decoder::device_clock &clock, std::uint64_t since) {
    std::ostringstream text;
    if (clock.sync) {
        const std::uint64_t wall = (report.timestamp() * 1000 - clock.sync->qor + clock.sync->calendar) / 1000;
        const auto second = static_cast<std::time_t>(wall / 1'000'000);
        std::tm time{};
        if (localtime_r(&second, &time) != nullptr) {
            text << std::put_time(&time, "%b %d %H:%M:%S") << "." << std::setw(6) << std::setfill('0')
                 << wall % 1'000'000;
            return text.str();
        }
    }
    const bool is_before = report.timestamp() < since;
    const std::uint64_t elapsed = is_before ? since - report.timestamp() : report.timestamp() - since;
    text << (is_before ? "-" : "+") << elapsed / 1'000'000 << "." << std::setw(6) << std::setfill('0')
         << elapsed % 1'000'000 << "s";
    const std::string time = text.str();
    return std::string(std::max<std::size_t>(time.size(), clock.sync ? 22 : 14) - time.size(), ' ') + time;
}

} // namespace

std::string brief_line(const _QorProfileReport &report, const decoder::device_clock &clock, std::uint64_t since) {
    const Names names = names_of(report);
    const std::string place = names.category + "." + names.component + "." + names.event;
    const std::string_view layout = decoder::kPayloads[decoder::payload_index(report)][0]->name;
    std::string fields = brief_type(names.type, report.type_id() <= 12, !layout.empty(), place);
    for (const Value &value : values_of(report)) {
        const std::string text = brief_value(value, report);
        if (!text.empty() && !is_left_out(layout, value, report)) {
            fields += " " + value.name + "=" + text;
        }
    }
    const std::string payload(report.bytes + 16, report.bytes + 48);
    if (const std::size_t last = payload.find_last_not_of('\0'); layout.empty() && last != std::string::npos) {
        fields += " raw=" + hex_digits(payload.substr(0, last + 1));
    }
    const std::size_t width = fields.empty() ? 0 : 30;
    return brief_time(report, clock, since) + "  " + place +
           std::string(std::max(width, place.size()) - place.size(), ' ') + fields + "\n";
}

} // namespace plain
