/** The analytics store that a hosted plug-in writes to: what `run` and `capture` share. */
#pragma once

#include <functional>
#include <string>

namespace cli {

/**
 * Where analytics go when nobody says: `qorstat/analytics.db` in `$XDG_STATE_HOME`, or else in `~/.local/state`.
 * @throws host::Error when there is no such place.
 */
std::string default_store_file();

/** The same, with its folders made when they are missing. @throws host::Error when they cannot be made. */
std::string default_store_file_to_write();

/** A store opened for the process, until this object goes or is closed. One object at a time. */
class HostedStore {
public:
    /**
     * @param path        a file, or ":memory:".
     * @param on_failure  called after each message about a write that failed, on the thread that wrote; may be empty.
     * @throws host::Error when the store cannot be opened.
     */
    explicit HostedStore(const std::string &path, std::function<void()> on_failure = {});
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
