/** Reports in the Trace Event format, which trace viewers read. */
#pragma once

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "cli/dumps/function_call.h"
#include "cli/dumps/owner_names.h"
#include "cli/dumps/remembered_headers.h"
#include "cli/dumps/report_block.h"
#include "cli/dumps/slice_nesting.h"
#include "decoder/prepared_text.h"
#include "decoder/short_text.h"
#include "decoder/text_stream.h"
#include "qor/report.h"

namespace cli {

/** The text of a header's events around the numbers of a report. */
struct TracePieces {
    decoder::text_of_at_most<320> start; ///< of an instant or a counter, up to the name's variable end or the time
    decoder::text_of_at_most<64> track;  ///< an instant's scope, process and track, and the key of the arguments
    decoder::prepared_text counters;     ///< all counters of a report, if the payload's words are its counters
};

/** What the events of an input have in common. */
struct TraceInput {
    const OwnerNames *names;     ///< the owner's; null for none
    std::uint64_t first_process; ///< added to the number of each process
};

/** For a report that becomes counters or an instant. */
void fill_trace_pieces(TracePieces &pieces, const _QorProfileReport &report, TraceInput input);

/** The start of a trace file, up to its first event. */
std::string trace_start();

/** The end of a trace file. */
std::string trace_end();

/** The events of one dump's reports, in the dump's order. Times are firmware times. One thread at a time. */
class TraceEvents {
public:
    /** Of a single input. @param names  the owner's; null for none. They outlive the events. */
    explicit TraceEvents(const OwnerNames *names = nullptr);
    /**
     * Of one input among several. Its processes have the numbers from 1000 * `number` on, and its file before their
     * names.
     * @param number  from 1.
     */
    TraceEvents(std::size_t number, std::string_view file, const OwnerNames *names);

    /** Appends the name of the process that represents all threads. @param is_first  of the file; no comma then. */
    void begin(text_buffer &out, bool is_first) const;

    /**
     * Appends the events of one report, each after a comma, and before them the names of new tracks.
     *
     * A function report becomes a slice on the track of its thread that ends at the report's time stamp. A sensor event
     * becomes one counter per number, because viewers stack the numbers of one counter; words are signed here although
     * lines print them unsigned. Every other report (triggers, traces and checkpoints included) becomes an instant on
     * the track of its component with the payload as arguments. Triggers are drawn across all tracks of their category,
     * so their names begin with the component's. Slices and tracks have the owner's names, too.
     */
    void append(text_buffer &out, const _QorProfileReport &report);

    /** Appends an instant across all tracks, at the time stamp of the report behind the break. */
    void append_mark(text_buffer &out, const Mark &mark) const;

private:
    /** @param name_start  of each process; stands in JSON as it is. */
    TraceEvents(TraceInput input, std::string name_start);
    /** @param payload  an index into `decoder::kPayloads`. */
    void append_slice(text_buffer &out, const _QorProfileReport &report, std::size_t payload, const FunctionCall &call);
    void append_counters(text_buffer &out, const _QorProfileReport &report, std::size_t payload);
    void append_instant(text_buffer &out, const _QorProfileReport &report, std::size_t payload);
    /** Writes the inside of a JSON string: the owner's name of a function, or its id or text. */
    char *put_function_name(char *out, const FunctionCall &call) const;
    void append_process_name(text_buffer &out, std::uint64_t process, std::string_view name) const;
    /** Writes the arguments of an event. */
    char *put_arguments(char *out, const _QorProfileReport &report, std::size_t payload) const;
    /** The owner's name of a field's number; null for none. @param field  from `field_number`. */
    const OwnerName *name_of(std::size_t field, std::uint64_t number) const {
        return _input.names != nullptr ? _input.names->value(field, number) : nullptr;
    }
    /** Appends the name of the process of the report's category, which is known from then on. */
    void name_category(text_buffer &out, const _QorProfileReport &report);
    /** The same for the track of the report's component. */
    void name_component(text_buffer &out, const _QorProfileReport &report);
    /** The place of a report's component in `_named_components`. */
    static std::size_t component_place(const _QorProfileReport &report) {
        return report.category_id() * std::size_t{256} + report.component_id();
    }

    TraceInput _input;
    std::string _name_start;
    decoder::text_of_at_most<64> _slice_process; ///< between a slice's duration and its thread
    decoder::prepared_text _slice;               ///< of a function with an id, where there are no names
    SliceNesting _slices;
    RememberedHeaders<TracePieces, TraceInput, fill_trace_pieces> _pieces;
    std::bitset<256> _named_categories;
    std::bitset<65536> _named_components; ///< by `component_place`
};

} // namespace cli
