#include "config/Preferences.h"

Preferences::Preferences()
    : adapter_(
          cf::Owned<CFStringRef>(CFStringCreateWithCString(kCFAllocatorDefault, "com.quorvel.Corvane", kCFStringEncodingUTF8)),
          kCFPreferencesCurrentUser) {}
