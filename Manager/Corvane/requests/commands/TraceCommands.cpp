#include "Corvane/requests/Dispatcher.h"
#include "Corvane/requests/Services.h"
#include "Corvane/requests/commands/Commands.h"
#include "Corvane/support/Values.h"
#include "platform/ryn/constants.h"

namespace corvane {

namespace {

Result<xpc::Object> getTraceProperty(Services& services, std::string_view trace, std::string_view property) {
    return services.traceSettings().reply(trace, property);
}

/// It never answers before the value is on disk, whether the client asks for that or not.
void setTraceProperty(Services& services, AnswerCompletion answer, std::string_view trace, std::string_view property,
                      std::string_view value, bool /*waitForCompletion*/) {
    services.traceSettings().set(trace, property, value, std::move(answer));
}

/// The TEMS mode is a trace property with commands of its own.
constexpr const char* kTEMS = "TEMS";
constexpr const char* kTEMSMode = "Mode";

Result<xpc::Object> getTEMSProperty(Services& services) {
    const auto reply = services.traceSettings().reply(kTEMS, kTEMSMode);
    return reply ? dictionary({{ryn::kKeyTEMSMode, text(services.traceSettings().value(ryn::trace::Type::TEMS, kTEMSMode))}})
                 : reply;
}

void setTEMSProperty(Services& services, AnswerCompletion answer, std::string_view mode) {
    services.traceSettings().set(kTEMS, kTEMSMode, mode, std::move(answer));
}

}  // namespace

void addTraceCommands(Dispatcher& dispatcher) {
    dispatcher.add({
        {ryn::kCommandGetTraceProperty, Effect::Reads, getTraceProperty, Text{ryn::kKeyTraceName},
         Text{ryn::kKeyTracePropertyName}},
        {ryn::kCommandSetTraceProperty, Effect::Changes, setTraceProperty, Text{ryn::kKeyTraceName},
         Text{ryn::kKeyTracePropertyName}, Text{ryn::kKeyTracePropertyValue},
         OptionalFlag{ryn::kKeyTracePropertyWaitForCompletion, true}},
        {ryn::kCommandGetTEMSProperty, Effect::Reads, getTEMSProperty},
        {ryn::kCommandSetTEMSProperty, Effect::Changes, setTEMSProperty, Text{ryn::kKeyTEMSMode}},
    });
}

}  // namespace corvane
