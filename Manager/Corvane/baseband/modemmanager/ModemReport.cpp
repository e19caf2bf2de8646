#include "Corvane/baseband/modemmanager/ModemReport.h"

#include "Corvane/baseband/modemmanager/ModemStates.h"
#include "Corvane/support/ReadableJson.h"
#include "Corvane/support/Values.h"

#include <memory>
#include <utility>

namespace corvane::modemmanager {
namespace {

using namespace std::chrono_literals;

constexpr const char* kBearerInterface = "org.freedesktop.ModemManager1.Bearer";
constexpr std::chrono::seconds kBearerLimit = 5s;

xpc::Object texts(const std::vector<std::string_view>& values) {
    auto list = xpc::Object::adopt(xpc_array_create(nullptr, 0));
    for (const std::string_view value : values) {
        xpc_array_append_value(list.get(), text(value).get());
    }
    return list;
}

/// A property that is a number with a word for it.
struct NamedNumber {
    const char* key;
    const char* interface;
    const char* property;
    std::string_view (*name)(std::int64_t);
};
constexpr NamedNumber kNamedNumbers[] = {
    {"State", kModemInterface, "State", stateName},
    {"FailedReason", kModemInterface, "StateFailedReason", failedReasonName},
    {"PowerState", kModemInterface, "PowerState", powerStateName},
    {"Lock", kModemInterface, "UnlockRequired", lockName},
    {"Registration", kThreeGppInterface, "RegistrationState", registrationName},
};
/// A property that is passed on as it is.
struct Plain {
    const char* key;
    const char* interface;
    const char* property;
};
constexpr Plain kPlain[] = {
    {"Plugin", kModemInterface, "Plugin"},
    {"Device", kModemInterface, "Device"},
    {"OperatorName", kThreeGppInterface, "OperatorName"},
    {"OperatorCode", kThreeGppInterface, "OperatorCode"},
};

bool isKnown(const xpc::Object& value) {
    return value && !(value.is(XPC_TYPE_STRING) && xpc_string_get_length(value.get()) == 0);
}

xpc::Object toDictionary(const Interfaces& interfaces) {
    xpc::Object all = dictionary({});
    for (const auto& [interface, properties] : interfaces) {
        xpc::Object values = dictionary({});
        for (const auto& [name, value] : properties) {
            xpc_dictionary_set_value(values.get(), name.c_str(), value.get());
        }
        xpc_dictionary_set_value(all.get(), interface.c_str(), values.get());
    }
    return all;
}

/// Waits for what all bearers answer.
struct SnapshotInProgress {
    xpc::Object modem;
    xpc::Object bearers;
    std::size_t outstanding;
    Completion<SnapshotFiles> completion;

    void finishIfComplete() const {
        if (outstanding == 0) {
            completion(SnapshotFiles{{"modem.json", readableJson(modem)}, {"bearers.json", readableJson(bearers)}});
        }
    }
};

}  // namespace

xpc::Object modemStatistics(const Modem& modem) {
    xpc::Object statistics = dictionary({{"Modem", text(modem.describe())}});
    const auto set = [&](const char* key, const xpc::Object& value) {
        if (isKnown(value)) {
            xpc_dictionary_set_value(statistics.get(), key, value.get());
        }
    };
    for (const NamedNumber& entry : kNamedNumbers) {
        if (const xpc::Object value = modem.property(entry.interface, entry.property); value.is(XPC_TYPE_INT64)) {
            set(entry.key, text(entry.name(xpc_int64_get_value(value.get()))));
        }
    }
    for (const Plain& entry : kPlain) {
        set(entry.key, modem.property(entry.interface, entry.property));
    }
    set("AccessTechnologies", texts(accessTechnologyNames(modem.number("AccessTechnologies"))));
    // A structure: the percentage, and whether it was measured within the last minute.
    const xpc::Object quality = modem.property(kModemInterface, "SignalQuality");
    set("SignalQualityPercentage", xpc::Object::share(xpc_array_get_value(quality.get(), 0)));
    set("SignalQualityRecent", xpc::Object::share(xpc_array_get_value(quality.get(), 1)));
    return statistics;
}

void collectModemSnapshot(ModemFollower& follower, Completion<SnapshotFiles> completion) {
    if (follower.modem() == nullptr) {
        completion(SnapshotFiles());
        return;
    }
    const Modem& modem = *follower.modem();
    const xpc::Object bearers = modem.property(kModemInterface, "Bearers");
    const std::size_t count = xpc_array_get_count(bearers.get());
    const auto snapshot = std::make_shared<SnapshotInProgress>(SnapshotInProgress{
        dictionary({{modem.path.c_str(), toDictionary(modem.interfaces)}}), dictionary({}), count, std::move(completion)});
    for (std::size_t i = 0; i < count; ++i) {
        const std::string path = xpc_string_get_string_ptr(xpc_array_get_value(bearers.get(), i));
        const auto answered = [snapshot, path](const BusReply& reply) {
            const xpc::Object properties = reply.error ? text(reply.error->message) : reply.argument(0);
            xpc_dictionary_set_value(snapshot->bearers.get(), path.c_str(), properties.get());
            --snapshot->outstanding;
            snapshot->finishIfComplete();
        };
        follower.callObject(path, "org.freedesktop.DBus.Properties", "GetAll", kBearerLimit, answered, "s", kBearerInterface);
    }
    if (count == 0) {
        snapshot->finishIfComplete();
    }
}

}  // namespace corvane::modemmanager
