/** Ctrl-C during work that must not be left half done. */
#pragma once

namespace cli {

/**
 * While an object lives, SIGINT, SIGTERM and SIGHUP do not end the process but set a flag. A signal that was ignored
 * before stays ignored. At most one object may exist at a time.
 */
class Interruption {
public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption &) = delete;
    Interruption &operator=(const Interruption &) = delete;

    bool is_requested() const;
    /** @throws host::Error when a signal has come. */
    void throw_if_requested() const;
};

} // namespace cli
