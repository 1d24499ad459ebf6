#include "decoder/category_decoders.h"

#include "decoder/name_tables.h"
#include "decoder/payload_choice.h"
#include "decoder/payload_text.h"

namespace {

std::string name_in(const decoder::name_table &table, unsigned id) {
    return profile_decoder::find_in_table(table.entries.data(), static_cast<unsigned>(table.entries.size()), id);
}

} // namespace

template <qor::CategoryId category>
std::string category_decoder<category>::component_name(unsigned component) const {
    return name_in(decoder::names_of_category(category).components, component);
}

template <qor::CategoryId category>
std::string category_decoder<category>::event_name(unsigned component, unsigned event) const {
    return name_in(decoder::names_of_category(category).events(component), event);
}

template <qor::CategoryId category>
void category_decoder<category>::parse_datatype(text_stream &stream, const _QorProfileReport &report) const {
    decoder::put_payload(stream, report, decoder::payload_index(category, report));
}

template class category_decoder<qor::kExecution>;
template class category_decoder<qor::kTrace>;
template class category_decoder<qor::kSensor>;
template class category_decoder<qor::kQuoril>;
template class category_decoder<qor::kVastrel>;
template class category_decoder<qor::kInterrupt>;
template class category_decoder<qor::kUart>;
template class category_decoder<qor::kSSHB>;
template class category_decoder<qor::kSCM>;
template class category_decoder<qor::kWake>;

std::string sshb_decoder::subtype_name(unsigned kind, unsigned id) const {
    return name_in(decoder::sshb_subtype_table(kind), id);
}
