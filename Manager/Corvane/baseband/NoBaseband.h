#pragma once

#include "Corvane/baseband/Baseband.h"

namespace corvane {

/// For a manager whose answers come from elsewhere: nothing happens in it.
class NoBaseband final : public Baseband {
public:
    void start(BasebandListener&) override {}
    void stop() override {}
    void getBootState(Completion<BootStatus> completion) override { completion(cannot("tell its state")); }
    void getOperatingMode(Completion<OperatingMode> completion) override { completion(cannot("tell its operating mode")); }
};

}  // namespace corvane
