#include "Corvane/requests/Audit.h"

#include "Corvane/support/Log.h"
#include "Corvane/support/Text.h"

#include <fmt/format.h>

namespace corvane {

void audit(const Requester& requester, const char* command, const Answer& answer) {
    const std::string result = answer ? "0" : fmt::format("0x{:08X}", static_cast<std::uint32_t>(answer.refusal().code));
    // The name is the client's own word: it stands last, where it can't pass for another field.
    log::entry(fmt::format("COMMAND={}\nRESULT={}\nCLIENT_UID={}\nCLIENT_PID={}\nCLIENT_NAME={}", command, result, requester.user,
                           requester.process, escaped(requester.name)));
}

}  // namespace corvane
