/** The decoders of the categories that name their components and events. */
#ifndef DECODER_CATEGORY_DECODERS_H
#define DECODER_CATEGORY_DECODERS_H

#include <string>

#include "decoder/profile_decoder.h"

class execution_decoder : public profile_decoder {
public:
    std::string component_name(unsigned component) const override;
    std::string event_name(unsigned component, unsigned event) const override;
};

class trace_decoder : public profile_decoder {
public:
    std::string component_name(unsigned component) const override;
    std::string event_name(unsigned component, unsigned event) const override;
};

class sensor_decoder : public profile_decoder {
public:
    std::string component_name(unsigned component) const override;
    std::string event_name(unsigned component, unsigned event) const override;
};

class quoril_decoder : public profile_decoder {
public:
    std::string component_name(unsigned component) const override;
    std::string event_name(unsigned component, unsigned event) const override;
};

/** Data coming in and going out also prints as a vector. */
class vastrel_decoder : public profile_decoder {
public:
    std::string component_name(unsigned component) const override;
    std::string event_name(unsigned component, unsigned event) const override;
    void parse_datatype(text_stream &stream, const _QorProfileReport &report) const override;
};

class interrupt_decoder : public profile_decoder {
public:
    std::string component_name(unsigned component) const override;
    std::string event_name(unsigned component, unsigned event) const override;
};

class uart_decoder : public profile_decoder {
public:
    std::string component_name(unsigned component) const override;
    std::string event_name(unsigned component, unsigned event) const override;
};

/** The solid-state button: traces, button and click-status reports, context snapshots. */
class sshb_decoder : public profile_decoder {
public:
    std::string component_name(unsigned component) const override;
    std::string event_name(unsigned component, unsigned event) const override;
    void parse_datatype(text_stream &stream, const _QorProfileReport &report) const override;

    /** The name of a trace's subject; `kind` is the trace's component. The decimal text of an unnamed id. */
    std::string subtype_name(unsigned kind, unsigned id) const;
};

class scm_decoder : public profile_decoder {
public:
    std::string component_name(unsigned component) const override;
    std::string event_name(unsigned component, unsigned event) const override;
};

/** Why the application processor was woken, and on whose behalf. */
class wake_decoder : public profile_decoder {
public:
    std::string component_name(unsigned component) const override;
    std::string event_name(unsigned component, unsigned event) const override;
    void parse_datatype(text_stream &stream, const _QorProfileReport &report) const override;
};

#endif
