/**
 * The decoder of the QOR's profile reports as a C library, libqordecoder. A report has 48 bytes: a header of 16 bytes
 * and a payload of 32, whose layout depends on the header. The library shows a report as the line of text that
 * state-capture records have, or as a list of fields with values; it also lists all layouts and all names.
 *
 * Every function may be called from any thread, at any time, also in a child process that was forked at any moment.
 * None throws, calls back, or needs memory from the heap, except that the C library may take some for a thread's first
 * call and for the rules of the time zone, which it reads.
 *
 * Reports are read during the call only, and from any address. Any bytes are a report: an id that has no name is shown
 * as its number, and a report to which no rule applies has no payload. All times of the coprocessor's clock are in
 * microseconds, unless a name ends in `_ns`.
 *
 * Names, units and meanings are ASCII, end with a zero, and stay valid as long as the library is loaded. The texts of a
 * report are the firmware's bytes, and may be neither ASCII nor UTF-8.
 *
 * Functions that fill an array behave like snprintf: they return how many elements there are, and store at most
 * `capacity` of them. The array may be null if `capacity` is 0.
 *
 * The interface stays as it is for all libraries with the SONAME libqordecoder.so.1: structures keep their members and
 * sizes, and functions keep their meaning. Later versions may have more functions, kinds, layouts and names.
 */
#ifndef QORDECODER_H
#define QORDECODER_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define QORDECODER_API extern "C" __attribute__((visibility("default")))
#define QORDECODER_NOEXCEPT noexcept
#else
#define QORDECODER_API extern __attribute__((visibility("default")))
#define QORDECODER_NOEXCEPT
#endif

enum {
    QORDECODER_REPORT_SIZE = 48,  /**< in bytes: the stride of reports in a dump */
    QORDECODER_LINE_ROOM = 4096,  /**< no line with its newline or its final zero is longer */
    QORDECODER_MOST_FIELDS = 64,  /**< no report has more fields, those of its header included */
    QORDECODER_HEADER_FIELDS = 6, /**< the fields of the header, which come first */
    QORDECODER_ANY_VERSION = -1   /**< in `qordecoder_rule` */
};

/** The version of the library, such as "0.1.0". */
QORDECODER_API const char *qordecoder_version(void) QORDECODER_NOEXCEPT;

/* Lines */

/**
 * The clock of the device that made the reports. A line leaves out what is not known, so a clock of zeros is one of
 * which nothing is known.
 */
typedef struct qordecoder_clock {
    uint64_t sync_qor_ns;      /**< an instant on the coprocessor's clock, in nanoseconds */
    uint64_t sync_calendar_ns; /**< the same instant in nanoseconds since 1970-01-01 00:00 UTC */
    uint64_t boot_time_us;     /**< when the device booted, in microseconds since 1970; not the decoding machine's */
    uint8_t has_sync;          /**< other than 0: the first two members hold; a line has its calendar time */
    uint8_t has_boot_time;     /**< other than 0: the third member holds; a line has the boot time */
    uint8_t reserved[6];       /**< ignored; 0 */
} qordecoder_clock;

/**
 * Describes one report as a line of text, without a newline. Calendar times are local times in the time zone of the
 * process, as from localtime_r.
 * @param report  48 bytes.
 * @param clock   the device's clock; null for one of which nothing is known.
 * @param text    receives at most `size` - 1 characters of the line and a final zero, nothing if `size` is 0. A longer
 *                line is cut off, at any byte. May be null if `size` is 0.
 * @return the length of the whole line, below `QORDECODER_LINE_ROOM`; 0 if `report` is null, with an empty text.
 */
QORDECODER_API size_t qordecoder_describe(const void *report, const qordecoder_clock *clock, char *text,
                                          size_t size) QORDECODER_NOEXCEPT;

