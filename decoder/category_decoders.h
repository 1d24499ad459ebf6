/** The decoders, one class for each category. */
#ifndef DECODER_CATEGORY_DECODERS_H
#define DECODER_CATEGORY_DECODERS_H

#include <string>

#include "decoder/profile_decoder.h"
#include "qor/categories.h"

/** A decoder that takes its names and payloads from its category's row in `qor/categories.h`. */
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
/** Incoming and outgoing data is also shown as a vector. */
class vastrel_decoder : public category_decoder<qor::kVastrel> {};
class interrupt_decoder : public category_decoder<qor::kInterrupt> {};
class uart_decoder : public category_decoder<qor::kUart> {};

/** The solid-state button: traces, button and click-status reports, context snapshots. */
class sshb_decoder : public category_decoder<qor::kSSHB> {
public:
    /** The name of a trace's subject, or its id in decimal if it has no name. `kind` is the trace's component. */
    std::string subtype_name(unsigned kind, unsigned id) const;
};

class scm_decoder : public category_decoder<qor::kSCM> {};
/** The reasons for waking the application processor, and the endpoint or service that requested it. */
class wake_decoder : public category_decoder<qor::kWake> {};

#endif
