#include "config/Preferences.h"

#include "platform/CoreFoundation/Owned.h"

namespace {

cf::Owned<CFStringRef> domain() {
    return cf::Owned<CFStringRef>(CFStringCreateWithCString(kCFAllocatorDefault, "com.quorvel.Corvane", kCFStringEncodingUTF8));
}

template <typename Value>
Value valueOr(const vsk::cf::plist_adapter& adapter, const std::string& key, Value value) {
    const cf::Owned<CFPropertyListRef> stored(adapter.copy(key));
    vsk::cf::assign(value, stored.get());
    return value;
}

}  // namespace

Preferences::Preferences() : adapter_(domain().get(), kCFPreferencesCurrentUser) {}

Preferences::~Preferences() = default;

bool Preferences::read(const std::string& key, bool fallback) const {
    return valueOr(adapter_, key, fallback);
}

std::uint32_t Preferences::read(const std::string& key, std::uint32_t fallback) const {
    return valueOr(adapter_, key, fallback);
}
