#include "host/device/byte_source.h"

#include <algorithm>
#include <utility>

#include "qor/report.h"

namespace host {

ByteSource::ByteSource(Kind kind, std::vector<std::byte> bytes) : _kind(kind), _bytes(std::move(bytes)) {}

std::size_t ByteSource::read(std::span<std::byte> out) {
    const std::size_t room = _kind == Kind::Stream ? out.size() / qor::kReportSize * qor::kReportSize : out.size();
    const std::span<const std::byte> rest = std::span(_bytes).subspan(_position);
    const std::span<const std::byte> given = rest.first(std::min(room, rest.size()));
    std::ranges::copy(given, out.begin());
    if (_kind == Kind::Stream) {
        _position = given.size() == rest.size() ? 0 : _position + given.size();
    }
    return given.size();
}

} // namespace host
