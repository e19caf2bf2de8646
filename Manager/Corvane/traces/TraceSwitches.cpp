#include "Corvane/traces/TraceSwitches.h"

#include "Corvane/support/Log.h"
#include "config/DiagConfig.h"

#include <algorithm>
#include <iterator>

namespace corvane {

using ryn::trace::Type;
namespace diag = ::diag::config;

struct TraceSwitches::Switch {
    Type trace;
    const char* property;
    std::string_view off;  ///< the property's value
    const char* obstacle;  ///< why a baseband may have nothing to record, as "this baseband ..."
};

const TraceSwitches::Switch TraceSwitches::kSwitches[] = {
    {Type::DIAG, diag::kEnabledKey, "false", "gives no way to its diagnostic messages"},
    {Type::BasebandIPC, diag::kEnabledKey, "false", "doesn't tell what it exchanges with the manager"},
    {Type::KernelPCI, diag::kEnabledKey, "false", "has no link whose transfers can be seen"},
    {Type::TEMS, diag::kModeKey, "OFF", "tells no measurements"},
    {Type::CoreDump, diag::kEnabledKey, "false", "leaves no core dumps"},
    {Type::EURCoreDump, diag::kEnabledKey, "false", "leaves no core dumps of this kind"},
    {Type::IPCTrace, diag::kEnabledKey, "false", "has nothing to tell beyond the trace BasebandIPC"},
};

void TraceSwitches::start(Baseband& baseband) {
    baseband_ = &baseband;
    for (const Switch& trace : kSwitches) {
        apply(trace);
    }
    setLimits();
}

void TraceSwitches::prepare(const TraceProperty& property, std::string_view value, Completion<void> done) {
    const auto* const trace = std::ranges::find(kSwitches, property.trace, &Switch::trace);
    const bool isSwitched = trace != std::end(kSwitches);
    const bool isSwitch = isSwitched && std::string_view(property.name) == trace->property;
    const bool turnsOff = isSwitch && value == trace->off;
    if (isSwitched && !turnsOff && !baseband_->canRecord(trace->trace)) {
        done(Refusal::notSupported("Trace " + ryn::trace::typeAsString(trace->trace) + " can't be recorded: this baseband " +
                                   trace->obstacle + "."));
    } else if (isSwitch && !turnsOff) {
        baseband_->switchTrace(trace->trace, true, std::move(done));
    } else {
        done({});
    }
}

void TraceSwitches::settingChanged(const TraceProperty& property) {
    for (const Switch& trace : kSwitches) {
        if (trace.trace == property.trace && std::string_view(property.name) == trace.property) {
            apply(trace);
        }
    }
    if (property.trace == Type::KernelPCI) {
        setLimits();
    }
}

void TraceSwitches::apply(const Switch& trace) {
    if (!baseband_->canRecord(trace.trace)) {
        // The value may be the default, or have been stored for another baseband.
        settings_.setReadOnly(trace.trace, trace.property, std::string(trace.off));
        return;
    }
    const bool on = settings_.value(trace.trace, trace.property) != trace.off;
    baseband_->switchTrace(trace.trace, on, [this, &trace](const Result<void>& switched) {
        if (!switched) {
            log::warning(switched.refusal().sentence);
            settings_.setReadOnly(trace.trace, trace.property, std::string(trace.off));
        }
    });
}

void TraceSwitches::setLimits() {
    if (const std::uint64_t history = settings_.number(Type::KernelPCI, diag::kHistoryKey); history > 0) {
        const auto buffers = static_cast<std::size_t>(settings_.number(Type::KernelPCI, TraceProperty::kBufferCount));
        recorders_.setLimits(Type::KernelPCI, {history * kMegabyte, buffers});
    }
}

}  // namespace corvane
