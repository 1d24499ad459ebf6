/** Opening what a command line names as an input of reports. */
#pragma once

#include <memory>

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

} // namespace cli
