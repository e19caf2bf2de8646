#pragma once

#include "Corvane/baseband/Baseband.h"
#include "Corvane/baseband/simulated/BasebandClock.h"
#include "Corvane/baseband/simulated/StoredRecord.h"

#include <chrono>
#include <optional>

namespace corvane::simulated {

/// Why the application processor woke last, and the power notifications that it sends about that.
///
///     0x10  it is about to sleep
///     0x20  it has woken by itself
///     0x21  the baseband has woken it: channel 1, voice call
///     0x22  channel 2, short message
///     0x23  channel 3, packet data
///     0x24  channel 4, network registration
///     0x25  channel 5, positioning
///     0x26  channel 6, SIM
///
/// A reset of the baseband wakes a sleeping application processor on channel 7.
class WakeReasons {
public:
    WakeReasons(SettingsStore& store, const BasebandClock& clock) : record_(store, "baseband.wake"), clock_(clock) {}

    /// What an accepted notification said.
    struct Notified {
        const char* meaning;  ///< "it is about to sleep", or what woke it
        bool wokenByBaseband;
        bool sleeps;  ///< the application processor, from now on
    };
    /// Takes a notification; the wake that it tells of is on disk before this returns. A baseband that is off wakes nobody.
    Result<Notified> notify(std::uint32_t message, bool basebandIsOff);
    /// Wakes the application processor if it sleeps; a disk that is full doesn't keep it asleep. @return whether it did.
    bool resetBegins();

    WakeReason last() const;
    /// What is stored of it.
    xpc::Object toDictionary() const { return record_.values(); }

private:
    /// What there is to store of a wake that happens now.
    xpc::Object wake(std::int64_t channel, const char* reason) const;

    StoredRecord record_;
    const BasebandClock& clock_;
    std::optional<std::chrono::steady_clock::time_point> asleepSince_;
};

}  // namespace corvane::simulated
