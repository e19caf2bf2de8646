#pragma once

#include "Client/wire/Packet.h"
#include "Corvane/requests/Audit.h"
#include "Corvane/requests/Command.h"
#include "Corvane/requests/FaultRules.h"

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace corvane {

/// Finds the handler of each request.
class Dispatcher {
public:
    /// @param services what the handlers work on; outlives this.
    Dispatcher(Services& services, FaultRules faults) : services_(services), faults_(std::move(faults)) {}

    void add(std::initializer_list<Command> commands);
    /// The names of all commands, in ascending order.
    std::vector<std::string_view> names() const;
    /// What answers every request in the commands' place.
    using Substitute = std::function<std::optional<Answer>(const ryn::wire::Request&, const Requester&, const Later&)>;
    void answerBy(Substitute substitute) { substitute_ = std::move(substitute); }

    /// What fails on purpose. Whoever converses with the client carries a fault out.
    const FaultRules& faults() const { return faults_; }
    /// nullopt when the answer comes through `later`. A change is on record before its answer.
    std::optional<Answer> dispatch(const ryn::wire::Request& request, const Requester& requester, const Later& later);
    /// Counts every answer that was a refusal.
    void countRefusal();

private:
    struct Entry {
        Command command;
        std::uint64_t& count;
    };

    std::optional<Answer> change(const Command& command, const xpc::Object& argument, const Requester& requester,
                                 const Later& later);

    Services& services_;
    FaultRules faults_;
    std::unordered_map<std::string_view, Entry> commands_;
    Substitute substitute_;  ///< may be empty
};

}  // namespace corvane
