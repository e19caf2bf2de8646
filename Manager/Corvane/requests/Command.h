#pragma once

#include "Corvane/requests/Answer.h"
#include "Corvane/requests/Arguments.h"

#include <functional>
#include <optional>
#include <tuple>
#include <type_traits>

namespace corvane {

class Services;

/// Makes a request wait: the completion answers it. `abandon`, if there is one, runs when the client goes before that.
using Later = std::function<AnswerCompletion(std::function<void()> abandon)>;

/// What a command does. One that changes something is put on record: who asked, and how it ended.
enum class Effect { Reads, Changes };

/// A command that clients may send: its name, what it does, its handler and its arguments.
///
/// A handler is a function that takes the services, then the value of each argument, and returns a result: void, or the reply's
/// dictionary. One that takes time has an AnswerCompletion after the services and returns nothing; one that isn't
/// to go on when its client has gone has the Later in its place. A handler without arguments
/// takes whatever a client sends.
struct Command {
    template <typename Handler, typename... Arguments>
    Command(const char* command, Effect does, Handler handler, Arguments... arguments) : name(command), effect(does) {
        static_assert(
            std::is_invocable_v<Handler, Services&, typename Arguments::Value...> ||
                std::is_invocable_v<Handler, Services&, AnswerCompletion, typename Arguments::Value...> ||
                std::is_invocable_v<Handler, Services&, Later, typename Arguments::Value...>,
            "a handler takes the services, maybe an AnswerCompletion or a Later, and the Value of each argument in its row");
        serve = [=](Services& services, const xpc::Object& argument, const Later& later) -> std::optional<Answer> {
            if constexpr (sizeof...(Arguments) > 0) {
                if (const auto checked = checkArgument(argument, (Arguments::kMandatory || ...)); !checked) {
                    return Answer(checked);
                }
            }
            const std::tuple<Result<typename Arguments::Value>...> values{arguments.read(argument)...};
            const auto call = [&](const auto&... value) -> std::optional<Answer> {
                std::optional<Answer> refused;
                ((!refused && !value ? void(refused = Answer(value.refusal())) : void()), ...);
                if (refused) {
                    return refused;
                }
                if constexpr (std::is_invocable_v<Handler, Services&, Later, typename Arguments::Value...>) {
                    std::invoke(handler, services, later, *value...);
                    return std::nullopt;
                } else if constexpr (std::is_invocable_v<Handler, Services&, AnswerCompletion, typename Arguments::Value...>) {
                    std::invoke(handler, services, later({}), *value...);
                    return std::nullopt;
                } else {
                    return Answer(std::invoke(handler, services, *value...));
                }
            };
            return std::apply(call, values);
        };
    }

    const char* name;
    Effect effect;
    /// Answers at once, or returns nothing and answers later.
    std::function<std::optional<Answer>(Services& services, const xpc::Object& argument, const Later& later)> serve;
};

}  // namespace corvane
