#include "Corvane/baseband/simulated/WakeReasons.h"

#include "Corvane/support/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

namespace corvane::simulated {
namespace {

struct Notification {
    std::uint32_t message;
    bool wakes;
    std::int64_t channel;  ///< of a wake; 0: not the baseband's doing
    const char* meaning;
};
constexpr Notification kNotifications[] = {
    {0x10, false, 0, "about to sleep"}, {0x20, true, 0, "woken by itself"},
    {0x21, true, 1, "voice call"},      {0x22, true, 2, "short message"},
    {0x23, true, 3, "packet data"},     {0x24, true, 4, "network registration"},
    {0x25, true, 5, "positioning"},     {0x26, true, 6, "SIM"},
};
constexpr std::int64_t kResetChannel = 7;

/// What is stored of the last wake.
constexpr const char* kChannel = "Channel";
constexpr const char* kReason = "Reason";
constexpr const char* kTime = "Time";
constexpr const char* kWakes = "Wakes";
constexpr const char* kSlept = "SleptMilliseconds";
constexpr std::int64_t kUnknownSleep = -1;

Refusal unknown(std::uint32_t message) {
    const auto describe = [](const Notification& known) { return fmt::format("{:#x} ({})", known.message, known.meaning); };
    return Refusal::invalidArgument(
        fmt::format("{:#x} is no power notification; {} are accepted.", message, listed(kNotifications, ", ", describe)));
}

const Notification* find(std::uint32_t message) {
    const auto* const found = std::ranges::find(kNotifications, message, &Notification::message);
    return found == std::end(kNotifications) ? nullptr : found;
}

}  // namespace

Result<WakeReasons::Notified> WakeReasons::notify(std::uint32_t message, bool basebandIsOff) {
    const Notification* known = find(message);
    if (known == nullptr) {
        return unknown(message);
    }
    if (basebandIsOff && known->channel != 0) {
        return Refusal::wrongState("The baseband is off and can't have woken the application processor; a reset boots it.");
    }
    if (!known->wakes) {
        asleepSince_ = std::chrono::steady_clock::now();
    } else if (const auto stored = record_.set(wake(known->channel, known->meaning)); stored) {
        asleepSince_.reset();
    } else {
        return stored.refusal();
    }
    return Notified{known->meaning, known->channel != 0, !known->wakes};
}

bool WakeReasons::resetBegins() {
    if (!asleepSince_) {
        return false;
    }
    if (const xpc::Object woken = wake(kResetChannel, "baseband reset"); !record_.set(woken)) {
        record_.setLazily(woken);
    }
    asleepSince_.reset();
    return true;
}

xpc::Object WakeReasons::wake(std::int64_t channel, const char* reason) const {
    std::int64_t slept = kUnknownSleep;
    if (asleepSince_) {
        const auto asleep = std::chrono::steady_clock::now() - *asleepSince_;
        slept = std::chrono::duration_cast<std::chrono::milliseconds>(asleep).count();
    }
    const std::int64_t wakes = record_.number(kWakes) + (channel == 0 ? 0 : 1);
    return dictionary({{kChannel, number(channel)},
                       {kReason, text(reason)},
                       {kTime, text(clock_.text())},
                       {kWakes, number(wakes)},
                       {kSlept, number(slept)}});
}

WakeReason WakeReasons::last() const {
    const xpc::Object wake = record_.values();
    WakeReason last{numberAt(wake, kChannel).value_or(0), textAt(wake, kReason).value_or(""), textAt(wake, kTime).value_or(""),
                    numberAt(wake, kWakes).value_or(0)};
    if (const auto slept = numberAt(wake, kSlept).value_or(kUnknownSleep); slept != kUnknownSleep) {
        last.sleptMilliseconds = slept;
    }
    return last;
}

}  // namespace corvane::simulated
