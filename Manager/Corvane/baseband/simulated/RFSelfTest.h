#pragma once

#include "Corvane/baseband/Baseband.h"
#include "Corvane/baseband/simulated/RFMeasurements.h"
#include "Corvane/loop/Timer.h"

#include <array>
#include <memory>

namespace corvane::simulated {

/// The RF self-test: 32 channels at two ports, measured in four equal steps.
///
/// Each step sends an event with the percentage done; the last one, or an abort, sends the event with the status and ends the
/// test. A limit that is violated fails the test's result, not its command: that has done what it was asked for.
class RFSelfTest {
public:
    enum class Outcome { Passed, Failed, Aborted };
    /// The last event of a test comes before its command is answered.
    using OnEvent = std::function<void(const RFSelfTestEvent& event)>;

    RFSelfTest(Loop& loop, OnEvent onEvent) : onEvent_(std::move(onEvent)), step_(loop) {}

    bool isRunning() const { return running_ != nullptr; }
    /// Not while it is running. Completes with the last event.
    void run(const RFSelfTestOptions& options, std::uint64_t calibrationSeed, Completion<RFSelfTestEvent> completion);
    /// The next tests find a port's path to the antenna broken.
    void failNext(Port port, unsigned times) { failing_[static_cast<std::size_t>(port)] = times; }
    /// Ends a running test with the aborted status. @param why a clause that follows "was aborted": "by a soft reset"
    void abort(const std::string& why);

private:
    static constexpr std::size_t kSteps = 4;
    static constexpr std::chrono::milliseconds kStep{500};

    struct Run {
        RFSelfTestOptions options;
        std::uint64_t calibrationSeed = 0;
        Completion<RFSelfTestEvent> completion;
        std::size_t stepsDone = 0;
        RFSelfTestResult result = {};
        std::array<bool, kPorts> isBroken = {};  ///< by port
    };

    void takeStep();
    void complete();
    /// Tells how far the test is.
    RFSelfTestEvent event(RFSelfTestEvent::Status status) const;
    void end(const RFSelfTestEvent& event);

    OnEvent onEvent_;
    Timer step_;
    std::array<unsigned, kPorts> failing_{};  ///< tests of each port that are to fail
    std::unique_ptr<Run> running_;
};

}  // namespace corvane::simulated