/**
 * Describes reports that stand one after the other, each as a line with a newline: as many whole lines as fit. With
 * a synchronisation this is faster than one call for each report, because neighbours mostly share a second.
 * @param reports  `count` times 48 bytes; null counts as none.
 * @param clock    as above. No other thread may change the process's time zone during the call.
 * @param text     receives the lines, without a final zero. May be null if `size` is 0.
 * @param size     in bytes. With `QORDECODER_LINE_ROOM` or more, at least one line fits.
 * @param length   set to the number of bytes that were written. Never null.
 * @return the number of reports that were described. Pass the rest in the next call.
 */
QORDECODER_API size_t qordecoder_describe_many(const void *reports, size_t count, const qordecoder_clock *clock,
                                               char *text, size_t size, size_t *length) QORDECODER_NOEXCEPT;

/**
 * Converts a time of the coprocessor's clock to calendar time. The arithmetic is unsigned and wraps, as in lines.
 * @param timestamp_us  such as a report's time stamp.
 * @param calendar_us   set to microseconds since 1970-01-01 00:00 UTC. Never null.
 * @return false, with `calendar_us` unchanged, if the clock is null or has no synchronisation.
 */
QORDECODER_API bool qordecoder_calendar_time(const qordecoder_clock *clock, uint64_t timestamp_us,
                                             uint64_t *calendar_us) QORDECODER_NOEXCEPT;

/* Layouts */

/** How the bytes of a field are read. All numbers are little-endian. */
typedef enum qordecoder_kind {
    QORDECODER_NUMBER = 0,        /**< unsigned, of 1, 2, 4 or 8 bytes */
    QORDECODER_CONSTANT = 2,      /**< not in the report: always the number `parameter` */
    QORDECODER_HEXADECIMAL = 3,   /**< unsigned, 4 bytes; people read it in hexadecimal */
    QORDECODER_TEXT = 4,          /**< characters up to the first zero or the end of the field */
    QORDECODER_BYTES = 5,         /**< all bytes of the field */
    QORDECODER_COUNTED_BYTES = 6, /**< the first bytes; the 16-bit number at offset `parameter` says how many */
    QORDECODER_FIXED_POINT = 7,   /**< signed, 4 bytes: `parameter` of the 32 bits are the fraction */
    QORDECODER_SUBJECT = 8        /**< unsigned, 4 bytes: the id of the subject of a trace */
} qordecoder_kind;

/** One field of a layout. */
typedef struct qordecoder_field {
    const char *name;    /**< such as "report-interval" */
    const char *unit;    /**< such as "microseconds"; empty for what has none; null if the system does not state it */
    const char *meaning; /**< a phrase; null if the system does not state it */
    uint16_t offset;     /**< in bytes from the start of the report, 0 to 47; 0 for a constant */
    uint16_t size;       /**< in bytes; the most for counted bytes; 0 for a constant. offset + size is at most 48 */
    uint8_t kind;        /**< a `qordecoder_kind`. A program should skip fields of kinds that it does not know. */
    uint8_t parameter;   /**< as the kind says, otherwise 0 */
    uint8_t width;       /**< in lines the value is right-aligned in this many characters; 0 for no alignment */
    uint8_t reserved;
} qordecoder_field;

/** A layout of a payload: its fields in the order in which they are shown. Fields may overlap. */
typedef struct qordecoder_layout {
    const char *name;    /**< unique, such as "sensorinfo" */
    const char *meaning; /**< a sentence; null if the system does not state it */
    const qordecoder_field *fields;
    size_t field_count;
} qordecoder_layout;

/**
 * Which reports have which layouts. The first rule applies for which both hold:
 * - the first four bytes of the report as a little-endian number, masked with `header_mask`, are `header`;
 * - `version` is `QORDECODER_ANY_VERSION` or equals the 16-bit number at offset 16.
 * A report to which no rule applies has no payload, as has one whose rule has no layout.
 */
typedef struct qordecoder_rule {
    uint32_t header_mask;
    uint32_t header;
    int32_t version;
    uint32_t layout_count;               /**< 0 to 2 */
    const qordecoder_layout *layouts[2]; /**< shown one after the other; null from `layout_count` on */
} qordecoder_rule;

