#include "platform/dispatch/dispatch.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>

/// An entered group holds a reference to itself, so that whoever leaves it last may do so while the waiter already frees it.
struct dispatch_group {
    std::atomic<std::uint32_t> references{1};
    std::atomic<std::int32_t> entered{0};
};

dispatch_group_t dispatch_group_create() {
    return new dispatch_group;
}

void dispatch_retain(dispatch_group_t group) {
    group->references.fetch_add(1, std::memory_order_relaxed);
}

void dispatch_release(dispatch_group_t group) {
    if (group->references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete group;
    }
}

void dispatch_group_enter(dispatch_group_t group) {
    if (group->entered.fetch_add(1, std::memory_order_relaxed) == 0) {
        dispatch_retain(group);
    }
}

void dispatch_group_leave(dispatch_group_t group) {
    const auto before = group->entered.fetch_sub(1);
    if (before <= 0) {
        std::fputs("dispatch_group_leave: the group was left more often than it was entered\n", stderr);
        std::abort();
    }
    if (before == 1) {
        group->entered.notify_all();
        dispatch_release(group);
    }
}

long dispatch_group_wait(dispatch_group_t group, dispatch_time_t /*timeout*/) {
    while (const auto entered = group->entered.load()) {
        group->entered.wait(entered);
    }
    return 0;
}
