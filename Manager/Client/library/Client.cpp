#include "ryn/Client.h"

#include "Client/Bridge.h"
#include "Client/Failure.h"
#include "Client/Manager.h"
#include "Client/SignalsBlocked.h"
#include "Client/library/Conversions.h"
#include "platform/CoreFoundation/CoreFoundation.h"
#include "platform/dispatch/Queue.h"
#include "platform/ryn/constants.h"
#include "platform/xpc/Values.h"

#include <algorithm>
#include <condition_variable>
#include <future>
#include <mutex>
#include <thread>

namespace ryn {
namespace {

using client::Clock;

/// Between attempts to reach a manager that isn't there, while a state is waited for.
constexpr std::chrono::milliseconds kRetryAfter{250};

/// The thread that receives what nobody waits for in a call: one for all clients, from the first that needs it until the process
/// ends.
void startReceiving() {
    static std::once_flag started;
    std::call_once(started, [] {
        const client::SignalsBlocked blocked;
        std::thread(CFRunLoopRun).detach();
    });
}

client::Connector connectorOf(const Client::Options& options) {
    if (!options.bridge.empty()) {
        return client::Bridge(options.bridge);
    }
    return options.socket.empty() ? client::SocketPath() : client::SocketPath(options.socket);
}

Reply toReply(int result, const xpc::Object& object) {
    Reply reply{static_cast<std::uint32_t>(result), toValue(object.get()), ""};
    if (!reply) {
        const std::string* const sentence = reply.value[kKeyErrorString].string();
        reply.sentence = sentence == nullptr ? "The manager gave no reason." : *sentence;
    }
    return reply;
}

const char* nameOf(BootState state) {
    constexpr const char* kNames[] = {"Off", "Booting", "Ready", "Resetting"};
    return kNames[static_cast<std::size_t>(state)];
}

/// @param shown a state's name, with the reason behind it when the baseband failed to boot: "Off (sim-missing)"
bool shows(const std::string& shown, BootState state) {
    return std::string_view(shown).substr(0, shown.find(" (")) == nameOf(state);
}

/// From nothing to a year, so that no deadline overflows.
std::chrono::milliseconds bounded(std::chrono::milliseconds patience) {
    return std::clamp<std::chrono::milliseconds>(patience, patience.zero(), client::kLongestTimeout);
}

std::chrono::milliseconds timeoutOf(Client::Patience patience, std::string_view command, const xpc::Object& argument) {
    return patience ? bounded(*patience) : client::timeoutOf(command, argument);
}

bool isFromManager(const Reply& reply) {
    return reply.result >> 8U == 0xE020E1;
}

}  // namespace

class Client::Implementation {
public:
    explicit Implementation(const Options& options)
        : manager_(
              std::make_shared<client::Manager>(options.name, queue_.get(), connectorOf(options), client::Greeting::Answered)) {
        platform::addToRunLoop(manager_);
        const auto changed = [this](const xpc::Object&) {
            const std::lock_guard lock(mutex_);
            ++changes_;
            changed_.notify_all();
        };
        manager_->addEventHandler(kEventBasebandBootStateChange, changed);
        manager_->addConnectionHandler(changed);
    }
    ~Implementation() = default;
    Implementation(const Implementation&) = delete;
    Implementation& operator=(const Implementation&) = delete;

    client::Manager& manager() { return *manager_; }

    /// Returns when no handler runs any more. Until then they use the client as before.
    void close() {
        manager_->closeForGood();
        // Each block runs behind all that was handed to the queue before it: what handlers perform until the first one runs has
        // been answered when the second one does.
        const auto isIdle = std::make_shared<std::promise<void>>();
        dispatch_async(queue_.get(), [this, isIdle] {
            isOver_ = true;
            dispatch_async(queue_.get(), [isIdle] { isIdle->set_value(); });
        });
        isIdle->get_future().wait();
    }
    /// Whether a completion would not be called any more.
    bool isOver() const { return isOver_; }

    /// @param wanted +1 for whoever wants events, -1 when that is over
    void countEventUsers(int wanted) {
        const std::lock_guard lock(mutex_);
        eventUsers_ += wanted;
        manager_->setEvents(eventUsers_ > 0);
    }
    std::uint64_t changes() {
        const std::lock_guard lock(mutex_);
        return changes_;
    }
    void waitForChange(std::uint64_t seen, Clock::time_point deadline) {
        std::unique_lock lock(mutex_);
        changed_.wait_until(lock, deadline, [&] { return changes_ != seen; });
    }

private:
    const dispatch::Queue queue_{"ryn.client"};
    std::shared_ptr<client::Manager> manager_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::uint64_t changes_ = 0;  ///< of the boot state, or of the connection
    int eventUsers_ = 0;
    bool isOver_ = false;  ///< belongs to the queue once the client is being destroyed
};

Client::Client() : Client(Options{}) {}

Client::Client(const Options& options) : implementation_(std::make_unique<Implementation>(options)) {}

Client::~Client() {
    implementation_->close();
}

Reply Client::connect(Patience patience) {
    xpc::Object answer;
    const int result = implementation_->manager().greet(answer, timeoutOf(patience, "", {}));
    return toReply(result, answer);
}

Reply Client::perform(const std::string& command, const Value& argument, Patience patience) {
    const xpc::Object asked = toObject(argument);
    xpc::Object object;
    const int result = implementation_->manager().perform(command, asked, object, timeoutOf(patience, command, asked));
    return toReply(result, object);
}

void Client::perform(const std::string& command, const Value& argument, Completion completion, Patience patience) {
    if (implementation_->isOver()) {
        return;
    }
    startReceiving();
    const xpc::Object asked = toObject(argument);
    implementation_->manager().perform(
        command, asked,
        [completion = std::move(completion)](int result, const xpc::Object& object) { completion(toReply(result, object)); },
        timeoutOf(patience, command, asked));
}

void Client::onEvent(const std::string& name, EventHandler handler) {
    startReceiving();
    implementation_->manager().addEventHandler(
        name, [handler = std::move(handler)](const xpc::Object& payload) { handler(toValue(payload.get())); });
    implementation_->countEventUsers(1);
}

Reply Client::waitForState(BootState state, std::chrono::milliseconds patience) {
    startReceiving();
    patience = bounded(patience);
    const auto deadline = Clock::now() + patience;
    implementation_->countEventUsers(1);  // before the state is asked for, so that no change falls between
    std::string last = "the manager did not answer.";
    Reply reply;
    for (;;) {
        const std::uint64_t seen = implementation_->changes();
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        if (left <= left.zero()) {
            reply = {
                kTimedOut,
                {},
                std::string("The baseband was not ") + nameOf(state) + " within " + client::inSeconds(patience) + ": " + last};
            break;
        }
        reply = perform(kCommandGetBasebandBootState, {}, left);
        const std::string* const name = reply.value[kKeyBasebandBootState].string();
        if (isFromManager(reply) || (name != nullptr && shows(*name, state))) {
            break;
        }
        if (reply.result != kTimedOut) {
            last = name != nullptr ? "it was " + *name + " last." : reply.sentence;
        }
        implementation_->waitForChange(seen, reply ? deadline : std::min(deadline, Clock::now() + kRetryAfter));
    }
    implementation_->countEventUsers(-1);
    return reply;
}

}  // namespace ryn
