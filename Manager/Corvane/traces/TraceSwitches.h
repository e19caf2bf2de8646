#pragma once

#include "Corvane/baseband/Baseband.h"
#include "Corvane/traces/TraceRecorders.h"
#include "Corvane/traces/TraceSettings.h"

#include <string>
#include <string_view>

namespace corvane {

/// Which traces are recorded: has the baseband tell the records of those that are on, and refuses those that it can't record.
class TraceSwitches {
public:
    /// The references outlive this.
    TraceSwitches(TraceSettings& settings, TraceRecorders& recorders) : settings_(settings), recorders_(recorders) {}

    /// Before the baseband is started. @param baseband outlives this.
    void start(Baseband& baseband);
    /// Whether the baseband can do what a property would be set to.
    Result<void> check(const TraceProperty& property, std::string_view value) const;
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
