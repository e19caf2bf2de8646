#pragma once

#include <concepts>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#define RYN_API __attribute__((visibility("default")))

namespace ryn {

class Value;
using Array = std::vector<Value>;
using Dictionary = std::map<std::string, Value, std::less<>>;

/// What commands, replies and events carry: null, a boolean, an integer of 64 bits, a string, an array or a dictionary.
///
/// A packet has room for 131,072 bytes, 1,024 values and 16 levels of arrays and dictionaries. A string that isn't UTF-8 keeps
/// its bytes. A key is UTF-8 and ends at its first NUL.
class RYN_API Value {
public:
    Value() = default;  ///< null
    template <std::integral Number>
    Value(Number number) {
        if constexpr (std::same_as<Number, bool>) {
            content_ = number;
        } else {
            content_ = static_cast<std::int64_t>(number);
        }
    }
    Value(const char* text) : content_(std::string(text)) {}
    Value(std::string text) : content_(std::move(text)) {}
    Value(Array values) : content_(std::move(values)) {}
    Value(Dictionary entries) : content_(std::move(entries)) {}

    bool isNull() const { return std::holds_alternative<std::monostate>(content_); }
    // Absent, or nullptr, when it is of another kind.
    std::optional<bool> boolean() const;
    std::optional<std::int64_t> integer() const;
    const std::string* string() const { return std::get_if<std::string>(&content_); }
    const Array* array() const { return std::get_if<Array>(&content_); }
    const Dictionary* dictionary() const { return std::get_if<Dictionary>(&content_); }

    /// What stands under `key`; null when there is nothing, or this is no dictionary.
    const Value& operator[](std::string_view key) const;

    /// One line of JSON with the keys in ascending order; bytes that aren't UTF-8 show as U+FFFD.
    std::string toJson() const;

private:
    std::variant<std::monostate, bool, std::int64_t, std::string, Array, Dictionary> content_;
};

}  // namespace ryn
