#include "platform/dispatch/dispatch.h"
#include "support/Test.h"

#include <malloc.h>

namespace {

std::ptrdiff_t threadCount() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), std::filesystem::directory_iterator());
}

TEST(Queue, RunsAndDisposesOfBlocksInOrderOnOneThread) {
    constexpr int kBlocks = 500;
    const auto group = dispatch_group_create();
    EXPECT_DEATH(dispatch_group_leave(group), "^dispatch_group_leave: the group was left more often than it was entered\n$");
    const auto queue = dispatch_queue_create("test.queue", nullptr);
    std::vector<int> seen;
    std::set<std::thread::id> threads;
    const auto note = [&seen, &threads](int step) {
        seen.push_back(step);
        threads.insert(std::this_thread::get_id());
    };
    for (int i = 0; i < kBlocks; ++i) {
        dispatch_group_enter(group);
        std::shared_ptr<void> witness(nullptr, [=](void*) {
            note(2 * i + 1);
            dispatch_group_leave(group);
        });
        dispatch_async(queue, [=, held = std::move(witness)] { note(2 * i); });
    }
    // The last release drains what was submitted; the group outlives its release because it is entered.
    dispatch_release(queue);
    EXPECT_EQ(dispatch_group_wait(group, DISPATCH_TIME_FOREVER), 0);
    dispatch_release(group);
    EXPECT_EQ(seen.size(), 2U * kBlocks);
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
    EXPECT_TRUE(threads.size() == 1 && !threads.contains(std::this_thread::get_id()));
}

TEST(Queue, StartsItsThreadWithTheFirstBlockAndEndsItWithTheLastReference) {
    const auto before = threadCount();
    const auto queue = dispatch_queue_create("test.queue", nullptr);
    dispatch_retain(queue);
    dispatch_release(queue);
    EXPECT_LE(threadCount(), before);  // fewer when an earlier queue's thread is just ending
    std::promise<std::filesystem::path> thread;
    dispatch_async(queue, [&] {
        thread.set_value("/proc/self/task/" + std::to_string(::gettid()));
        dispatch_release(queue);  // the last one, on the queue's own thread
    });
    const auto task = thread.get_future().get();
    const auto end = std::chrono::steady_clock::now() + support::kPatience;
    while (std::filesystem::exists(task) && std::chrono::steady_clock::now() < end) {
        std::this_thread::yield();
    }
    EXPECT_FALSE(std::filesystem::exists(task));
}

/// The sanitizers, which have no such counts, tell what isn't freed by themselves.
TEST(Group, IsFreedByWhoeverIsLast) {
    const auto before = mallinfo2().uordblks;
    constexpr int kGroups = 1000;
    for (int i = 0; i < kGroups; ++i) {
        const auto group = dispatch_group_create();
        dispatch_group_enter(group);
        dispatch_release(group);
        dispatch_group_leave(group);
    }
    EXPECT_LT(mallinfo2().uordblks, before + kGroups);
}

}  // namespace
