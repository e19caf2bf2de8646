#include "commands/Groups.h"

namespace {

constexpr std::int64_t kBootModule = 0;

/// "stats": reads the manager's statistics and reports boot figures into them. Failures go to standard output too.
struct StatsCommand : RYNCommandBase {
    using RYNCommandBase::RYNCommandBase;

    void registerCommands() override {
        registerLeaf<&StatsCommand::getStatistics>("get-statistics", "Get Statistics");
        registerLeaf<&StatsCommand::reportBootModule>("bootmodule", "Statistics for BootModule");
    }

    bool getStatistics(const Group&, const Words& words) {
        const auto argument = xpc::dictionary();
        if (words.size() == 1) {
            const auto moduleType = static_cast<std::uint32_t>(numberOf(words.front()));
            xpc::set(argument, ryn::kKeyReportingModuleType, xpc::number(moduleType));
        }
        const Answer answer = perform(ryn::kCommandGetStatistics, argument);
        if (!answer.succeeded()) {
            return fail({"Failed to get statistics"}, output::Stream::Output);
        }
        output::printLine({"Success to get statstics."});
        return succeed({xpc::to_string(answer.reply)});
    }

    bool reportBootModule(const Group&, const Words& words) {
        const auto data = xpc::dictionary();
        const char* const keys[] = {ryn::kKeyBootModuleLastRecoveryTime, ryn::kKeyBootModuleLastHardResetTime};
        for (std::size_t index = 0; index < words.size() && index < std::size(keys); ++index) {
            if (!words[index].empty()) {
                xpc::set(data, keys[index], xpc::number(numberOf(words[index])));
            }
        }
        const Answer answer =
            perform(ryn::kCommandReportingStatistics, xpc::dictionary({
                                                          {ryn::kKeyReportingModuleType, xpc::number(kBootModule)},
                                                          {ryn::kKeyReportingData, data},
                                                      }));
        if (!answer.succeeded()) {
            output::printLine({"Failed to report statistics"});
            return fail({"Error data : ", xpc::to_string(answer.reply)}, output::Stream::Output);
        }
        return succeed({"Success to create category in the statstics."});
    }
};

}  // namespace

NodeFactory* const createStatsCommand = create<StatsCommand>;
