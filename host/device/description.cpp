#include "host/device/description.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <new>
#include <string_view>

#include "host/TvValues.h"
#include "host/device/description_table.h"
#include "host/device/property_builders.h"
#include "host/error.h"
#include "host/nearest_word.h"
#include "platform/TvValues.h"
#include "qor/driver.h"
#include "qor/report.h"
#include "qor/services.h"

namespace host {
namespace {

constexpr std::uint64_t kAny64 = std::numeric_limits<std::uint64_t>::max();

/** A key that gives the bytes of a table. A table has at most one of them. */
struct ByteKey {
    std::string_view key;
    ByteSource::Kind kind;
    bool is_file;
};

constexpr ByteKey kByteKeys[] = {
    {"hex", ByteSource::Kind::Block, false},
    {"file", ByteSource::Kind::Block, true},
    {"hex_stream", ByteSource::Kind::Stream, false},
    {"stream", ByteSource::Kind::Stream, true},
};

/** The keys that give the entries of a batch. A batch has exactly one of them. */
constexpr std::string_view kAnalyticsKeys[] = {"file", "hex", "entry"};

/** @param request  keys that identify the request. @return these and the keys of every reply. */
KnownKeys reply_keys(KnownKeys request) {
    request.insert(request.end(), {"status", "hex", "file", "hex_stream", "stream", "reported_size"});
    return request;
}

/** The keys that only drivers have. */
KnownKeys driver_keys() {
    KnownKeys keys = built_keys();
    keys.insert(keys.end(), {"property", "command"});
    return keys;
}

/** @return `own` and the keys of every user-space plug-in. */
KnownKeys plug_in_keys(KnownKeys own) {
    own.insert(own.end(), {"start_status", "query_result", "gives_interface"});
    return own;
}

class DescriptionReader {
public:
    explicit DescriptionReader(DescriptionFile file) : _file(std::move(file)) {}

    DeviceDescription read() {
        const DescriptionTable root(
            _file, _file.root, "a device",
            {"name", "boot_time", "driver", "device", "user_client", "entry", "time_sync", "service", "analytics"});
        _description.file = _file.path;
        _description.name = root.text("name");
        _description.boot_time = root.optional_instant("boot_time");
        read_drivers(root);
        read_devices(root);
        read_user_clients(root);
        read_entries(root);
        read_time_sync(root);
        read_services(root);
        read_analytics(root);
        return std::move(_description);
    }

private:
    void read_drivers(const DescriptionTable &root) {
        for (const auto &[name, table] : root.named_tables("driver", "driver", plug_in_keys(driver_keys()))) {
            DriverDescription driver;
            driver.plug_in = read_plug_in(table);
            for (const DescriptionTable &property : table.tables("property", "a property", reply_keys({"id"}))) {
                add_reply(driver.properties, property.number32("id"), property, "id");
            }
            for (const DescriptionTable &command : table.tables("command", "a command", reply_keys({"selector"}))) {
                const std::uint32_t selector = command.number32("selector");
                // Properties are described by their identifiers instead.
                if (selector == qor::driver::kGetPropertyCommand) {
                    throw command.error_at("selector", "selector " + std::to_string(qor::driver::kGetPropertyCommand) +
                                                           " reads properties: describe each as a \"property\"");
                }
                add_reply(driver.commands, selector, command, "selector");
            }
            add_built_replies(driver.properties, build_properties(table), "property");
            add_built_replies(driver.commands, build_commands(table), "command");
            _description.drivers.emplace(name, std::move(driver));
        }
    }

    void read_devices(const DescriptionTable &root) {
        for (const auto &[name, table] : root.named_tables("device", "device", plug_in_keys({}))) {
            _description.devices.emplace(name, read_plug_in(table));
        }
    }

    void read_user_clients(const DescriptionTable &root) {
        for (const auto &[name, table] : root.named_tables("user_client", "user client", {"open_status", "method"})) {
            UserClientDescription client;
            client.open_status = table.number32("open_status", kRvStatusSuccess);
            for (const DescriptionTable &method :
                 table.tables("method", "a method", reply_keys({"number", "property"}))) {
                const MethodKey key(method.number32("number"), method.optional_number("property", kAny64));
                add_reply(client.methods, key, method, "number");
            }
            _description.user_clients.emplace(name, std::move(client));
        }
    }

