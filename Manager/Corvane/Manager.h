#pragma once

#include "Corvane/Statistics.h"
#include "Corvane/TraceSettings.h"
#include "Corvane/baseband/Baseband.h"

#include <functional>
#include <memory>

namespace corvane {

/// What the commands work on: the settings, the logs, the figures and the baseband.
class Manager : public BasebandListener {
public:
    using EventSink = std::function<void(const char* event, const xpc::Object& payload)>;

    explicit Manager(SettingsStore& store);

    /// @param events takes what every client that watches is to hear.
    void start(std::unique_ptr<Baseband> baseband, EventSink events);
    void stop();

    /// Why the baseband may not be reset now; nullopt when it may.
    std::optional<Refusal> refuseReset();
    std::optional<Refusal> unblockResets();
    /// Puts every setting back to its default.
    std::optional<Refusal> resetSettings();

    TraceSettings& traceSettings() { return traceSettings_; }
    BootFigures& bootFigures() { return bootFigures_; }
    ClientFigures& clientFigures() { return clientFigures_; }
    Baseband& baseband() { return *baseband_; }

    void basebandEvent(const char* event, const xpc::Object& payload) override;
    void basebandLog(std::string_view sentence) override;

private:
    SettingsStore& store_;
    TraceSettings traceSettings_;
    BootFigures bootFigures_;
    ClientFigures clientFigures_;
    EventSink events_;
    std::unique_ptr<Baseband> baseband_;
};

}  // namespace corvane
