#pragma once

#include "Corvane/baseband/Baseband.h"
#include "Corvane/traces/TraceRecorders.h"
#include "Corvane/traces/TraceSettings.h"

#include <string_view>

namespace corvane {

/// Which traces are recorded: has the baseband tell the records of those that are on, and refuses those that it can't record.
class TraceSwitches {
public:
    /// The references outlive this.
    TraceSwitches(TraceSettings& settings, TraceRecorders& recorders) : settings_(settings), recorders_(recorders) {}

    /// Before the baseband is started. @param baseband outlives this.
    void start(Baseband& baseband);
    /// Has the baseband do what a property is about to be set to, unless that is to record nothing more; refused when it can't.
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
