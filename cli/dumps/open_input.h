/** Opening what a command line names as an input of reports. */
#pragma once

#include <memory>
#include <string>

#include "cli/dumps/dump_input.h"
#include "cli/dumps/input.h"
#include "cli/inputs/byte_stream.h"
#include "cli/inputs/input_sequence.h"

namespace cli {

/** What inputs of reports may be: dumps, and records, whose lines carry reports. */
WantedContent wanted_by_decode();

/**
 * Opens the reports of a stream.
 * @return null for records that have none.
 * @throws host::Error when it cannot be read, or is no dump although it must look like one; Interrupted.
 */
std::unique_ptr<ReportInput> open_reports(std::unique_ptr<ByteStream> stream, const DumpOptions &options);

/** Says on standard error that an input has bytes after its last whole report, if it has. */
void report_trailing_bytes(const std::string &name, const TrailingBytes &bytes);

} // namespace cli
