#include "Corvane/requests/Dispatcher.h"
#include "Corvane/requests/Services.h"
#include "Corvane/requests/commands/Commands.h"
#include "Corvane/support/Text.h"
#include "Corvane/support/Values.h"
#include "platform/ryn/constants.h"

namespace corvane {

namespace {

void collectTraceLogs(Services& services, const AnswerCompletion& answer, std::string_view reason) {
    services.collectTraceLogs(escaped(reason), [answer](const Result<std::filesystem::path>& written) {
        answer(written.then([](const auto& folder) {
            return dictionary({{ryn::request::kKeyTraceLogsFolder, text(folder.string())}});
        }));
    });
}

void addTraceFilter(Services& services, const AnswerCompletion& answer, std::string_view filter,
                    std::optional<std::int64_t> value) {
    services.traceFilters().add(filter, value, answer);
}

void removeTraceFilter(Services& services, const AnswerCompletion& answer, std::string_view filter) {
    services.traceFilters().remove(filter, answer);
}

xpc::Object getTraceFilters(Services& services) {
    return services.traceFilters().all();
}

}  // namespace

void addTraceLogCommands(Dispatcher& dispatcher) {
    dispatcher.add({
        {ryn::request::kCollectTraceLogs, Effect::Changes, collectTraceLogs, Text{ryn::request::kKeyTraceLogsReason}},
        {ryn::request::kAddTraceFilter, Effect::Changes, addTraceFilter, Text{ryn::request::kKeyTraceFilterName},
         NumberOrNull{ryn::request::kKeyTraceFilterValue}},
        {ryn::request::kRemoveTraceFilter, Effect::Changes, removeTraceFilter, Text{ryn::request::kKeyTraceFilterName}},
        {ryn::request::kGetTraceFilters, Effect::Reads, getTraceFilters},
    });
}

}  // namespace corvane
