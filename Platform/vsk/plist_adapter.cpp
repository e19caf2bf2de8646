#include "platform/vsk/plist_adapter.h"

#include "Platform/CoreFoundation/Object.h"

#include <mutex>

namespace vsk::cf {
namespace {

/// The string as a key; nullptr when it is not UTF-8.
::cf::Owned<CFStringRef> makeKey(const std::string& key) {
    return ::cf::Owned<CFStringRef>(CFStringCreateWithCString(kCFAllocatorDefault, key.c_str(), kCFStringEncodingUTF8));
}

}  // namespace

bool plist_adapter::store(const std::string& key, CFPropertyListRef value, bool synchronise) const {
    const auto keyString = makeKey(key);
    if (!keyString) {
        return false;
    }
    // One change at a time: a failed one takes all that is staged with it.
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    CFPreferencesSetValue(keyString.get(), value, domain_.get(), user_, kCFPreferencesCurrentHost);
    return !synchronise || CFPreferencesSynchronize(domain_.get(), user_, kCFPreferencesCurrentHost) != 0;
}

template <>
bool plist_adapter::set<bool>(const std::optional<bool>& value, const std::string& key, bool synchronise) const {
    return value && store(key, *value ? kCFBooleanTrue : kCFBooleanFalse, synchronise);
}

template <>
bool plist_adapter::set<unsigned long>(const std::optional<unsigned long>& value, const std::string& key,
                                       bool synchronise) const {
    const auto number = static_cast<std::int64_t>(value.value_or(0));
    const ::cf::Owned<CFTypeRef> object(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &number));
    return value && store(key, object.get(), synchronise);
}

bool plist_adapter::isReadable() const {
    return CFPreferencesSynchronize(domain_.get(), user_, kCFPreferencesCurrentHost) != 0;
}

CFPropertyListRef plist_adapter::copy(const std::string& key) const {
    const auto keyString = makeKey(key);
    return keyString ? CFPreferencesCopyValue(keyString.get(), domain_.get(), user_, kCFPreferencesCurrentHost) : nullptr;
}

void assign(bool& out, CFPropertyListRef value) {
    if (value != nullptr && value->kind == CFObject::Kind::Bool) {
        out = static_cast<CFBooleanRef>(value)->value;
    }
}

void assign(std::uint32_t& out, CFPropertyListRef value) {
    if (value != nullptr && value->kind == CFObject::Kind::Number) {
        out = static_cast<std::uint32_t>(static_cast<CFNumberRef>(value)->value);
    }
}

}  // namespace vsk::cf
