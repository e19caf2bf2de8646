#include "Corvane/requests/Audit.h"

#include "Corvane/support/Log.h"
#include "Corvane/support/Text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <array>

namespace corvane {

void audit(const Requester& requester, const char* command, std::int32_t result) {
    // The name is the client's own word: it stands last, where it can't pass for another field.
    const std::array fields{
        fmt::format("COMMAND={}", command),
        result == 0 ? std::string("RESULT=0") : fmt::format("RESULT=0x{:08X}", static_cast<std::uint32_t>(result)),
        fmt::format("CLIENT_UID={}", requester.user),
        fmt::format("CLIENT_PID={}", requester.process),
        fmt::format("CLIENT_NAME={}", escaped(requester.name)),
    };
    log::entry(fmt::format("{}", fmt::join(fields, " ")), fields);
}

}  // namespace corvane
