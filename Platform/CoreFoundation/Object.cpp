#include "Platform/CoreFoundation/Object.h"

#include "Platform/Utf8.h"

namespace {

constinit const CFBoolean trueObject{true};
constinit const CFBoolean falseObject{false};

}  // namespace

const CFBooleanRef kCFBooleanTrue = &trueObject;
const CFBooleanRef kCFBooleanFalse = &falseObject;

void CFRelease(CFTypeRef object) {
    if (object->lifetime == CFObject::Lifetime::Immortal) {
        return;
    }
    if (object->kind == CFObject::Kind::Number) {
        delete static_cast<const CFNumber*>(object);
    } else {
        delete static_cast<const OwnedString*>(object);
    }
}

void CFRelease(CFStringRef string) {
    CFRelease(static_cast<CFTypeRef>(string));
}

CFStringRef CFStringCreateWithCString(CFAllocatorRef /*allocator*/, const char* text, CFStringEncoding /*encoding*/) {
    return platform::isUtf8(text) ? new OwnedString(text) : nullptr;
}

const char* CFStringGetCStringPtr(CFStringRef string, CFStringEncoding /*encoding*/) {
    return string->text.data();
}

CFNumberRef CFNumberCreate(CFAllocatorRef /*allocator*/, CFNumberType /*type*/, const void* value) {
    return new CFNumber(*static_cast<const std::int64_t*>(value));
}
