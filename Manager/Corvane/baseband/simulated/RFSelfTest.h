#pragma once

#include "Corvane/baseband/PendingAnswer.h"
#include "Corvane/baseband/simulated/RFMeasurements.h"

#include <functional>

namespace corvane::simulated {

/// The RF self-test: 32 channels at two ports, measured in four equal steps.
///
/// Each step sends an event with the percentage done; the last one, or an abort, sends the event with the status and ends the
/// test. A limit that is violated fails the test's result, not its command: that has done what it was asked for.
class RFSelfTest {
public:
    enum class Outcome { Passed, Failed, Aborted };
    class Observer {
    public:
        virtual ~Observer() = default;
        virtual void selfTestProgressed(const xpc::Object& event) = 0;
        /// Once a test, before its command is answered.
        virtual void selfTestEnded(Outcome outcome, const xpc::Object& event) = 0;
    };

    RFSelfTest(Loop& loop, std::chrono::milliseconds duration, Observer& observer)
        : stepDuration_(duration / kSteps), observer_(observer), step_(loop) {}

    bool isRunning() const { return running_ != nullptr; }
    /// Not while it is running. Answers with the last event's payload.
    void run(const RFSelfTestOptions& options, std::uint64_t calibrationSeed, const PendingAnswerPtr& answer);
    /// Ends a running test with the aborted status. @param why "by ..."
    void abort(const std::string& why);

private:
    static constexpr std::size_t kSteps = 4;

    struct Run {
        RFSelfTestOptions options;
        std::uint64_t calibrationSeed = 0;
        PendingAnswerPtr answer;
        std::size_t stepsDone = 0;
        RFMeasurements measurements;
    };

    void awaitStep();
    void takeStep();
    void complete();
    xpc::Object event(const char* status) const;
    void end(Outcome outcome, std::optional<Refusal> refusal, const xpc::Object& event);

    const std::chrono::milliseconds stepDuration_;
    Observer& observer_;
    Timer step_;
    std::unique_ptr<Run> running_;
};

}  // namespace corvane::simulated
