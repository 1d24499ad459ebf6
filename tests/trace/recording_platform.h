/**
 * A platform that records. It defines every operation that the module imports, in the test program itself, so that the
 * loaded module calls it in place of the platform library. It plays one QOR and writes one line for each call.
 *
 * Not listed are calls that make, read or release a single string or number; each appears where it is used. The same
 * holds for the type and the contents of values. What is still held after a step is listed instead.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/RvAllocator.h"
#include "platform/RvHID.h"
#include "platform/RvLog.h"
#include "platform/RvNotify.h"
#include "platform/RvPlugIn.h"
#include "platform/RvQueue.h"
#include "platform/RvStateCapture.h"
#include "platform/TvValues.h"

/** A service as the host hands it over. Its values may be null. */
struct RvHIDService {
    TvRef transport;
    TvRef supports_tallybook;
    TvRef registry_id;
    std::set<std::pair<std::uint32_t, std::uint32_t>> usages;
};

namespace trace {

/** The entries of the played registry. Each of the first four is the parent of the next. */
enum Entry : RvRegistryEntry {
    kDevice = 1,
    kInterface,
    kDriver,
    kClient,
    kProfileService, ///< named "ZEL_profile"
    kProfileDriver,  ///< named "OndreQORProfileDriver"
    kTimeSync        ///< of the class "OndreQORTimesync"
};

/** The registry ID of `kDriver`. */
inline constexpr std::int64_t kDriverID = 0x100000201;

/** The answer of the driver to one command, property or method. */
struct Reply {
    RvStatus status = 0;
    std::vector<std::uint8_t> bytes{};
    std::optional<std::size_t> reported{}; ///< a size that is reported in place of the number of bytes written
};

struct Handler {
    RvStateCaptureHandler function;
    void *context;
    void (*release)(void *context);
};

/** What the platform plays, and what it has recorded. There is one at a time. */
struct Stage {
    Stage();
    ~Stage();
    Stage(const Stage &) = delete;
    Stage &operator=(const Stage &) = delete;

    std::vector<std::string> lines;
    bool lists_calls = true;
    bool lists_strings = false; ///< lists also the calls that make strings from C text

    std::set<RvRegistryEntry> missing;
    std::set<std::string> missing_plug_ins;    ///< "driver", "device"
    std::map<std::string, HRESULT> queries;    ///< results of `QueryInterface` that are not 0, by interface
    std::set<std::string> refused_interfaces;  ///< interfaces that `QueryInterface` does not store
    std::map<std::string, RvStatus> starts;    ///< statuses of slot 8 that are not 0, by interface
    std::map<std::uint32_t, Reply> properties; ///< of the driver interface, by number
    std::map<std::uint32_t, Reply> commands;   ///< of the driver interface, by selector
    std::map<std::uint64_t, Reply> named;      ///< property of `kProfileService`, or method of `kProfileDriver`
    std::map<std::string, std::map<std::string, TvRef>> entry_properties; ///< by name of the entry
    std::set<RvLogLevel> disabled_levels;
    /** "OPERATION N": the N-th call of the operation from here on fails with this status, or returns null. */
    std::map<std::string, RvStatus> failing;

    std::vector<Handler> handlers;
    RvNotifyHandler notified = nullptr;
    void (*callback)(void *target, const void *entries, std::uint64_t count) = nullptr;
    void *target = nullptr;
    const void *object = nullptr; ///< the plug-in object, for its name in the lines

    void line(const std::string &text);
    /** The holdings that differ from those at the last call, as one line; nothing if there are none. */
    void list_holdings();

    /** Values that the stage owns. Their releases are listed under their names. */
    TvRef string(const std::string &name, const std::string &text);
    TvRef number(const std::string &name, std::int64_t value);
    TvRef boolean(const std::string &name, bool value);
    TvRef dictionary(const std::string &name, const std::map<std::string, std::int64_t> &numbers);

    std::map<std::string, int> held; ///< counts of references and objects by name

private:
    TvValue *own(TvValue *value);

    std::map<std::string, int> _held_before;
    std::vector<TvRef> _owned;
};

/** The allocator that the host passes to the factory. */
RvAllocatorRef host_allocator();
RvQueueRef queue();

/** Fills the unused part of the stack, so that a variable that is not initialised does not hold zeros by chance. */
void dirty_stack();

std::string text_of(const RvUUIDBytes &uuid);
/** The bytes of a UUID in its 8-4-4-4-12 form. */
RvUUIDBytes uuid_of(const std::string &text);

} // namespace trace
