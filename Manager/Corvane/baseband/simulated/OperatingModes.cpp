#include "Corvane/baseband/simulated/OperatingModes.h"

#include <iterator>
#include <vector>

namespace corvane::simulated {
namespace {

/// At the index of their number (QMI DMS).
constexpr ModeRule kModes[] = {
    {OperatingMode::Online, "online", Persistence::Clear, true},
    {OperatingMode::LowPower, "low power", Persistence::Clear, true},
    {OperatingMode::FactoryTest, "factory test", Persistence::Clear, true},
    {OperatingMode::Offline, "offline", Persistence::Keep, false},
    {OperatingMode::Reset, "reset", Persistence::Keep, false},
    {OperatingMode::ShuttingDown, "shutting down", Persistence::Keep, false},
    {OperatingMode::PersistentLowPower, "persistent low power", Persistence::Set, false},
    {OperatingMode::ModeOnlyLowPower, "mode-only low power", Persistence::Clear, false},
};

/// "a, b and c" of the modes that `wanted` holds for.
template <typename Predicate>
std::string enumerate(Predicate wanted) {
    std::vector<std::string> found;
    for (const ModeRule& rule : kModes) {
        if (wanted(rule)) {
            found.push_back(describe(rule.mode));
        }
    }
    std::string list = found.front();
    for (std::size_t index = 1; index < found.size(); ++index) {
        list += (index + 1 == found.size() ? " and " : ", ") + found[index];
    }
    return list;
}

}  // namespace

const ModeRule* findMode(std::int64_t number) {
    const bool known = number >= 0 && number < static_cast<std::int64_t>(std::size(kModes));
    return known ? &kModes[number] : nullptr;
}

const ModeRule& ruleOf(OperatingMode mode) {
    return kModes[static_cast<std::size_t>(mode)];
}

std::string describe(OperatingMode mode) {
    return std::to_string(static_cast<int>(mode)) + " (" + ruleOf(mode).name + ")";
}

std::string modesWithRadio() {
    return enumerate([](const ModeRule& rule) { return rule.radioUsable; });
}

std::optional<Refusal> refuseMode(OperatingMode from, std::int64_t to) {
    if (findMode(to) == nullptr) {
        return Refusal{ResultCode::InvalidArgument, "There is no operating mode " + std::to_string(to) + "; the modes are " +
                                                        enumerate([](const ModeRule&) { return true; }) + "."};
    }
    if (resetsBaseband(to) && from != OperatingMode::Offline) {
        return Refusal{ResultCode::WrongState, "Operating mode " + describe(OperatingMode::Reset) + " is accepted from mode " +
                                                   describe(OperatingMode::Offline) + " only; the baseband is in mode " +
                                                   describe(from) + "."};
    }
    return std::nullopt;
}

}  // namespace corvane::simulated
