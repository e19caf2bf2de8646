#include "Corvane/baseband/Backends.h"

#include "Corvane/baseband/NoBaseband.h"
#include "Corvane/baseband/modemmanager/ModemManagerBaseband.h"
#include "Corvane/baseband/simulated/SimulatedBaseband.h"

#include <algorithm>
#include <iterator>

namespace corvane {
namespace {

using BasebandPtr = std::unique_ptr<Baseband>;

constexpr Backend kBackends[] = {
    {"simulated",
     [](Loop& loop, SettingsStore& store, const BackendOptions& options) -> BasebandPtr {
         return std::make_unique<SimulatedBaseband>(loop, store, options.scenario);
     }},
    {"modemmanager",
     [](Loop& loop, SettingsStore& store, const BackendOptions& options) -> BasebandPtr {
         return std::make_unique<ModemManagerBaseband>(loop, store, options.modem);
     }},
    {kReplayBackend, [](Loop&, SettingsStore&, const BackendOptions&) -> BasebandPtr { return std::make_unique<NoBaseband>(); }},
};

}  // namespace

std::span<const Backend> backends() {
    return kBackends;
}

const Backend* findBackend(const std::string& name) {
    const auto found = std::ranges::find(kBackends, name, &Backend::name);
    return found == std::end(kBackends) ? nullptr : &*found;
}

}  // namespace corvane
