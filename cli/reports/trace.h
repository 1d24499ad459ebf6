/** Reports in the Trace Event format of trace viewers. */
#pragma once

#include <bitset>
#include <cstdint>
#include <string>

#include "cli/reports/slice_nesting.h"
#include "decoder/text_stream.h"
#include "qor/report.h"

namespace cli {

/** What a trace file starts with: the object, and the name of the process that stands for all threads. */
std::string trace_start();

/** What it ends with. */
std::string trace_end();

/** The events of one dump's reports, in the dump's order; time is firmware time. One thread at a time. */
class TraceEvents {
public:
    /**
     * Appends the events of one report, after whatever stands before them, with the names of tracks that are new.
     *
     * Function reports are slices that end at their time stamp, on the track of their thread. Numbers of sensor events
     * are counters, one a number: viewers draw the numbers of one counter on top of one another. Their words are taken
     * as signed numbers, though text shows them unsigned. Every other report, triggers, traces and checkpoints among
     * them, is an instant on the track of its component, with its payload as arguments; triggers are drawn across the
     * tracks of their category, hence their names begin with the component's.
     */
    void append(text_buffer &out, const _QorProfileReport &report);

private:
    void append_slice(text_buffer &out, const _QorProfileReport &report);
    void append_instant(text_buffer &out, const _QorProfileReport &report);
    void name_category(text_buffer &out, const _QorProfileReport &report);
    void name_component(text_buffer &out, const _QorProfileReport &report);

    SliceNesting _slices;
    std::bitset<256> _named_categories;
    std::bitset<65536> _named_components; ///< by category * 256 + component
};

} // namespace cli
