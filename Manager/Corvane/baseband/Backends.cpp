#include "Corvane/baseband/Backends.h"

#include "Corvane/baseband/modemmanager/ModemManagerBaseband.h"
#include "Corvane/baseband/simulated/SimulatedBaseband.h"

namespace corvane {
namespace {

/// For a manager whose answers come from elsewhere: nothing happens in it.
class NoBaseband final : public Baseband {
public:
    void start(BasebandListener&) override {}
    void stop() override {}
    void getBootState(Completion<BootStatus> completion) override { completion(cannot("tell its state")); }
    void getOperatingMode(Completion<OperatingMode> completion) override { completion(cannot("tell its operating mode")); }
};

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

}  // namespace corvane
