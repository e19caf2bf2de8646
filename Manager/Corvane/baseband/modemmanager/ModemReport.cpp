#include "Corvane/baseband/modemmanager/ModemReport.h"

#include "Corvane/baseband/modemmanager/BusRefusal.h"
#include "Corvane/baseband/modemmanager/ModemNames.h"
#include "Corvane/baseband/modemmanager/ModemSignal.h"
#include "Corvane/support/Json.h"
#include "Corvane/support/Text.h"
#include "Corvane/support/Values.h"

#include <ModemManager.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <utility>

namespace corvane::modemmanager {
namespace {

using namespace std::chrono_literals;

constexpr std::chrono::seconds kReportLimit = 5s;

/// What the statistics call a property.
struct Figure {
    const char* key;
    const char* interface;
    const char* property;
};
constexpr Figure kFigures[] = {
    {"State", kModemInterface, "State"},
    {"FailedReason", kModemInterface, "StateFailedReason"},
    {"PowerState", kModemInterface, "PowerState"},
    {"Lock", kModemInterface, "UnlockRequired"},
    {"UnlockRetries", kModemInterface, "UnlockRetries"},
    {"Plugin", kModemInterface, "Plugin"},
    {"Device", kModemInterface, "Device"},
    {"AccessTechnologies", kModemInterface, "AccessTechnologies"},
    {"Bands", kModemInterface, "CurrentBands"},
    {"Registration", kThreeGppInterface, "RegistrationState"},
    {"PacketService", kThreeGppInterface, "PacketServiceState"},
    {"OperatorName", kThreeGppInterface, "OperatorName"},
    {"OperatorCode", kThreeGppInterface, "OperatorCode"},
};
constexpr std::pair<const char*, const char*> kMeasurements[] = {{"RSRP", "rsrp"}, {"RSRQ", "rsrq"}, {"SNR", "snr"}};

void setKnown(const xpc::Object& dictionary, const char* key, const xpc::Object& value) {
    const bool isEmpty = value.is(XPC_TYPE_STRING) && xpc_string_get_length(value.get()) == 0;
    if (value && !isEmpty) {
        xpc::set(dictionary, key, value);
    }
}

xpc::Object at(const xpc::Object& dictionary, const char* key) {
    return xpc::Object::share(xpc_dictionary_get_value(dictionary.get(), key));
}

/// Figures are whole numbers; a measurement with a fraction comes as text, since packets have none.
xpc::Object rounded(const xpc::Object& measured) {
    const char* digits = xpc_string_get_string_ptr(measured.get());
    return digits == nullptr ? measured : number(std::lround(std::strtod(digits, nullptr)));
}

void addSignal(const Modem& modem, const xpc::Object& statistics) {
    // A structure: the percentage, and whether it was measured within the last minute.
    const xpc::Object quality = modem.property(kModemInterface, "SignalQuality");
    setKnown(statistics, "SignalQualityPercentage", xpc::Object::share(xpc_array_get_value(quality.get(), 0)));
    setKnown(statistics, "SignalQualityRecent", xpc::Object::share(xpc_array_get_value(quality.get(), 1)));
    const SignalFigures measured = signalOf(modem);
    for (const auto& [key, name] : kMeasurements) {
        setKnown(statistics, key, rounded(at(measured.figures, name)));
    }
}

xpc::Object toDictionary(const std::string& interface, const Properties& properties) {
    xpc::Object values = dictionary({});
    for (const auto& [name, value] : properties) {
        setKnown(values, name.c_str(), named(interface, name, value));
    }
    return values;
}

/// From "MCC,MNC,LAC,CI,TAC", the last three hexadecimal, as ModemManager tells the place in the network.
xpc::Object placeOf(const std::string& location) {
    constexpr const char* kKeys[] = {"MCC", "MNC", "LAC", "Cell", "TAC"};
    xpc::Object place = dictionary({});
    const auto parts = split(location, ',');
    for (std::size_t index = 0; index < std::min(parts.size(), std::size(kKeys)); ++index) {
        setKnown(place, kKeys[index], text(parts[index]));
    }
    return place;
}

/// Waits for what ModemManager answers about the modem's parts.
struct Snapshot {
    xpc::Object modem = dictionary({});
    xpc::Object bearers = dictionary({});
    std::size_t outstanding = 1;  ///< the questions themselves, until all are asked
    Completion<SnapshotFiles> completion;

