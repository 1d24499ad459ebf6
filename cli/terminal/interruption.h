/** Signals that end the program, during work that must not be left half done. */
#pragma once

#include <chrono>
#include <string>

namespace cli {

/**
 * Thrown by what waits, for the reader of an `Output` or for input, while an `Interruption` has been requested: what is
 * left is not done. Not an error: the user ended the program.
 */
struct Interrupted {};

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
    /** The last signal that has come, which from now on counts as not come; 0 for none. For what goes on after one. */
    int take_signal();

    /** Readable from the first signal on; for poll. Belongs to the object. */
    int descriptor() const;

    /** From now on SIGINT and SIGTERM end the process at once. SIGHUP does not: a closing terminal may send it twice.
     */
    void let_next_signal_kill();
};

/**
 * While an object lives, the three signals do not end the process, so that one piece of output becomes whole. When one
 * has come by the end of the last object and no `Interruption` lives, the process ends by that signal then. Any thread.
 */
class WholePiece {
public:
    WholePiece();
    ~WholePiece();
    WholePiece(const WholePiece &) = delete;
    WholePiece &operator=(const WholePiece &) = delete;

    bool is_interrupted() const;
    /** Whether the process ends with this piece; else an `Interruption` lives, and its owner decides. */
    bool ends_process() const;
    /** How long an interrupted piece may still wait for its reader; 0 when that time is over. */
    std::chrono::milliseconds time_left() const;

    /** Readable from the first signal on; for poll. */
    int descriptor() const;
};

/**
 * While an object lives, a signal of the three that ends the process removes a file before. At most one object may
 * exist at a time; it is made and destroyed while a `WholePiece` lives.
 */
class RemovedBySignal {
public:
    explicit RemovedBySignal(std::string path);
    ~RemovedBySignal();
    RemovedBySignal(const RemovedBySignal &) = delete;
    RemovedBySignal &operator=(const RemovedBySignal &) = delete;

    const std::string &path() const { return _path; }

private:
    std::string _path;
};

/** Thrown by `wait_for_input` when an `InputDeadline` has passed. Not an error of the input. */
struct InputTooLate {};

/** While an object lives, `wait_for_input` ends at a time, also of inputs without an end. At most one at a time. */
class InputDeadline {
public:
    explicit InputDeadline(std::chrono::steady_clock::time_point time);
    ~InputDeadline();
    InputDeadline(const InputDeadline &) = delete;
    InputDeadline &operator=(const InputDeadline &) = delete;
};

/**
 * Waits until there is something to read from the descriptor, or until its end. A signal ends the process meanwhile, as
 * ever. @throws Interrupted when an `Interruption` lives and has been requested; InputTooLate.
 */
void wait_for_input(int descriptor);

} // namespace cli
