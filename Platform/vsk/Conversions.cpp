#include "platform/vsk/SorvexUtil.h"

namespace vsk {

std::int32_t toInt32(xpc_object_t object, std::int32_t fallback) {
    const bool isInteger = xpc_get_type(object) == XPC_TYPE_INT64;
    return isInteger ? static_cast<std::int32_t>(xpc_int64_get_value(object)) : fallback;
}

}  // namespace vsk
