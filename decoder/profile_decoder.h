/** The base class of the decoders. It also decodes the reports of categories without a decoder. */
#ifndef DECODER_PROFILE_DECODER_H
#define DECODER_PROFILE_DECODER_H

#include <cstdint>
#include <string>

#include "decoder/text_stream.h"
#include "qor/report.h"

/**
 * Turns a report into one line of text. Decoders are static, constant and stateless, so any number of threads may use
 * one at the same time. They are never destroyed, hence there is no virtual destructor. Every member that returns a
 * string throws std::bad_alloc if memory is exhausted.
 */
class profile_decoder {
public:
    /** A row of a name table: id and name. */
    using entry = qor::NamedId;

    constexpr profile_decoder() = default;

    /* The five virtual operations, in the order of their slots. */

    /** The whole line, without a newline. Uses the platform's clock at the time of the call. */
    virtual std::string to_string(const _QorProfileReport &report) const;
    virtual std::string category_name(unsigned category) const;
    virtual std::string component_name(unsigned component) const;
    virtual std::string event_name(unsigned component, unsigned event) const;
    /** Appends the payload's fields to `stream`, each followed by ",". Writes nothing for a type without a layout. */
    virtual void parse_datatype(text_stream &stream, const _QorProfileReport &report) const;

    /** The name of the first of `count` entries with this id, or the id in decimal if there is none. */
    static std::string find_in_table(const entry *table, unsigned count, unsigned id);
    /** "[", the bytes in decimal separated by commas, "]". */
    static std::string dump(const void *data, unsigned length);
    /** A blank, the name between apostrophes, and a colon. */
    static std::string key(const std::string &name);
    /** The value between apostrophes. */
    static std::string str(const std::string &value);
    static std::string type_name(unsigned type);

    /**
     * Converts a firmware time in microseconds to local wall-clock text, by the time synchronisation that the
     * platform's registry publishes now.
     * @return false, with `text` unchanged, if the registry publishes none or there is no such local time.
     */
    static bool qor_time_to_wall_time(std::uint64_t timestamp, std::string &text);
    /** In microseconds since the epoch. @return false, with `boot_time` unchanged, if the platform has none. */
    static bool get_boot_time(std::uint64_t &boot_time);
};

#endif
