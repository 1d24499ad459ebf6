/** Ctrl-C while something must not be left half done. */
#pragma once

namespace cli {

/**
 * While an object lives, SIGINT, SIGTERM and SIGHUP end nothing by themselves but are remembered; a signal that
 * was ignored before stays ignored. One object at a time.
 */
class Interruption {
public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption &) = delete;
    Interruption &operator=(const Interruption &) = delete;

    bool is_requested() const;
    /** @throws host::Error when the end was asked for. */
    void throw_if_requested() const;
};

} // namespace cli
