#include "Corvane/baseband/modemmanager/SystemBus.h"

#include "Corvane/baseband/modemmanager/BusValue.h"
#include "Corvane/support/Text.h"

#include <sys/socket.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace corvane::modemmanager {
namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds kFirstPause = 100ms;
constexpr std::chrono::milliseconds kLongestPause = 5s;
constexpr std::chrono::milliseconds kLastCallsLimit = 1s;

std::string orEmpty(const char* text) {
    return text == nullptr ? std::string() : std::string(text);
}

}  // namespace

xpc::Object BusReply::argument(std::size_t index) const {
    return xpc::Object::share(xpc_array_get_value(arguments.get(), index));
}

BusError SystemBus::disconnected() {
    return {SD_BUS_ERROR_DISCONNECTED, "there is no connection to the system bus", BusError::Cause::Aborted};
}

/// Where there is no memory for what the bus says, the connection ends as if the bus had closed it, and all is asked anew.
template <typename Task>
void SystemBus::withinMemory(const Task& task) {
    if (!loop_.withinMemory(task)) {
        shutdown(sd_bus_get_fd(connection_.get()), SHUT_RDWR);
    }
}

void SystemBus::connect() {
    connection_.reset();
    if (const int result = open(); result < 0) {
        lose(std::strerror(-result));
        return;
    }
    listener_.busConnected();
}

/// Starts to connect and returns; what is sent meanwhile goes out once the bus has said hello.
int SystemBus::open() {
    sd_bus* opened = nullptr;
    if (const int result = sd_bus_open_system(&opened); result < 0) {
        return result;
    }
    connection_.reset(opened);
    const auto lost = [](sd_bus_message*, void* bus, sd_bus_error*) {
        SystemBus& self = *static_cast<SystemBus*>(bus);
        self.loop_.withinMemory([&] { self.lose("the bus closed the connection"); });
        return 0;
    };
    int result = sd_bus_match_signal_async(opened, nullptr, "org.freedesktop.DBus.Local", "/org/freedesktop/DBus/Local",
                                           "org.freedesktop.DBus.Local", "Disconnected", lost, nullptr, this);
    const auto signalled = [](sd_bus_message* message, void* bus, sd_bus_error*) {
        SystemBus& self = *static_cast<SystemBus*>(bus);
        self.withinMemory([&] {
            self.listener_.busSignal({orEmpty(sd_bus_message_get_path(message)), orEmpty(sd_bus_message_get_interface(message)),
                                      orEmpty(sd_bus_message_get_member(message)), readArguments(message)});
        });
        return 0;
    };
    for (const std::string& match : matches_) {
        result = std::min(result, sd_bus_add_match_async(opened, nullptr, match.c_str(), signalled, nullptr, this));
    }
    result = std::min(result, endAtExit());
    return std::min(result, sd_bus_attach_event(opened, &loop_.event(), SD_EVENT_PRIORITY_NORMAL));
}

/// Runs before sd-bus's own end of the loop, which waits until all is sent: 90 s when the bus doesn't answer.
int SystemBus::endAtExit() {
    const auto exiting = [](sd_event_source*, void* bus) {
        static_cast<SystemBus*>(bus)->end();
        return 0;
    };
    sd_event_source* source = nullptr;
    if (const int result = sd_event_add_exit(&loop_.event(), &source, exiting, this); result < 0) {
        return result;
    }
    exit_.reset(source);
    return sd_event_source_set_priority(source, SD_EVENT_PRIORITY_IMPORTANT);
}

/// Whoever answers the last calls may ask the bus who makes them, so the connection stays until they are answered.
void SystemBus::end() {
    ending_ = true;
    listener_.busEnding();
    const auto deadline = std::chrono::steady_clock::now() + kLastCallsLimit;
    while (std::ranges::any_of(calls_, &Call::isLast) && sd_bus_is_ready(connection_.get()) > 0) {
        const std::chrono::microseconds left =
            std::chrono::duration_cast<std::chrono::microseconds>(deadline - std::chrono::steady_clock::now());
        const int processed = sd_bus_process(connection_.get(), nullptr);
        if (left.count() <= 0 || processed < 0) {
            break;
        }
        if (processed == 0) {
            sd_bus_wait(connection_.get(), static_cast<std::uint64_t>(left.count()));
        }
    }
    stop();
}

/// The connection itself is dropped later: sd-bus may be at work in it.
void SystemBus::lose(const std::string& why) {
    pause_ = std::clamp(pause_ * 2, kFirstPause, kLongestPause);
    retry_.set(pause_, [this] { connect(); });
    listener_.busLost(why);
}

void SystemBus::stop() {
    retry_.cancel();
    std::vector<Handler> handlers;
    for (Call& call : calls_) {
        handlers.push_back(std::move(call.handler));
    }
    calls_.clear();
    connection_.reset();
    for (const Handler& handler : handlers) {
        handler(BusReply{BusError{SD_BUS_ERROR_DISCONNECTED, "the manager is stopping", BusError::Cause::Aborted}, {}});
    }
}

SystemBus::Message SystemBus::compose(const BusMethod& method) const {
    sd_bus_message* message = nullptr;
    if (!connection_ || sd_bus_message_new_method_call(connection_.get(), &message, method.destination, method.path.c_str(),
                                                       method.interface, method.member) < 0) {
        return {};
    }
    sd_bus_message_set_auto_start(message, 0);
    return Message(message);
}

void SystemBus::send(sd_bus_message* message, std::chrono::seconds limit, Handler handler) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    const auto call = calls_.insert(
        calls_.end(), Call{*this, orEmpty(sd_bus_message_get_path(message)), std::move(handler), deadline, ending_, {}, {}});
    call->self = call;
    const auto answered = [](sd_bus_message* reply, void* data, sd_bus_error*) {
        Call& asked = *static_cast<Call*>(data);
        SystemBus& bus = asked.bus;
        bus.withinMemory([&] { bus.answer(asked, reply); });
        return 0;
    };
    sd_bus_slot* slot = nullptr;
    const auto microseconds = static_cast<std::uint64_t>(std::chrono::microseconds(limit).count());
    if (sd_bus_call_async(connection_.get(), &slot, message, answered, &*call, microseconds) < 0) {
        const Handler unsent = std::move(call->handler);
        calls_.erase(call);
        unsent(BusReply{disconnected(), {}});
        return;
    }
    call->slot.reset(slot);
    loop_.rearm();
}

void SystemBus::answer(Call& call, sd_bus_message* message) {
    const Handler handler = std::move(call.handler);
    const std::string path = std::move(call.path);
    const bool late = std::chrono::steady_clock::now() >= call.deadline;
    calls_.erase(call.self);
    const sd_bus_error* error = sd_bus_message_get_error(message);
    if (error == nullptr) {
        pause_ = {};
        handler(BusReply{{}, readArguments(message)});
        return;
    }
    // Nobody but sd-bus and the bus itself say NoReply: to a call whose time is up, or whose answerer is gone.
    const bool unanswered = sd_bus_error_has_name(error, SD_BUS_ERROR_NO_REPLY) != 0;
    const auto cause = !unanswered ? BusError::Cause::Answered : late ? BusError::Cause::TimedOut : BusError::Cause::Aborted;
    handler(BusReply{BusError{orEmpty(error->name), escaped(orEmpty(error->message)), cause, path}, {}});
}

}  // namespace corvane::modemmanager
