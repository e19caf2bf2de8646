#include "Corvane/requests/Arguments.h"
#include "Corvane/requests/Dispatcher.h"
#include "Corvane/requests/Manager.h"
#include "Corvane/requests/commands/Commands.h"
#include "Corvane/support/Values.h"
#include "platform/ryn/constants.h"

namespace corvane {

namespace {

std::optional<Answer> refuse(Refusal refusal) {
    return Answer{std::move(refusal)};
}

std::optional<Answer> getTraceProperty(Manager& manager, const Call& call) {
    Arguments arguments(call.argument);
    const std::string_view trace = arguments.text(ryn::kKeyTraceName);
    const std::string_view property = arguments.text(ryn::kKeyTracePropertyName);
    if (!arguments) {
        return refuse(*arguments.refusal());
    }
    auto found = manager.traceSettings().reply(trace, property);
    if (auto* refusal = std::get_if<Refusal>(&found)) {
        return refuse(std::move(*refusal));
    }
    return Answer{std::get<xpc::Object>(std::move(found))};
}

std::optional<Answer> setTraceProperty(Manager& manager, const Call& call) {
    Arguments arguments(call.argument);
    const std::string_view trace = arguments.text(ryn::kKeyTraceName);
    const std::string_view property = arguments.text(ryn::kKeyTracePropertyName);
    const std::string_view value = arguments.text(ryn::kKeyTracePropertyValue);
    arguments.optionalFlag(ryn::kKeyTracePropertyWaitForCompletion, true);
    if (!arguments) {
        return refuse(*arguments.refusal());
    }
    return Answer(manager.traceSettings().set(trace, property, value));
}

/// The TEMS mode is a trace property with commands of its own.
std::optional<Answer> getTEMSProperty(Manager& manager, const Call&) {
    auto found = manager.traceSettings().reply("TEMS", "Mode");
    if (auto* refusal = std::get_if<Refusal>(&found)) {
        return refuse(std::move(*refusal));
    }
    return Answer{dictionary({{ryn::kKeyTEMSMode, text(manager.traceSettings().value(ryn::trace::Type::TEMS, "Mode"))}})};
}

std::optional<Answer> setTEMSProperty(Manager& manager, const Call& call) {
    Arguments arguments(call.argument);
    const std::string_view mode = arguments.text(ryn::kKeyTEMSMode);
    if (!arguments) {
        return refuse(*arguments.refusal());
    }
    return Answer(manager.traceSettings().set("TEMS", "Mode", mode));
}

}  // namespace

void addTraceCommands(Dispatcher& dispatcher) {
    dispatcher.add({
        {ryn::kCommandGetTraceProperty, getTraceProperty},
        {ryn::kCommandSetTraceProperty, setTraceProperty},
        {ryn::kCommandGetTEMSProperty, getTEMSProperty},
        {ryn::kCommandSetTEMSProperty, setTEMSProperty},
    });
}

}  // namespace corvane
