/** Reports in the Trace Event format of trace viewers. */
#pragma once

#include <string>

#include "decoder/profile_report.h"
#include "decoder/text_stream.h"

namespace cli {

/** What a trace file starts with: the object, and names for every track that the decoder can name. */
std::string trace_start();

/** What it ends with. */
std::string trace_end();

/**
 * Appends the event of one report, after whatever stands before it; time is firmware time.
 *
 * Function reports are slices that end at their time stamp, on the track of their thread. Numbers of sensor events
 * are counters. Every other report, triggers, traces and checkpoints among them, is an instant on the track of its
 * component, with its payload as arguments.
 */
void append_trace_event(text_buffer &out, const _QorProfileReport &report);

} // namespace cli
