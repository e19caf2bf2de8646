#include "Corvane/baseband/modemmanager/BusRefusal.h"

#include <string>

namespace corvane::modemmanager {
namespace {

struct Meaning {
    std::string_view error;
    ResultCode code;
};

constexpr std::string_view kSerialErrors = "org.freedesktop.ModemManager1.Error.Serial.";
constexpr std::string_view kNoAnswerOnPort = "org.freedesktop.ModemManager1.Error.Serial.ResponseTimeout";
constexpr std::string_view kForbidden[] = {"org.freedesktop.DBus.Error.AccessDenied",
                                           "org.freedesktop.ModemManager1.Error.Core.Unauthorized"};
constexpr Meaning kMeanings[] = {
    {"org.freedesktop.ModemManager1.Error.Core.Unsupported", ResultCode::NotSupported},
    {"org.freedesktop.ModemManager1.Error.Core.WrongState", ResultCode::WrongState},
    {"org.freedesktop.ModemManager1.Error.Core.InProgress", ResultCode::Busy},
    {"org.freedesktop.ModemManager1.Error.Core.Timeout", ResultCode::TimedOut},
    {kNoAnswerOnPort, ResultCode::TimedOut},
    {"org.freedesktop.DBus.Error.UnknownMethod", ResultCode::NotSupported},
    {"org.freedesktop.DBus.Error.UnknownInterface", ResultCode::NotSupported},
};

ResultCode codeOf(const BusError& error) {
    for (const Meaning& meaning : kMeanings) {
        if (meaning.error == error.name) {
            return meaning.code;
        }
    }
    return ResultCode::BasebandFailed;
}

}  // namespace

Refusal refusalFor(const BusError& error, std::string_view action, std::string_view obstacle) {
    const std::string doing(action);
    switch (error.cause) {
        case BusError::Cause::TimedOut:
            return {ResultCode::TimedOut,
                    "ModemManager doesn't say whether the modem could " + doing + ": it didn't answer in time."};
        case BusError::Cause::Aborted:
            return {ResultCode::Aborted, "Whether the modem could " + doing + " isn't known: " + error.message + "."};
        case BusError::Cause::Answered:
            break;
    }
    for (const std::string_view forbidden : kForbidden) {
        if (error.name == forbidden) {
            return {ResultCode::NotSupported, "ModemManager doesn't let the manager's user make the modem " + doing +
                                                  "; polkit must allow it org.freedesktop.ModemManager1 actions (" +
                                                  error.message + ")."};
        }
    }
    const std::string known = obstacle.empty() ? "" : "; " + std::string(obstacle);
    return {codeOf(error), "The modem can't " + doing + ": " + error.message + known + "."};
}

bool mayHaveLeft(const BusError& error) {
    return error.cause != BusError::Cause::Answered || (error.name.starts_with(kSerialErrors) && error.name != kNoAnswerOnPort);
}

}  // namespace corvane::modemmanager
