#include "decoder/word_places.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "decoder/fastest_function.h"

namespace {

using decoder::word_places;

using PutPlaces = void (*)(word_places &places, const std::uint8_t *bytes, std::uint8_t wanted);

/** Zero, the greatest, those beside the powers of 10 and of 2, every digit before zeros, and many others. */
std::vector<std::uint32_t> numbers() {
    std::vector<std::uint32_t> all{0, ~0U};
    for (std::uint64_t power = 1; power <= ~0U; power *= 10) {
        all.insert(all.end(), {static_cast<std::uint32_t>(power - 1), static_cast<std::uint32_t>(power + 1)});
        for (std::uint64_t number = power; number < 10 * power && number <= ~0U; number += power) {
            all.push_back(static_cast<std::uint32_t>(number));
        }
    }
    for (unsigned bit = 0; bit < 32; ++bit) {
        all.insert(all.end(), {(1U << bit) - 1, 1U << bit, (1U << bit) + 1});
    }
    std::mt19937 random(20); // NOLINT(cert-msc51-cpp,cert-msc32-c): the same numbers every time
    for (int count = 0; count < 100'000; ++count) {
        all.push_back(static_cast<std::uint32_t>(random()) >> (count % 32));
    }
    return all;
}

/** Each number stands in each place once, beside others. */
void expect_right_places(PutPlaces put) {
    const std::vector<std::uint32_t> all = numbers();
    for (std::size_t first = 0; first < all.size(); ++first) {
        std::uint8_t bytes[word_places::kWords * word_places::kWordBytes];
        for (std::size_t word = 0; word < word_places::kWords; ++word) {
            const std::uint32_t number = all[(first + word) % all.size()];
            for (std::size_t byte = 0; byte < word_places::kWordBytes; ++byte) {
                bytes[word * word_places::kWordBytes + byte] = static_cast<std::uint8_t>(number >> (8 * byte));
            }
        }
        word_places places;
        put(places, bytes, 0xFF);
        for (std::size_t word = 0; word < word_places::kWords; ++word) {
            char expected[word_places::kPlaces + 1];
            std::snprintf(expected, sizeof expected, "%10u", all[(first + word) % all.size()]);
            const std::string_view text(places.slots.data() + word_places::place_of(word), word_places::kPlaces);
            ASSERT_EQ(text, expected) << "word " << word;
        }
    }
}

TEST(WordPlaces, AreThoseOfEachWordAlone) { expect_right_places(decoder::put_word_places); }

TEST(WordPlaces, WithoutVectorInstructionsAreTheSame) { expect_right_places(decoder::put_word_places_portably); }

TEST(WordPlaces, EachCanBeWantedAlone) {
    const std::uint8_t bytes[word_places::kWords * word_places::kWordBytes] = {
        0, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0, 5, 0, 0, 0, 6, 0, 0, 0, 7, 0, 0, 0};
    for (PutPlaces put : {decoder::put_word_places, decoder::put_word_places_portably}) {
        for (std::size_t word = 0; word < word_places::kWords; ++word) {
            word_places places;
            places.slots.fill('?');
            put(places, bytes, static_cast<std::uint8_t>(1 << word));
            EXPECT_EQ(std::string(places.slots.data() + word_places::place_of(word), word_places::kPlaces),
                      "         " + std::to_string(word));
        }
    }
}

// A function stays chosen for the rest of the process, so these are counted from its start, and by one test.
int calls_of_portable = 0;
int questions = 0; ///< what the processor has
int with_vectors(int number) { return number + 1; }
int portable(int number) {
    ++calls_of_portable;
    return number + 1;
}
bool has_them() {
    ++questions;
    return true;
}
bool lacks_them() {
    ++questions;
    return false;
}

TEST(FastestFunction, IsThatOfTheProcessorWhichIsAskedOnce) {
    for (int number : {1, 2}) {
        EXPECT_EQ((decoder::fastest_function<with_vectors, portable, has_them>::call(number)), number + 1);
    }
    EXPECT_EQ(questions, 1);
    EXPECT_EQ(calls_of_portable, 0);

    for (int number : {1, 2}) {
        EXPECT_EQ((decoder::fastest_function<with_vectors, portable, lacks_them>::call(number)), number + 1);
    }
    EXPECT_EQ(questions, 2);
    EXPECT_EQ(calls_of_portable, 2);
}

} // namespace
