#include "decoder/profile_decoder.h"

#include <optional>
#include <utility>

#include "decoder/byte_dump.h"
#include "decoder/device_clock.h"
#include "decoder/name_tables.h"
#include "decoder/payload_choice.h"
#include "decoder/payload_text.h"
#include "decoder/report_line.h"

namespace {

/** A number that is no category: it has no names and no payload rules. */
constexpr std::uint32_t kNoCategory = ~std::uint32_t{0};

} // namespace

std::string profile_decoder::to_string(const _QorProfileReport &report) const {
    decoder::line_names names;
    names.category = str(category_name(report.category_id()));
    names.component = str(component_name(report.component_id()));
    names.event = str(event_name(report.component_id(), report.event_id()));
    names.type = str(type_name(report.type_id()));
    text_buffer buffer;
    decoder::append_line(buffer, *this, names, report, decoder::read_device_clock());
    return std::string(buffer.text());
}

std::string profile_decoder::category_name(unsigned category) const {
    return find_in_table(decoder::kCategoryTable.entries.data(),
                         static_cast<unsigned>(decoder::kCategoryTable.entries.size()), category);
}

std::string profile_decoder::component_name(unsigned component) const { return find_in_table(nullptr, 0, component); }

std::string profile_decoder::event_name(unsigned, unsigned event) const { return find_in_table(nullptr, 0, event); }

void profile_decoder::parse_datatype(text_stream &stream, const _QorProfileReport &report) const {
    decoder::put_payload(stream, report, decoder::payload_index(kNoCategory, report));
}

std::string profile_decoder::find_in_table(const entry *table, unsigned count, unsigned id) {
    for (unsigned index = 0; index < count; ++index) {
        if (table[index].id == id) {
            return table[index].name;
        }
    }
    return std::to_string(id);
}

std::string profile_decoder::dump(const void *data, unsigned length) {
    std::string text(decoder::dump_room(length), '\0');
    const char *end = decoder::put_dump(text.data(), static_cast<const std::uint8_t *>(data), length);
    text.resize(static_cast<std::size_t>(end - text.data()));
    return text;
}

std::string profile_decoder::key(const std::string &name) { return " '" + name + "':"; }

std::string profile_decoder::str(const std::string &value) { return "'" + value + "'"; }

std::string profile_decoder::type_name(unsigned type) {
    return find_in_table(decoder::kTypeTable.entries.data(), static_cast<unsigned>(decoder::kTypeTable.entries.size()),
                         type);
}

bool profile_decoder::qor_time_to_wall_time(std::uint64_t timestamp, std::string &text) {
    std::optional<decoder::time_sync> sync = decoder::read_time_sync();
    if (!sync) {
        return false;
    }
    std::string converted = decoder::wall_time_text(decoder::wall_time(timestamp, *sync));
    if (converted.empty()) {
        return false;
    }
    text = std::move(converted);
    return true;
}

bool profile_decoder::get_boot_time(std::uint64_t &boot_time) {
    std::optional<std::uint64_t> answer = decoder::read_boot_time();
    if (!answer) {
        return false;
    }
    boot_time = *answer;
    return true;
}
