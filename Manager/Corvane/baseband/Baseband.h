#pragma once

#include "Corvane/support/Refusal.h"
#include "platform/xpc/Object.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace corvane {

/// How a command on the baseband ended.
struct Answer {
    std::optional<Refusal> refusal;  ///< absent: carried out
    xpc::Object reply;               ///< a dictionary or none; with a refusal, what its error dictionary holds besides
};

/// Runs exactly once, on the event loop's thread, possibly before the command that it was given to returns.
using Completion = std::function<void(Answer)>;

/// A file that a backend adds to a folder of trace logs.
struct SnapshotFile {
    std::string name;  ///< a plain file name, without folders
    std::string content;
};
using SnapshotCompletion = std::function<void(std::vector<SnapshotFile>)>;

/// Numbers of the QMI device-management service (DMS).
enum class OperatingMode : std::int32_t {
    Online = 0,
    LowPower = 1,
    FactoryTest = 2,
    Offline = 3,
    Reset = 4,
    ShuttingDown = 5,
    PersistentLowPower = 6,
    ModeOnlyLowPower = 7,
};

/// Whether asking for `mode` resets the baseband, so that blocked resets block it too.
constexpr bool resetsBaseband(std::int64_t mode) {
    return mode == static_cast<std::int64_t>(OperatingMode::Reset);
}

enum class ResetType { Soft, Hard };
struct ResetRequest {
    ResetType type = ResetType::Soft;
    std::string subType;  ///< who asked, for instance "UserTriggered"
    std::string reason;
};

enum class PowerLog { NPA, F3 };
enum class PowerLogAction { Enable, Disable, Dump };

/// Who is told what happens in the baseband. Called on the event loop's thread, between commands or within one.
class BasebandListener {
public:
    virtual ~BasebandListener() = default;
    /// `event` is kEventBasebandBootStateChange ({KeyBasebandBootState: string}, and KeyErrorString with why it failed to boot),
    /// kEventBasebandOperatingModeChange ({KeyBasebandOperatingMode: int64}) or kEventBasebandDiagnostics.
    virtual void basebandEvent(const char* event, const xpc::Object& payload) = 0;
    /// One sentence for the manager's own log.
    virtual void basebandLog(std::string_view sentence) = 0;
};

/// The baseband as the manager sees it: simulated, or a real modem.
///
/// Everything happens on the thread of one sd-event loop and nothing blocks it. A command that can't be carried out answers a
/// refusal; a reply carries the protocol's keys and may go to the client as it stands. Boot states are "Off", "Booting", "Ready"
/// and "Resetting". After it has booted, a baseband is in low power (1), or in persistent low power (6) when that was set
/// before; someone has to bring it online.
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

    /// {KeyBasebandVersion: string}
    virtual void getVersion(Completion completion) = 0;
    /// {KeyBasebandBootState: string}, and KeyErrorString: string when it failed to boot
    virtual void getBootState(Completion completion) = 0;
    /// {KeyBasebandOperatingMode: int64}
    virtual void getOperatingMode(Completion completion) = 0;
    /// Answers when the mode is reached; a mode that resets, when the baseband is ready again.
    /// @param mode any number: the backend refuses those that it doesn't know.
    /// @param timeout 0 or less: as long as it takes. When it passes first the answer is TimedOut, and what was begun goes on.
    virtual void setOperatingMode(std::int64_t mode, std::chrono::seconds timeout, Completion completion) = 0;
    /// {KeyBasebandTimeAsString: string}
    virtual void getTime(Completion completion) = 0;
    /// {KeyBasebandWakeChannel: int64, ...}: channel 0 when the baseband did not wake the application processor
    virtual void getWakeReason(Completion completion) = 0;

    /// Answers, without a reply, when the baseband is ready again. Whether resets are blocked is the caller's to check.
    virtual void reset(const ResetRequest& request, Completion completion) = 0;
    /// Puts the non-volatile data back to the factory's; answers without a reply.
    virtual void eraseNVData(Completion completion) = 0;
    /// Writes the remote filesystem out; answers without a reply, before it is written unless `waitForCompletion`.
    virtual void syncFileSystem(bool waitForCompletion, Completion completion) = 0;

    /// Answers without a reply. What was dumped goes into the next snapshot.
    virtual void controlPowerLog(PowerLog log, PowerLogAction action, Completion completion) = 0;
    /// Acts as if the application processor had sent the power notification `message`.
    virtual void simulatePowerNotification(std::uint32_t message, Completion completion) = 0;

    /// Answers when the test has ended: a reply with its status and result, or Aborted.
    /// @param type what the command carried under KeyBasebandDiagnosticsType, empty when it carried none.
    /// @param options what it carried under KeyBasebandDiagnosticsOptions, of any type or none.
    virtual void runDiagnostics(const std::string& type, const xpc::Object& options, Completion completion) = 0;
    virtual void abortDiagnostics(Completion completion) = 0;

    /// A dictionary of the backend's own figures: boots, resets, modes, ...
    virtual void getStatistics(Completion completion) = 0;
    virtual void collectSnapshot(SnapshotCompletion completion) = 0;
};

}  // namespace corvane
