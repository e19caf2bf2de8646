#pragma once

#include "Corvane/baseband/BootState.h"
#include "Corvane/baseband/DiagSettings.h"
#include "Corvane/baseband/OperatingMode.h"
#include "Corvane/baseband/RFSelfTest.h"
#include "Corvane/support/Result.h"
#include "Corvane/support/Values.h"
#include "config/TraceType.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace corvane {

/// The area of the settings for what concerns the baseband.
inline constexpr std::string_view kBasebandArea = "baseband";

struct BasebandVersion {
    std::string text;  ///< empty when it isn't known
};

struct BasebandTime {
    std::string text;
};

/// What woke the application processor last.
struct WakeReason {
    std::int64_t channel = 0;  ///< 0: not the baseband, and nothing of the rest is known
    std::string reason = {};
    std::string time = {};
    std::int64_t count = 0;  ///< of wakes so far
    std::optional<std::int64_t> sleptMilliseconds = {};
};

enum class ResetType { Soft, Hard };
struct ResetRequest {
    ResetType type = ResetType::Soft;
    std::string subType;  ///< who asked, for instance "UserTriggered"
    std::string reason;
};

enum class PowerLog { NPA, F3 };
enum class PowerLogAction { Enable, Disable, Dump };

/// A file that a backend adds to a folder of trace logs.
struct SnapshotFile {
    std::string name;  ///< a plain file name, without folders
    std::string content;
};
using SnapshotFiles = std::vector<SnapshotFile>;

/// One entry of a trace that is on.
struct TraceRecord {
    ryn::trace::Type trace;
    std::chrono::system_clock::time_point time;
    /// A line of text without its end. DIAG: an IPv4 packet that carries GSMTAP over UDP. TEMS: a line of CSV without its time.
    std::string content;
};
using OnRecord = std::function<void(const TraceRecord& record)>;

/// Hears what happens in the baseband. Called on the event loop's thread, between commands or within one.
class BasebandListener {
public:
    virtual ~BasebandListener() = default;
    virtual void bootStateChanged(const BootStatus& /*status*/) {}
    virtual void operatingModeChanged(OperatingMode /*mode*/) {}
    virtual void selfTestProgressed(const RFSelfTestEvent& /*event*/) {}
    virtual void traceRecorded(const TraceRecord&) {}
    /// The application processor goes to sleep or wakes.
    virtual void sleepChanged(bool /*asleep*/) {}
    /// One sentence for the manager's own log.
    virtual void basebandLog(std::string_view /*sentence*/) {}
};

/// Who listens to a baseband before its start and after its stop.
inline BasebandListener nobody;

/// The baseband as the manager sees it: simulated, or a real modem.
///
/// Everything happens on the thread of the manager's Loop and nothing blocks it. A command that can't be carried out completes
/// with a refusal; one that a backend doesn't override is refused as not supported. After it has booted, a baseband is in low
/// power (1), or in persistent low power (6) when that was set before; someone has to bring it online.
class Baseband {
public:
    Baseband() = default;
    Baseband(const Baseband&) = delete;
    Baseband& operator=(const Baseband&) = delete;
    virtual ~Baseband() = default;

    /// Called once, before any command. @param listener outlives the baseband.
    virtual void start(BasebandListener& listener) = 0;
    /// Ends everything under way: outstanding completions run with Aborted before it returns; no event follows.
    virtual void stop() = 0;

    virtual void getBootState(Completion<BootStatus> completion) = 0;
    virtual void getOperatingMode(Completion<OperatingMode> completion) = 0;

    // A completion is taken by value because the backends keep it until they have the answer.
    // NOLINTBEGIN(performance-unnecessary-value-param)
    virtual void getVersion(Completion<BasebandVersion> completion) { completion(cannot("tell its version")); }
    virtual void getTime(Completion<BasebandTime> completion) { completion(cannot("tell the time")); }
    virtual void getWakeReason(Completion<WakeReason> completion) {
        completion(cannot("tell what woke the application processor"));
    }

    /// Completes when the mode is reached; a mode that resets, when the baseband is ready again.
    /// @param timeout 0 or less: as long as it takes. When it passes first the answer is TimedOut, and what was begun goes on.
    virtual void setOperatingMode(OperatingMode, std::chrono::seconds /*timeout*/, Completion<void> completion) {
        completion(cannot("change its operating mode"));
    }
    /// Completes when the baseband is ready again. Whether resets are blocked is the caller's to check.
    virtual void reset(const ResetRequest&, Completion<void> completion) { completion(cannot("be reset")); }
    /// Puts the non-volatile data back to the factory's.
    virtual void eraseNVData(Completion<void> completion) { completion(cannot("erase its non-volatile data")); }
    /// Writes the remote filesystem out; completes before it is written unless `waitForCompletion`.
    virtual void syncFileSystem(bool /*waitForCompletion*/, Completion<void> completion) {
        completion(cannot("sync a remote filesystem"));
    }

    /// What was dumped goes into the next snapshot.
    virtual void controlPowerLog(PowerLog, PowerLogAction, Completion<void> completion) { completion(cannot("log its power")); }
    /// Acts as if the application processor had sent the power notification `message`.
    virtual void simulatePowerNotification(std::uint32_t /*message*/, Completion<void> completion) {
        completion(cannot("take power notifications"));
    }

    /// Completes with the test's last event, complete or aborted.
    virtual void runSelfTest(const RFSelfTestOptions&, Completion<RFSelfTestEvent> completion) {
        completion(cannot("test its radio"));
    }
    /// @param why "on request", for the test's last event.
    virtual void abortSelfTest(const std::string& /*why*/, Completion<void> completion) { completion(cannot("test its radio")); }

    /// Whether the backend has anything to record for a trace of its kind.
    virtual bool canRecord(ryn::trace::Type) const { return false; }
    /// From now on diagnostic messages go to the listener, as records of the DIAG trace, as `settings` say. Before `start` too.
    virtual void configureDiag(const DiagSettings& /*settings*/) {}
    /// A ready baseband whose DIAG trace is silent for longer has stalled.
    virtual std::chrono::milliseconds longestSilence() const { return std::chrono::seconds(10); }
    /// Tells the listener the messages that the baseband still holds, those of a procedure under way among them.
    virtual void drainDiag() {}
    /// Begins or ceases to tell the listener the records of another trace.
    virtual void switchTrace(ryn::trace::Type, bool /*on*/, Completion<void> completion) {
        completion(cannot("record this trace"));
    }
    /// A dictionary of the backend's own figures: boots, resets, modes, ...
    virtual void getStatistics(Completion<xpc::Object> completion) { completion(dictionary({})); }
    virtual void collectSnapshot(Completion<SnapshotFiles> completion) { completion(SnapshotFiles()); }
    // NOLINTEND(performance-unnecessary-value-param)

protected:
    static Refusal cannot(const std::string& what) { return Refusal::notSupported("This baseband can't " + what + "."); }
};

}  // namespace corvane
