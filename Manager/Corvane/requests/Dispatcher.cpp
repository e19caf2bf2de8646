#include "Corvane/requests/Dispatcher.h"

#include "Corvane/requests/Manager.h"
#include "Corvane/requests/RequestTrace.h"
#include "Corvane/support/Text.h"

namespace corvane {

Dispatcher::Dispatcher(Manager& manager, FaultRules faults) : manager_(manager), faults_(std::move(faults)) {}

void Dispatcher::countRefusal() {
    ++manager_.commandFigures().refused;
}

void Dispatcher::add(std::initializer_list<Command> commands) {
    for (const Command& command : commands) {
        commands_.emplace(command.name, Entry{command.handler, manager_.commandFigures().served[command.name]});
    }
}

std::optional<Answer> Dispatcher::dispatch(Session& session, const ryn::wire::Request& request) {
    if (trace::isOn()) {
        trace::request(session.clientName(), request);
    }
    if (const Fault* fault = faults_.find(request.command); fault != nullptr) {
        return fail(*fault, session, request.id);
    }
    const auto command = commands_.find(request.command);
    if (command == commands_.end()) {
        ++manager_.commandFigures().unknown;
        constexpr std::size_t kLongestShown = 64;
        return Answer{
            Refusal{ResultCode::UnknownCommand, "There is no command '" + std::string(cut(request.command, kLongestShown)) +
                                                    "'; corvane-protocol(7) lists those that there are."},
            {}};
    }
    ++command->second.count;
    return command->second.handler(manager_, Call{session, request.id, request.argument});
}

std::optional<Answer> Dispatcher::fail(const Fault& fault, Session& session, std::uint64_t id) {
    switch (fault.kind) {
        case Fault::Kind::Result:
            session.answerResult(id, fault.result, fault.withoutDictionary ? "" : "This failure was asked for with --fault.");
            break;
        case Fault::Kind::Drop:
            session.end("met a fault rule");
            break;
        case Fault::Kind::Hang:
            session.makeOutstanding(id);
            break;
        case Fault::Kind::Malformed:
            session.sendGarbage();
            break;
    }
    return std::nullopt;
}

}  // namespace corvane
