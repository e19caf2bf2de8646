#include "Corvane/requests/FaultRules.h"

#include "Corvane/support/Text.h"

#include <fmt/format.h>

#include <limits>
#include <utility>

namespace corvane {

namespace {

constexpr std::string_view kWithoutDictionary = ":nodict";
constexpr std::pair<std::string_view, Fault::Kind> kKinds[] = {
    {"drop", Fault::Kind::Drop}, {"hang", Fault::Kind::Hang}, {"malformed", Fault::Kind::Malformed}};

/// A result, signed or as the 32 bits that it is made of.
std::optional<std::int32_t> parseResult(std::string_view word) {
    const bool hexadecimal = word.starts_with("0x") || word.starts_with("0X");
    const auto number = hexadecimal ? parseNumber(word.substr(2), 16) : parseNumber(word);
    if (!number || *number < std::numeric_limits<std::int32_t>::min() || *number > std::numeric_limits<std::uint32_t>::max() ||
        *number == 0) {
        return std::nullopt;
    }
    return static_cast<std::int32_t>(*number);
}

std::optional<Fault> parseFault(std::string_view word) {
    for (const auto& [name, kind] : kKinds) {
        if (word == name) {
            return Fault{kind};
        }
    }
    const bool withoutDictionary = word.ends_with(kWithoutDictionary);
    if (withoutDictionary) {
        word.remove_suffix(kWithoutDictionary.size());
    }
    const auto result = parseResult(word);
    return result ? std::optional(Fault{Fault::Kind::Result, *result, withoutDictionary}) : std::nullopt;
}

}  // namespace

Result<void> FaultRules::add(std::string_view rule) {
    const std::size_t equals = rule.find('=');
    const auto fault = equals == std::string_view::npos || equals == 0 ? std::nullopt : parseFault(rule.substr(equals + 1));
    if (!fault) {
        return Refusal::invalidArgument(fmt::format(
            "--fault: '{}' is no fault rule: COMMAND=RESULT[:nodict], COMMAND=drop, COMMAND=hang or COMMAND=malformed is, "
            "with a RESULT that is not 0",
            rule));
    }
    rules_.insert_or_assign(std::string(rule.substr(0, equals)), *fault);
    return {};
}

}  // namespace corvane
