/**
 * What a port of the platform provides besides the platform library itself, so that the contract tests can watch
 * the library from the host's side.
 *
 * To run the tests against another library: define `contract::port()` in one source file, link it with the test
 * files of this folder and with that library. The test files include nothing but `platform/` and this header.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/RvAllocator.h"
#include "platform/RvLog.h"

namespace contract {

/** Memory. */
class AllocatorPort {
public:
    virtual ~AllocatorPort() = default;

    /** An allocator other than the default one, with memory to give. Lives as long as the process. */
    virtual RvAllocatorRef another_allocator() = 0;

    /** An allocator that never has memory. Lives as long as the process. */
    virtual RvAllocatorRef exhausted_allocator() = 0;

    /** How many pieces of storage of `another_allocator` have been given and not given back. */
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

    /** Makes every level reach a reader, from now on, and forgets what was read. */
    virtual void listen() = 0;

    /** What was written since `listen`, in order. */
    virtual std::vector<Message> messages() = 0;

    /** Ends listening; when nobody else listens, no level is enabled any more. */
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

    /** Every scalar that is there. */
    virtual std::map<std::string, std::int64_t> scalars() = 0;

    /** Every distribution that holds a value: its values in ascending order, each as often as it was put in. */
    virtual std::map<std::string, std::vector<double>> distributions() = 0;
};

/** The port, by role. The objects live as long as the process. */
class Port {
public:
    virtual ~Port() = default;

    virtual AllocatorPort &allocator() = 0;
    virtual LogPort &log() = 0;
    virtual StorePort &store() = 0;
};

/** Defined by the port. */
Port &port();

} // namespace contract
