/**
 * JSON that is built up as a whole and then printed. The sources that build it do not include the header of the library
 * that prints it, which takes longer to compile than they do.
 */
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace cli {

struct JsonMember;

/** One value. An object keeps its members in the order in which they were added. */
class Json {
public:
    using Members = std::vector<JsonMember>;

    /** Null, until it gets its first member or element. */
    Json();
    template <std::same_as<bool> Bool>
    Json(Bool truth) : Json() { // NOLINT(google-explicit-constructor): values are assigned as they are
        set(truth);
    }
    template <std::unsigned_integral Number>
    requires(!std::same_as<Number, bool>) Json(Number number) : Json() { // NOLINT(google-explicit-constructor)
        set(std::uint64_t{number});
    }
    template <std::signed_integral Number>
    Json(Number number) : Json() { // NOLINT(google-explicit-constructor)
        set(std::int64_t{number});
    }
    Json(double number);         // NOLINT(google-explicit-constructor)
    Json(std::string text);      // NOLINT(google-explicit-constructor)
    Json(std::string_view text); // NOLINT(google-explicit-constructor)
    Json(const char *text);      // NOLINT(google-explicit-constructor)
    Json(const Json &other);
    Json(Json &&other) noexcept;
    Json &operator=(const Json &other);
    Json &operator=(Json &&other) noexcept;
    ~Json();

    static Json array();
    /** @param members  their keys are distinct; that is not checked. */
    static Json object(Members members);
    static Json object();

    /** The member with this key, which is added when there is none. The value must be an object or null. */
    Json &operator[](std::string_view key);

    /** The value must be an array or null. */
    void push_back(Json element);

    /** Two spaces for each level, no newline at the end. @throws std::exception for a text that is not UTF-8. */
    std::string dump() const;

private:
    // Not inline: where the constructors are compiled, the variant's types are incomplete.
    void set(bool truth);
    void set(std::uint64_t number);
    void set(std::int64_t number);

    void append_to(std::string &text, std::size_t level) const;

    std::variant<std::nullptr_t, bool, std::int64_t, std::uint64_t, double, std::string, std::vector<Json>, Members>
        _value;
};

struct JsonMember {
    std::string key;
    Json value;
};

} // namespace cli