/** The layout of the header, which all reports have. Never null. */
QORDECODER_API const qordecoder_layout *qordecoder_header_layout(void) QORDECODER_NOEXCEPT;

/** All layouts of payloads. @param count  set to their number; never null. @return the first of them, never null. */
QORDECODER_API const qordecoder_layout *qordecoder_layouts(size_t *count) QORDECODER_NOEXCEPT;

/** All rules, in their order. @param count  set to their number; never null. @return the first of them, never null. */
QORDECODER_API const qordecoder_rule *qordecoder_rules(size_t *count) QORDECODER_NOEXCEPT;

/** The rule that applies to a report of 48 bytes; null if none does, or if `report` is null. */
QORDECODER_API const qordecoder_rule *qordecoder_rule_of(const void *report) QORDECODER_NOEXCEPT;

/* Fields of a report */

/** One field of a report with its value. */
typedef struct qordecoder_value {
    const qordecoder_layout *layout; /**< that the field belongs to */
    const qordecoder_field *field;
    uint64_t number; /**< for numbers, constants, hexadecimal numbers and subjects; otherwise 0 */
    double real;     /**< for fixed-point numbers, exact; otherwise 0 */
    /**
     * For a text, its first character: it points into the report and does not end with a zero. For an id of the header
     * or a subject, its name, which does; null if it has none. Otherwise null.
     */
    const char *text;
    const uint8_t *bytes; /**< for bytes and counted bytes: points into the report; otherwise null */
    size_t size;          /**< of `text` or `bytes`, in bytes without a final zero; otherwise 0 */
    uint32_t occurrence;  /**< 1 for the first field of its name in the layouts of the report, 2 for the second, ... */
    uint32_t reserved;
} qordecoder_value;

/**
 * Lists the fields of a report with their values: first the `QORDECODER_HEADER_FIELDS` fields of the header, then those
 * of its layouts, one layout after the other. Occurrences of the header's fields are counted separately.
 * @param report  48 bytes. They must outlive the use of `text` and `bytes`.
 * @return the number of fields, at most `QORDECODER_MOST_FIELDS`; 0 if `report` is null.
 */
QORDECODER_API size_t qordecoder_fields(const void *report, qordecoder_value *values,
                                        size_t capacity) QORDECODER_NOEXCEPT;

/* Names of ids */

/** An id with its name. Several ids of a list may have the same name. */
typedef struct qordecoder_name {
    const char *name;
    uint32_t id;
    uint32_t reserved;
} qordecoder_name;

/** The name of an id; null if it has none. */
QORDECODER_API const char *qordecoder_category_name(uint32_t category) QORDECODER_NOEXCEPT;
QORDECODER_API const char *qordecoder_component_name(uint32_t category, uint32_t component) QORDECODER_NOEXCEPT;
QORDECODER_API const char *qordecoder_event_name(uint32_t category, uint32_t component,
                                                 uint32_t event) QORDECODER_NOEXCEPT;
QORDECODER_API const char *qordecoder_type_name(uint32_t type) QORDECODER_NOEXCEPT;
/** Of a trace of the category "sshb", by the component of the report. */
QORDECODER_API const char *qordecoder_subject_name(uint32_t component, uint32_t subject) QORDECODER_NOEXCEPT;

/** All ids that have names, in ascending order. @return their number. */
QORDECODER_API size_t qordecoder_categories(qordecoder_name *names, size_t capacity) QORDECODER_NOEXCEPT;
QORDECODER_API size_t qordecoder_components(uint32_t category, qordecoder_name *names,
                                            size_t capacity) QORDECODER_NOEXCEPT;
QORDECODER_API size_t qordecoder_events(uint32_t category, uint32_t component, qordecoder_name *names,
                                        size_t capacity) QORDECODER_NOEXCEPT;
QORDECODER_API size_t qordecoder_types(qordecoder_name *names, size_t capacity) QORDECODER_NOEXCEPT;
QORDECODER_API size_t qordecoder_subjects(uint32_t component, qordecoder_name *names,
                                          size_t capacity) QORDECODER_NOEXCEPT;

#endif
