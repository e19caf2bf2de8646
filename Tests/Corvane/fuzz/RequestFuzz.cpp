#include "Corvane/baseband/simulated/SimulatedBaseband.h"
#include "Corvane/clients/Session.h"
#include "Corvane/loop/Loop.h"
#include "Corvane/requests/Dispatcher.h"
#include "Corvane/requests/Services.h"
#include "Corvane/requests/commands/Commands.h"
#include "Corvane/support/Log.h"
#include "support/Standard.h"

namespace {

using corvane::Session;

/// A client's answers must be packets of the protocol.
void check(std::span<const std::uint8_t> packet) {
    if (!ryn::wire::decode(packet)) {
        std::abort();
    }
}

corvane::Result<corvane::ListeningSocket> noStream() {
    return corvane::Refusal::notSupported("There are no sockets here.");
}

/// The whole manager but its sockets.
struct Fuzzed {
    Fuzzed() {
        setenv("XDG_CONFIG_HOME", folder_.path().c_str(), 1);
        corvane::log::setLevel(corvane::log::Level::Error);
        store_ = std::move(*corvane::SettingsStore::open(folder_.path()));
        services_.emplace(*store_, folder_.path(), *loop_, corvane::DiagTrace::StreamAccess{noStream, [](int) { return false; }});
        dispatcher_.emplace(*services_, corvane::FaultRules());
        corvane::addAllCommands(*dispatcher_);
        services_->start(std::make_unique<corvane::SimulatedBaseband>(*loop_, *store_, std::nullopt),
                         [](const char*, const xpc::Object&) {});
    }

    /// @param input packets, each behind its length in two bytes.
    void converse(std::span<const std::uint8_t> input) {
        const auto session = std::make_shared<Session>(*dispatcher_, corvane::Requester{}, check);
        while (input.size() >= 2) {
            const std::size_t length = std::min<std::size_t>(std::size_t{input[0]} << 8U | input[1], input.size() - 2);
            if (!session->receive(input.subspan(2, length))) {
                return;
            }
            input = input.subspan(2 + length);
        }
        loop_->defer([this] { loop_->rearm(); });  // whatever there is to do, and no waiting
        loop_->turn();
    }

private:
    support::TempFolder folder_;
    std::unique_ptr<corvane::Loop> loop_ = std::move(*corvane::Loop::make());
    std::unique_ptr<corvane::SettingsStore> store_;
    std::optional<corvane::Services> services_;
    std::optional<corvane::Dispatcher> dispatcher_;
};

}  // namespace

/// What a request leaves behind on purpose, such as a counter, is no leak, but would be looked for after each; the tests look for
/// leaks when the manager ends.
extern "C" const char* __asan_default_options() {  // NOLINT(bugprone-reserved-identifier)
    return "detect_leaks=0";
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Fuzzed fuzzed;
    fuzzed.converse({data, size});
    return 0;
}
