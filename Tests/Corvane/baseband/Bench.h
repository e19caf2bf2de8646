#pragma once

#include "Corvane/baseband/simulated/SimulatedBaseband.h"
#include "Corvane/loop/Loop.h"
#include "Corvane/support/Values.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace corvane {

/// How a command ended, with its value as a text.
struct Answer {
    std::optional<Refusal> refusal = {};
    std::string value = {};
};

inline std::string shown(const BootStatus& status) {
    return describe(status) + (status.explanation.empty() ? "" : ": " + status.explanation);
}
inline std::string shown(OperatingMode mode) {
    return std::to_string(static_cast<int>(mode));
}
inline std::string shown(const BasebandVersion& version) {
    return version.text;
}
inline std::string shown(const BasebandTime& time) {
    return time.text;
}
/// "7 baseband reset, wake 3"
inline std::string shown(const WakeReason& wake) {
    return std::to_string(wake.channel) + " " + wake.reason + ", wake " + std::to_string(wake.count);
}
inline std::string shown(const xpc::Object& object) {
    return xpc::to_string(object);
}
/// "goes on", "complete" or "aborted"
inline std::string shown(const RFSelfTestEvent& event) {
    constexpr const char* kStatuses[] = {"goes on", "complete", "aborted"};
    return kStatuses[static_cast<std::size_t>(event.status)];
}

/// An answer that may still be outstanding.
struct Awaited {
    std::optional<Answer> answer;
    int times = 0;
};
using AwaitedPtr = std::shared_ptr<Awaited>;

/// A baseband on a real event loop, with what it has told.
class BasebandBench : public testing::Test, protected BasebandListener {
protected:
    using Command = std::function<void(Baseband& baseband, std::function<void(Answer)> completion)>;

    void renewLoop() { loop_ = std::move(*Loop::make()); }
    /// Runs the loop until `reached`. Fails the test when that takes too long.
    void runUntil(const std::function<bool()>& reached) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (!reached()) {
            ASSERT_LT(std::chrono::steady_clock::now(), deadline)
                << "events: " << testing::PrintToString(events_) << "; log: " << testing::PrintToString(log_);
            ASSERT_GE(sd_event_run(&loop_->event(), 1'000'000), 0);
        }
    }

    AwaitedPtr begin(const Command& command) {
        auto awaited = std::make_shared<Awaited>();
        command(*baseband_, [awaited](Answer answer) {
            awaited->answer = std::move(answer);
            ++awaited->times;
        });
        return awaited;
    }
    Answer await(const AwaitedPtr& awaited) {
        runUntil([&] { return awaited->answer.has_value(); });
        return awaited->answer.value_or(Answer{});
    }
    Answer perform(const Command& command) { return await(begin(command)); }

    /// "ok", or the name of the refusal's code.
    static std::string codeOf(const Answer& answer) {
        const char* const names[] = {"unknown", "invalid", "unsupported", "state",   "busy", "blocked",
                                     "timeout", "aborted", "failed",      "storage", "limit"};
        return answer.refusal ? names[static_cast<std::uint32_t>(answer.refusal->code) & 0xFF] : "ok";
    }

    static Command mode(int number, int timeout = 0) {
        return call(&Baseband::setOperatingMode, static_cast<OperatingMode>(number), std::chrono::seconds(timeout));
    }
    static Command reset(ResetType type, const std::string& reason = "because") {
        return call(&Baseband::reset, ResetRequest{type, "UserTriggered", reason});
    }
    static Command powerLog(PowerLog log, PowerLogAction action) { return call(&Baseband::controlPowerLog, log, action); }
    static Command notify(std::uint32_t message) { return call(&Baseband::simulatePowerNotification, message); }
    template <typename Method, typename... Values>
    static Command call(Method method, Values... values) {
        return [=](Baseband& baseband, const std::function<void(Answer)>& done) {
            (baseband.*method)(values..., [done](const auto& result) {
                if (!result) {
                    done({result.refusal()});
                } else if constexpr (requires { shown(*result); }) {
                    done({{}, shown(*result)});
                } else {
                    done({});
                }
            });
        };
    }

    /// The content of a file of a snapshot, empty when there is no such file.
    std::string snapshot(const std::string& name) {
        std::optional<std::string> content;
        baseband_->collectSnapshot([&](const Result<SnapshotFiles>& files) {
            content.emplace();
            for (const SnapshotFile& file : *files) {
                *content += file.name == name ? file.content : "";
            }
        });
        runUntil([&] { return content.has_value(); });
        return content.value_or("");
    }

    std::unique_ptr<Loop> loop_ = std::move(*Loop::make());
    std::unique_ptr<Baseband> baseband_;
    std::vector<std::string> events_;  ///< "Booting", "mode 1", "test 25 goes on", ...
    std::vector<std::string> log_;
    RFSelfTestEvent lastSelfTest_;

private:
    void bootStateChanged(const BootStatus& status) override { events_.push_back(describe(status)); }
    void operatingModeChanged(OperatingMode mode) override { events_.push_back("mode " + shown(mode)); }
    void selfTestProgressed(const RFSelfTestEvent& event) override {
        events_.push_back("test " + std::to_string(event.percentage) + " " + shown(event));
        lastSelfTest_ = event;
    }
    void basebandLog(std::string_view sentence) override { log_.emplace_back(sentence); }
};

/// A simulated baseband.
class Bench : public BasebandBench {
protected:
    Bench() { restart(); }
    /// The baseband goes before its storage.
    ~Bench() override { baseband_.reset(); }

    /// A new baseband on the old storage, as after the manager was killed; nothing has happened yet.
    void restart(const simulated::Durations& durations = kShort) {
        baseband_.reset();
        events_.clear();
        renewLoop();
        baseband_ = std::make_unique<SimulatedBaseband>(*loop_, *store_, durations);
        baseband_->start(*this);
    }
    void runUntilEvent(const std::string& event) {
        runUntil([&] { return std::find(events_.begin(), events_.end(), event) != events_.end(); });
    }

    static constexpr std::chrono::milliseconds kInstant{1};
    static constexpr simulated::Durations kShort{kInstant, kInstant, kInstant, kInstant, kInstant, 4 * kInstant};
    /// What has begun stays under way for the length of a test.
    static constexpr std::chrono::hours kForever{1};

    support::TempFolder folder_;
    std::unique_ptr<SettingsStore> store_ = std::move(*SettingsStore::open(folder_.path()));
};

}  // namespace corvane
