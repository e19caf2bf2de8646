#pragma once

#include "Corvane/support/Refusal.h"
#include "platform/xpc/Object.h"

namespace corvane {

/// {KeyErrorCode: int64, KeyErrorString: string} and what `details`, a dictionary or nothing, holds besides.
xpc::Object errorReply(const Refusal& refusal, const xpc::Object& details);

}  // namespace corvane
