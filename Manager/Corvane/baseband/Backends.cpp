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

/// Makes a backend that has an option of its own.
template <typename Made, auto option>
std::unique_ptr<Baseband> make(Loop& loop, SettingsStore& store, const BackendOptions& options) {
    return std::make_unique<Made>(loop, store, options.*option);
}

template <typename Made>
std::unique_ptr<Baseband> make(Loop&, SettingsStore&, const BackendOptions&) {
    return std::make_unique<Made>();
}

constexpr Backend kBackends[] = {
    {"simulated", make<SimulatedBaseband, &BackendOptions::scenario>},
    {"modemmanager", make<ModemManagerBaseband, &BackendOptions::modem>},
    {kReplayBackend, make<NoBaseband>},
};

}  // namespace

std::span<const Backend> backends() {
    return kBackends;
}

}  // namespace corvane
