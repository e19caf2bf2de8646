#pragma once

#include "config/Preferences.h"
#include "platform/vsk/Singleton.h"

#include <cstdint>
#include <string>

/// The manager's persistent settings by name, with their built-in defaults.
///
/// All operations may be called from any thread. Setting is durable on return; false means that it failed, and what was
/// stored before still is. A stored value of another type than the key's counts as absent.
class RYNProperties : public Preferences,
                      public vsk::Singleton<RYNProperties, RYNProperties, vsk::PthreadMutexGuardPolicy<RYNProperties>> {
public:
    // The built-in defaults: what the store holds under these keys plays no part.
    static bool hostServer();
    static std::uint32_t rfsFlushInterval();
    static std::uint32_t rfsFlushTimeout();
    static bool bootBaseband();
    static bool blockBasebandResets();
    static std::string logScratchPath();
    static std::string logSnapshotPath();
    static std::uint32_t coreDumpOnSoftResetTimeout();
    static std::uint32_t stackshotOnShutdownTimeout();

    // Stored.
    static bool setTraceRYNEnabled(bool enabled);
    static bool traceRYNEnabled();
    /// @param megabytes its low 32 bits are what is read back
    static bool setTraceRYNHistory(unsigned long megabytes);
    static std::uint32_t traceRYNHistory();

    /// The developer's switch under "BlockBasebandResets" as it stands in the store, unlike blockBasebandResets().
    static bool storedBlockBasebandResets();
    static bool storeBlockBasebandResets(bool block);
};
