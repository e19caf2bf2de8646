#include "commands/StatsCommand.h"

#include "commands/Payload.h"
#include "platform/ryn/constants.h"
#include "shell/Output.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr std::int64_t kBootModule = 0;

xpc::Object numberOf(const std::string& word) {
    return payload::integer(std::atol(word.c_str()));
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
        const auto moduleType = static_cast<std::uint32_t>(std::atol(words.front().c_str()));
        payload::set(argument, ryn::kKeyReportingModuleType, payload::integer(moduleType));
    }
    const Answer answer = perform(ryn::kCommandGetStatistics, argument);
    if (!answer.succeeded()) {
        output::printLine(stdout, {"Failed to get statistics"});
        return false;
    }
    output::printLine(stdout, {"Success to get statstics."});
    output::printLine(stdout, {xpc::to_string(answer.reply)});
    return true;
}

bool StatsCommand::reportBootModule(const Words& words) const {
    const auto data = payload::dictionary();
    if (!words.empty() && !words[0].empty()) {
        payload::set(data, ryn::kKeyBootModuleLastRecoveryTime, numberOf(words[0]));
    }
    if (words.size() > 1 && !words[1].empty()) {
        payload::set(data, ryn::kKeyBootModuleLastHardResetTime, numberOf(words[1]));
    }
    const Answer answer =
        perform(ryn::kCommandReportingStatistics, payload::dictionary({
                                                      {ryn::kKeyReportingModuleType, payload::integer(kBootModule)},
                                                      {ryn::kKeyReportingData, data},
                                                  }));
    if (!answer.succeeded()) {
        output::printLine(stdout, {"Failed to report statistics"});
        output::printLine(stdout, {"Error data : ", xpc::to_string(answer.reply)});
        return false;
    }
    output::printLine(stdout, {"Success to create category in the statstics."});
    return true;
}
