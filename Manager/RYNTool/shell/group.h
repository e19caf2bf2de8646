#pragma once

#include "platform/dispatch/dispatch.h"

#include <utility>

namespace dispatch {

/// One retained reference to a dispatch group, or none. `enter` and `leave` do nothing on an empty one.
class group {
public:
    group() noexcept = default;
    static group create() { return group(dispatch_group_create()); }

    group(const group& other) : group_(other.group_) {
        if (group_ != nullptr) {
            dispatch_retain(group_);
        }
    }
    group(group&& other) noexcept : group_(std::exchange(other.group_, nullptr)) {}
    group& operator=(const group&) = delete;
    ~group() {
        if (group_ != nullptr) {
            dispatch_release(group_);
        }
    }

    void enter() const {
        if (group_ != nullptr) {
            dispatch_group_enter(group_);
        }
    }
    void leave() const {
        if (group_ != nullptr) {
            dispatch_group_leave(group_);
        }
    }
    /// Blocks until everyone who entered has left.
    void wait() const { dispatch_group_wait(group_, DISPATCH_TIME_FOREVER); }

private:
    explicit group(dispatch_group_t created) noexcept : group_(created) {}

    dispatch_group_t group_ = nullptr;
};

/// Keeps a group entered while this or a copy lives. A block captures one, so that whoever waits for the group waits until the
/// block is disposed of.
class EnteredGroup {
public:
    explicit EnteredGroup(group entered) : group_(std::move(entered)) { group_.enter(); }
    EnteredGroup(const EnteredGroup& other) : EnteredGroup(other.group_) {}
    EnteredGroup(EnteredGroup&& other) noexcept = default;
    EnteredGroup& operator=(const EnteredGroup&) = delete;
    ~EnteredGroup() { group_.leave(); }

private:
    group group_;
};

}  // namespace dispatch
