#pragma once

#include "Corvane/baseband/RFSelfTest.h"
#include "Corvane/support/Result.h"
#include "platform/xpc/Object.h"

namespace corvane {

/// Reads the options that a command carries, refusing what is missing or malformed.
Result<RFSelfTestOptions> readSelfTestOptions(const xpc::Object& options);

}  // namespace corvane
