#pragma once

#include "platform/dispatch/dispatch.h"

namespace dispatch {

/// One retained reference to a queue.
class Queue {
public:
    explicit Queue(const char* label) : queue_(dispatch_queue_create(label, nullptr)) {}
    /// Adds a reference to a borrowed queue.
    explicit Queue(dispatch_queue_t borrowed) : queue_(borrowed) { dispatch_retain(queue_); }
    Queue(const Queue& other) : Queue(other.queue_) {}
    Queue& operator=(const Queue&) = delete;
    ~Queue() { dispatch_release(queue_); }

    dispatch_queue_t get() const { return queue_; }

private:
    dispatch_queue_t queue_;
};

}  // namespace dispatch
