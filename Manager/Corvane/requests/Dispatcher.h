#pragma once

#include "Corvane/clients/Session.h"
#include "Corvane/requests/FaultRules.h"

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string_view>
#include <unordered_map>

namespace corvane {

class Manager;

/// One request that a handler works on.
struct Call {
    Session& session;
    std::uint64_t id;
    const xpc::Object& argument;

    /// For what takes time: the answer is given through what this returns, and the handler returns nothing.
    AnswerCompletion later() const { return session.answerLater(id); }
};

/// Answers at once, or returns nothing and answers later.
using Handler = std::optional<Answer> (*)(Manager& manager, const Call& call);

struct Command {
    const char* name;
    Handler handler;
};

/// The commands that clients may send, each with its handler.
class Dispatcher {
public:
    /// @param manager what the handlers work on; outlives this.
    Dispatcher(Manager& manager, FaultRules faults);

    void add(std::initializer_list<Command> commands);

    /// nullopt when the answer comes later, or never.
    std::optional<Answer> dispatch(Session& session, const ryn::wire::Request& request);
    /// Counts every answer that was a refusal.
    void countRefusal();

private:
    struct Entry {
        Handler handler;
        std::uint64_t& count;
    };

    std::optional<Answer> fail(const Fault& fault, Session& session, std::uint64_t id);

    Manager& manager_;
    FaultRules faults_;
    std::unordered_map<std::string_view, Entry> commands_;
};

}  // namespace corvane
