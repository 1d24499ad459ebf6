#include "decoder/payload_text.h"

#include <bit>
#include <cstdint>
#include <cstring>
#include <utility>

#include "decoder/line_notation.h"
#include "decoder/word_places.h"

namespace decoder {

namespace {

/** Where a report has the words of its payload. */
constexpr std::size_t kFirstWord = 16;
static_assert(kFirstWord + word_places::kWords * word_places::kWordBytes == _QorProfileReport::kSize);

/** Whether a field is a word of the payload in a column of ten characters. */
template <typename Field>
constexpr bool kIsWord = [] {
    constexpr const qor::Field &row = Field::row;
    const bool is_number = row.how == qor::How::Number && row.size == word_places::kWordBytes;
    const bool is_of_payload = row.offset >= kFirstWord && (row.offset - kFirstWord) % word_places::kWordBytes == 0;
    return is_number && is_of_payload && Field::width == word_places::kPlaces;
}();

/** The number of that word; 0 for other fields. */
template <typename Field>
constexpr std::size_t kWordOf = kIsWord<Field> ? (Field::row.offset - kFirstWord) / word_places::kWordBytes : 0;

/** A bit for each word that a payload shows. */
template <std::size_t payload>
constexpr std::uint8_t kWords = []<std::size_t... place>(std::index_sequence<place...>) {
    return static_cast<std::uint8_t>(
        (0U | ... | (unsigned{kIsWord<shown_field<payload, place>>} << kWordOf<shown_field<payload, place>>)));
}
(std::make_index_sequence<kFieldCount<payload>>{});

/** For a payload of several words, which become text together. */
struct words_notation : line_notation {
    words_notation(const _QorProfileReport &report, std::uint8_t words) {
        put_word_places(_places, report.bytes + kFirstWord, words);
    }

    template <typename Field, typename Value>
    [[gnu::always_inline]] char *put(char *out, const Value &value) const {
        if constexpr (kIsWord<Field>) {
            out = put_key<Field>(out);
            std::memcpy(out, _places.slots.data() + word_places::place_of(kWordOf<Field>), word_places::kPlaces);
            out[word_places::kPlaces] = ',';
            return out + word_places::kPlaces + 1;
        } else {
            return line_notation::put<Field>(out, value);
        }
    }

private:
    word_places _places;
};

/** Chooses what is faster for a payload. */
struct faster_notation : line_notation {
    template <std::size_t payload>
    static auto for_payload(const _QorProfileReport &report) {
        constexpr int kFewestWords = 4;
        if constexpr (std::popcount(kWords<payload>) >= kFewestWords) {
            return words_notation(report, kWords<payload>);
        } else {
            return line_notation();
        }
    }
};

} // namespace

void put_payload(text_stream &stream, const _QorProfileReport &report, std::size_t index) {
    char *const out = stream.room(kPayloadRooms<faster_notation>[index]);
    stream.commit(put_payload_fields<faster_notation>(out, report, index));
}

} // namespace decoder
