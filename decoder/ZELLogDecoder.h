/** The registry of decoders by category. */
#ifndef DECODER_ZEL_LOG_DECODER_H
#define DECODER_ZEL_LOG_DECODER_H

#include <array>
#include <string>

#include "decoder/category_decoders.h"
#include "decoder/profile_decoder.h"

/** Static members only. All of them are constant from the time the module is loaded. */
class ZELLogDecoder {
public:
    ZELLogDecoder() = delete;

    /** The line that describes `report`, by the decoder of its category, or by `_default` if there is none. */
    static std::string to_string(const _QorProfileReport &report);
    /** The category's name, or its number in decimal if it has no name. */
    static std::string category_to_string(unsigned category);
    /** The component's name. For a category without a decoder, the category's number in decimal: intended. */
    static std::string component_to_string(unsigned category, unsigned component);

    /** The decoder of a category; null if there is none. */
    static const profile_decoder *decoder_of(unsigned category) {
        return category < _decoders.size() ? _decoders[category] : nullptr;
    }

    static const execution_decoder _exec;
    static const trace_decoder _trace;
    static const sensor_decoder _sensor;
    static const quoril_decoder _quoril;
    static const vastrel_decoder _vastrel;
    static const interrupt_decoder _interrupt;
    static const uart_decoder _uart;
    static const sshb_decoder _sshb;
    static const profile_decoder _control;
    static const scm_decoder _scm;
    static const wake_decoder _wake;
    static const profile_decoder _default;

    /** By category id. */
    static const std::array<const profile_decoder *, 11> _decoders;
};

#endif
