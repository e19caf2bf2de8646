#pragma once

#include "Client/Manager.h"
#include "platform/CoreFoundation/CoreFoundation.h"
#include "platform/dispatch/Queue.h"
#include "support/ScriptedManager.h"

using support::Lines;
using support::ScriptedManager;

inline const ScriptedManager::Responder kEcho = [](auto& connection, const auto& request) {
    connection.reply(request.id, 0, support::text(to_string(request.argument)));
};

inline const ScriptedManager::Responder kAnswerAny = [](const auto& connection, const auto& request) {
    if (request.command == "Any") {
        connection.reply(request.id, 0);
    }
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
