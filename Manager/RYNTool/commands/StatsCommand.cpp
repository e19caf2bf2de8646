#include "commands/StatsCommand.h"

#include "commands/Payload.h"
#include "platform/ryn/constants.h"
#include "shell/Output.h"

#include <cstdint>
#include <cstdlib>

namespace {

constexpr std::int64_t kBootModule = 0;

/// 64 bits wide on every machine, which a `long` is not.
std::int64_t numberOf(const std::string& word) {
    return std::strtoll(word.c_str(), nullptr, 10);
}

}  // namespace

void StatsCommand::registerCommands() {
    registerCommand(
        "get-statistics", [this](const auto&, const Words& words) { return getStatistics(words); }, "Get Statistics");
    registerCommand(
        "bootmodule", [this](const auto&, const Words& words) { return reportBootModule(words); }, "Statistics for BootModule");
}

bool StatsCommand::getStatistics(const Words& words) const {
    const auto argument = payload::dictionary();
    if (words.size() == 1) {
        const auto moduleType = static_cast<std::uint32_t>(numberOf(words.front()));
        payload::set(argument, ryn::kKeyReportingModuleType, payload::integer(moduleType));
    }
    const Answer answer = perform(ryn::kCommandGetStatistics, argument);
    if (!answer.succeeded()) {
        output::printLine({"Failed to get statistics"});
        return false;
    }
    output::printLine({"Success to get statstics."});
    output::printLine({xpc::to_string(answer.reply)});
    return true;
}

bool StatsCommand::reportBootModule(const Words& words) const {
    const auto data = payload::dictionary();
    if (!words.empty() && !words[0].empty()) {
        payload::set(data, ryn::kKeyBootModuleLastRecoveryTime, payload::integer(numberOf(words[0])));
    }
    if (words.size() > 1 && !words[1].empty()) {
        payload::set(data, ryn::kKeyBootModuleLastHardResetTime, payload::integer(numberOf(words[1])));
    }
    const Answer answer =
        perform(ryn::kCommandReportingStatistics, payload::dictionary({
                                                      {ryn::kKeyReportingModuleType, payload::integer(kBootModule)},
                                                      {ryn::kKeyReportingData, data},
                                                  }));
    if (!answer.succeeded()) {
        output::printLine({"Failed to report statistics"});
        output::printLine({"Error data : ", xpc::to_string(answer.reply)});
        return false;
    }
    output::printLine({"Success to create category in the statstics."});
    return true;
}
