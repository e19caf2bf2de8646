#include "Corvane/baseband/simulated/RFSelfTest.h"

#include "Corvane/support/Values.h"
#include "config/Diagnostics.h"

#include <utility>

namespace corvane::simulated {
namespace {

constexpr const char* kKeyPercentage = "KeyBasebandDiagnosticsPercentage";

}  // namespace

void RFSelfTest::run(const RFSelfTestOptions& options, std::uint64_t calibrationSeed, const PendingAnswerPtr& answer) {
    running_ = std::make_unique<Run>(Run{options, calibrationSeed, answer, 0, {}});
    observer_.selfTestProgressed(event(nullptr));
    awaitStep();
}

void RFSelfTest::abort(const std::string& why) {
    if (!isRunning()) {
        return;
    }
    step_.cancel();
    const std::string sentence = "The RF self-test was aborted " + why + "; run it again for a result.";
    auto aborted = event(ryn::kBasebandDiagnosticsStatusAborted);
    xpc_dictionary_set_value(aborted.get(), ryn::kKeyBasebandDiagnosticsErrorString, text(sentence).get());
    end(Outcome::Aborted, Refusal{ResultCode::Aborted, sentence}, aborted);
}

void RFSelfTest::awaitStep() {
    step_.set(stepDuration_, [this] { takeStep(); });
}

/// Half the channels of one port: A first.
void RFSelfTest::takeStep() {
    constexpr std::size_t kChannelsPerStep = 2 * kRFChannels / kSteps;
    const Port port = running_->stepsDone < kSteps / 2 ? Port::A : Port::B;
    const std::size_t first = running_->stepsDone % (kSteps / 2) * kChannelsPerStep;
    for (std::size_t channel = first; channel < first + kChannelsPerStep; ++channel) {
        measure(running_->options, running_->calibrationSeed, port, channel, running_->measurements);
    }
    if (++running_->stepsDone == kSteps) {
        complete();
        return;
    }
    observer_.selfTestProgressed(event(nullptr));
    awaitStep();
}

void RFSelfTest::complete() {
    const RFVerdict verdict = judge(running_->options, running_->measurements);
    auto completed = event(ryn::kBasebandDiagnosticsStatusComplete);
    const auto result = resultDictionary(verdict, running_->measurements);
    xpc_dictionary_set_value(completed.get(), ryn::kKeyBasebandDiagnosticsResult, result.get());
    if (!verdict.passed()) {
        const auto code = number(verdict.errorCode());
        xpc_dictionary_set_value(completed.get(), ryn::kKeyBasebandDiagnosticsErrorCode, code.get());
        const auto sentence = text(verdict.errorSentence());
        xpc_dictionary_set_value(completed.get(), ryn::kKeyBasebandDiagnosticsErrorString, sentence.get());
    }
    end(verdict.passed() ? Outcome::Passed : Outcome::Failed, std::nullopt, completed);
}

/// @param status nullptr while the test goes on.
xpc::Object RFSelfTest::event(const char* status) const {
    const auto percentage = static_cast<std::int64_t>(100 * running_->stepsDone / kSteps);
    auto made = dictionary({{ryn::kKeyBasebandDiagnosticsType, text(ryn::kBasebandDiagnosticsTypeRFSelfTest)},
                            {ryn::kKeyBasebandDiagnosticsStatusData, dictionary({{kKeyPercentage, number(percentage)}})}});
    if (status != nullptr) {
        xpc_dictionary_set_value(made.get(), ryn::kKeyBasebandDiagnosticsStatus, text(status).get());
    }
    return made;
}

void RFSelfTest::end(Outcome outcome, std::optional<Refusal> refusal, const xpc::Object& event) {
    const auto ended = std::exchange(running_, nullptr);
    observer_.selfTestEnded(outcome, event);
    ended->answer->answer({std::move(refusal), event});
}

}  // namespace corvane::simulated
