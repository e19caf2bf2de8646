#pragma once

#include <cstdint>
#include <string>

/// The kinds of trace that the manager knows, which of them this device and build support, and where their logs live.
///
/// All functions may be called from any thread, and none throws on a bad value.
namespace ryn::trace {

enum class Type : std::uint32_t {
    MobileAnalyzer = 0,
    Artemis = 1,
    CoreDump = 2,
    Mux = 3,
    DIAG = 4,
    EURCoreDump = 5,
    IPCTrace = 6,
    USBTracerDump = 7,
    Boot = 8,
    CSILog = 9,
    Dummy = 10,
    BasebandIPC = 11,
    TEMS = 12,
    RYN = 13,
    SYSLOG = 14,
    KernelPCI = 15,
};

inline constexpr const char* kScratchFolder = "/var/wireless/Library/Logs/Corvane/";
inline constexpr const char* kTrashFolder = "/var/wireless/Library/Logs/ryn.trash/";
inline constexpr const char* kSnapshotFolder = "/var/wireless/Library/Logs/CrashReporter/Baseband/";
inline constexpr const char* kLogDirPrefix = "log-bb-";
inline constexpr const char* kDumpIndicationFilePath = "/tmp/Corvane.dumping";
/// A trace property, in spite of its name.
inline constexpr const char* kNumberOfLogsInSnapshotPath = "Trace::NumberOfLogsInSnapshotPath";

/// The kind's name; "Unknown" for a value that is no kind.
std::string typeAsString(Type type);

/// Finds a kind by its name, in any letter case. @return false for an unknown name; `type` is untouched then.
bool stringAsType(const std::string& name, Type& type);

/// Whether this build allows tracing at all. Asked of the platform once in the process's life.
bool isAllowed();

/// Whether this device and build support the kind.
bool isSupported(Type type);
/// The same by name; false for a name that is no kind.
bool isSupported(std::string name);

bool isHelperSupported();
bool isDumpLogIndicationSupported();

}  // namespace ryn::trace
