#include "decoder/payload_layouts.h"

namespace decoder {

namespace {

payload_layout generic_layout(std::uint8_t type) {
    static constexpr payload_layout kLayouts[] = {
        payload_layout::nothing,     // stop
        payload_layout::long_data,   //
        payload_layout::short_data,  //
        payload_layout::event,       //
        payload_layout::trigger,     //
        payload_layout::function,    //
        payload_layout::nothing,     // sshb-context1
        payload_layout::nothing,     // sshb-context2
        payload_layout::sensorinfo,  //
        payload_layout::extfunction, //
        payload_layout::nothing,     // sshb-context
        payload_layout::annotation,  //
        payload_layout::decimationinfo,
    };
    return type < std::size(kLayouts) ? kLayouts[type] : payload_layout::nothing;
}

/** For an event that the SSHB decoder does not know the generic text is written twice; intended. */
payload_layout sshb_short_data_layout(std::uint8_t event) {
    switch (event) {
    case 2:
        return payload_layout::sshb_button;
    case 3:
        return payload_layout::sshb_click_status;
    default:
        return payload_layout::short_data;
    }
}

payload_layout sshb_context_layout(std::uint16_t version) {
    switch (version) {
    case 3:
        return payload_layout::sshb_context_3;
    case 4:
        return payload_layout::sshb_context_4;
    case 5:
        return payload_layout::sshb_context_5;
    case 7:
        return payload_layout::sshb_context_7;
    default:
        return payload_layout::nothing;
    }
}

} // namespace

payload generic_payload(const _QorProfileReport &report) {
    return {generic_layout(report.type_id()), payload_layout::nothing};
}

payload sshb_payload(const _QorProfileReport &report) {
    payload_layout generic = generic_layout(report.type_id());
    switch (report.type_id()) {
    case 2:
        return {sshb_short_data_layout(report.event_id()), generic};
    case 3:
        return {payload_layout::sshb_trace, generic};
    case 10:
        // Versions 3 and 4 are followed by the generic layout and 5 and 7 are not, which shows nowhere: the
        // generic layout of contexts is empty.
        return {sshb_context_layout(report.at<std::uint16_t>(16)), generic};
    default:
        return {generic, payload_layout::nothing};
    }
}

payload vastrel_payload(const _QorProfileReport &report) {
    switch (report.header()) {
    case 0x04000003:
        return {payload_layout::vastrel_data_in, payload_layout::event};
    case 0x04000103:
        // Not followed by the generic layout, unlike data coming in; intended.
        return {payload_layout::vastrel_data_out, payload_layout::nothing};
    default:
        return generic_payload(report);
    }
}

payload wake_payload(const _QorProfileReport &report) {
    switch (report.header()) {
    case 0x0A00010D:
        return {payload_layout::wake_request, generic_layout(report.type_id())};
    case 0x0A000203:
        // Not followed by the generic layout; intended.
        return {payload_layout::wake_event, payload_layout::nothing};
    default:
        return generic_payload(report);
    }
}

payload payload_of(const _QorProfileReport &report) {
    switch (report.category_id()) {
    case 4:
        return vastrel_payload(report);
    case 7:
        return sshb_payload(report);
    case 10:
        return wake_payload(report);
    default:
        return generic_payload(report);
    }
}

} // namespace decoder
