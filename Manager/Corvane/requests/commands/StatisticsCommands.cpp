#include "Corvane/requests/Arguments.h"
#include "Corvane/requests/Dispatcher.h"
#include "Corvane/requests/Manager.h"
#include "Corvane/requests/commands/Commands.h"
#include "Corvane/support/Values.h"
#include "platform/ryn/constants.h"

#include <limits>

namespace corvane {

namespace {

/// The numbers of the modules, as clients ask for them.
enum class Module : std::int64_t { Boot = 0, Commands = 1, Clients = 2 };
constexpr auto kLastModule = static_cast<std::int64_t>(Module::Clients);

/// Times are whole seconds, of a clock of the reporter's own.
constexpr auto kLongestTime = std::numeric_limits<std::int64_t>::max();

std::optional<Answer> getStatistics(Manager& manager, const Call& call) {
    Arguments arguments(call.argument, Arguments::Need::DictionaryOrNull);
    const auto asked = arguments.optionalNumber(ryn::kKeyReportingModuleType, 0, kLastModule);
    if (!arguments) {
        return arguments.refusal();
    }
    const auto isAsked = [asked](Module module) { return !asked || *asked == static_cast<std::int64_t>(module); };
    const xpc::Object figures = dictionary({});
    if (isAsked(Module::Commands)) {
        xpc_dictionary_set_value(figures.get(), "Commands", manager.commandFigures().toDictionary().get());
    }
    if (isAsked(Module::Clients)) {
        xpc_dictionary_set_value(figures.get(), "Clients", manager.clientFigures().toDictionary().get());
    }
    if (!isAsked(Module::Boot)) {
        return Answer{figures};
    }
    manager.baseband().getStatistics([&manager, figures, answer = call.later()](const Result<xpc::Object>& boot) {
        if (!boot) {
            answer(boot.refusal());
            return;
        }
        manager.bootFigures().addTo(*boot);
        xpc_dictionary_set_value(figures.get(), "Boot", boot->get());
        answer(figures);
    });
    return std::nullopt;
}

std::optional<Answer> reportStatistics(Manager& manager, const Call& call) {
    Arguments arguments(call.argument);
    const std::int64_t module = arguments.number(ryn::kKeyReportingModuleType, 0, kLastModule);
    if (arguments && module != static_cast<std::int64_t>(Module::Boot)) {
        arguments.refuse("The manager counts module " + std::to_string(module) + " itself; figures are reported to module 0.");
    }
    Arguments data(xpc::Object::share(arguments.dictionary(ryn::kKeyReportingData)), Arguments::Need::DictionaryOrNull);
    const auto recovery = data.optionalNumber(ryn::kKeyBootModuleLastRecoveryTime, 0, kLongestTime);
    const auto hardReset = data.optionalNumber(ryn::kKeyBootModuleLastHardResetTime, 0, kLongestTime);
    if (!arguments || !data) {
        return Answer{arguments ? *data.refusal() : *arguments.refusal()};
    }
    if (auto why = manager.bootFigures().report(recovery, hardReset)) {
        return Answer{Refusal::storageFailed(std::move(*why))};
    }
    return Answer{};
}

}  // namespace

void addStatisticsCommands(Dispatcher& dispatcher) {
    dispatcher.add({
        {ryn::kCommandGetStatistics, getStatistics},
        {ryn::kCommandReportingStatistics, reportStatistics},
    });
}

}  // namespace corvane
