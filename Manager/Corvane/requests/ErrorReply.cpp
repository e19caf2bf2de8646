#include "Corvane/requests/ErrorReply.h"

#include "Corvane/support/Text.h"
#include "Corvane/support/Values.h"
#include "platform/ryn/constants.h"

namespace corvane {

xpc::Object errorReply(const Refusal& refusal, const xpc::Object& details) {
    xpc::Object reply =
        dictionary({{ryn::kKeyErrorCode, number(refusal.result())}, {ryn::kKeyErrorString, text(escaped(refusal.sentence))}});
    if (details.isDictionary()) {
        xpc_dictionary_apply(details.get(), [&reply](const char* key, xpc_object_t value) {
            if (xpc_dictionary_get_value(reply.get(), key) == nullptr) {
                xpc_dictionary_set_value(reply.get(), key, value);
            }
            return true;
        });
    }
    return reply;
}

}  // namespace corvane
