#include "config/Preferences.h"

#include "platform/CoreFoundation/Owned.h"

namespace {

cf::Owned<CFStringRef> domain() {
    return cf::Owned<CFStringRef>(CFStringCreateWithCString(kCFAllocatorDefault, "com.quorvel.Corvane", kCFStringEncodingUTF8));
}

}  // namespace

Preferences::Preferences() : adapter_(domain().get(), kCFPreferencesCurrentUser) {}

Preferences::~Preferences() = default;
