#pragma once

#include "Corvane/baseband/OperatingMode.h"
#include "Corvane/support/Result.h"
#include "Corvane/support/Text.h"
#include "platform/xpc/Object.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

/// The arguments of commands. A command's row declares them, the dispatcher reads and checks them, and the handler gets their
/// values. Each kind of argument has the type `Value`, whether it is mandatory, and `read`, which takes a dictionary or null.
namespace corvane {

/// In bytes. What clients send is kept while it waits, stands in logs, and comes back in refusals.
inline constexpr std::size_t kLongestText = 4096;

/// A text, which lives as long as the dictionary.
struct Text {
    using Value = std::string_view;
    static constexpr bool kMandatory = true;
    const char* key;

    Result<Value> read(const xpc::Object& argument) const;
};

struct OptionalText {
    using Value = std::string_view;
    static constexpr bool kMandatory = false;
    const char* key;
    const char* fallback = "";

    Result<Value> read(const xpc::Object& argument) const;
};

/// nullopt when it is absent.
struct OptionalNumber {
    using Value = std::optional<std::int64_t>;
    static constexpr bool kMandatory = false;
    const char* key;
    std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
    std::int64_t highest = std::numeric_limits<std::int64_t>::max();

    Result<Value> read(const xpc::Object& argument) const;
};

struct Number : OptionalNumber {
    using Value = std::int64_t;
    static constexpr bool kMandatory = true;

    Result<Value> read(const xpc::Object& argument) const;
};

/// nullopt for null.
struct NumberOrNull {
    using Value = std::optional<std::int64_t>;
    static constexpr bool kMandatory = true;
    const char* key;

    Result<Value> read(const xpc::Object& argument) const;
};

/// The number of an operating mode.
struct Mode {
    using Value = OperatingMode;
    static constexpr bool kMandatory = true;
    const char* key;

    Result<Value> read(const xpc::Object& argument) const { return Number{key}.read(argument).then(operatingMode); }
};

struct OptionalFlag {
    using Value = bool;
    static constexpr bool kMandatory = false;
    const char* key;
    bool fallback;

    Result<Value> read(const xpc::Object& argument) const;
};

struct Dictionary {
    using Value = xpc::Object;
    static constexpr bool kMandatory = true;
    const char* key;

    Result<Value> read(const xpc::Object& argument) const;
};

/// Of any type; none when it is absent.
struct Anything {
    using Value = xpc::Object;
    static constexpr bool kMandatory = false;
    const char* key;

    Result<Value> read(const xpc::Object& argument) const;
};

template <typename T>
struct Named {
    const char* name;
    T value;
};

Refusal unknownChoice(const char* key, std::string_view name, const std::string& names);

/// One of the texts that `choices` names.
template <typename T, std::size_t count>
struct Choice {
    using Value = T;
    static constexpr bool kMandatory = true;
    const char* key;
    const Named<T> (&choices)[count];

    Result<T> read(const xpc::Object& argument) const {
        const auto name = Text{key}.read(argument);
        if (!name) {
            return name.refusal();
        }
        for (const Named<T>& choice : choices) {
            if (*name == choice.name) {
                return choice.value;
            }
        }
        return unknownChoice(key, *name, listed(choices, " or ", &Named<T>::name));
    }
};
/// Said for compilers that don't deduce the arguments of an aggregate by themselves (clang before 17).
template <typename T, std::size_t count>
Choice(const char*, const Named<T> (&)[count]) -> Choice<T, count>;

/// Refuses what is neither a dictionary nor, when nothing is mandatory, null.
Result<void> checkArgument(const xpc::Object& argument, bool mandatory);

}  // namespace corvane
