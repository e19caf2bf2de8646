#pragma once

#include "Corvane/requests/Answer.h"

#include <sys/types.h>

#include <cstdint>
#include <string>

namespace corvane {

/// Who sends requests: the process, as the kernel knows it, and the name that it gives itself.
struct Requester {
    uid_t user = 0;
    pid_t process = 0;
    std::string name = {};
    std::uint64_t connection = 0;  ///< a number of its own
};

/// Puts on record who has asked for a change, and how that ended: an entry of the log, with the same fields in the journal.
void audit(const Requester& requester, const char* command, const Answer& answer);

}  // namespace corvane
