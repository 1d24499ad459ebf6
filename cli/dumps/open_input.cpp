#include "cli/dumps/open_input.h"

#include <cstddef>
#include <utility>
#include <vector>

#include "cli/dumps/recorded_input.h"
#include "cli/terminal/output.h"
#include "host/count_text.h"

namespace cli {

WantedContent wanted_by_decode() {
    return {.kinds = {ContentKind::Empty, ContentKind::Dump, ContentKind::Records},
            .kinds_in_folder = {ContentKind::Empty, ContentKind::Dump, ContentKind::Records},
            .name = "a dump"};
}

std::unique_ptr<ReportInput> open_reports(std::unique_ptr<ByteStream> stream, const DumpOptions &options) {
    if (stream->content().kind != ContentKind::Records) {
        return std::make_unique<DumpInput>(std::move(stream), options);
    }
    const std::vector<std::byte> bytes = stream->read_all();
    return RecordedInput::parse(bytes, stream->name());
}

void report_trailing_bytes(const std::string &name, const TrailingBytes &bytes) {
    if (bytes.count != 0) {
        print_message("qorstat: " + name + ": byte " + std::to_string(bytes.offset) + ": " +
                      host::count_text(bytes.count, "trailing byte is", "trailing bytes are") + " not a whole report");
    }
}

} // namespace cli
