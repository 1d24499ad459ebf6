/** Reports of functions that ended: what both layouts of them say, in one form. */
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "cli/dumps/owner_names.h"
#include "cli/dumps/slice_nesting.h"
#include "decoder/payload_choice.h"
#include "decoder/payload_walk.h"
#include "qor/categories.h"
#include "qor/report.h"

namespace cli {

/** A function that ended with its report. */
struct FunctionCall {
    std::uint64_t thread;
    std::uint64_t duration; ///< as the report has it, microseconds of firmware time
    Slice slice;            ///< ends at the report's time stamp; begins so long before, or at 0
    std::uint64_t id;       ///< 0 for a function that has a text
    std::string_view text;  ///< bytes of any kind, in the report; for a function with an id empty
    bool has_id;
    std::size_t thread_field; ///< the number of the thread's field among those of all layouts, for `OwnerNames::value`
};

namespace function_calls {

constexpr qor::Field field_of(const qor::Layout &layout, std::string_view name) {
    return *std::ranges::find(layout.fields, name, &qor::Field::name);
}

inline constexpr qor::Field kId = field_of(qor::kFunction, "function-id");
inline constexpr qor::Field kThread = field_of(qor::kFunction, "thread-id");
inline constexpr qor::Field kDuration = field_of(qor::kFunction, "duration");
inline constexpr qor::Field kText = field_of(qor::kExtFunction, "function");
inline constexpr qor::Field kThreadOfText = field_of(qor::kExtFunction, "thread");
inline constexpr qor::Field kDurationOfText = field_of(qor::kExtFunction, "duration");

// Their numbers among the fields of all layouts.
inline constexpr std::size_t kThreadField = field_number(qor::kFunction, kThread.name);
inline constexpr std::size_t kThreadOfTextField = field_number(qor::kExtFunction, kThreadOfText.name);

/** A constant field: reading it is a single load. */
template <const qor::Field &field>
struct Constant {
    static constexpr const qor::Field &row = field; // NOLINT(readability-identifier-naming): as in the decoder's walk
};

inline Slice slice_of(const _QorProfileReport &report, std::uint64_t duration) {
    const std::uint64_t end = report.timestamp();
    return {end - std::min(duration, end), end};
}

} // namespace function_calls

/** The number of the field with a function's id among those of all layouts, for `OwnerNames::value`. */
inline constexpr std::size_t kFunctionIdField = field_number(qor::kFunction, function_calls::kId.name);

/** Whether a payload begins with the fields of `layout`. @param payload  from `decoder::payload_index`. */
constexpr bool begins_with(std::size_t payload, const qor::Layout &layout) {
    return decoder::kPayloads[payload][0] == &layout;
}

/**
 * The function that a report tells of; nothing for any other report.
 * @param report   must live as long as the result, which may point into it.
 * @param payload  of the report, from `decoder::payload_index`.
 */
inline std::optional<FunctionCall> function_call_of(const _QorProfileReport &report, std::size_t payload) {
    using namespace function_calls; // NOLINT(google-build-using-namespace): the fields, used only in this function
    using decoder::number_in;
    if (begins_with(payload, qor::kFunction)) {
        const std::uint64_t duration = number_in<Constant<kDuration>>(report);
        return FunctionCall{number_in<Constant<kThread>>(report),
                            duration,
                            slice_of(report, duration),
                            number_in<Constant<kId>>(report),
                            {},
                            true,
                            kThreadField};
    }
    if (begins_with(payload, qor::kExtFunction)) {
        const std::uint64_t duration = number_in<Constant<kDurationOfText>>(report);
        return FunctionCall{number_in<Constant<kThreadOfText>>(report),
                            duration,
                            slice_of(report, duration),
                            0,
                            decoder::text_in(report, kText),
                            false,
                            kThreadOfTextField};
    }
    return std::nullopt;
}

} // namespace cli
