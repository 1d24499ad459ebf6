/** The decoders of the categories. */
#ifndef DECODER_CATEGORY_DECODERS_H
#define DECODER_CATEGORY_DECODERS_H

#include <string>

#include "decoder/profile_decoder.h"
#include "qor/categories.h"

/** A decoder whose names and payloads are those of its category's row. */
template <qor::CategoryId category>
class category_decoder : public profile_decoder {
public:
    std::string component_name(unsigned component) const override;
    std::string event_name(unsigned component, unsigned event) const override;
    void parse_datatype(text_stream &stream, const _QorProfileReport &report) const override;
};

class execution_decoder : public category_decoder<qor::kExecution> {};
class trace_decoder : public category_decoder<qor::kTrace> {};
class sensor_decoder : public category_decoder<qor::kSensor> {};
class quoril_decoder : public category_decoder<qor::kQuoril> {};
/** Data coming in and going out also prints as a vector. */
class vastrel_decoder : public category_decoder<qor::kVastrel> {};
class interrupt_decoder : public category_decoder<qor::kInterrupt> {};
class uart_decoder : public category_decoder<qor::kUart> {};

/** The solid-state button: traces, button and click-status reports, context snapshots. */
class sshb_decoder : public category_decoder<qor::kSSHB> {
public:
    /** The name of a trace's subject; `kind` is the trace's component. The decimal text of an unnamed id. */
    std::string subtype_name(unsigned kind, unsigned id) const;
};

class scm_decoder : public category_decoder<qor::kSCM> {};
/** Why the application processor was woken, and on whose behalf. */
class wake_decoder : public category_decoder<qor::kWake> {};

#endif
