#pragma once

#include <chrono>
#include <memory>
#include <optional>

namespace platform {

/// Something that the thread parked in CFRunLoopRun looks after: a file descriptor, a point in time, or both.
///
/// Both members are called on the parked thread only, one at a time, and must not block.
class RunLoopSource {
public:
    using Clock = std::chrono::steady_clock;
    struct Interest {
        int descriptor = -1;                        ///< -1: none
        short events = 0;                           ///< of poll(2)
        std::optional<Clock::time_point> deadline;  ///< absent: none
    };

    virtual ~RunLoopSource() = default;
    /// What to wait for now; asked before every wait.
    virtual Interest interest() = 0;
    /// The descriptor has `events` (of poll(2), 0 when only the deadline has come).
    virtual void serve(short events) = 0;
};

/// The run loop keeps a weak reference. It takes notice within its first look-round (kFirstLook after it was parked) or at
/// the next wakeRunLoop; neither operation costs a thread, and adding costs no system call.
void addToRunLoop(const std::weak_ptr<RunLoopSource>& source);

/// Asks every source for its interest again, at once. Free of system calls unless the parked thread is asleep.
void wakeRunLoop();

/// A run that is over before this never wakes its parked thread.
inline constexpr std::chrono::milliseconds kFirstLook{20};

}  // namespace platform
