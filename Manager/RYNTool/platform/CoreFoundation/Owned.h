#pragma once

#include "platform/CoreFoundation/CoreFoundation.h"

#include <memory>
#include <type_traits>

namespace cf {

struct Release {
    template <typename Type>
    void operator()(const Type* object) const {
        CFRelease(object);
    }
};

/// The one reference that a Create or Copy returned, or none; for instance `Owned<CFStringRef>`.
template <typename Reference>
using Owned = std::unique_ptr<std::remove_pointer_t<Reference>, Release>;

}  // namespace cf
