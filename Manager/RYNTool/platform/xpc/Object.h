#pragma once

#include "platform/xpc/xpc.h"

#include <string>
#include <utility>

namespace xpc {

/// One owned reference to an XPC object, or none. Copying retains, destruction releases.
class Object {
public:
    Object() noexcept = default;
    /// Takes over the reference that a `create` returned.
    static Object adopt(xpc_object_t object) noexcept { return Object(object); }
    /// Adds a reference to a borrowed object.
    static Object share(xpc_object_t object) { return Object(object == nullptr ? nullptr : xpc_retain(object)); }

    Object(const Object& other) : object_(other.object_ == nullptr ? nullptr : xpc_retain(other.object_)) {}
    Object(Object&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    Object& operator=(Object other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }
    ~Object() {
        if (object_ != nullptr) {
            xpc_release(object_);
        }
    }

    xpc_object_t get() const noexcept { return object_; }
    explicit operator bool() const noexcept { return object_ != nullptr; }
    bool is(xpc_type_t type) const { return object_ != nullptr && xpc_get_type(object_) == type; }
    bool isDictionary() const { return is(XPC_TYPE_DICTIONARY); }

private:
    explicit Object(xpc_object_t object) noexcept : object_(object) {}

    xpc_object_t object_ = nullptr;
};

/// One line of JSON (RFC 8259): dictionary keys in ascending byte order, no blank after ':' or ','; the null object and
/// nullptr are `null`; bytes that are not UTF-8 show as U+FFFD. Scripts may rely on it.
std::string to_string(xpc_object_t object);
inline std::string to_string(const Object& object) {
    return to_string(object.get());
}

}  // namespace xpc
