/** One side's measures in a file, to compare others with again and again. docs/compare.md has the format. */
#pragma once

#include <string>

#include "cli/comparison/side.h"
#include "cli/terminal/output_file.h"

namespace cli {

/** Writes the bytes of a baseline; the file is finished by the caller. */
void write_baseline(OutputFile &file, const Side &side);

/**
 * @param file  a path or "-"; its bytes may be hostile.
 * @throws host::Error when it cannot be read, is no baseline, has another version, or is damaged, naming the byte.
 */
Side read_baseline(const std::string &file);

} // namespace cli
