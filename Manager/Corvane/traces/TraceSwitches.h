#pragma once

#include "Corvane/baseband/Baseband.h"
#include "Corvane/traces/TraceRecorders.h"
#include "Corvane/traces/TraceSettings.h"

#include <string_view>

namespace corvane {

/// Switches traces on and off in the baseband, and refuses those that it can't record.
class TraceSwitches {
public:
    /// The references outlive this.
    TraceSwitches(TraceSettings& settings, TraceRecorders& recorders) : settings_(settings), recorders_(recorders) {}

    /// Before the baseband is started. @param baseband outlives this.
    void start(Baseband& baseband);
    /// Before a property is stored: switches its trace on if the value does, or refuses it. Switching off follows once it is
    /// stored.
    void prepare(const TraceProperty& property, std::string_view value, Completion<void> done);
    void settingChanged(const TraceProperty& property);

private:
    struct Switch;
    static const Switch kSwitches[];

    void apply(const Switch& trace);
    void setLimits();

    TraceSettings& settings_;
    TraceRecorders& recorders_;
    Baseband* baseband_ = nullptr;
};

}  // namespace corvane
