#pragma once

#include "platform/xpc/Object.h"
#include "ryn/Value.h"

namespace ryn {

xpc::Object toObject(const Value& value);
/// nullptr is null.
Value toValue(xpc_object_t object);

}  // namespace ryn
