#pragma once

#include "Client/Failure.h"
#include "platform/dispatch/Queue.h"
#include "platform/ryn/client.h"

#include <atomic>
#include <cstddef>
#include <memory>

namespace ryn::client {

/// Hands completions and events to the user's queue, where they run and are disposed of. Retains the queue.
class Delivery {
public:
    explicit Delivery(dispatch_queue_t queue) : queue_(queue) {}

    void complete(Completion completion, Answer answer) {
        dispatch_async(queue_.get(), [completion = std::move(completion), answer = std::move(answer)] {
            completion(answer.result, answer.object);
        });
    }
    /// @param memory that the event takes until it has been handled, in bytes
    void event(std::shared_ptr<const EventHandler> handler, const xpc::Object& payload, std::size_t memory) {
        backlog_->fetch_add(memory, std::memory_order_relaxed);
        dispatch_async(queue_.get(), [handler = std::move(handler), payload, memory, backlog = backlog_] {
            (*handler)(payload);
            backlog->fetch_sub(memory, std::memory_order_relaxed);
        });
    }
    /// What the events that have not been handled yet take, in bytes.
    std::size_t backlog() const { return backlog_->load(std::memory_order_relaxed); }

private:
    const dispatch::Queue queue_;
    /// Outlives this in the events that are still on the queue.
    const std::shared_ptr<std::atomic<std::size_t>> backlog_ = std::make_shared<std::atomic<std::size_t>>(0);
};

}  // namespace ryn::client
