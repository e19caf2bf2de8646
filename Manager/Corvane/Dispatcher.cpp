#include "Corvane/Dispatcher.h"

#include "Corvane/RequestTrace.h"
#include "Corvane/Values.h"

namespace corvane {

void Dispatcher::add(std::initializer_list<Command> commands) {
    for (const Command& command : commands) {
        commands_.emplace(command.name, Entry{command.handler});
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
        ++unknown_;
        constexpr std::size_t kLongestShown = 64;
        return Answer{Refusal{ResultCode::UnknownCommand, "there is no command '" +
                                                              std::string(request.command.substr(0, kLongestShown)) +
                                                              "'; corvane-protocol(7) lists those that there are"},
                      {}};
    }
    ++command->second.count;
    return command->second.handler(manager_, Call{session, request.id, request.argument});
}

std::optional<Answer> Dispatcher::fail(const Fault& fault, Session& session, std::uint64_t id) {
    switch (fault.kind) {
        case Fault::Kind::Result:
            session.answerResult(id, fault.result, fault.withoutDictionary ? "" : "this failure was asked for with --fault");
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

xpc::Object Dispatcher::figures() const {
    const xpc::Object served = dictionary({});
    for (const auto& [name, entry] : commands_) {
        if (entry.count > 0) {
            xpc_dictionary_set_value(served.get(), std::string(name).c_str(), number(static_cast<std::int64_t>(entry.count)).get());
        }
    }
    return dictionary({{"Served", served},
                       {"Refused", number(static_cast<std::int64_t>(refusals_))},
                       {"Unknown", number(static_cast<std::int64_t>(unknown_))}});
}

}  // namespace corvane
