#pragma once

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <ctime>

namespace platform {

/// A request to look again, which one thread can sleep for, in futex(2): a condition variable would read the clock before each
/// sleep, and a run of the tool that is soon over would pay for that with a page fault.
class WakeRequest {
public:
    /// @return whether this is the first since `clear`.
    bool raise() { return raised_.exchange(1) == 0; }
    bool isRaised() const { return raised_ != 0; }
    void clear() { raised_ = 0; }

    /// Ends the sleep of who waits for what was raised.
    void notify() { ::syscall(SYS_futex, &raised_, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0); }
    /// Sleeps until it is raised, not at all when it is; now and then it wakes for no reason. @param longest null: without limit.
    void wait(const timespec* longest) { ::syscall(SYS_futex, &raised_, FUTEX_WAIT_PRIVATE, 0, longest, nullptr, 0); }

private:
    std::atomic<std::uint32_t> raised_ = 0;
    static_assert(sizeof raised_ == sizeof(std::uint32_t), "futex(2) takes 32 bits");
};

}  // namespace platform
