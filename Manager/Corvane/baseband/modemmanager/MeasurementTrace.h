#pragma once

#include "Corvane/baseband/modemmanager/ModemSignal.h"
#include "Corvane/baseband/modemmanager/ModemTrace.h"

#include <string>

namespace corvane::modemmanager {

/// The trace TEMS: the signal and the place in the network, once a second.
class MeasurementTrace final : public ModemTrace {
public:
    /// @param signal outlives this.
    MeasurementTrace(Loop& loop, ModemFollower& follower, ModemSignal& signal, OnRecord onRecord, Log log);

private:
    std::string source() const override;
    Result<void> check() const override;
    void begin(Completion<void> done) override;
    void end() override;
    void everySecond();
    /// @param path of the modem that is in this place.
    void record(const std::string& path, const Result<xpc::Object>& place);

    ModemSignal& signal_;
    const OnRecord onRecord_;
    Timer second_;
    bool asking_ = false;  ///< where the modem is
};

}  // namespace corvane::modemmanager
