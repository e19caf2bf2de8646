#include "Client/Timeout.h"

#include "Client/Requests.h"
#include "platform/ryn/constants.h"

#include <algorithm>

namespace ryn::client {

std::chrono::seconds timeoutOf(std::string_view command, const xpc::Object& argument) {
    // The manager is given its time and a little for the way.
    constexpr std::chrono::seconds kAllowance{5};
    constexpr std::chrono::seconds kLongest{365L * 24 * 60 * 60};
    const std::chrono::seconds asked(xpc_int64_get_value(xpc_dictionary_get_value(argument.get(), kKeyTimeout)));
    if (asked.count() > 0) {
        return std::min(asked, kLongest) + kAllowance;
    }
    const bool isLong = command == request::kCollectTraceLogs || command == request::kBasebandDiagnostics;
    return std::chrono::seconds(isLong ? 300 : 60);
}

}  // namespace ryn::client