    void read_entries(const DescriptionTable &root) {
        for (const DescriptionTable &table : root.tables(
                 "entry", "an entry",
                 {"id", "name", "class", "parent", "properties", "driver", "device", "user_client", "hid_device"})) {
            EntryDescription entry;
            entry.place = table.place();
            entry.parent = table.optional_number("parent", kAny64);
            if (entry.parent && !_ids.contains(*entry.parent)) {
                throw table.error_at("parent", "no entry listed before has this registry ID");
            }
            entry.registry_id = take_registry_id(table, "id");
            entry.name = table.text("name");
            entry.class_name = table.text("class");
            entry.properties = table.typed_values("properties");
            entry.driver = read_reference(table, "driver", _description.drivers);
            entry.device = read_reference(table, "device", _description.devices);
            entry.user_client = read_reference(table, "user_client", _description.user_clients);
            entry.carries_hid_device = table.flag("hid_device", true);
            _description.entries.push_back(std::move(entry));
        }
    }

    void read_time_sync(const DescriptionTable &root) {
        const auto table = root.table("time_sync", "time_sync", {"id", "qor", "calendar"});
        if (!table) {
            return;
        }
        EntryDescription entry;
        entry.place = table->place();
        entry.registry_id = take_registry_id(*table, "id");
        entry.name = qor::driver::kTimeSyncClass;
        entry.class_name = qor::driver::kTimeSyncClass;
        entry.properties.emplace(qor::driver::kTimeSync,
                                 make_clock_pair(table->signed_number("qor"), table->signed_number("calendar")));
        _description.entries.push_back(std::move(entry));
    }

    void read_services(const DescriptionTable &root) {
        for (const DescriptionTable &table :
             root.tables("service", "a service", {"name", "id", "transport", "usages", "properties"})) {
            ServiceDescription service;
            service.name = table.text("name");
            service.registry_id = table.optional_number("id", kAny64);
            service.usages = table.number_pairs("usages");
            service.properties = table.typed_values("properties");
            if (const auto transport = table.optional_text("transport")) {
                if (!service.properties.emplace(qor::services::kTransportKey, make_text_value(table, *transport))
                         .second) {
                    throw table.error_at("transport",
                                         "\"transport\" and the property \"Transport\" exclude each other");
                }
            }
            _description.services.push_back(std::move(service));
        }
    }

    void read_analytics(const DescriptionTable &root) {
        KnownKeys keys = analytics_timing_keys();
        keys.insert(keys.end(), {"device", "file", "hex", "entry"});
        for (const DescriptionTable &table : root.tables("analytics", "an analytics batch", keys)) {
            AnalyticsDescription batch;
            table.value("device");
            batch.device = *read_reference(table, "device", _description.devices);
            read_analytics_timing(table, batch);
            batch.entries = read_analytics_entries(table);
            _description.analytics.push_back(std::move(batch));
        }
    }

    static std::vector<std::byte> read_analytics_entries(const DescriptionTable &table) {
        std::vector<std::string_view> given;
        std::ranges::copy_if(kAnalyticsKeys, std::back_inserter(given),
                             [&table](std::string_view key) { return table.has(key); });
        if (given.empty()) {
            throw table.error("an analytics batch needs one of \"file\", \"hex\" and \"entry\"");
        }
        const std::string_view key = given.front();
        if (given.size() > 1) {
            throw table.error_at(given[1], in_quotes(key) + " and " + in_quotes(given[1]) + " exclude each other");
        }
        if (key == "entry") {
            return build_analytics_entries(table);
        }
        std::vector<std::byte> bytes = key == "file" ? table.file_bytes(key) : table.hex(key);
        check_analytics_entries(table, key, bytes.size());
        return bytes;
    }

    static PlugInDescription read_plug_in(const DescriptionTable &table) {
        PlugInDescription plug_in;
        plug_in.query.result = static_cast<HRESULT>(table.number32("query_result", kRvResultOK));
        plug_in.query.gives_interface = table.flag("gives_interface", true);
        plug_in.start_status = table.number32("start_status", kRvStatusSuccess);
        return plug_in;
    }

    /** Reads a reply. Refuses a second one to the same request. */
    template <typename Key>
    void add_reply(std::map<Key, ReplyDescription> &replies, const Key &key, const DescriptionTable &table,
                   std::string_view key_name) const {
        if (!replies.emplace(key, read_reply(table)).second) {
            throw table.error_at(key_name, "this " + std::string(key_name) + " is described twice");
        }
    }

