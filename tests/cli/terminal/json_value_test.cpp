#include "cli/terminal/json_value.h"

#include <cstdint>
#include <exception>
#include <limits>
#include <string>
#include <utility>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using cli::Json;

namespace {

/** Values of every kind, in objects and arrays, of either type of JSON value. */
template <typename Value>
Value every_kind() {
    Value numbers = Value::array();
    for (const double number : {0.0, -0.0, 1.0, 0.1, 1e15, 1e16, 1e-5, 1.5e300, 5e-324, 123456789.125}) {
        numbers.push_back(number);
    }
    numbers.push_back(std::numeric_limits<std::int64_t>::min());
    numbers.push_back(std::numeric_limits<std::uint64_t>::max());
    numbers.push_back(std::uint8_t{255});
    Value value;
    value["text \"\\\x01\n\x7f\xC3\xA4"] = "\"\\/\b\f\n\r\t\x1f\x7f\xC3\xA4\xE2\x82\xAC";
    value["numbers"] = std::move(numbers);
    value["truths"].push_back(true);
    value["truths"].push_back(false);
    value["nothing"] = Value();
    value["empty array"] = Value::array();
    value["empty object"] = Value::object();
    value["a"]["b"]["c"] = std::string("deep");
    value["a"]["z"] = 1;
    value["a"]["b"]["a"] = 2;
    return value;
}

TEST(JsonTest, IsPrintedAsTheLibraryPrintsIt) {
    EXPECT_EQ(every_kind<Json>().dump(), every_kind<nlohmann::ordered_json>().dump(2));
    EXPECT_EQ(Json().dump(), "null");
    EXPECT_EQ(Json::array().dump(), "[]");
}

TEST(JsonTest, MembersKeepTheirOrderAndTheLastValueOfAKey) {
    Json object = Json::object({{"z", 1}, {"a", 2}});
    object["m"] = 3;
    object["z"] = 4;

    EXPECT_EQ(object.dump(), "{\n  \"z\": 4,\n  \"a\": 2,\n  \"m\": 3\n}");
}

TEST(JsonTest, ACopyIsItsOwn) {
    Json first;
    first["list"].push_back(1);
    Json second = first;
    second["list"].push_back(2);

    EXPECT_EQ(first.dump(), "{\n  \"list\": [\n    1\n  ]\n}");
    EXPECT_EQ(second.dump(), "{\n  \"list\": [\n    1,\n    2\n  ]\n}");
}

TEST(JsonTest, ATextThatIsNoUtf8IsRefused) {
    EXPECT_THROW(Json("\xFF").dump(), std::exception);
    EXPECT_THROW(Json::object({{"\xFF", 1}}).dump(), std::exception);
}

} // namespace
