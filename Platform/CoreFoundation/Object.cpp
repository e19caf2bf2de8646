#include "Platform/CoreFoundation/Object.h"

#include "Platform/Utf8.h"

#include <new>

namespace {

constinit const CFBoolean trueObject{true};
constinit const CFBoolean falseObject{false};

void destroy(const CFObject* object) {
    if (object->kind == CFObject::Kind::Number) {
        delete static_cast<const CFNumber*>(object);
    } else {
        delete static_cast<const CountedString*>(object);
    }
}

}  // namespace

const CFBooleanRef kCFBooleanTrue = &trueObject;
const CFBooleanRef kCFBooleanFalse = &falseObject;

CFTypeRef CFRetain(CFTypeRef object) {
    if (object->lifetime == CFObject::Lifetime::Counted) {
        object->references.fetch_add(1, std::memory_order_relaxed);
    }
    return object;
}

void CFRelease(CFTypeRef object) {
    if (object->lifetime == CFObject::Lifetime::Counted && object->references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        destroy(object);
    }
}

void CFRelease(CFStringRef string) {
    CFRelease(static_cast<CFTypeRef>(string));
}

CFStringRef CFStringCreateWithCString(CFAllocatorRef /*allocator*/, const char* text, CFStringEncoding encoding) {
    if (text == nullptr || encoding != kCFStringEncodingUTF8 || !platform::isUtf8(text)) {
        return nullptr;
    }
    return new CountedString(text);
}

const char* CFStringGetCStringPtr(CFStringRef string, CFStringEncoding encoding) {
    return encoding == kCFStringEncodingUTF8 ? string->text.data() : nullptr;
}

CFNumberRef CFNumberCreate(CFAllocatorRef /*allocator*/, CFNumberType type, const void* value) {
    const bool isPossible = value != nullptr && type == kCFNumberSInt64Type;
    return isPossible ? new (std::nothrow) CFNumber(*static_cast<const std::int64_t*>(value)) : nullptr;
}
