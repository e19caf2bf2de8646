#include "platform/dispatch/dispatch.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <mutex>

/// An entered group holds a reference to itself, so that whoever leaves it last may do so while the waiter already frees it.
struct dispatch_group {
    void enter();
    void leave();
    bool wait(dispatch_time_t timeout);
    void retain() { references_.fetch_add(1, std::memory_order_relaxed); }
    void release() {
        if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            delete this;
        }
    }

private:
    bool isEmpty() const { return entered_.load(std::memory_order_acquire) == 0; }

    std::atomic<std::uint32_t> references_{1};
    std::atomic<std::int64_t> entered_{0};
    std::mutex mutex_;
    std::condition_variable emptied_;
};

void dispatch_group::enter() {
    if (entered_.fetch_add(1, std::memory_order_relaxed) == 0) {
        retain();
    }
}

void dispatch_group::leave() {
    const auto before = entered_.fetch_sub(1, std::memory_order_acq_rel);
    if (before <= 0) {
        std::fputs("dispatch_group_leave: the group was left more often than it was entered\n", stderr);
        std::abort();
    }
    if (before == 1) {
        {
            const std::lock_guard lock(mutex_);
            emptied_.notify_all();
        }
        release();
    }
}

bool dispatch_group::wait(dispatch_time_t timeout) {
    if (isEmpty()) {
        return true;
    }
    std::unique_lock lock(mutex_);
    const auto empty = [this] { return isEmpty(); };
    // A time-out that steady_clock can't add to now is as good as for ever: 146 years.
    if (timeout > static_cast<dispatch_time_t>(std::numeric_limits<std::int64_t>::max() / 2)) {
        emptied_.wait(lock, empty);
        return true;
    }
    return emptied_.wait_for(lock, std::chrono::nanoseconds(timeout), empty);
}

dispatch_group_t dispatch_group_create() {
    return new dispatch_group;
}

void dispatch_retain(dispatch_group_t group) {
    group->retain();
}

void dispatch_release(dispatch_group_t group) {
    group->release();
}

void dispatch_group_enter(dispatch_group_t group) {
    group->enter();
}

void dispatch_group_leave(dispatch_group_t group) {
    group->leave();
}

long dispatch_group_wait(dispatch_group_t group, dispatch_time_t timeout) {
    return group->wait(timeout) ? 0 : 1;
}
