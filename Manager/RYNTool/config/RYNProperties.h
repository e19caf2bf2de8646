#pragma once

#include "config/Preferences.h"
#include "config/TraceType.h"
#include "platform/vsk/Singleton.h"

#include <cstdint>

/// A setting's key in the store and its built-in default. A default that depends on the device is a function.
template <typename Value>
struct Property {
    const char* key;
    Value builtIn;
};

/// The manager's persistent settings.
///
/// All operations may be called from any thread. Setting is durable on return; false means that it failed, and what was
/// stored before still is. A stored value of another type than the key's counts as absent.
class RYNProperties : public Preferences,
                      public vsk::Singleton<RYNProperties, RYNProperties, vsk::PthreadMutexGuardPolicy<RYNProperties>> {
public:
    // Known by their defaults only: what the store holds under these keys plays no part.
    static bool hostServer();
    static constexpr Property<bool (*)()> kHostServer{"HostServer", hostServer};
    static constexpr Property<std::uint32_t> kRFSFlushInterval{"RFSFlushInterval", 7200};
    static constexpr Property<std::uint32_t> kRFSFlushTimeout{"RFSFlushTimeout", 0};
    static constexpr Property<bool> kBootBaseband{"BootBaseband", true};
    static constexpr Property<const char*> kLogScratchPath{"LogScratchPath", ryn::trace::kScratchFolder};
    static constexpr Property<const char*> kLogSnapshotPath{"LogSnapshotPath", ryn::trace::kSnapshotFolder};
    static constexpr Property<std::uint32_t> kCoreDumpOnSoftResetTimeout{"CoreDumpOnSoftResetTimeout", 0};
    static constexpr Property<std::uint32_t> kStackshotOnShutdownTimeout{"StackshotOnShutdownTimeout", 0};

    // Stored.
    static constexpr Property<bool> kBlockBasebandResets{"BlockBasebandResets", false};
    static constexpr Property<bool (*)()> kTraceRYNEnabled{"Trace::RYN::Enabled", ryn::trace::isAllowed};
    static constexpr Property<std::uint32_t> kTraceRYNHistory{"Trace::RYN::History", 5};

    /// Whether the store can be read now, a missing one included; else every setting reads as its default.
    static bool isReadable();

    static bool setTraceRYNEnabled(bool enabled);
    static bool traceRYNEnabled();
    /// @param megabytes its low 32 bits are what is read back
    static bool setTraceRYNHistory(unsigned long megabytes);
    static std::uint32_t traceRYNHistory();
    /// The developer's switch that keeps the baseband from being reset.
    static bool storedBlockBasebandResets();
    static bool storeBlockBasebandResets(bool block);

private:
    friend Singleton;
    RYNProperties() = default;
};
