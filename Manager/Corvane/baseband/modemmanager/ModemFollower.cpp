#include "Corvane/baseband/modemmanager/ModemFollower.h"

#include "Corvane/support/Text.h"
#include "Corvane/support/Values.h"

namespace corvane::modemmanager {
namespace {

using namespace std::chrono_literals;

constexpr const char* kObjectManager = "org.freedesktop.DBus.ObjectManager";
constexpr const char* kProperties = "org.freedesktop.DBus.Properties";
constexpr std::chrono::seconds kReloadPause = 5s;
/// A ModemManager that hangs is noticed after as long as both take.
constexpr std::chrono::seconds kPingPause = 10s;
constexpr std::chrono::seconds kPingLimit = 15s;

const std::vector<std::string> kMatches = {
    "type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',arg0='" MM_DBUS_SERVICE "'",
    "type='signal',sender='" MM_DBUS_SERVICE "',path_namespace='" MM_DBUS_PATH "'",
};

xpc::Object argument(const BusSignal& signal, std::size_t index) {
    return xpc::Object::share(xpc_array_get_value(signal.arguments.get(), index));
}

std::string textArgument(const BusSignal& signal, std::size_t index) {
    const char* value = xpc_string_get_string_ptr(xpc_array_get_value(signal.arguments.get(), index));
    return value == nullptr ? std::string() : std::string(value);
}

}  // namespace

ModemFollower::ModemFollower(Loop& loop, std::string name, OnChange onChange, Log log)
    : onChange_(std::move(onChange)),
      log_(log),
      choice_(std::move(name), std::move(log)),
      reload_(loop),
      ping_(loop),
      bus_(loop, kMatches, *this) {}

void ModemFollower::stop() {
    forget();
    modem_ = nullptr;
    bus_.stop();
}

Refusal ModemFollower::absence() const {
    std::string why = "it is still being looked for";
    if (complained_) {
        why = "the system bus can't be reached; it is tried again every few seconds";
    } else if (managerRuns_) {
        const auto modems = objects_.modems();
        const auto describe = [](const auto& entry) { return entry.second->describe(); };
        why = "ModemManager knows " + (modems.empty() ? "none" : listed(modems, ", ", describe));
    } else if (isStopped_) {
        why = "ModemManager isn't running; \"systemctl start ModemManager\" starts it";
    }
    return Refusal::wrongState(choice_.describeAbsence() + ": " + why + ".");
}

std::optional<std::chrono::seconds> ModemFollower::silence() const {
    if (!silent_) {
        return std::nullopt;
    }
    return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - lastAnswer_);
}

/// Any answer of ModemManager's shows that it doesn't hang.
void ModemFollower::heard(const BusReply& reply) {
    if (reply.error && reply.error->cause != BusError::Cause::Answered) {
        return;
    }
    lastAnswer_ = std::chrono::steady_clock::now();
    if (std::exchange(silent_, false)) {
        log_("ModemManager answers again.");
    }
}

/// ModemManager tells changes by itself: without a question it could hang unnoticed for as long as nothing is asked of it.
void ModemFollower::ping() {
    callObject(MM_DBUS_PATH, "org.freedesktop.DBus.Peer", "Ping", kPingLimit, [this, asked = generation_](const BusReply& reply) {
        if (asked == generation_) {
            ponged(reply);
        }
    });
}

void ModemFollower::ponged(const BusReply& reply) {
    const bool answered = !reply.error || reply.error->cause == BusError::Cause::Answered;
    if (!answered && !std::exchange(silent_, true)) {
        log_("ModemManager doesn't answer; what is shown of the modem may be out of date.");
    }
    ping_.set(kPingPause, [this] { ping(); });
}

void ModemFollower::busLost(const std::string& why) {
    if (!complained_) {
        complained_ = true;
        log_("The system bus can't be reached (" + why + "); it is tried again.");
    }
    forget();
    update();
}

