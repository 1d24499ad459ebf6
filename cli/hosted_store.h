/** The analytics store that a hosted plug-in writes to: what `run`, `capture` and `publish` share. */
#pragma once

#include <string>

#include "host/error.h"
#include "host/tallybook_store.h"

namespace cli {

/**
 * Where analytics go when nobody says: `qorstat/analytics.db` in `$XDG_STATE_HOME`, or else in `~/.local/state`.
 * @throws host::Error when there is no such place.
 */
std::string default_store_file();

/** The same, with its folders made when they are missing. @throws host::Error when they cannot be made. */
std::string default_store_file_to_write();

/** Says that a write failed and what becomes of the operations. For a host that goes on. */
void say_store_failure(const host::Error &failure, host::Fate operations);

/** A store opened for the process, until this object goes or is closed. One object at a time. */
class HostedStore {
public:
    /**
     * @param path        a file, or ":memory:".
     * @param on_failure  what `host::on_store_failure` calls.
     * @throws host::Error when the store cannot be opened.
     */
    explicit HostedStore(const std::string &path, host::StoreFailureReport on_failure = say_store_failure);
    /** Closes, if that has not happened; what is lost then is said on standard error. */
    ~HostedStore();
    HostedStore(const HostedStore &) = delete;
    HostedStore &operator=(const HostedStore &) = delete;

    /** Tries once more to write what could not be written. @throws host::Error when operations are lost. */
    void close();

private:
    bool _is_open = true;
};

} // namespace cli
