#include "Corvane/baseband/modemmanager/BusRefusal.h"

#include "Corvane/baseband/modemmanager/ModemStates.h"

#include <ModemManager.h>
#include <fmt/format.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <iterator>
#include <string>
#include <utility>

namespace corvane::modemmanager {
namespace {

using Make = Refusal (*)(std::string sentence);
using Meaning = std::pair<std::string_view, Make>;

constexpr std::string_view kNoAnswerOnPort = MM_SERIAL_ERROR_DBUS_PREFIX ".ResponseTimeout";
constexpr Meaning kMeanings[] = {
    {MM_CORE_ERROR_DBUS_PREFIX ".Unsupported", Refusal::notSupported},
    {MM_CORE_ERROR_DBUS_PREFIX ".WrongState", Refusal::wrongState},
    {MM_CORE_ERROR_DBUS_PREFIX ".InProgress", Refusal::busy},
    {MM_CORE_ERROR_DBUS_PREFIX ".Retry", Refusal::busy},
    {MM_CORE_ERROR_DBUS_PREFIX ".Timeout", Refusal::timedOut},
    {MM_CORE_ERROR_DBUS_PREFIX ".Aborted", Refusal::aborted},
    {MM_CORE_ERROR_DBUS_PREFIX ".Cancelled", Refusal::aborted},
    {MM_CORE_ERROR_DBUS_PREFIX ".Unauthorized", Refusal::notPermitted},
    {kNoAnswerOnPort, Refusal::timedOut},
    {SD_BUS_ERROR_ACCESS_DENIED, Refusal::notPermitted},
    {SD_BUS_ERROR_UNKNOWN_METHOD, Refusal::notSupported},
    {SD_BUS_ERROR_UNKNOWN_INTERFACE, Refusal::notSupported},
};
/// What ModemManager's sentence begins with when it couldn't ask polkit, or polkit didn't say yes.
constexpr std::string_view kPolkitFailed = "PolicyKit ";

/// From 1.22 on ModemManager's sentences begin with the error's name: "Wrong state: modem is locked" of Error.Core.WrongState.
std::string sentenceOf(const BusError& error) {
    std::string label;
    for (const char letter : error.name.substr(error.name.rfind('.') + 1)) {
        const bool isInside = std::isupper(static_cast<unsigned char>(letter)) != 0 && !label.empty();
        label += isInside ? " " : "";
        label += isInside ? static_cast<char>(std::tolower(static_cast<unsigned char>(letter))) : letter;
    }
    label += ": ";
    return error.message.starts_with(label) ? error.message.substr(label.size()) : error.message;
}

Make meaningOf(const BusError& error) {
    if (sentenceOf(error).starts_with(kPolkitFailed)) {
        return Refusal::notPermitted;
    }
    const auto* const meaning = std::ranges::find(kMeanings, error.name, &Meaning::first);
    return meaning == std::end(kMeanings) ? Refusal::basebandFailed : meaning->second;
}

std::string polkitAction(std::string_view interface) {
    constexpr std::string_view kOwnActions[] = {MM_DBUS_INTERFACE_MODEM_TIME, MM_DBUS_INTERFACE_MODEM_LOCATION};
    for (const std::string_view own : kOwnActions) {
        if (interface == own) {
            return MM_DBUS_SERVICE + std::string(own.substr(own.rfind('.')));
        }
    }
    return interface == MM_DBUS_INTERFACE ? MM_DBUS_SERVICE ".Control" : MM_DBUS_SERVICE ".Device.Control";
}

std::string userName() {
    const passwd* user = getpwuid(geteuid());
    return user == nullptr ? std::to_string(geteuid()) : user->pw_name;
}

}  // namespace

Refusal refusalFor(const BusError& error, std::string_view interface, std::string_view action, const ModemFollower* follower) {
    const std::string doing(action);
    switch (error.cause) {
        case BusError::Cause::TimedOut:
            return Refusal::timedOut("ModemManager doesn't say whether the modem could " + doing + ": it didn't answer in time.");
        case BusError::Cause::Aborted:
            return outcomeUnknown(action, error.message);
        case BusError::Cause::Answered:
            break;
    }
    const Modem* const present = follower == nullptr ? nullptr : follower->modem();
    const Modem* const asked = present != nullptr && present->path == error.path ? present : nullptr;
    if (follower != nullptr && asked == nullptr && foundNoModem(error)) {
        return present == nullptr ? follower->absence()
                                  : Refusal::wrongState("The modem can't " + doing + ": it had gone before it was asked.");
    }
    const Make meaning = meaningOf(error);
    if (meaning == Refusal::notPermitted) {
        return Refusal::notPermitted("The modem may not " + doing + ": polkit doesn't allow the user " + userName() +
                                     " the action " + polkitAction(interface) + " (" + sentenceOf(error) + ").");
    }
    const std::string obstacle = asked == nullptr ? "" : obstacleOf(*asked);
    return meaning("The modem can't " + doing + ": " + sentenceOf(error) + (obstacle.empty() ? "" : "; " + obstacle) + ".");
}

Refusal outcomeUnknown(std::string_view action, std::string_view why) {
    return Refusal::aborted(fmt::format("Whether the modem could {} isn't known: {}.", action, why));
}

bool foundNoModem(const BusError& error) {
    return error.cause == BusError::Cause::Answered && error.name == SD_BUS_ERROR_UNKNOWN_METHOD;
}

bool connectionBroke(const BusError& error) {
    return error.cause == BusError::Cause::Answered && error.name != kNoAnswerOnPort &&
           error.name.starts_with(MM_SERIAL_ERROR_DBUS_PREFIX ".");
}

}  // namespace corvane::modemmanager
