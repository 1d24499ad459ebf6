#include "cli/records/json.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "cli/terminal/hex.h"
#include "cli/terminal/json_text.h"
#include "host/TvValues.h"
#include "platform/RvStateCapture.h"

namespace cli {
namespace {

Json value_json(TvRef value);

Json array_json(TvArrayRef array) {
    Json json = Json::array();
    for (std::size_t i = 0; i < TvArrayGetCount(array); ++i) {
        json.push_back(value_json(TvArrayGetValue(array, i)));
    }
    return json;
}

Json dictionary_json(TvDictionaryRef dictionary) {
    // Keys are distinct, so they are appended unchecked: looking each one up would take quadratic time.
    Json::Members entries;
    host::for_each_entry(dictionary, [&](std::string_view key, TvRef value) {
        entries.push_back({std::string(key), value_json(value)});
    });
    return Json::object(std::move(entries));
}

Json value_json(TvRef value) {
    const TvTypeID kind = TvGetTypeID(value);
    if (kind == TvArrayGetTypeID()) {
        return array_json(value);
    }
    if (kind == TvDictionaryGetTypeID()) {
        return dictionary_json(value);
    }
    if (kind == TvNumberGetTypeID()) {
        std::int64_t number = 0;
        TvNumberGetSInt64(value, &number);
        return number;
    }
    if (kind == TvBooleanGetTypeID()) {
        return TvBooleanGetValue(value);
    }
    if (kind == TvDataGetTypeID()) {
        return hex(std::as_bytes(std::span(TvDataGetBytes(value), TvDataGetLength(value))));
    }
    return std::string(TvStringGetCString(value), TvStringGetLength(value));
}

} // namespace

void put_record(Json &json, const host::StateRecord &record, std::span<const std::byte> file) {
    put_text(json, "title", record.title);
    json["type_code"] = record.type_code;
    put_text(json, "decoder_plug_in", record.decoder_plug_in);
    put_text(json, "decoder_type", record.decoder_type);
    json["offset"] = record.offset;
    json["size"] = record.size;
    json["payload"] = record.payload
                          ? value_json(record.payload.get())
                          : Json(hex(file.subspan(record.offset, record.size).subspan(sizeof(RvStateCaptureRecord))));
}

std::string record_line(const std::string &name, const host::StateRecord &record, std::span<const std::byte> file) {
    Json entry;
    put_text(entry, "file", name);
    put_record(entry, record, file);
    return json_line(entry);
}

} // namespace cli
