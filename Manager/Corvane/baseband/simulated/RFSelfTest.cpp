#include "Corvane/baseband/simulated/RFSelfTest.h"

#include <fmt/format.h>

#include <utility>

namespace corvane::simulated {

using Status = RFSelfTestEvent::Status;

void RFSelfTest::run(const RFSelfTestOptions& options, std::uint64_t calibrationSeed, Completion<RFSelfTestEvent> completion) {
    running_ = std::make_unique<Run>(Run{options, calibrationSeed, std::move(completion)});
    for (std::size_t port = 0; port < failing_.size(); ++port) {
        running_->isBroken[port] = failing_[port] > 0;
        failing_[port] -= running_->isBroken[port] ? 1 : 0;
    }
    onEvent_(event(Status::Running));
    step_.set(kStep, [this] { takeStep(); });
}

void RFSelfTest::abort(const std::string& why) {
    if (!isRunning()) {
        return;
    }
    step_.cancel();
    RFSelfTestEvent aborted = event(Status::Aborted);
    aborted.error = fmt::format("The RF self-test was aborted {}; run it again for a result.", why);
    end(aborted);
}

/// Half the channels of one port: A first.
void RFSelfTest::takeStep() {
    constexpr std::size_t kChannelsPerStep = 2 * kRFChannels / kSteps;
    const Port port = running_->stepsDone < kSteps / 2 ? Port::A : Port::B;
    const std::size_t first = running_->stepsDone % (kSteps / 2) * kChannelsPerStep;
    for (std::size_t channel = first; channel < first + kChannelsPerStep; ++channel) {
        measure(running_->options, running_->calibrationSeed, port, channel, running_->result);
        if (running_->isBroken[static_cast<std::size_t>(port)]) {
            breakPath(port, channel, running_->result);
        }
    }
    if (++running_->stepsDone == kSteps) {
        complete();
        return;
    }
    onEvent_(event(Status::Running));
    step_.set(kStep, [this] { takeStep(); });
}

void RFSelfTest::complete() {
    RFSelfTestEvent completed = event(Status::Complete);
    completed.error = judge(running_->options, running_->result);
    completed.result = running_->result;
    end(completed);
}

RFSelfTestEvent RFSelfTest::event(Status status) const {
    return {status, static_cast<std::int64_t>(100 * running_->stepsDone / kSteps)};
}

void RFSelfTest::end(const RFSelfTestEvent& event) {
    const auto ended = std::exchange(running_, nullptr);
    onEvent_(event);
    ended->completion(event);
}

}  // namespace corvane::simulated
