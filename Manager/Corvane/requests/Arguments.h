#pragma once

#include "Corvane/support/Refusal.h"
#include "platform/xpc/Object.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace corvane {

/// Reads what a command carries. The first thing that is wrong becomes the refusal; what is read after that is of no use.
class Arguments {
public:
    enum class Need { Dictionary, DictionaryOrNull };
    /// Anything but what is needed is refused.
    explicit Arguments(const xpc::Object& argument, Need need = Need::Dictionary);

    /// In bytes. What clients send is kept while it waits, stands in logs, and comes back in refusals.
    static constexpr std::size_t kLongestText = 4096;

    /// Required. The text lives as long as the argument.
    std::string_view text(const char* key);
    std::string_view optionalText(const char* key, std::string_view fallback);
    std::int64_t number(const char* key, std::int64_t lowest, std::int64_t highest);
    std::optional<std::int64_t> optionalNumber(const char* key, std::int64_t lowest, std::int64_t highest);
    /// Required; null is nullopt.
    std::optional<std::int64_t> numberOrNull(const char* key);
    bool optionalFlag(const char* key, bool fallback);
    /// Required. Borrowed; nullptr when it is refused.
    xpc_object_t dictionary(const char* key);

    explicit operator bool() const { return !refusal_; }
    const std::optional<Refusal>& refusal() const { return refusal_; }
    void refuse(std::string sentence);

private:
    /// nullptr, and for a wrong type or a missing required key a refusal.
    xpc_object_t find(const char* key, xpc_type_t type, bool required);
    std::string_view textOf(const char* key, xpc_object_t value, std::string_view fallback);

    xpc::Object argument_;
    std::optional<Refusal> refusal_;
};

}  // namespace corvane
