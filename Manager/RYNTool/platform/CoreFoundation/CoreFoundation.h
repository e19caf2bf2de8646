#pragma once

#include <cstdint>

/// The subset of CoreFoundation that the tool and its settings layer use. Create and Copy return the one reference to an object,
/// which the caller releases; constants are never freed. All operations may be called from any thread.
struct CFObject;
using CFTypeRef = const CFObject*;
using CFPropertyListRef = CFTypeRef;
using CFAllocatorRef = const void*;
using Boolean = unsigned char;

struct CFString;
struct CFBoolean;
struct CFNumber;
using CFStringRef = const CFString*;
using CFBooleanRef = const CFBoolean*;
using CFNumberRef = const CFNumber*;

inline constexpr CFAllocatorRef kCFAllocatorDefault = nullptr;

/// Parks the caller for good. Asynchronous replies and events of the manager's client library are received here.
void CFRunLoopRun();

void CFRelease(CFTypeRef object);
void CFRelease(CFStringRef string);

using CFStringEncoding = std::uint32_t;
inline constexpr CFStringEncoding kCFStringEncodingUTF8 = 0x08000100;
/// @param encoding kCFStringEncodingUTF8: there is no other. @return nullptr when the bytes are not UTF-8.
CFStringRef CFStringCreateWithCString(CFAllocatorRef allocator, const char* text, CFStringEncoding encoding);
/// NUL-terminated, lives as long as the string.
const char* CFStringGetCStringPtr(CFStringRef string, CFStringEncoding encoding);

extern const CFBooleanRef kCFBooleanTrue;
extern const CFBooleanRef kCFBooleanFalse;

using CFNumberType = long;
inline constexpr CFNumberType kCFNumberSInt64Type = 4;
/// @param value points at an integer of `type`, which is kCFNumberSInt64Type: there is no other.
CFNumberRef CFNumberCreate(CFAllocatorRef allocator, CFNumberType type, const void* value);

extern const CFStringRef kCFPreferencesCurrentUser;
extern const CFStringRef kCFPreferencesCurrentHost;
/// Stages `value` (a CFString, CFBoolean or CFNumber; nullptr removes the key); it is read back at once in this process
/// and reaches the disk with CFPreferencesSynchronize.
void CFPreferencesSetValue(CFStringRef key, CFPropertyListRef value, CFStringRef domain, CFStringRef user, CFStringRef host);
/// What is staged in this process, else what stands in the file now. One reference, nullptr when the key is absent.
CFPropertyListRef CFPreferencesCopyValue(CFStringRef key, CFStringRef domain, CFStringRef user, CFStringRef host);
/// Merges what is staged into the domain's file under its lock, atomically and synced; with nothing staged, looks whether the
/// file can be read.
/// @return false when that failed: the old values stand, and what was staged is forgotten.
Boolean CFPreferencesSynchronize(CFStringRef domain, CFStringRef user, CFStringRef host);
