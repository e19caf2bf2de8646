#include "Corvane/requests/Dispatcher.h"

#include "Corvane/requests/Services.h"
#include "Corvane/support/Text.h"

#include <fmt/format.h>

#include <algorithm>

namespace corvane {

void Dispatcher::add(std::initializer_list<Command> commands) {
    for (const Command& command : commands) {
        commands_.emplace(command.name, Entry{command, services_.commandFigures().served[command.name]});
    }
}

std::vector<std::string_view> Dispatcher::names() const {
    std::vector<std::string_view> names;
    for (const auto& [name, entry] : commands_) {
        names.push_back(name);
    }
    std::ranges::sort(names);
    return names;
}

void Dispatcher::countRefusal() {
    ++services_.commandFigures().refused;
}

std::optional<Answer> Dispatcher::dispatch(const ryn::wire::Request& request, const Requester& requester, const Later& later) {
    if (substitute_) {
        return substitute_(request, requester, later);
    }
    const auto entry = commands_.find(request.command);
    if (entry == commands_.end()) {
        ++services_.commandFigures().unknown;
        constexpr std::size_t kLongestShown = 64;
        return Answer(Refusal::unknownCommand(fmt::format(
            "There is no command '{}'; corvane-protocol(7) lists those that there are.", cut(request.command, kLongestShown))));
    }
    auto& [command, count] = entry->second;
    ++count;
    return command.effect == Effect::Reads ? command.serve(services_, request.argument, later)
                                           : change(command, request.argument, requester, later);
}

std::optional<Answer> Dispatcher::change(const Command& command, const xpc::Object& argument, const Requester& requester,
                                         const Later& later) {
    // The client may have gone by the time of the answer.
    const auto recordedLater = [&](std::function<void()> abandon) -> AnswerCompletion {
        return [requester, name = command.name, answer = later(std::move(abandon))](Answer answered) {
            audit(requester, name, answered);
            answer(std::move(answered));
        };
    };
    auto answered = command.serve(services_, argument, recordedLater);
    if (answered) {
        audit(requester, command.name, *answered);
    }
    return answered;
}

}  // namespace corvane
