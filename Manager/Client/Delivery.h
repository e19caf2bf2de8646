#pragma once

#include "platform/ryn/client.h"

#include <cstdint>
#include <memory>

namespace ryn::client {

/// What a command came to.
struct Answer {
    std::int32_t result = 0;
    xpc::Object object;  ///< empty: none
};

/// Hands completions and events to the user's queue, where they run and are disposed of. Retains the queue.
class Delivery {
public:
    explicit Delivery(dispatch_queue_t queue) : queue_(queue) { dispatch_retain(queue_); }
    ~Delivery() { dispatch_release(queue_); }
    Delivery(const Delivery&) = delete;
    Delivery& operator=(const Delivery&) = delete;

    void complete(Completion completion, Answer answer) {
        dispatch_async(queue_, [completion = std::move(completion), answer = std::move(answer)]() {
            completion(answer.result, answer.object);
        });
    }
    void event(std::shared_ptr<const EventHandler> handler, const xpc::Object& payload) {
        dispatch_async(queue_, [handler = std::move(handler), payload] { (*handler)(payload); });
    }

private:
    const dispatch_queue_t queue_;
};

}  // namespace ryn::client
