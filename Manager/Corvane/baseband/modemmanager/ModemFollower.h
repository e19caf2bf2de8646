#pragma once

#include "Corvane/baseband/modemmanager/ModemChoice.h"
#include "Corvane/baseband/modemmanager/ModemObjects.h"
#include "Corvane/baseband/modemmanager/SystemBus.h"
#include "Corvane/support/Refusal.h"

#include <chrono>
#include <functional>
#include <set>
#include <string>
#include <utility>

namespace corvane::modemmanager {

/// How long ModemManager may take over what needs no modem's answer.
constexpr std::chrono::seconds kAnswerLimit{25};

/// Knows the chosen modem while it is there, through every coming and going of the bus, of ModemManager and of the modem itself.
class ModemFollower final : BusListener {
public:
    using OnChange = std::function<void()>;

    /// @param name see ModemChoice. @param onChange runs after whatever may concern the chosen modem.
    ModemFollower(Loop& loop, std::string name, OnChange onChange, Log log);

    /// Runs when calls can be made for the last time.
    void setOnEnding(std::function<void()> onEnding) { onEnding_ = std::move(onEnding); }
    void start() { bus_.start(); }
    /// Answers every outstanding call with an error of cause Aborted; `onChange` doesn't run any more.
    void stop();

    /// nullptr while it isn't there. Valid until the loop goes on.
    const Modem* modem() const { return modem_; }
    /// Why there is no modem.
    Refusal absence() const;
    /// IMEI or else device of the modem that commands are meant for; empty before one was found.
    const std::string& identity() const { return choice_.identity(); }
    /// How often another modem has become the chosen one, as it may with the name "any".
    std::int64_t replacements() const { return choice_.replacements(); }
    /// How often the chosen modem has left a ModemManager that went on, and come back: it has booted then.
    std::int64_t boots() const { return boots_; }

    /// Whether ModemManager is on the bus and has told its modems.
    bool isServed() const { return managerRuns_; }
    /// Since when ModemManager has answered nothing, when that is long; nullopt otherwise.
    std::optional<std::chrono::seconds> silence() const;
    /// "1.20.4", or "" while ModemManager isn't running.
    const std::string& managerVersion() const { return version_; }

    /// Calls a method of the chosen modem, which must be there; see SystemBus::call.
    template <typename... Arguments>
    void call(const char* interface, const char* member, std::chrono::seconds limit, SystemBus::Handler handler,
              const char* signature = "", Arguments... arguments) {
        callObject(modem_->path, interface, member, limit, std::move(handler), signature, arguments...);
    }
    template <typename... Arguments>
    void callObject(const std::string& path, const char* interface, const char* member, std::chrono::seconds limit,
                    SystemBus::Handler handler, const char* signature = "", Arguments... arguments) {
        const auto replied = [this, asked = generation_, take = std::move(handler)](const BusReply& reply) {
            if (asked == generation_) {
                heard(reply);
            }
            take(reply);
        };
        bus_.call({MM_DBUS_SERVICE, path, interface, member}, limit, replied, signature, arguments...);
    }

    /// Calls a method of ModemManager itself.
    template <typename... Arguments>
    void callManager(const char* member, SystemBus::Handler handler, const char* signature, Arguments... arguments) {
        callObject(MM_DBUS_PATH, MM_DBUS_INTERFACE, member, kAnswerLimit, std::move(handler), signature, arguments...);
    }

private:
    void busConnected() override { load(); }
    void busLost(const std::string& why) override;
    void busSignal(const BusSignal& signal) override;
    void busEnding() override { onEnding_(); }

    void ownerChanged(const BusSignal& signal);
    void interfacesAdded(const BusSignal& signal);
    void interfacesRemoved(const BusSignal& signal);
    void propertiesChanged(const BusSignal& signal);
    void stateChanged(const BusSignal& signal);

    void heard(const BusReply& reply);
    void ping();
    void ponged(const BusReply& reply);

    void load();
    void loaded(const BusReply& reply);
    void forget();
    void update();

    const OnChange onChange_;
    std::function<void()> onEnding_;
    const Log log_;
    ModemObjects objects_;
    ModemChoice choice_;
    const Modem* modem_ = nullptr;
    std::string version_;
    bool isStopped_ = false;  ///< ModemManager, as the bus says
    bool managerRuns_ = false;
    std::set<std::string> left_;  ///< identities of chosen modems that have left a ModemManager that has gone on since
    std::int64_t boots_ = 0;
    std::chrono::steady_clock::time_point lastAnswer_;
    bool silent_ = false;           ///< ModemManager, and the log says so
    bool complained_ = false;       ///< that there is no bus, since there was one
    std::uint64_t generation_ = 0;  ///< answers to the questions of an earlier one are out of date
    Timer reload_;
    Timer ping_;
    SystemBus bus_;
};

}  // namespace corvane::modemmanager
