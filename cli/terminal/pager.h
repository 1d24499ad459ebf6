/** The program that shows long text page by page. */
#pragma once

#include <memory>
#include <mutex>
#include <string>

#include <sys/types.h>

#include "cli/terminal/interruption.h"

namespace cli {

/** What shows long text. */
struct PagerChoice {
    std::string command; ///< empty for none
    std::string missing; ///< the program that PAGER names, where there is none of that name
};

/** The value of PAGER, or less where that is not set and less is there. None when PAGER is empty or `cat`. */
PagerChoice choose_pager();

/**
 * A pager at work. While it lives, Ctrl-C is the pager's alone. SIGTERM and SIGHUP end the pager, and the process when
 * the object is destroyed. At most one object may exist at a time.
 */
class Pager {
public:
    /**
     * Starts it on the terminal of standard output; `LESS` is `FRX` unless the environment has it.
     * @param command  for the shell. @throws host::Error
     */
    explicit Pager(const std::string &command);
    /** Closes the pager's input and waits until the user leaves it. */
    ~Pager();
    Pager(const Pager &) = delete;
    Pager &operator=(const Pager &) = delete;

    /** A pipe to the pager, which is closed by `wait`. */
    int descriptor() const;

    /** Whether SIGTERM or SIGHUP has come. Any thread. */
    bool is_interrupted() const;

    /** Closes the pager's input and waits until the user leaves it. @throws host::Error when it could not be run. */
    void wait();

    /**
     * Waits until the user leaves it, without closing its input, for a pager that reads no more. Any thread, also
     * beside one that writes to it or waits. @throws host::Error, to each caller, when it could not be run.
     */
    void wait_for_end();

private:
    struct Terminal;

    WholePiece _piece;
    std::string _command;
    int _pipe = -1;
    std::mutex _end;                     ///< guards what follows
    std::unique_ptr<Terminal> _terminal; ///< as it was
    pid_t _process = -1;                 ///< -1 once it has ended
    bool _could_run = true;
};

} // namespace cli
