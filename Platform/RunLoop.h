#pragma once

#include <chrono>
#include <memory>

namespace platform {

/// Something that the thread parked in CFRunLoopRun looks after: a file descriptor, a point in time, or both.
///
/// Both members are called on the parked thread only, one at a time, and must not block.
class RunLoopSource {
public:
    using Clock = std::chrono::steady_clock;
    struct Interest {
        int descriptor = -1;                                    ///< -1: none
        short events = 0;                                       ///< of poll(2)
        Clock::time_point deadline = Clock::time_point::max();  ///< the end of time: none
    };

    virtual ~RunLoopSource() = default;
    /// What to wait for now; asked before every wait.
    virtual Interest interest() = 0;
    /// The descriptor has `events` (of poll(2), 0 when only the deadline has come).
    virtual void serve(short events) = 0;
};

/// The run loop keeps a weak reference. It takes notice within kFirstLook of being parked, and at once when that is over. Adding
/// and waking cost no system call until then, and neither costs a thread or needs a parked thread.
void addToRunLoop(const std::weak_ptr<RunLoopSource>& source);

/// Asks every source for its interest again, at once. One system call, none while an earlier request is not yet seen. Call it
/// when an interest has changed and after a watched descriptor was closed: a sleep keeps the closed file open.
void wakeRunLoop();

/// A run that is over before this never wakes its parked thread.
inline constexpr std::chrono::duration<int, std::milli> kFirstLook{20};

}  // namespace platform
