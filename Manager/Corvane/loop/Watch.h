#pragma once

#include "Corvane/loop/Loop.h"

#include <chrono>
#include <functional>
#include <optional>

namespace corvane {

/// A descriptor that the loop serves directly.
class Watch {
public:
    enum class Interest { Read, Write };
    /// In a turn, all of `Ahead` come before those that share the turn's time.
    enum class Order { Ahead, Fair };

    /// @param descriptor outlives the watch. @param ready runs whenever it can be read, or has an error or a peer that is gone.
    Watch(Loop& loop, int descriptor, Order order, std::function<void()> ready);
    /// Not to be destroyed from within the `ready` of any watch: defer that.
    ~Watch();
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    Interest interest() const { return interest_; }
    /// What to wait for instead.
    void setInterest(Interest interest);

private:
    friend Loop;

    Loop& loop_;
    int descriptor_;
    Interest interest_ = Interest::Read;
    const Order order_;
    /// What serving it costs; none before the first time.
    std::optional<std::chrono::steady_clock::duration> cost_;
    /// When it should be served, once a turn has left it to a later one.
    std::optional<std::chrono::steady_clock::time_point> due_;
    std::function<void()> ready_;
};

}  // namespace corvane
