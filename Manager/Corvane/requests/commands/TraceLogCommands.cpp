#include "Client/Requests.h"
#include "Corvane/requests/Arguments.h"
#include "Corvane/requests/Dispatcher.h"
#include "Corvane/requests/Manager.h"
#include "Corvane/requests/commands/Commands.h"
#include "Corvane/support/Text.h"

#include <limits>

namespace corvane {

namespace {

std::optional<Answer> collectTraceLogs(Manager& manager, const Call& call) {
    Arguments arguments(call.argument);
    const std::string_view reason = arguments.text(ryn::request::kKeyTraceLogsReason);
    if (!arguments) {
        return arguments.refusal();
    }
    manager.collectTraceLogs(escaped(reason), call.later());
    return std::nullopt;
}

std::optional<Answer> addTraceFilter(Manager& manager, const Call& call) {
    Arguments arguments(call.argument);
    const std::string_view filter = arguments.text(ryn::request::kKeyTraceFilterName);
    const auto value = arguments.numberOrNull(ryn::request::kKeyTraceFilterValue);
    if (!arguments) {
        return arguments.refusal();
    }
    return Answer(manager.traceFilters().add(filter, value));
}

std::optional<Answer> removeTraceFilter(Manager& manager, const Call& call) {
    Arguments arguments(call.argument);
    const std::string_view filter = arguments.text(ryn::request::kKeyTraceFilterName);
    if (!arguments) {
        return arguments.refusal();
    }
    return Answer(manager.traceFilters().remove(filter));
}

std::optional<Answer> getTraceFilters(Manager& manager, const Call&) {
    return Answer{manager.traceFilters().all()};
}

}  // namespace

void addTraceLogCommands(Dispatcher& dispatcher) {
    dispatcher.add({
        {ryn::request::kCollectTraceLogs, collectTraceLogs},
        {ryn::request::kAddTraceFilter, addTraceFilter},
        {ryn::request::kRemoveTraceFilter, removeTraceFilter},
        {ryn::request::kGetTraceFilters, getTraceFilters},
    });
}

}  // namespace corvane
