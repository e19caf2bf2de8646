#include "Corvane/baseband/simulated/PowerLogs.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <iterator>

namespace corvane::simulated {
namespace {

/// Entries a log; with the longest entry some 40 KB.
constexpr std::size_t kMostEntries = 400;

struct LogNames {
    const char* name;
    const char* dump;  ///< where the last dump is stored
    const char* file;  ///< in a snapshot
};
constexpr LogNames kLogs[] = {
    {"NPA", "baseband.powerlog.npa", "power-log-npa.txt"},
    {"F3", "baseband.powerlog.f3", "power-log-f3.txt"},
};
static_assert(std::size(kLogs) == static_cast<std::size_t>(PowerLog::F3) + 1);

const LogNames& namesOf(PowerLog log) {
    return kLogs[static_cast<std::size_t>(log)];
}

/// What the modem's processor asks for, at the index of the boot state.
constexpr const char* kProcessorRequests[] = {"off", "turbo", "nominal", "retention"};
static_assert(std::size(kProcessorRequests) == static_cast<std::size_t>(BootState::Resetting) + 1);

/// What the radio asks for.
const char* radioRequest(OperatingMode mode) {
    return mode == OperatingMode::Online || mode == OperatingMode::FactoryTest ? "receive+transmit" : "off";
}

std::string request(const char* resource, const char* client, const char* level) {
    return fmt::format("{} client={} request={}", resource, client, level);
}

}  // namespace

Result<void> PowerLogs::control(PowerLog log, PowerLogAction action) {
    if (action == PowerLogAction::Dump) {
        return dump(log);
    }
    const bool enable = action == PowerLogAction::Enable;
    if (enable == nvData_.powerLogEnabled(log)) {
        return {};
    }
    auto stored = nvData_.setPowerLogEnabled(log, enable);
    if (stored) {
        add(log, enable ? "collection begins" : "collection ends");
    }
    return stored;
}

Result<void> PowerLogs::dump(PowerLog log) {
    if (entriesOf(log).empty()) {
        return Refusal::wrongState(
            fmt::format("The {} power log has no entries; it collects them once it is enabled.", namesOf(log).name));
    }
    const std::string dumped = fmt::format("Dumped at {}\n{}", clock_.text(), recorded(log));
    if (auto stored = store_.store(kBasebandArea, namesOf(log).dump, dumped); !stored) {
        return stored;
    }
    entriesOf(log).clear();
    return {};
}

void PowerLogs::bootStateChanged(BootState state) {
    record(PowerLog::NPA, request("/cpu/modem", "boot", kProcessorRequests[static_cast<std::size_t>(state)]));
    record(PowerLog::F3, std::string("boot: ") + nameOf(state));
}

void PowerLogs::operatingModeChanged(OperatingMode mode) {
    record(PowerLog::NPA, request("/rf/transceiver", "mode", radioRequest(mode)));
    record(PowerLog::F3, "mode: " + describe(mode));
}

void PowerLogs::powerNotification(const char* what) {
    record(PowerLog::NPA, request("/xo/crystal", "application-processor", what));
    record(PowerLog::F3, std::string("application processor: ") + what);
}

void PowerLogs::selfTest(const char* what, bool transmitting) {
    record(PowerLog::NPA, request("/rf/amplifier", "self-test", transmitting ? "on" : "off"));
    record(PowerLog::F3, std::string("self-test: ") + what);
}

void PowerLogs::record(PowerLog log, const std::string& entry) {
    if (nvData_.powerLogEnabled(log)) {
        add(log, entry);
    }
}

void PowerLogs::add(PowerLog log, const std::string& entry) {
    std::deque<std::string>& entries = entriesOf(log);
    if (entries.size() == kMostEntries) {
        entries.pop_front();
    }
    entries.push_back(fmt::format("{} {}\n", clock_.text(), entry));
}

std::string PowerLogs::recorded(PowerLog log) const {
    return fmt::format("{}", fmt::join(entries_[static_cast<std::size_t>(log)], ""));
}

SnapshotFile PowerLogs::file(PowerLog log) const {
    const LogNames& names = namesOf(log);
    const std::string since = recorded(log);
    return {names.file,
            fmt::format("{} power log, {}\n\n{}\n{}\n{}", names.name, nvData_.powerLogEnabled(log) ? "enabled" : "disabled",
                        store_.get(kBasebandArea, names.dump).value_or("Never dumped\n"),
                        since.empty() ? "Nothing recorded since" : "Recorded since", since)};
}

}  // namespace corvane::simulated
