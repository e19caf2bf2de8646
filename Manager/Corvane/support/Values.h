#pragma once

#include "platform/xpc/Values.h"

namespace corvane {

using xpc::boolean;
using xpc::dictionary;
using xpc::number;
using xpc::numberAt;
using xpc::text;
using xpc::textAt;

}  // namespace corvane