    /** Adds replies described by fields. Refuses those that are already described by bytes. */
    static void add_built_replies(std::map<std::uint32_t, ReplyDescription> &replies, std::vector<BuiltReply> built,
                                  const std::string &kind) {
        for (BuiltReply &described : built) {
            ReplyDescription reply;
            reply.bytes = std::move(described.bytes);
            if (!replies.emplace(described.number, std::move(reply)).second) {
                throw described.source.error("describes " + kind + " " + std::to_string(described.number) +
                                             ", which a " + in_quotes(kind) + " describes already");
            }
        }
    }

    ReplyDescription read_reply(const DescriptionTable &table) const {
        ReplyDescription reply;
        reply.status = table.number32("status", kRvStatusSuccess);
        reply.reported_size = table.optional_number("reported_size", kAny64);
        const ByteKey *source = nullptr;
        for (const ByteKey &candidate : kByteKeys) {
            if (!table.has(candidate.key)) {
                continue;
            }
            if (source != nullptr) {
                throw table.error_at(candidate.key, in_quotes(source->key) + " and " + in_quotes(candidate.key) +
                                                        " exclude each other");
            }
            source = &candidate;
        }
        if (source != nullptr) {
            reply.kind = source->kind;
            reply.bytes = source->is_file ? table.file_bytes(source->key) : table.hex(source->key);
            check_size(table, *source, reply.bytes.size());
        }
        return reply;
    }

    static void check_size(const DescriptionTable &table, const ByteKey &source, std::size_t size) {
        if (source.kind == ByteSource::Kind::Stream && (size == 0 || size % qor::kReportSize != 0)) {
            throw table.error_at(source.key, in_quotes(source.key) + " gives " + std::to_string(size) +
                                                 " bytes, not one or more whole reports of " +
                                                 std::to_string(qor::kReportSize));
        }
    }

    std::uint64_t take_registry_id(const DescriptionTable &table, std::string_view key) {
        const std::uint64_t id = table.number(key, kAny64);
        const auto [other, is_new] = _ids.emplace(id, table.place());
        if (!is_new) {
            throw table.error_at(key, "this registry ID is taken by the entry at " + other->second);
        }
        return id;
    }

    /** Reads a name that must be a key of `described`. */
    template <typename Described>
    static std::optional<std::string> read_reference(const DescriptionTable &table, std::string_view key,
                                                     const std::map<std::string, Described> &described) {
        std::optional<std::string> name = table.optional_text(key);
        if (name && !described.contains(*name)) {
            std::vector<std::string_view> names;
            for (const auto &[candidate, value] : described) {
                names.push_back(candidate);
            }
            throw table.error_at(key, "no " + in_quotes(std::string(key) + "." + *name) + " is described" +
                                          suggestion(*name, names));
        }
        return name;
    }

    static platform::OwnedValue make_text_value(const DescriptionTable &table, const std::string &text) {
        platform::OwnedValue value(TvStringCreateWithBytes(text.data(), text.size(), kTvStringEncodingUTF8));
        if (!value) {
            throw table.error_at("transport", "\"transport\" cannot hold a zero character");
        }
        return value;
    }

    static platform::OwnedValue make_clock_pair(std::int64_t qor, std::int64_t calendar) {
        platform::OwnedMutableValue pair(TvDictionaryCreateMutable());
        for (const auto &[key, number] :
             {std::pair(qor::driver::kTimeSyncQor, qor), std::pair(qor::driver::kTimeSyncCalendar, calendar)}) {
            if (!set_value(pair.get(), key, platform::OwnedValue(TvNumberCreateSInt64(number)))) {
                throw std::bad_alloc();
            }
        }
        return platform::OwnedValue(pair.detach());
    }

    DescriptionFile _file;
    DeviceDescription _description;
    std::map<std::uint64_t, std::string> _ids; ///< the registry IDs in use, and where each is described
};

} // namespace

DeviceDescription read_device_description(const std::string &path, const std::optional<std::string> &folder) {
    return DescriptionReader(parse_description_file(path, folder)).read();
}

DeviceDescription read_device_description_text(std::string_view text, const std::string &name) {
    return DescriptionReader(parse_description_text(text, name)).read();
}

} // namespace host
