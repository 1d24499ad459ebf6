#include "cli/inputs/store_input.h"

#include <cstddef>
#include <string>
#include <vector>

#include "cli/terminal/input.h"

namespace cli {

host::StoreContents read_store(std::unique_ptr<ByteStream> stream) {
    if (stream->is_plain_file() && !stream->argument().empty() && stream->argument() != kStandardInputArgument) {
        const std::string path = stream->argument();
        stream.reset(); // closing it later would take away the database library's locks of the same file
        return host::read_analytics_store(path);
    }
    std::vector<std::byte> image = stream->read_all(host::kLargestStoreImage);
    return host::read_analytics_store_image(image, stream->name());
}

} // namespace cli
