#include "Corvane/baseband/simulated/scenario/Scenario.h"
#include "Corvane/support/Text.h"

#include <cstdint>
#include <cstdlib>

/// A file is taken whole, or refused with a place in it, in one printable line.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto scenario = corvane::simulated::parseScenario("f", {reinterpret_cast<const char*>(data), size});
    if (!scenario) {
        const std::string& sentence = scenario.refusal().sentence;
        if (!sentence.starts_with("f line ") || !corvane::isPrintable(sentence)) {
            std::abort();
        }
        return 0;
    }
    for (const auto& step : scenario->steps) {
        if (step.action == nullptr || step.delay.count() < 0) {
            std::abort();
        }
    }
    return 0;
}
