/** Where a verb's result goes: standard output, or a file that is there whole or not at all. */
#pragma once

#include <optional>
#include <string>

#include "cli/terminal/interruption.h"
#include "cli/terminal/output.h"

namespace cli {

/**
 * The place of a result. A new or regular file is written under a temporary name beside it and gets its own name in
 * `finish`, with the rights of a new file. Until then a file of that name stays as it is; without `finish`, and after a
 * signal that ends the process, nothing is left of the new one. A link is followed. Anything else, such as a FIFO or a
 * device, is written directly, and so is the file that standard output goes to.
 */
class OutputFile {
public:
    /**
     * @param file  nothing, or "-", for standard output.
     * @throws host::Error naming the file when it cannot be written.
     */
    explicit OutputFile(const std::optional<std::string> &file);
    OutputFile(const OutputFile &) = delete;
    OutputFile &operator=(const OutputFile &) = delete;
    ~OutputFile();

    /** A file gets the exact bytes. */
    Output &output() { return _output.value(); }

    /** Writes what is left and puts the file in its place. @throws as `Output`, and host::Error naming the file. */
    void finish();

private:
    void create_beside();
    [[noreturn]] void fail(int error) const;

    std::string _name;                       ///< as the user gave it
    std::string _target;                     ///< without links; empty for what is written directly
    std::optional<RemovedBySignal> _partial; ///< while there is a file of a temporary name
    int _descriptor = -1;                    ///< -1 for standard output
    std::optional<Output> _output;
};

} // namespace cli
