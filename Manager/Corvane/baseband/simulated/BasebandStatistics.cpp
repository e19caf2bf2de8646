#include "Corvane/baseband/simulated/BasebandStatistics.h"

#include <algorithm>
#include <iterator>
#include <string>

namespace corvane::simulated {
namespace {

/// At the index of their enumerators.
constexpr const char* kCounts[] = {"ModeChanges",    "Shutdowns",       "WakesByBaseband", "PowerNotifications",
                                   "NVDataErasures", "FileSystemSyncs", "PowerLogDumps",   "FailedBoots"};
static_assert(std::size(kCounts) == static_cast<std::size_t>(BasebandStatistics::Count::FailedBoots) + 1);
constexpr const char* kSelfTests[] = {"SelfTestsPassed", "SelfTestsFailed", "SelfTestsAborted"};
static_assert(std::size(kSelfTests) == static_cast<std::size_t>(RFSelfTest::Outcome::Aborted) + 1);

constexpr const char* kBoots = "Boots";
constexpr const char* kCrashes = "Crashes";
constexpr const char* kLastBoot = "LastBootMilliseconds";
constexpr const char* kResets[] = {"SoftResets", "HardResets"};
constexpr const char* kLastResets[] = {"LastSoftReset", "LastHardReset"};
static_assert(std::size(kResets) == static_cast<std::size_t>(ResetType::Hard) + 1 &&
              std::size(kLastResets) == std::size(kResets));

}  // namespace

void BasebandStatistics::count(Count what) {
    increment(kCounts[static_cast<std::size_t>(what)]);
}

void BasebandStatistics::countSelfTest(RFSelfTest::Outcome outcome) {
    increment(kSelfTests[static_cast<std::size_t>(outcome)]);
}

void BasebandStatistics::countReset(const ResetRequest& request, const std::string& time) {
    const auto type = static_cast<std::size_t>(request.type);
    const std::string last = kLastResets[type];
    increment(kResets[type]);
    record_.setLazily(dictionary({{(last + "Reason").c_str(), text(request.reason)},
                                  {(last + "SubType").c_str(), text(request.subType)},
                                  {(last + "Time").c_str(), text(time)}}));
}

void BasebandStatistics::countCrash(const std::string& reason, const std::string& time) {
    increment(kCrashes);
    record_.setLazily(dictionary({{"LastCrashReason", text(reason)}, {"LastCrashTime", text(time)}}));
}

void BasebandStatistics::countBoot(std::chrono::milliseconds duration) {
    increment(kBoots);
    record_.setLazily(dictionary({{kLastBoot, number(duration.count())}}));
}

void BasebandStatistics::increment(const char* key) {
    record_.setLazily(dictionary({{key, number(record_.number(key) + 1)}}));
}

xpc::Object BasebandStatistics::toDictionary() const {
    auto made = record_.values();
    const auto fill = [&made](const char* key) {
        if (!numberAt(made, key)) {
            xpc::set(made, key, number(0));
        }
    };
    fill(kBoots);
    fill(kCrashes);
    std::ranges::for_each(kCounts, fill);
    std::ranges::for_each(kSelfTests, fill);
    std::ranges::for_each(kResets, fill);
    return made;
}

}  // namespace corvane::simulated
