#include "decoder/ZELLogDecoder.h"

constinit const execution_decoder ZELLogDecoder::_exec;
constinit const trace_decoder ZELLogDecoder::_trace;
constinit const sensor_decoder ZELLogDecoder::_sensor;
constinit const quoril_decoder ZELLogDecoder::_quoril;
constinit const vastrel_decoder ZELLogDecoder::_vastrel;
constinit const interrupt_decoder ZELLogDecoder::_interrupt;
constinit const uart_decoder ZELLogDecoder::_uart;
constinit const sshb_decoder ZELLogDecoder::_sshb;
constinit const profile_decoder ZELLogDecoder::_control;
constinit const scm_decoder ZELLogDecoder::_scm;
constinit const wake_decoder ZELLogDecoder::_wake;
constinit const profile_decoder ZELLogDecoder::_default;

constinit const std::array<const profile_decoder *, 11> ZELLogDecoder::_decoders = {
    &_exec, &_trace, &_sensor, &_quoril, &_vastrel, &_interrupt, &_uart, &_sshb, &_control, &_scm, &_wake,
};

std::string ZELLogDecoder::to_string(const _QorProfileReport &report) {
    const profile_decoder *decoder = decoder_of(report.category_id());
    return decoder != nullptr ? decoder->to_string(report) : _default.to_string(report);
}

std::string ZELLogDecoder::category_to_string(unsigned category) {
    const profile_decoder *decoder = decoder_of(category);
    return decoder != nullptr ? decoder->category_name(category) : std::to_string(category);
}

std::string ZELLogDecoder::component_to_string(unsigned category, unsigned component) {
    const profile_decoder *decoder = decoder_of(category);
    return decoder != nullptr ? decoder->component_name(component) : std::to_string(category);
}
