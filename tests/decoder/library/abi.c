/* What programs in C are compiled with: the header by itself, and the sizes, offsets and numbers that may never change.
 */

#include "decoder/library/qordecoder.h"

_Static_assert(QORDECODER_REPORT_SIZE == 48, "");
_Static_assert(QORDECODER_LINE_ROOM == 4096, "");
_Static_assert(QORDECODER_MOST_FIELDS == 64, "");
_Static_assert(QORDECODER_HEADER_FIELDS == 6, "");
_Static_assert(QORDECODER_ANY_VERSION == -1, "");

_Static_assert(QORDECODER_NUMBER == 0, "");
_Static_assert(QORDECODER_CONSTANT == 2, "");
_Static_assert(QORDECODER_HEXADECIMAL == 3, "");
_Static_assert(QORDECODER_TEXT == 4, "");
_Static_assert(QORDECODER_BYTES == 5, "");
_Static_assert(QORDECODER_COUNTED_BYTES == 6, "");
_Static_assert(QORDECODER_FIXED_POINT == 7, "");
_Static_assert(QORDECODER_SUBJECT == 8, "");

_Static_assert(sizeof(qordecoder_clock) == 32, "");
_Static_assert(offsetof(qordecoder_clock, sync_qor_ns) == 0, "");
_Static_assert(offsetof(qordecoder_clock, sync_calendar_ns) == 8, "");
_Static_assert(offsetof(qordecoder_clock, boot_time_us) == 16, "");
_Static_assert(offsetof(qordecoder_clock, has_sync) == 24, "");
_Static_assert(offsetof(qordecoder_clock, has_boot_time) == 25, "");

_Static_assert(sizeof(qordecoder_field) == 32, "");
_Static_assert(offsetof(qordecoder_field, name) == 0, "");
_Static_assert(offsetof(qordecoder_field, unit) == 8, "");
_Static_assert(offsetof(qordecoder_field, meaning) == 16, "");
_Static_assert(offsetof(qordecoder_field, offset) == 24, "");
_Static_assert(offsetof(qordecoder_field, size) == 26, "");
_Static_assert(offsetof(qordecoder_field, kind) == 28, "");
_Static_assert(offsetof(qordecoder_field, parameter) == 29, "");
_Static_assert(offsetof(qordecoder_field, width) == 30, "");

_Static_assert(sizeof(qordecoder_layout) == 32, "");
_Static_assert(offsetof(qordecoder_layout, name) == 0, "");
_Static_assert(offsetof(qordecoder_layout, meaning) == 8, "");
_Static_assert(offsetof(qordecoder_layout, fields) == 16, "");
_Static_assert(offsetof(qordecoder_layout, field_count) == 24, "");

_Static_assert(sizeof(qordecoder_rule) == 32, "");
_Static_assert(offsetof(qordecoder_rule, header_mask) == 0, "");
_Static_assert(offsetof(qordecoder_rule, header) == 4, "");
_Static_assert(offsetof(qordecoder_rule, version) == 8, "");
_Static_assert(offsetof(qordecoder_rule, layout_count) == 12, "");
_Static_assert(offsetof(qordecoder_rule, layouts) == 16, "");

_Static_assert(sizeof(qordecoder_value) == 64, "");
_Static_assert(offsetof(qordecoder_value, layout) == 0, "");
_Static_assert(offsetof(qordecoder_value, field) == 8, "");
_Static_assert(offsetof(qordecoder_value, number) == 16, "");
_Static_assert(offsetof(qordecoder_value, real) == 24, "");
_Static_assert(offsetof(qordecoder_value, text) == 32, "");
_Static_assert(offsetof(qordecoder_value, bytes) == 40, "");
_Static_assert(offsetof(qordecoder_value, size) == 48, "");
_Static_assert(offsetof(qordecoder_value, occurrence) == 56, "");

_Static_assert(sizeof(qordecoder_name) == 16, "");
_Static_assert(offsetof(qordecoder_name, name) == 0, "");
_Static_assert(offsetof(qordecoder_name, id) == 8, "");
