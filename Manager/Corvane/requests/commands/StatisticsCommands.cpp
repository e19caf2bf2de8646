#include "Corvane/requests/Dispatcher.h"
#include "Corvane/requests/Services.h"
#include "Corvane/requests/commands/Commands.h"
#include "Corvane/support/Values.h"
#include "platform/ryn/constants.h"

#include <fmt/format.h>

namespace corvane {

namespace {

/// The numbers of the modules, as clients ask for them.
enum Module : std::int64_t { Boot = 0, Commands = 1, Clients = 2 };

void getStatistics(Services& services, const AnswerCompletion& answer, std::optional<std::int64_t> asked) {
    const xpc::Object figures = dictionary({});
    if (asked.value_or(Module::Commands) == Module::Commands) {
        xpc::set(figures, "Commands", services.commandFigures().toDictionary());
    }
    if (asked.value_or(Module::Clients) == Module::Clients) {
        xpc::set(figures, "Clients", services.clientFigures().toDictionary());
    }
    if (asked.value_or(Module::Boot) != Module::Boot) {
        answer(figures);
        return;
    }
    services.baseband().getStatistics([&services, figures, answer](const Result<xpc::Object>& boot) {
        answer(boot.then([&](const xpc::Object& statistics) {
            addBootFigures(services.store(), statistics);
            xpc::set(figures, "Boot", statistics);
            return xpc::Object(figures);
        }));
    });
}

void reportStatistics(Services& services, const AnswerCompletion& answer, std::int64_t module, const xpc::Object& data) {
    if (module != Module::Boot) {
        answer(Refusal::invalidArgument(
            fmt::format("The manager counts module {} itself; figures are reported to module 0.", module)));
        return;
    }
    services.write([&services, data, answer] { answer(storeBootFigures(services.store(), data)); });
}

}  // namespace

void addStatisticsCommands(Dispatcher& dispatcher) {
    dispatcher.add({
        {ryn::kCommandGetStatistics, Effect::Reads, getStatistics,
         OptionalNumber{ryn::kKeyReportingModuleType, Module::Boot, Module::Clients}},
        {ryn::kCommandReportingStatistics, Effect::Changes, reportStatistics,
         Number{ryn::kKeyReportingModuleType, Module::Boot, Module::Clients}, Dictionary{ryn::kKeyReportingData}},
    });
}

}  // namespace corvane
