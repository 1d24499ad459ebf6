/** The decoder of reports: the base class, which also decodes what has no decoder of its own. */
#ifndef DECODER_PROFILE_DECODER_H
#define DECODER_PROFILE_DECODER_H

#include <cstdint>
#include <string>

#include "decoder/text_stream.h"
#include "qor/report.h"

/**
 * Turns a report into one line of text. Decoders are static, constant and stateless, so any number of threads
 * may use one at once; they are never destroyed, hence no virtual destructor. Everything that returns a string
 * throws std::bad_alloc without memory.
 */
class profile_decoder {
public:
    /** A row of a name table: id and name. */
    using entry = qor::NamedId;

    constexpr profile_decoder() = default;

    /* The five virtual operations, in the order of their slots. */

    /** The whole line, without a newline, with the platform's clock at the time of the call. */
    virtual std::string to_string(const _QorProfileReport &report) const;
    virtual std::string category_name(unsigned category) const;
    virtual std::string component_name(unsigned component) const;
    virtual std::string event_name(unsigned component, unsigned event) const;
    /** Appends the payload's fields to `stream`, each ending in ","; writes nothing for a type without a layout. */
    virtual void parse_datatype(text_stream &stream, const _QorProfileReport &report) const;

    /** The name of the first of `count` entries that has this id; its decimal text when none has. */
    static std::string find_in_table(const entry *table, unsigned count, unsigned id);
    /** "[", the bytes in decimal separated by commas, "]". */
    static std::string dump(const void *data, unsigned length);
    /** A blank, the name between apostrophes, a colon. */
    static std::string key(const std::string &name);
    /** The value between apostrophes. */
    static std::string str(const std::string &value);
    static std::string type_name(unsigned type);

    /**
     * A firmware time in microseconds as local wall-clock text, by the correspondence that the platform's
     * registry holds at the moment. @return false, with `text` untouched, when it holds none.
     */
    static bool qor_time_to_wall_time(std::uint64_t timestamp, std::string &text);
    /** Microseconds since the epoch. @return false, with `boot_time` untouched, when the platform has none. */
    static bool get_boot_time(std::uint64_t &boot_time);
};

#endif
