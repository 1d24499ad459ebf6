#include "decoder/category_decoders.h"

#include "decoder/name_tables.h"
#include "decoder/payload_text.h"

namespace {

std::string name_in(const decoder::name_table &table, unsigned id) {
    return profile_decoder::find_in_table(table.entries, table.count, id);
}

} // namespace

std::string execution_decoder::component_name(unsigned component) const {
    return name_in(decoder::kExecutionNames.components, component);
}

std::string execution_decoder::event_name(unsigned component, unsigned event) const {
    return name_in(decoder::kExecutionNames.events(component), event);
}

std::string trace_decoder::component_name(unsigned component) const {
    return name_in(decoder::kTraceNames.components, component);
}

std::string trace_decoder::event_name(unsigned component, unsigned event) const {
    return name_in(decoder::kTraceNames.events(component), event);
}

std::string sensor_decoder::component_name(unsigned component) const {
    return name_in(decoder::kSensorNames.components, component);
}

std::string sensor_decoder::event_name(unsigned component, unsigned event) const {
    return name_in(decoder::kSensorNames.events(component), event);
}

std::string quoril_decoder::component_name(unsigned component) const {
    return name_in(decoder::kQuorilNames.components, component);
}

std::string quoril_decoder::event_name(unsigned component, unsigned event) const {
    return name_in(decoder::kQuorilNames.events(component), event);
}

std::string vastrel_decoder::component_name(unsigned component) const {
    return name_in(decoder::kVastrelNames.components, component);
}

std::string vastrel_decoder::event_name(unsigned component, unsigned event) const {
    return name_in(decoder::kVastrelNames.events(component), event);
}

void vastrel_decoder::parse_datatype(text_stream &stream, const _QorProfileReport &report) const {
    decoder::put_payload(stream, report, decoder::vastrel_payload(report));
}

std::string interrupt_decoder::component_name(unsigned component) const {
    return name_in(decoder::kInterruptNames.components, component);
}

std::string interrupt_decoder::event_name(unsigned component, unsigned event) const {
    return name_in(decoder::kInterruptNames.events(component), event);
}

std::string uart_decoder::component_name(unsigned component) const {
    return name_in(decoder::kUartNames.components, component);
}

std::string uart_decoder::event_name(unsigned component, unsigned event) const {
    return name_in(decoder::kUartNames.events(component), event);
}

std::string sshb_decoder::component_name(unsigned component) const {
    return name_in(decoder::kSSHBNames.components, component);
}

std::string sshb_decoder::event_name(unsigned component, unsigned event) const {
    return name_in(decoder::kSSHBNames.events(component), event);
}

void sshb_decoder::parse_datatype(text_stream &stream, const _QorProfileReport &report) const {
    decoder::put_payload(stream, report, decoder::sshb_payload(report));
}

std::string sshb_decoder::subtype_name(unsigned kind, unsigned id) const {
    constexpr unsigned kLatency = 3;
    return kind == kLatency ? event_name(kind, id) : name_in(decoder::sshb_subtype_table(kind), id);
}

std::string scm_decoder::component_name(unsigned component) const {
    return name_in(decoder::kSCMNames.components, component);
}

std::string scm_decoder::event_name(unsigned component, unsigned event) const {
    return name_in(decoder::kSCMNames.events(component), event);
}

std::string wake_decoder::component_name(unsigned component) const {
    return name_in(decoder::kWakeNames.components, component);
}

std::string wake_decoder::event_name(unsigned component, unsigned event) const {
    return name_in(decoder::kWakeNames.events(component), event);
}

void wake_decoder::parse_datatype(text_stream &stream, const _QorProfileReport &report) const {
    decoder::put_payload(stream, report, decoder::wake_payload(report));
}
