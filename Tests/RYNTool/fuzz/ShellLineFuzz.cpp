#include "Client/wire/Packet.h"
#include "commands/Groups.h"
#include "platform/console/StandardStreams.h"
#include "platform/dispatch/Queue.h"
#include "platform/ryn/client.h"
#include "platform/xpc/Values.h"
#include "shell/CommandShell.h"

#include <algorithm>
#include <cstdlib>
#include <span>

// Lines typed at the prompt of the real tree, and a manager in this process that answers what the input says: what the tool asks
// of it must fit the wire, whatever was typed, and whatever is answered must end the command.

namespace {

namespace wire = ryn::wire;

/// The packets that the manager sends, each behind its length in one byte; begins anew when they are used up.
class Manager {
public:
    void begin(std::span<const std::uint8_t> packets) { packets_ = rest_ = packets; }

    int answer(std::string_view command, const xpc::Object& argument, xpc::Object& reply) {
        std::vector<std::uint8_t> bytes;
        if (command.empty() || !wire::encode(wire::Request{1, command, argument}, bytes)) {
            std::abort();
        }
        const auto packet = next();
        const auto* given = packet ? std::get_if<wire::Reply>(&*packet) : nullptr;
        reply = given != nullptr && given->object ? given->object : reply;
        return given != nullptr ? given->result : -1;
    }

    xpc::Object payload() {
        const auto packet = next();
        const auto* given = packet ? std::get_if<wire::Event>(&*packet) : nullptr;
        return given != nullptr ? given->payload : xpc::Object();
    }

private:
    std::optional<wire::Packet> next() {
        rest_ = rest_.empty() ? packets_ : rest_;
        if (rest_.empty()) {
            return std::nullopt;
        }
        const std::size_t length = std::min<std::size_t>(rest_[0], rest_.size() - 1);
        const auto packet = rest_.subspan(1, length);
        rest_ = rest_.subspan(1 + length);
        return wire::decode(packet);
    }

    std::span<const std::uint8_t> packets_;
    std::span<const std::uint8_t> rest_;
};

Manager manager;

class Shell : public CommandShell {
public:
    std::shared_ptr<CommandBase> createRootCommand(const Words&) override {
        return createRYNCommand("ryntool", {}, {}, dispatch::Queue("fuzz.queue").get());
    }
};

std::span<const std::uint8_t> lines;  ///< not yet read

}  // namespace

/// What is typed comes from the input, and what is printed goes nowhere.
namespace platform {

std::size_t readStandardInput(char* buffer, std::size_t size) {
    const auto taken = lines.first(std::min(size, lines.size()));
    lines = lines.subspan(taken.size());
    std::ranges::copy(taken, buffer);
    return taken.size();
}

int writeStandardStream(Stream, std::string_view) {
    return 0;
}

}  // namespace platform

namespace ryn::client {

ManagerPtr CreateManager(const std::string&, dispatch_queue_t) {
    return {};
}

int PerformCommand(ManagerPtr, const std::string& command, const xpc::Object& argument, xpc::Object& reply) {
    return ::manager.answer(command, argument, reply);
}

void PerformCommand(ManagerPtr, const std::string& command, Completion completion, const xpc::Object& argument) {
    xpc::Object reply;
    const int result = ::manager.answer(command, argument, reply);
    completion(result, reply);
}

void RegisterEventHandler(ManagerPtr, const std::string&, EventHandler handler) {
    handler(::manager.payload());
    handler(::manager.payload());
}

void EventsOn(ManagerPtr) {}

void EventsOff(ManagerPtr) {}

void CollectTraceLogs(ManagerPtr, const std::string& reason, Completion completion) {
    PerformCommand({}, "CollectTraceLogs", std::move(completion), xpc::text(reason));
}

int AddTraceFilter(ManagerPtr, const std::string& filter, const xpc::Object& value) {
    xpc::Object reply;
    return ::manager.answer(filter, value, reply);
}

int RemoveTraceFilter(ManagerPtr, const std::string& filter) {
    return AddTraceFilter({}, filter, xpc::null());
}

int GetTraceFilters(ManagerPtr, xpc::Object& filters) {
    return ::manager.answer("GetTraceFilters", xpc::null(), filters);
}

}  // namespace ryn::client

/// The lines, a zero byte, and the packets of the manager.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::span input(data, size);
    const auto end = std::ranges::find(input, 0);
    const auto length = static_cast<std::size_t>(end - input.begin());
    manager.begin(end == input.end() ? input.first(0) : input.subspan(length + 1));
    lines = input.first(length);
    std::make_shared<Shell>()->run({"ryntool"});
    return 0;
}
