// Opens any file as an input: what it is does not depend on how it is opened, and what it gives not on how it is read.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "cli/inputs/byte_stream.h"
#include "cli/inputs/content.h"
#include "cli/inputs/file_list.h"
#include "fuzz/input.h"
#include "fuzz/named_bytes.h"
#include "host/error.h"

namespace {

using fuzz::NamedBytes;
using fuzz::require;

/** What a stream gives, and how it ends. */
struct Reading {
    std::optional<cli::Content> content;
    cli::Packing packing = cli::Packing::None;
    std::vector<std::byte> bytes;
    std::string reason; ///< of the error; empty for none

    friend bool operator==(const Reading &, const Reading &) = default;
};

/** Two of the largest blocks of zstd. What unpacks to more is not read further. */
constexpr std::size_t kMostBytes = std::size_t{256} << 10;

/** More of them would only take longer. */
constexpr std::size_t kMostPieces = 4096;

/** Room for any piece. Made once: to make and clear it anew would take most of the time of an execution. */
std::span<std::byte> room_of(std::size_t size) {
    static std::vector<std::byte> room(kMostBytes);
    return std::span(room).first(size);
}

Reading read(std::span<const std::uint8_t> file, bool is_pipe, std::size_t room_size) {
    const NamedBytes named(file, is_pipe);
    const std::span<std::byte> room = room_of(room_size);
    Reading reading;
    try {
        cli::ByteStream stream(named.name());
        reading.content = stream.content();
        reading.packing = stream.packing();
        require(stream.is_plain_file() == (!is_pipe && reading.packing == cli::Packing::None),
                "only a plain file is one");
        for (std::size_t count = 1; count != 0 && reading.bytes.size() < kMostBytes;) {
            count = stream.read_some(room);
            reading.bytes.insert(reading.bytes.end(), room.begin(), room.begin() + static_cast<std::ptrdiff_t>(count));
        }
        reading.bytes.resize(std::min(reading.bytes.size(), kMostBytes));
    } catch (const host::Error &error) {
        require(error.file() == named.name(), "the error names the file", error.what());
        reading.reason = error.reason();
    }
    return reading;
}

void check_content(const Reading &reading, std::span<const std::uint8_t> file) {
    if (!reading.content) {
        require(cli::packing_of(std::as_bytes(file), true) != cli::Packing::None, "what is not packed is opened");
        return;
    }
    require(reading.packing == cli::packing_of(std::as_bytes(file), true), "the first bytes tell the packing");
    if (reading.packing == cli::Packing::None) {
        require(reading.reason.empty(), "what is not packed is read");
        require(std::ranges::equal(reading.bytes, std::as_bytes(file)), "what is not packed is given as it is");
        require(reading.content == cli::content_of(std::as_bytes(file), true), "the first bytes tell the content");
    } else if (reading.content->name != "a packed file within a packed file") {
        require(reading.content == cli::content_of(reading.bytes, true), "what is unpacked tells the content");
    }
}

void check_list(std::span<const std::uint8_t> file) {
    const NamedBytes named(file, false);
    try {
        for (const std::string &name : cli::read_file_list(named.name())) {
            require(!name.empty() && name.find('\0') == std::string::npos, "a listed name is a name");
        }
    } catch (const host::Error &error) {
        require(error.file() == named.name(), "the error names the list", error.what());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Input input(data, size);
    const bool is_pipe = (input.byte() & 1) != 0;
    const std::size_t wanted_room = std::size_t{input.byte()} + 1;
    const std::span<const std::uint8_t> file = input.rest();
    if (file.size() > NamedBytes::kPipeHolds) {
        return 0;
    }
    const Reading at_once = read(file, false, kMostBytes);
    const std::size_t room = std::max(wanted_room, at_once.bytes.size() / kMostPieces);
    require(read(file, is_pipe, room) == at_once, "pieces of any size and a pipe give the same");
    check_content(at_once, file);
    check_list(file);
    return 0;
}
