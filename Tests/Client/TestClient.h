#pragma once

#include "Client/Manager.h"
#include "platform/CoreFoundation/CoreFoundation.h"
#include "platform/dispatch/Queue.h"
#include "support/ScriptedManager.h"

using support::ScriptedManager;

/// What a handler or completion leaves for the test's thread to wait for, line by line.
class Lines {
public:
    void add(std::string line) {
        const std::lock_guard lock(mutex_);
        lines_.push_back(std::move(line));
        added_.notify_all();
    }
    /// What there is when there are `count`, or when the test's patience is over.
    std::vector<std::string> wait(std::size_t count) {
        std::unique_lock lock(mutex_);
        added_.wait_for(lock, support::kPatience, [&] { return lines_.size() >= count; });
        return lines_;
    }

private:
    std::mutex mutex_;
    std::condition_variable added_;
    std::vector<std::string> lines_;
};

inline const ScriptedManager::Responder kEcho = [](auto& connection, const auto& request) {
    connection.reply(request.id, 0, support::text(request.argument));
};

/// A client as the tool is one: a queue, a manager, and a thread that is parked in the run loop.
class TestClient {
public:
    explicit TestClient(const std::string& path)
        : manager_(std::make_shared<ryn::client::Manager>("tester", queue_.get(), ryn::client::SocketPath(path))) {
        static std::once_flag parked;
        std::call_once(parked, [] { std::thread(CFRunLoopRun).detach(); });
        platform::addToRunLoop(manager_);
    }

    ryn::client::Manager& manager() { return *manager_; }
    void forget() { manager_.reset(); }

    /// "result reply": the reply slot starts as the string "untouched".
    std::string perform(const std::string& command, const xpc::Object& argument = {},
                        std::chrono::milliseconds patience = kLong) {
        auto reply = xpc::Object::adopt(xpc_string_create("untouched"));
        const int result = manager_->perform(command, argument, reply, patience);
        return std::to_string(result) + " " + to_string(reply);
    }

    static inline const std::chrono::milliseconds kLong{support::kPatience};

private:
    const dispatch::Queue queue_{"test.queue"};
    ryn::client::ManagerPtr manager_;
};
