#pragma once

#include "Client/Delivery.h"
#include "Client/Socket.h"

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

namespace ryn::client {

/// The commands that wait for their replies. Not thread-safe.
class Calls {
public:
    explicit Calls(Delivery& delivery) : delivery_(delivery) {}

    /// A caller that waits in its own thread: it looks at `answer`.
    struct Waiter {
        std::uint64_t id = 0;
        std::optional<Answer> answer;
    };
    void add(Waiter& waiter) { waiters_.push_back(&waiter); }
    void remove(const Waiter& waiter) { std::erase(waiters_, &waiter); }

    /// A completion to be handed to the queue.
    struct Asynchronous {
        Completion completion;
        Clock::time_point deadline;
        Clock::duration timeout;
    };
    void add(std::uint64_t id, Asynchronous call) { asynchronous_.emplace(id, std::move(call)); }
    bool anyAsynchronous() const { return !asynchronous_.empty(); }
    /// The end of time when none waits.
    Clock::time_point nextDeadline() const;

    /// A reply whose command does not wait any more is dropped.
    void answer(std::uint64_t id, Answer answer);
    /// Answers all of them alike.
    void answerAll(const Answer& answer);
    /// Takes out one call whose deadline has come.
    std::optional<Asynchronous> takeExpired(Clock::time_point now);

private:
    Delivery& delivery_;
    std::vector<Waiter*> waiters_;  // as many as threads wait
    std::map<std::uint64_t, Asynchronous> asynchronous_;
};

}  // namespace ryn::client
