#pragma once

#include "Corvane/loop/Loop.h"

#include <functional>

namespace corvane {

/// A descriptor that the loop serves directly.
class Watch {
public:
    enum class Interest { Read, Write };

    /// @param descriptor outlives the watch. @param ready runs whenever it can be read, or has an error or a peer that is gone.
    Watch(Loop& loop, int descriptor, std::function<void()> ready);
    /// Not from within `ready` of any watch: defer it.
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
    std::function<void()> ready_;
};

}  // namespace corvane
