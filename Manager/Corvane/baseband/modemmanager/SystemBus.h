#pragma once

#include "Corvane/loop/Timer.h"
#include "platform/xpc/Object.h"

#include <systemd/sd-bus.h>

#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace corvane::modemmanager {

/// A D-Bus error, or one of our own for an answer that never came.
struct BusError {
    enum class Cause { Answered, TimedOut, Aborted };

    std::string name;  ///< "org.freedesktop.DBus.Error.UnknownMethod", ...
    std::string message;
    Cause cause = Cause::Answered;
    std::string path = {};  ///< of the object that was asked
};

struct BusReply {
    std::optional<BusError> error;
    xpc::Object arguments;  ///< an array; none with an error

    /// None when there are fewer.
    xpc::Object argument(std::size_t index) const;
};

struct BusSignal {
    std::string path;
    std::string interface;
    std::string member;
    xpc::Object arguments;  ///< an array
};

struct BusMethod {
    const char* destination;
    std::string path;
    const char* interface;
    const char* member;
};

class BusListener {
public:
    virtual ~BusListener() = default;
    /// Calls may be made from now on; all matches stand before any of them.
    virtual void busConnected() = 0;
    /// Outstanding calls have been answered. It is being connected again.
    virtual void busLost(const std::string& why) = 0;
    virtual void busSignal(const BusSignal& signal) = 0;
    /// The loop ends. Calls that are made now are still answered, if that doesn't take long.
    virtual void busEnding() = 0;
};

/// The system bus on the event loop: connected again whenever it was lost, never waited for, stopped when the loop ends.
///
/// Services are never started by a call: one that an administrator has stopped stays stopped.
class SystemBus {
public:
    using Handler = std::function<void(BusReply)>;

    /// @param matches match rules, as AddMatch of the bus takes them, of the signals that `listener` is told of.
    SystemBus(Loop& loop, std::vector<std::string> matches, BusListener& listener)
        : loop_(loop), matches_(std::move(matches)), listener_(listener), retry_(loop) {}

    void start() { connect(); }
    /// Answers every outstanding call with an error of cause Aborted. The listener isn't told.
    void stop();

    /// `handler` runs exactly once, possibly at once when there is no bus.
    /// @param limit how long the answer may take. @param signature D-Bus types of `arguments`, as for sd_bus_message_append(3).
    template <typename... Arguments>
    void call(const BusMethod& method, std::chrono::seconds limit, Handler handler, const char* signature = "",
              Arguments... arguments) {
        const Message message = compose(method);
        if (message && sd_bus_message_append(message.get(), signature, arguments...) >= 0) {
            send(message.get(), limit, std::move(handler));
        } else {
            handler(BusReply{disconnected(), {}});
        }
    }

private:
    using Connection = std::unique_ptr<sd_bus, Release<sd_bus_close_unref>>;
    using Message = std::unique_ptr<sd_bus_message, Release<sd_bus_message_unref>>;
    using Slot = std::unique_ptr<sd_bus_slot, Release<sd_bus_slot_unref>>;

    struct Call {
        SystemBus& bus;
        std::string path;
        Handler handler;
        std::chrono::steady_clock::time_point deadline;
        bool isLast;  ///< made while the loop ends
        Slot slot;
        std::list<Call>::iterator self;
    };

    static BusError disconnected();
    void connect();
    int open();
    int endAtExit();
    void end();
    void lose(const std::string& why);
    Message compose(const BusMethod& method) const;
    void send(sd_bus_message* message, std::chrono::seconds limit, Handler handler);
    void answer(Call& call, sd_bus_message* message);
    template <typename Task>
    void withinMemory(const Task& task);

    Loop& loop_;
    const std::vector<std::string> matches_;
    BusListener& listener_;
    Connection connection_;
    EventSource exit_;
    bool ending_ = false;
    std::list<Call> calls_;
    Timer retry_;
    std::chrono::milliseconds pause_{};  ///< before the next attempt to connect
};

}  // namespace corvane::modemmanager
