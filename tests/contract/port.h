/**
 * The host's side of a platform library, through which the contract tests drive and observe it.
 *
 * To run the tests against another library, define `contract::port()` in one source file and link it with the test
 * files of this folder and that library. The test files include only `platform/` and this header.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/RvAllocator.h"
#include "platform/RvConnection.h"
#include "platform/RvHID.h"
#include "platform/RvLog.h"
#include "platform/RvPlugIn.h"
#include "platform/RvQueue.h"
#include "platform/RvRegistry.h"

namespace contract {

/** Memory. */
class AllocatorPort {
public:
    virtual ~AllocatorPort() = default;

    /** An allocator other than the default one, with free memory. Lives as long as the process. */
    virtual RvAllocatorRef another_allocator() = 0;

    /** An allocator that never has memory. Lives as long as the process. */
    virtual RvAllocatorRef exhausted_allocator() = 0;

    /** The number of allocations of `another_allocator` that have not been freed. */
    virtual std::size_t pieces_in_use() = 0;
};

/** The system log, read back. */
class LogPort {
public:
    struct Message {
        RvLogLevel level;
        std::string subsystem;
        std::string category;
        std::string text;

        friend bool operator==(const Message &, const Message &) = default;
    };

    virtual ~LogPort() = default;

    /** Enables every level, and starts recording messages afresh. */
    virtual void listen() = 0;

    /** The messages written since `listen`, in order. */
    virtual std::vector<Message> messages() = 0;

    /** Ends listening. While nobody listens, no level is enabled. */
    virtual void stop_listening() = 0;

    /** Enables or disables one level. */
    virtual void enable(RvLogLevel level, bool enabled) = 0;
};

/** The analytics store, read back. */
class StorePort {
public:
    virtual ~StorePort() = default;

    /** Removes everything. */
    virtual void clear() = 0;

    /** All scalars, by key. */
    virtual std::map<std::string, std::int64_t> scalars() = 0;

    /** All distributions that are not empty, by key: their values in ascending order, with duplicates. */
    virtual std::map<std::string, std::vector<double>> distributions() = 0;
};

/** The device registry: its entries, with their drivers for user clients and their plug-ins. */
class RegistryPort {
public:
    struct Entry {
        std::uint64_t registry_id;
        std::string name;
        std::string class_name;
        std::map<std::string, RvRegistryEntry> parents; ///< by plane

        /**
         * Whether the entry has this driver for user clients:
         * connection type 9 is refused with 0xE0001234;
         * method 1 answers each scalar with that scalar plus one, and the bytes that it was given;
         * method 2 fills the output, up to 64 bytes, with 0x5A, and reports 64;
         * method 3 fails with 0xE0005678 and reports a size of 7;
         * there are no other methods.
         */
        bool has_driver = false;

        /** Whether the entry is served by a user-space plug-in of type `kQorDriverPlugInTypeBytes`. */
        bool has_plug_in = false;
    };

    virtual ~RegistryPort() = default;

    /** Adds an entry, as its parents' last child. @return its handle, without a reference. */
    virtual RvRegistryEntry add(const Entry &entry) = 0;

    /** Sets a property, which the entry retains. */
    virtual void set_property(RvRegistryEntry entry, const std::string &key, TvRef value) = 0;

    /** Removes an entry. */
    virtual void remove(RvRegistryEntry entry) = 0;

    /** The number of references to the entry that have not been released. */
    virtual std::size_t references(RvRegistryEntry entry) = 0;

    /** The number of open connections. */
    virtual std::size_t open_connections() = 0;

    /** The number of references to plug-in objects and their interfaces that have not been released. */
    virtual std::size_t plug_in_references() = 0;

    /** The number of live objects that a factory has registered. */
    virtual std::size_t factory_instances(const RvUUIDBytes &factory) = 0;
};

/** The HID event system. */
class HIDPort {
public:
    struct Service {
        std::map<std::string, TvRef> properties; ///< retained
        std::vector<std::pair<std::uint32_t, std::uint32_t>> usages;
        TvRef registry_id = nullptr; ///< retained; null for none
    };

    virtual ~HIDPort() = default;

    /** A service that lives until `forget_services`. */
    virtual RvHIDServiceRef make_service(const Service &service) = 0;
    virtual void forget_services() = 0;

    /** Makes the creation of device objects on this entry fail. */
    virtual void refuse_device(RvRegistryEntry entry) = 0;

    /** The number of live device objects. */
    virtual std::size_t live_devices() = 0;
};

/** Serial queues. */
class QueuePort {
public:
    virtual ~QueuePort() = default;

    /** A new queue. */
    virtual RvQueueRef open() = 0;

    /** Runs `work` on an open queue and waits for it. */
    virtual void run(RvQueueRef queue, const std::function<void()> &work) = 0;

    /** Whether the caller runs on `queue`. */
    virtual bool is_current(RvQueueRef queue) = 0;

    /**
     * Closes a queue as the host does after its last call of a plug-in. Returns when everything bound to the queue has
     * been dropped. The handle stays valid. Does nothing for a closed queue.
     */
    virtual void close(RvQueueRef queue) = 0;
};

/** Named notifications. */
class NotifyPort {
public:
    virtual ~NotifyPort() = default;

    /** Posts a notification and returns when every handler in this process has been called. */
    virtual void post(const std::string &name) = 0;
};

/** The state-capture service. */
class StateCapturePort {
public:
    virtual ~StateCapturePort() = default;

    /** Captures the state. @return the bytes of every record, in the order in which the handlers were called. */
    virtual std::vector<std::string> capture(std::uint32_t kind, const std::string &requester) = 0;
};

/** The port, one object for each role. They live as long as the process. */
class Port {
public:
    virtual ~Port() = default;

    virtual AllocatorPort &allocator() = 0;
    virtual LogPort &log() = 0;
    virtual NotifyPort &notify() = 0;
    virtual QueuePort &queue() = 0;
    virtual StateCapturePort &state_capture() = 0;
    virtual StorePort &store() = 0;
    virtual RegistryPort &registry() = 0;
    virtual HIDPort &hid() = 0;
};

/** Defined by the port. */
Port &port();

} // namespace contract