    void finish() {
        if (--outstanding == 0) {
            completion(SnapshotFiles{{"modem.json", readableJson(modem)}, {"bearers.json", readableJson(bearers)}});
        }
    }
};
using SnapshotPtr = std::shared_ptr<Snapshot>;

/// Asks for the properties of an object, to stand under its path in `part`.
void addProperties(ModemFollower& follower, const SnapshotPtr& snapshot, const xpc::Object& part, const std::string& path,
                   const char* interface) {
    ++snapshot->outstanding;
    const auto answered = [snapshot, part, path, interface](const BusReply& reply) {
        Properties properties;
        xpc_dictionary_apply(reply.argument(0).get(), [&](const char* name, xpc_object_t value) {
            properties[name] = xpc::Object::share(value);
            return true;
        });
        setKnown(part, path.c_str(), reply.error ? text(reply.error->message) : toDictionary(interface, properties));
        snapshot->finish();
    };
    follower.callObject(path, "org.freedesktop.DBus.Properties", "GetAll", kReportLimit, answered, "s", interface);
}

void addPlace(ModemFollower& follower, const SnapshotPtr& snapshot) {
    ++snapshot->outstanding;
    askPlace(follower, [snapshot](const Result<xpc::Object>& place) {
        setKnown(snapshot->modem, "Location", place ? *place : text(place.refusal().sentence));
        snapshot->finish();
    });
}

}  // namespace

xpc::Object modemStatistics(const Modem& modem) {
    xpc::Object statistics = dictionary({{"Modem", text(modem.describe())}});
    for (const Figure& figure : kFigures) {
        setKnown(statistics, figure.key,
                 named(figure.interface, figure.property, modem.property(figure.interface, figure.property)));
    }
    addSignal(modem, statistics);
    return statistics;
}

void askPlace(ModemFollower& follower, Completion<xpc::Object> completion) {
    const auto answered = [&follower, done = std::move(completion)](const BusReply& reply) {
        if (reply.error) {
            done(refusalFor(*reply.error, MM_DBUS_INTERFACE_MODEM_LOCATION, "tell where it is", &follower));
            return;
        }
        const std::string source = std::to_string(MM_MODEM_LOCATION_SOURCE_3GPP_LAC_CI);
        const char* location = xpc_string_get_string_ptr(at(reply.argument(0), source.c_str()).get());
        done(placeOf(location == nullptr ? "" : location));
    };
    follower.call(MM_DBUS_INTERFACE_MODEM_LOCATION, "GetLocation", kReportLimit, answered);
}

void collectModemSnapshot(ModemFollower& follower, Completion<SnapshotFiles> completion) {
    if (follower.modem() == nullptr) {
        completion(SnapshotFiles());
        return;
    }
    const Modem modem = *follower.modem();
    const auto snapshot = std::make_shared<Snapshot>();
    snapshot->completion = std::move(completion);
    const xpc::Object interfaces = dictionary({});
    for (const auto& [interface, properties] : modem.interfaces) {
        setKnown(interfaces, interface.c_str(), toDictionary(interface, properties));
    }
    setKnown(snapshot->modem, modem.path.c_str(), interfaces);
    if (const std::string sim = modem.text("Sim"); sim.size() > 1) {
        addProperties(follower, snapshot, snapshot->modem, sim, MM_DBUS_INTERFACE_SIM);
    }
    if (modem.has(MM_DBUS_INTERFACE_MODEM_LOCATION)) {
        addPlace(follower, snapshot);
    }
    const xpc::Object bearers = modem.property(kModemInterface, "Bearers");
    for (std::size_t i = 0; i < xpc_array_get_count(bearers.get()); ++i) {
        const std::string path = xpc_string_get_string_ptr(xpc_array_get_value(bearers.get(), i));
        addProperties(follower, snapshot, snapshot->bearers, path, MM_DBUS_INTERFACE_BEARER);
    }
    snapshot->finish();
}

}  // namespace corvane::modemmanager
