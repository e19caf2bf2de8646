#include "platform/dispatch/dispatch.h"

#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

/// Its thread is detached and owns the queue from the last release on: it runs what is still submitted, then ends and frees the
/// queue. So a block may release the last reference to the queue that it runs on.
struct dispatch_queue {
    std::atomic<std::uint32_t> references{1};

    void submit(dispatch_block_t block) {
        const std::lock_guard lock(mutex_);
        submitted_.push_back(std::move(block));
        if (!std::exchange(started_, true)) {
            startThread();
        }
        changed_.notify_one();
    }

    /// No reference is left.
    void close() {
        {
            const std::lock_guard lock(mutex_);
            closed_ = true;
            if (started_) {
                changed_.notify_one();
                return;
            }
        }
        delete this;
    }

private:
    void startThread() {
        try {
            std::thread([this] { run(); }).detach();
        } catch (const std::system_error& error) {
            // A block that never runs would leave its group's waiter waiting for good.
            std::fprintf(stderr, "dispatch_async: can't start the queue's thread: %s\n", error.what());
            std::abort();
        }
    }

    void run() {
        for (auto blocks = waitForBlocks(); !blocks.empty(); blocks = waitForBlocks()) {
            for (auto& block : blocks) {
                block();
                block = nullptr;
            }
        }
        delete this;
    }

    /// What was submitted since the last call, in order; empty when the queue is closed and nothing is left.
    std::vector<dispatch_block_t> waitForBlocks() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return closed_ || !submitted_.empty(); });
        return std::exchange(submitted_, {});
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<dispatch_block_t> submitted_;
    bool started_ = false;
    bool closed_ = false;
};

dispatch_queue_t dispatch_queue_create(const char* /*label*/, dispatch_queue_attr_t /*attributes*/) {
    return new dispatch_queue;
}

void dispatch_retain(dispatch_queue_t queue) {
    queue->references.fetch_add(1, std::memory_order_relaxed);
}

void dispatch_release(dispatch_queue_t queue) {
    if (queue->references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        queue->close();
    }
}

void dispatch_async(dispatch_queue_t queue, dispatch_block_t block) {
    queue->submit(std::move(block));
}