void ModemFollower::busSignal(const BusSignal& signal) {
    struct Rule {
        std::string_view interface;
        std::string_view member;
        void (ModemFollower::*take)(const BusSignal& signal);
    };
    static constexpr Rule kRules[] = {
        {"org.freedesktop.DBus", "NameOwnerChanged", &ModemFollower::ownerChanged},
        {kObjectManager, "InterfacesAdded", &ModemFollower::interfacesAdded},
        {kObjectManager, "InterfacesRemoved", &ModemFollower::interfacesRemoved},
        {kProperties, "PropertiesChanged", &ModemFollower::propertiesChanged},
        {kModemInterface, "StateChanged", &ModemFollower::stateChanged},
    };
    for (const Rule& rule : kRules) {
        if (rule.interface == signal.interface && rule.member == signal.member) {
            if (managerRuns_ || rule.take == &ModemFollower::ownerChanged) {
                (this->*rule.take)(signal);
                update();
            }
            return;
        }
    }
}

void ModemFollower::ownerChanged(const BusSignal& signal) {
    forget();
    const bool owned = !textArgument(signal, 2).empty();
    isStopped_ = !owned;
    if (owned) {
        load();
    } else {
        log_("ModemManager has left the bus.");
    }
}

void ModemFollower::interfacesAdded(const BusSignal& signal) {
    objects_.add(textArgument(signal, 0), argument(signal, 1));
}

void ModemFollower::interfacesRemoved(const BusSignal& signal) {
    const bool isChosen = modem_ != nullptr && modem_->path == textArgument(signal, 0);
    if (objects_.remove(textArgument(signal, 0), argument(signal, 1)) && isChosen) {
        left_.insert(choice_.identity());
    }
}

void ModemFollower::propertiesChanged(const BusSignal& signal) {
    objects_.change(signal.path, textArgument(signal, 0), argument(signal, 1), argument(signal, 2));
}

/// This signal arrives before the reply to the call that caused it; PropertiesChanged may arrive after that.
void ModemFollower::stateChanged(const BusSignal& signal) {
    objects_.change(signal.path, kModemInterface, dictionary({{"State", argument(signal, 1)}}), {});
}

/// Signals of modems that arrive before the answer are ignored: the answer includes what they announce.
void ModemFollower::load() {
    const std::uint64_t asked = ++generation_;
    callObject(MM_DBUS_PATH, kObjectManager, "GetManagedObjects", kAnswerLimit, [this, asked](const BusReply& reply) {
        if (asked == generation_) {
            loaded(reply);
        }
    });
    callObject(
        MM_DBUS_PATH, kProperties, "Get", kAnswerLimit,
        [this, asked](const BusReply& reply) {
            if (asked == generation_ && reply.argument(0).is(XPC_TYPE_STRING)) {
                version_ = xpc_string_get_string_ptr(reply.argument(0).get());
                log_("ModemManager " + version_ + " is running.");
            }
        },
        "ss", MM_DBUS_INTERFACE, "Version");
}

void ModemFollower::loaded(const BusReply& reply) {
    complained_ = complained_ && reply.error && reply.error->cause != BusError::Cause::Answered;
    if (!reply.error) {
        managerRuns_ = true;
        ping_.set(kPingPause, [this] { ping(); });
        objects_.load(reply.argument(0));
        update();
        if (modem_ == nullptr) {
            log_(absence().sentence);
        }
        return;
    }
    if (reply.error->cause == BusError::Cause::Aborted) {
        return;  // a signal or the bus tells what took ModemManager away, and when it is back
    }
    if (reply.error->name == SD_BUS_ERROR_SERVICE_UNKNOWN || reply.error->name == SD_BUS_ERROR_NAME_HAS_NO_OWNER) {
        isStopped_ = true;
        log_("ModemManager isn't running; the manager waits for it.");
        return;
    }
    log_("ModemManager doesn't tell its modems (" + reply.error->message + "); it is asked again.");
    reload_.set(kReloadPause, [this] { load(); });
}

void ModemFollower::forget() {
    ++generation_;
    reload_.cancel();
    managerRuns_ = false;
    left_.clear();
    silent_ = false;
    ping_.cancel();
    version_.clear();
    objects_.clear();
}

void ModemFollower::update() {
    const std::string before = choice_.identity();
    const std::int64_t replacements = choice_.replacements();
    modem_ = choice_.choose(objects_.modems());
    if (modem_ != nullptr) {
        // The same modem may have another identity than before: its IMEI is known by now.
        boots_ += static_cast<std::int64_t>(left_.erase(replacements == choice_.replacements() ? before : choice_.identity()));
    }
    onChange_();
}

}  // namespace corvane::modemmanager
