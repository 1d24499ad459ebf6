/**
 * A device description, read from its file and checked; nothing is registered yet. The schema is in
 * `docs/device-description.md`.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/device/analytics_description.h"
#include "host/device/byte_source.h"
#include "host/device/qor_plug_ins.h"
#include "platform/Owned.h"
#include "platform/RvStatus.h"

namespace host {

using TypedProperties = std::map<std::string, platform::OwnedValue>;

/** The reply to one kind of request. */
struct ReplyDescription {
    RvStatus status = kRvStatusSuccess; ///< no bytes are written with any other status
    ByteSource::Kind kind = ByteSource::Kind::Block;
    std::vector<std::byte> bytes;
    std::optional<std::uint64_t> reported_size; ///< reported instead of the number of bytes written
};

/** How a user-space plug-in of either kind answers before any command. */
struct PlugInDescription {
    QueryAnswer query;
    RvStatus start_status = kRvStatusSuccess;
};

struct DriverDescription {
    PlugInDescription plug_in;
    std::map<std::uint32_t, ReplyDescription> properties; ///< by identifier
    std::map<std::uint32_t, ReplyDescription> commands;   ///< by selector
};

/** A user-client method and, for a method that reads properties, the identifier that the reply is for. */
using MethodKey = std::pair<std::uint32_t, std::optional<std::uint64_t>>;

struct UserClientDescription {
    RvStatus open_status = kRvStatusSuccess;
    std::map<MethodKey, ReplyDescription> methods;
};

struct EntryDescription {
    std::string place; ///< for errors found when it is registered
    std::uint64_t registry_id;
    std::string name;
    std::string class_name;
    std::optional<std::uint64_t> parent; ///< registry ID of an entry listed before
    TypedProperties properties;
    std::optional<std::string> driver;      ///< a key of `DeviceDescription::drivers`
    std::optional<std::string> device;      ///< a key of `DeviceDescription::devices`
    std::optional<std::string> user_client; ///< a key of `DeviceDescription::user_clients`
    bool carries_hid_device = true;
};

struct ServiceDescription {
    std::string name;
    TypedProperties properties; ///< "Transport" included
    std::vector<std::pair<std::uint32_t, std::uint32_t>> usages;
    std::optional<std::uint64_t> registry_id;
};

struct DeviceDescription {
    std::string file;
    std::string name;
    std::optional<std::int64_t> boot_time; ///< microseconds since the epoch; empty: that of the machine
    std::map<std::string, DriverDescription> drivers;
    std::map<std::string, PlugInDescription> devices;
    std::map<std::string, UserClientDescription> user_clients;
    std::vector<EntryDescription> entries; ///< parents first; the entry of the time synchronisation last
    std::vector<ServiceDescription> services;
    std::vector<AnalyticsDescription> analytics;
};

/**
 * Reads a description and every file it names.
 * @param folder  confines these files: each must be beneath it. Nothing: they may be any files.
 * @throws Error naming the file, the line and column, and the reason.
 */
DeviceDescription read_device_description(const std::string &path, const std::optional<std::string> &folder = {});

/** Reads a description from memory; it may name no files. @param name  for errors. */
DeviceDescription read_device_description_text(std::string_view text, const std::string &name);

} // namespace host
