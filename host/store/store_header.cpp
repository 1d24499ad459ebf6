#include "host/store/store_header.h"

#include <algorithm>
#include <string_view>

namespace host {

// Offsets of the SQLite file format.
constexpr std::size_t kWriteVersion = 18; // 1: with a rollback journal; 2: with a write-ahead log
constexpr std::size_t kReadVersion = 19;  // the same
constexpr std::size_t kApplication = 68;  // big-endian

StoreHeader::StoreHeader(std::span<const std::byte> file) : _bytes{} {
    if (file.size() >= _bytes.size()) {
        std::transform(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(_bytes.size()), _bytes.begin(),
                       [](std::byte byte) { return std::to_integer<unsigned char>(byte); });
    }
}

bool StoreHeader::is_of_store() const {
    constexpr std::string_view kMagic("SQLite format 3\0", 16);
    std::int64_t number = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        number = number << 8 | _bytes[kApplication + i];
    }
    return std::equal(kMagic.begin(), kMagic.end(), _bytes.begin(),
                      [](char expected, unsigned char byte) { return static_cast<unsigned char>(expected) == byte; }) &&
           number == kApplicationNumber;
}

bool StoreHeader::is_writable() const {
    return _bytes[kWriteVersion] == _bytes[kReadVersion] && (_bytes[kWriteVersion] == 1 || _bytes[kWriteVersion] == 2);
}

} // namespace host
